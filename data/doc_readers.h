// Small readers and writers of the current document row (tblDoc) that the pane
// and the workflow share. The readers answer false on a closed table instead of
// raising; none of them posts.
#pragma once

#include <cstdint>
#include <string>

#include "data/tdm.h"

namespace quillorn::data {

// FRAMEWORK -2 marks a global template.
bool IsGlobalTemplate(Tdm& dm);
// WEB_FORM "Y": the document is a web form.
bool IsWebForm(Tdm& dm);
// Sets TEMPLATE_ID of the open row, putting tblDoc into edit state unless it is
// in one; does nothing when tblDoc is closed.
void SetDocTemplateID(Tdm& dm, std::int32_t TemplateID);

// Text set into KEYWORDS of a row in edit or insert state: ",", ";", "/", "\"
// and "." each become a blank, so that keywords are parted by blanks only and
// no punctuation of the search engine reaches the field.
void tblDocKEYWORDSSetText(Table& Doc, const std::string& Text);

// CREATED_BY_STR and STATUS_BY_STR of tblDoc: the logins of CREATED_BY and
// STATUS_BY as GetLoginName gives them (a null user is user 0, the system's own
// name). Worked out at each read and never stored or sent: the cache and the
// server know users by id only.
void tblDocCalcFields(Tdm& dm);

}  // namespace quillorn::data
