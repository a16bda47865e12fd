#include "data/remote_catalogue.h"

#include <exception>
#include <string>
#include <utility>

#include "data/fetching.h"
#include "data/tdm.h"
#include "foundation/log.h"

namespace quillorn::data {

namespace {

using foundation::LogException;
using foundation::LogTrace;
using transport::TRpcClientModule;
using transport::TRpcDataSetMonitor;
using transport::TRpcValue;
using transport::TRpcValueTypes;
using VT = TRpcValueTypes;

std::string FunctionName(const TRpcValue& data) {
  if (data.ValueType() != VT::rpc_Function) return {};
  return data.AsFunction().Name();
}

void LogServerException(const std::string& after, const TRpcValue& result) {
  LogException(nullptr, "Server-side exception after " + after + ":\r\n" + result.AsException().TextForm());
}

// Asks for the handler's second run from the main loop, outside the reply's event.
void PostSecondPass(Tdm& dm, Table* table, TRpcDataSetMonitor* monitor, const TRpcValue& data,
                    const TRpcValue& result) {
  std::weak_ptr<Tdm*> alive = dm.Results.Alive;
  auto pass = [alive, table, monitor, call = TRpcValue(data), reply = TRpcValue(result)]() mutable {
    if (auto self = alive.lock()) ProcessRpcResult(**self, table, monitor, nullptr, call, reply);
  };
  dm.Connection.HttpClient.Loop().Post(std::move(pass));
}

bool SelectReturned(Tdm& dm, Table* table, TRpcDataSetMonitor* monitor, TRpcClientModule* sender, TRpcValue& data,
                    TRpcValue& result) {
  switch (result.ValueType()) {
    case VT::rpc_DataSet:
      LogTrace("ProcessRpcResult", "select");
      if (table != nullptr) ProcessDatasetResult(dm, *table, monitor, data, result);
      // Rows that came while the module thinks itself offline get a second run;
      // they never make it online by themselves.
      if (!dm.mIsServerReachable() && sender != nullptr) PostSecondPass(dm, table, monitor, data, result);
      return true;
    case VT::rpc_Exception:
      LogServerException("Select", result);
      return false;
    default:
      LogException(nullptr, "Unexpected Result after Select");
      return false;
  }
}

// The commit reads what its own calls' replies mean.
bool SubmitReturned(Tdm& dm, TRpcValue& result) { return dm.Commit.ProcessSubmitResult(result); }

bool SendFileReturned(Tdm& dm, TRpcValue& result) { return dm.Commit.ProcessSendFileResult(result); }

// Runs one handler in the module's log context; what it raises is logged, as
// nothing above a reply's handler could do more.
template <typename Body>
void Handle(Tdm& dm, const char* name, Body&& body) {
  foundation::ContextScope scope(dm.Context());
  try {
    body();
  } catch (const std::exception& e) {
    LogException(e, name);
  }
}

void SaveAfterFetch(Tdm& dm, Table& table, TRpcDataSetMonitor* monitor) { dm.SaveToCache(table.TableName(), monitor); }

// ---- the return handlers ----------------------------------------------------

void DocFieldsResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  ProcessRpcResult(dm, &dm.tblDocFields, &dm.monDocFields, sender, data, result);
  SaveAfterFetch(dm, dm.tblDocFields, &dm.monDocFields);
  dm.Live.mDocFieldsLive = true;
  if (dm.AddIn != nullptr) {
    dm.AddIn->RefreshDocFields();
    dm.AddIn->PopulateCustomFields();
  }
}

void DocResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  ProcessRpcResult(dm, &dm.tblDoc, &dm.monDoc, sender, data, result);
  SaveAfterFetch(dm, dm.tblDoc, &dm.monDoc);
}

void UsersResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  ProcessRpcResult(dm, &dm.tblUsers, &dm.monUsers, sender, data, result);
  SaveAfterFetch(dm, dm.tblUsers, &dm.monUsers);
  dm.qApprovalUsers.Close();
  dm.qApprovalUsers.Open();
  dm.Live.mUsersLive = true;
}

void CodesResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  ProcessRpcResult(dm, &dm.tblCodes, &dm.monCodes, sender, data, result);
  SaveAfterFetch(dm, dm.tblCodes, &dm.monCodes);
  dm.Live.mCodesLive = true;
}

void GroupsResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  dm.Live.mGroupsLive = ProcessRpcResult(dm, &dm.tblGroups, nullptr, sender, data, result);
}

void UserGroupLinksResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  dm.Live.mUserGroupLinksLive = ProcessRpcResult(dm, &dm.tblUserGroupLinks, nullptr, sender, data, result);
}

void LogoResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  dm.Live.mLogoLive = ProcessRpcResult(dm, &dm.tblLogo, nullptr, sender, data, result);
}

void TemplatesResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  ProcessRpcResult(dm, &dm.tblTemplates, nullptr, sender, data, result);
  SweepTemplates(dm);
  dm.Live.mTemplatesLive = true;
  if (dm.AddIn != nullptr) dm.AddIn->RefreshTemplateQuery();
}

void DocPermissionsResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  ProcessRpcResult(dm, &dm.tblDocPermissions, nullptr, sender, data, result);
  if (dm.AddIn != nullptr) dm.AddIn->SetQuillornRibbonButtonStates();
}

void WebFormResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  ProcessRpcResult(dm, &dm.tblWebForm, &dm.monWebForm, sender, data, result);
  SaveAfterFetch(dm, dm.tblWebForm, &dm.monWebForm);
}

void PublishedDocsResultReturn(Tdm& dm, TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
  ProcessRpcResult(dm, &dm.tblPublishedDocs, &dm.monPublishedDocs, sender, data, result);
}

using ReturnHandler = void (*)(Tdm&, TRpcClientModule*, TRpcValue&, TRpcValue&);

// One result object: its return handler, and an aborted handler that gives the
// reader what the cache holds.
void Wire(Tdm& dm, transport::TRpcResult& object, const char* returnName, ReturnHandler onReturn,
          const char* abortedName, Table& table) {
  Tdm* module = &dm;
  object.OnReturn = [module, returnName, onReturn](TRpcClientModule* sender, TRpcValue& data, TRpcValue& result) {
    Handle(*module, returnName, [&] { onReturn(*module, sender, data, result); });
  };
  Table* target = &table;
  object.RequestAborted = [module, abortedName, target](TRpcClientModule*, TRpcValue& data, TRpcValue&) {
    Handle(*module, abortedName, [&] { ProcessAbortedRequest(*module, target, data); });
  };
}

}  // namespace

std::string ViewDocSql(int DocID) { return "SELECT * from VIEW_DOC(" + std::to_string(DocID) + ")"; }

std::string DocPermissionsSql(int DocID, int UserID) {
  const std::string doc = std::to_string(DocID);
  const std::string user = std::to_string(UserID);
  return "select " + doc + " as doc_id, " + user +
         " as user_id, p_create, p_edit, p_delete, p_move, p_view, p_approve, p_revise, p_checkout, "
         "p_print_unctrl, p_export, p_change_permission from get_doc_permissions(" +
         doc + ", " + user + ")";
}

std::string WebFormSql(int DocNo) {
  return "SELECT DOC_NO, TEMPLATE_NAME, HTML_FORM, LAST_EXTRACTED, FIELDS_USED, REGISTER_NAME FROM FORMS where "
         "DOC_NO = " +
         std::to_string(DocNo);
}

std::string TemplateSourceSql(int DocNo) {
  return "select doc_no, source, status_date, seq, framework, file_type from docs where is_current='Y' and "
         "status='A' and doc_no=" +
         std::to_string(DocNo);
}

void PrepareSelect(TRpcClientModule& Module, const std::string& SQL) {
  Module.Prepare(kFnSelect).SetText("sql", SQL);
}

void PrepareExecSql(TRpcClientModule& Module, const std::string& SQL) {
  Module.Prepare(kFnExecSql).SetString("sql", SQL);
}

void PrepareFormPreviewAvailable(TRpcClientModule& Module, int DocNo) {
  Module.Prepare(kFnFormPreviewAvailable).SetInteger("doc_no", DocNo);
}

FetchResults::~FetchResults() {
  Alive.reset();
  for (auto* object : {&DocFieldsResult, &DocResult, &UsersResult, &CodesResult, &TemplatesResult,
                       &DocPermissionsResult, &WebFormResult, &PublishedDocsResult, &LogoResult, &GroupsResult,
                       &UserGroupLinksResult}) {
    // A reply still under way finds handlers that do nothing.
    (*object)->OnReturn = nullptr;
    (*object)->RequestAborted = nullptr;
  }
}

void WireFetchResults(Tdm& dm) {
  FetchResults& r = dm.Results;
  r.Alive = std::make_shared<Tdm*>(&dm);
  Wire(dm, *r.DocFieldsResult, "DocFieldsResultReturn", DocFieldsResultReturn, "DocFieldsResultRequestAborted",
       dm.tblDocFields);
  Wire(dm, *r.DocResult, "DocResultReturn", DocResultReturn, "DocResultRequestAborted", dm.tblDoc);
  Wire(dm, *r.UsersResult, "UsersResultReturn", UsersResultReturn, "UsersResultRequestAborted", dm.tblUsers);
  Wire(dm, *r.CodesResult, "CodesResultReturn", CodesResultReturn, "CodesResultRequestAborted", dm.tblCodes);
  Wire(dm, *r.TemplatesResult, "TemplatesResultReturn", TemplatesResultReturn, "TemplatesResultRequestAborted",
       dm.tblTemplates);
  Wire(dm, *r.DocPermissionsResult, "DocPermissionsResultReturn", DocPermissionsResultReturn,
       "DocPermissionsResultRequestAborted", dm.tblDocPermissions);
  Wire(dm, *r.WebFormResult, "WebFormResultReturn", WebFormResultReturn, "WebFormResultRequestAborted",
       dm.tblWebForm);
  Wire(dm, *r.PublishedDocsResult, "PublishedDocsResultReturn", PublishedDocsResultReturn,
       "PublishedDocsResultRequestAborted", dm.tblPublishedDocs);
  Wire(dm, *r.LogoResult, "LogoResultReturn", LogoResultReturn, "LogoResultRequestAborted", dm.tblLogo);
  Wire(dm, *r.GroupsResult, "GroupsResultReturn", GroupsResultReturn, "GroupsResultRequestAborted", dm.tblGroups);
  Wire(dm, *r.UserGroupLinksResult, "UserGroupLinksResultReturn", UserGroupLinksResultReturn,
       "UserGroupLinksResultRequestAborted", dm.tblUserGroupLinks);
}

bool ProcessRpcResult(Tdm& dm, Table* Table, TRpcDataSetMonitor* Monitor, TRpcClientModule* Sender,
                      TRpcValue& Data, TRpcValue& Result) {
  foundation::ContextScope scope(dm.Context());
  const std::string function = FunctionName(Data);
  if (function == kFnSelect) return SelectReturned(dm, Table, Monitor, Sender, Data, Result);
  if (function == kFnSubmit) return SubmitReturned(dm, Result);
  if (function == kFnSendFile) return SendFileReturned(dm, Result);
  if (function == kFnYouThere) {
    // The connection owns the ping's answer, with its deferred second pass.
    dm.Connection.ResultFromCommitToServerReturn(Sender, Data, Result);
    return Result.ValueType() == VT::rpc_Boolean && Result.AsBoolean();
  }
  return false;
}

void ProcessAbortedRequest(Tdm& dm, Table* Table, TRpcValue& Data) {
  foundation::ContextScope scope(dm.Context());
  const std::string function = FunctionName(Data);
  if (function == kFnSelect) {
    LogTrace("SERVER CALL ABORTED", "function: select " + (Table != nullptr ? Table->Name : std::string()));
    if (Table != nullptr) dm.LoadFromCache(*Table);
  } else if (function == kFnSubmit) {
    // The commit's result object has no table: the call names its own.
    dm.Commit.ProcessSubmitAborted(Table != nullptr ? Table->Name : Data.AsFunction().GetString("table"));
  } else if (function == kFnYouThere) {
    TRpcValue none;
    dm.Connection.ResultFromCommitToServerRequestAborted(nullptr, Data, none);
  } else {
    LogException(nullptr, "Error communicating with the Server.");
  }
}

}  // namespace quillorn::data
