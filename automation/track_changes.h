// Word's change tracking for documents under revision: switched on and off,
// and the revision marks hidden from view. Word only; in other hosts these do
// nothing and log nothing. Never shows a message.
#pragma once

#include <cstdint>

#include "automation/host_type.h"
#include "platform/variant.h"

namespace quillorn::automation {

inline constexpr std::int32_t kWdRevisionsViewFinal = 0;

void EnableTrackChanges(HostType host, const platform::Variant& Doc);
void DisableTrackChanges(HostType host, const platform::Variant& Doc);
// Shows the document as it would read with every change accepted.
void HideTrackingChanges(HostType host, const platform::Variant& Doc);

}  // namespace quillorn::automation
