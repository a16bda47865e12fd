// Word's change tracking for documents under revision: switched on and off,
// and the revision marks hidden from view. Word only; in other hosts these do
// nothing and log nothing. Never shows a message.
#pragma once

#include <cstdint>

#include "automation/file_type.h"
#include "platform/office_constants.h"
#include "platform/variant.h"

namespace quillorn::automation {


void EnableTrackChanges(HostType host, const platform::Variant& Doc);
void DisableTrackChanges(HostType host, const platform::Variant& Doc);
// Shows the document as it would read with every change accepted.
void HideTrackingChanges(HostType host, const platform::Variant& Doc);

}  // namespace quillorn::automation
