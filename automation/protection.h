// Locks a document the user may only read, with one fixed password (Word,
// Excel sheets and workbook) or PowerPoint's Final mark, and takes the lock off
// before the system changes it. Protects against casual editing only. Never
// shows a message and never lets a host's failure out.
#pragma once

#include <cstdint>

#include "automation/file_type.h"
#include "platform/office_constants.h"
#include "platform/variant.h"

namespace quillorn::automation {

inline constexpr char kProtectionPassword[] = "ZTRshelter";


void ProtectDocument(HostType host, const platform::Variant& Doc);

// Whether the document was protected when the call began, so the caller can
// protect it again. READ_ONLY is that column of the current tblFiles row; it is
// the answer for PowerPoint and wherever the host fails before it could tell.
// Failures are expected here (Word refuses to unprotect an unprotected
// document) and leave no record.
bool UnprotectDocument(HostType host, const platform::Variant& Doc, bool READ_ONLY);

}  // namespace quillorn::automation
