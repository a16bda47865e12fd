// The server's remote functions as the data module calls them: their names and
// parameters, the statements the fetches send, the result objects of the
// asynchronous fetches, and the two routines that sort every reply and every
// given-up request. Never shows a failure to the user: the log gets it, and the
// caller sees false or a table as it was.
#pragma once

#include <memory>
#include <string>

#include "data/table.h"
#include "transport/dataset_monitor.h"
#include "transport/rpc_client_module.h"
#include "transport/rpc_result.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

class Tdm;

// On ClientModule ("/cms").
inline constexpr char kFnYouThere[] = "youthere";
inline constexpr char kFnSelect[] = "select";
inline constexpr char kFnExecSql[] = "execsql";
inline constexpr char kFnSubmit[] = "submit";
inline constexpr char kFnSendFile[] = "sendfile";
// On RpcClientModule ("/SvrInfo"), the web server's information service.
inline constexpr char kFnFormPreviewAvailable[] = "FormPreviewAvailable";

// The statements of the table fetches, as the server's dialect takes them.
inline constexpr char kDocFieldsSql[] = "select CODE, VAL from GET_DOC_FIELDS";
inline constexpr char kUsersSql[] = "SELECT * from Users where coalesce(IS_WEB_USER, 'N')='N'";
inline constexpr char kGroupsSql[] = "SELECT * from GROUPS";
inline constexpr char kUserGroupLinksSql[] = "SELECT * from USER_GROUP_LINKS";
inline constexpr char kCodesSql[] = "select D_TYPE, CODE, VAL from CODES where D_TYPE<>'DOC_FIELD'";
inline constexpr char kTemplatesSql[] =
    "select doc_no, cast((doc_name || ' (' || ver|| ')') as VarChar(512)) as doc_name, seq, framework, file_type "
    "from docs where (file_type=1 or file_type=2) and doc_type_id=7 and is_current='Y' and status='A'";
inline constexpr char kLogoSql[] = "select logo from ORGANISATION";
std::string ViewDocSql(int DocID);
std::string DocPermissionsSql(int DocID, int UserID);
std::string WebFormSql(int DocNo);
// The stored file of one approved current template.
std::string TemplateSourceSql(int DocNo);

// The possible approvers, on the cache.
inline constexpr char kApprovalUsersSql[] =
    "SELECT u.USER_ID, coalesce(GIVEN_NAMES, '') || coalesce(' ' || SURNAME, '') || CASE WHEN DESIGNATION IS NULL "
    "THEN '' ELSE ' (' || DESIGNATION  || ')' END as approval_user, EMAIL, LOGIN FROM USERS u left join "
    "user_group_links ugl on u.user_id=ugl.user_id left join GROUPS g on ugl.group_id=g.group_id where "
    "coalesce(u.IS_DELETED, 'N')<>'Y' and ((coalesce(u.P_APPROVE,'N') = 'Y') or (coalesce(g.P_APPROVE,'N') = "
    "'Y')) order by 1,2";

// Prepares a call in the module's Data, ready for Call or Execute.
void PrepareSelect(transport::TRpcClientModule& Module, const std::string& SQL);
void PrepareExecSql(transport::TRpcClientModule& Module, const std::string& SQL);
void PrepareFormPreviewAvailable(transport::TRpcClientModule& Module, int DocNo);

// The result objects of the asynchronous fetches, one per table, each wired to
// its OnReturn and RequestAborted handlers by WireFetchResults.
struct FetchResults {
  std::shared_ptr<transport::TRpcResult> DocFieldsResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> DocResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> UsersResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> CodesResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> TemplatesResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> DocPermissionsResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> WebFormResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> PublishedDocsResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> LogoResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> GroupsResult = std::make_shared<transport::TRpcResult>();
  std::shared_ptr<transport::TRpcResult> UserGroupLinksResult = std::make_shared<transport::TRpcResult>();
  // Work posted to the loop holds this weakly, so that it does nothing once the
  // module has gone.
  std::shared_ptr<Tdm*> Alive;

  FetchResults() = default;
  ~FetchResults();
  FetchResults(const FetchResults&) = delete;
  FetchResults& operator=(const FetchResults&) = delete;
};

// Hooks the handlers of dm's result objects to the sorting below.
void WireFetchResults(Tdm& dm);

// Sorts one reply by the function called in Data; true when it had the shape
// that function gives. Table and Monitor are null for the commit's replies;
// Sender is null in the deferred second pass.
bool ProcessRpcResult(Tdm& dm, Table* Table, transport::TRpcDataSetMonitor* Monitor,
                      transport::TRpcClientModule* Sender, transport::TRpcValue& Data, transport::TRpcValue& Result);
// A request the transport gave up after its reposts.
void ProcessAbortedRequest(Tdm& dm, Table* Table, transport::TRpcValue& Data);

}  // namespace quillorn::data
