// Small readers and one writer of the current document row (tblDoc) that the
// pane and the workflow share. Each answers false on a closed table instead of
// raising; none of them posts.
#pragma once

#include <cstdint>

#include "data/tdm.h"

namespace quillorn::data {

// FRAMEWORK -2 marks a global template.
bool IsGlobalTemplate(Tdm& dm);
// WEB_FORM "Y": the document is a web form.
bool IsWebForm(Tdm& dm);
// Sets TEMPLATE_ID of the open row, putting tblDoc into edit state unless it is
// in one; does nothing when tblDoc is closed.
void SetDocTemplateID(Tdm& dm, std::int32_t TemplateID);

}  // namespace quillorn::data
