// The client's calls of the document and rights procedures ("VIEW_DOC(id)",
// "get_doc_permissions(doc, user)") turned into plain queries before the store
// runs a "select". Only those two calls change; never touches quoted text.
#pragma once

#include <string>
#include <string_view>

namespace quillorn::server {

// The rights a document's rights row carries, in the order the client reads them.
inline constexpr std::string_view kDocRightsColumns[] = {
    "P_CREATE", "P_EDIT",    "P_DELETE",       "P_MOVE",   "P_VIEW",
    "P_APPROVE", "P_REVISE", "P_CHECKOUT", "P_PRINT_UNCTRL", "P_EXPORT", "P_CHANGE_PERMISSION"};

// VIEW_DOC(id) is the DOCS row of that id. get_doc_permissions(doc, user) is one
// row for a user of Users: a right is 'Y' when the user has it or one of the
// user's groups (USER_GROUP_LINKS, GROUPS) has it, else 'N'. A call whose
// arguments aren't two plain integers is left for the store to refuse.
std::string RewriteProcedureCalls(std::string_view sql);

}  // namespace quillorn::server
