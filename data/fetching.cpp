#include "data/fetching.h"

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "data/proc_name_scope.h"
#include "data/remote_catalogue.h"
#include "data/sql_database.h"
#include "data/tdm.h"
#include "foundation/log.h"

namespace quillorn::data {

namespace {

using foundation::LogException;
using foundation::LogTrace;
using transport::TRpcDataSetMonitor;
using transport::TRpcValue;
using VT = transport::TRpcValueTypes;

std::vector<std::string> SplitKeys(const std::string& keys) {
  std::vector<std::string> out;
  std::size_t start = 0;
  while (start <= keys.size()) {
    std::size_t end = keys.find(';', start);
    if (end == std::string::npos) end = keys.size();
    if (end > start) out.push_back(keys.substr(start, end - start));
    start = end + 1;
  }
  return out;
}

// A reply's value as the field takes it.
Variant FieldValueOf(const transport::TRpcValueObject& value, FieldKind kind) {
  if (kind == FieldKind::Blob) return Variant(value.AsBytes());
  switch (value.ValueType()) {
    case VT::rpc_Text:
    case VT::rpc_String:
    case VT::rpc_WideString:
      return Variant(value.AsString());
    case VT::rpc_Currency:
      return Variant(static_cast<double>(value.AsCurrency()) / static_cast<double>(transport::kCurrencyScale));
    case VT::rpc_DateTime:
      return Variant::FromDateTime(value.AsDateTime());
    default:
      return value.AsVariant();
  }
}

void CopyRow(const transport::TRpcDataRow& row, Table& table, const std::vector<std::string>& keys,
             const std::string& keyFields) {
  if (!keys.empty()) {
    Variant keyValues;
    if (keys.size() > 1) {
      platform::VariantList values;
      for (const std::string& key : keys) values.push_back(row.GetVariant(key));
      keyValues = Variant(std::move(values));
    } else {
      keyValues = row.GetVariant(keys.front());
    }
    if (table.Locate(keyFields, keyValues)) {
      table.Edit();
    } else {
      table.Append();
    }
  } else {
    table.Append();
  }
  for (std::size_t c = 0; c < row.Count(); ++c) {
    const transport::TRpcRecord::Field& column = row.FieldAt(c);
    // Null never overwrites what the cache holds.
    if (column.Value.IsNull()) continue;
    std::optional<Field> field = table.FindField(column.Name);
    if (!field) continue;
    field->SetValue(FieldValueOf(*column.Value.Get(), field->DataType()));
  }
  table.Post();
}

void SaveAfterFetch(Tdm& dm, const std::string& tableName, TRpcDataSetMonitor* monitor) {
  dm.SaveToCache(tableName, monitor);
}

// What one shared table routine needs to know of its table.
struct TableFetch {
  const char* routine;  // its trace and ProcName, without the "dm."
  bool traced;
  Table& table;
  bool& live;
  const char* sql;
  const std::shared_ptr<transport::TRpcResult>& result;
  bool whateverTheState;  // the call goes out even while no server is known to answer
  std::function<void()> afterLoad = {};
  std::function<void()> atEnd = {};
};

void OpenTable(Tdm& dm, const TableFetch& f, Fetch How) {
  foundation::ContextScope scope(dm.Context());
  const std::string procName = std::string("dm.") + f.routine;
  ProcNameScope proc(procName);
  if (f.traced) LogTrace(f.routine, "");
  if (How == Fetch::CacheIsCurrent) f.live = true;
  const bool Refresh = How == Fetch::Refresh;
  dm.LoadFromCache(f.table);
  if (f.afterLoad) f.afterLoad();
  if (!f.live || Refresh) {
    const bool wanted = Refresh || f.table.IsEmpty();
    if (wanted && (f.whateverTheState || dm.mIsServerReachable())) {
      f.live = false;
      FetchData(dm, f.table, f.sql, f.result, nullptr, Wait::No);
    }
  }
  if (f.atEnd) f.atEnd();
}

void OpenApprovalUsers(Tdm& dm) { dm.qApprovalUsers.Open(); }

bool LocateDoc(Tdm& dm, int DocID) { return dm.tblDoc.Locate("doc_id", Variant(DocID)); }

bool LocatePermissions(Tdm& dm, int DocID, int UserID) {
  return dm.tblDocPermissions.Locate("doc_id;user_id", Variant(platform::VariantList{Variant(DocID), Variant(UserID)}));
}

bool LocateWebForm(Tdm& dm, int DocNo) { return dm.tblWebForm.Locate("doc_no", Variant(DocNo)); }

}  // namespace

void OpenDocFields(Tdm& dm, Fetch How) {
  OpenTable(dm, {"OpenDocFields", true, dm.tblDocFields, dm.Live.mDocFieldsLive, kDocFieldsSql, dm.Results.DocFieldsResult,
                 false},
            How);
}

void OpenUsers(Tdm& dm, Fetch How) {
  OpenTable(dm, {"OpenUsers", true, dm.tblUsers, dm.Live.mUsersLive, kUsersSql, dm.Results.UsersResult, false, {},
                 [&dm] {
                   if (dm.Live.mGroupsLive) OpenApprovalUsers(dm);
                 }},
            How);
}

void OpenGroups(Tdm& dm, Fetch How) {
  OpenTable(dm, {"OpenGroups", true, dm.tblGroups, dm.Live.mGroupsLive, kGroupsSql, dm.Results.GroupsResult, false, {},
                 [&dm] {
                   if (dm.Live.mUsersLive) OpenApprovalUsers(dm);
                 }},
            How);
}

void OpenUserGroupLinks(Tdm& dm, Fetch How) {
  OpenTable(dm, {"OpenUserGroupLinks", true, dm.tblUserGroupLinks, dm.Live.mUserGroupLinksLive, kUserGroupLinksSql,
                 dm.Results.UserGroupLinksResult, false, [&dm] { OpenApprovalUsers(dm); }},
            How);
}

void OpenCodes(Tdm& dm, Fetch How) {
  OpenTable(dm, {"OpenCodes", true, dm.tblCodes, dm.Live.mCodesLive, kCodesSql, dm.Results.CodesResult, false}, How);
}

void OpenLogo(Tdm& dm, Fetch How) {
  OpenTable(dm, {"OpenLogo", true, dm.tblLogo, dm.Live.mLogoLive, kLogoSql, dm.Results.LogoResult, true}, How);
}

void OpenTemplates(Tdm& dm, Fetch How) {
  OpenTable(dm, {"OpenTemplates", false, dm.tblTemplates, dm.Live.mTemplatesLive, kTemplatesSql,
                 dm.Results.TemplatesResult, true,
                 [&dm, How] {
                   // Each row of the reply clears its mark as it is edited or added.
                   if (How == Fetch::Refresh) dm.cacheExecSQL("update templates set old=true");
                 }},
            How);
}

void SweepTemplates(Tdm& dm) {
  foundation::ContextScope scope(dm.Context());
  dm.cacheExecSQL("delete from templates where old=true");
  // The reader sees the table as the cache holds it now.
  if (dm.tblTemplates.Active()) dm.tblTemplates.Refresh();
}

void OpenFiles(Tdm& dm) { dm.LoadFromCache(dm.tblFiles); }

bool OpenPublishedDocs(Tdm& dm) {
  dm.LoadFromCache(dm.tblPublishedDocs);
  return true;
}

bool DocIsCached(Tdm& dm, int DocID) {
  dm.LoadFromCache(dm.tblDoc);
  return LocateDoc(dm, DocID);
}

bool DocPermissionsIsCached(Tdm& dm, int DocID, int UserID) {
  dm.LoadFromCache(dm.tblDocPermissions);
  return LocatePermissions(dm, DocID, UserID);
}

bool OpenDoc(Tdm& dm, int DocID, Fetch How, Wait Waiting) {
  const bool Refresh = How == Fetch::Refresh;
  const bool Blocking = Waiting == Wait::ForAnswer;
  foundation::ContextScope scope(dm.Context());
  LogTrace("OpenDoc", "doc_id:" + std::to_string(DocID));
  ProcNameScope proc("dm.OpenDoc");
  dm.LoadFromCache(dm.tblDoc);
  if (!Refresh) return LocateDoc(dm, DocID);
  if (Blocking && !dm.mIsServerReachable()) {
    if (!LocateDoc(dm, DocID)) dm.ConnectToServer(true);
  }
  if (dm.mIsServerReachable()) {
    FetchData(dm, dm.tblDoc, ViewDocSql(DocID), dm.Results.DocResult, &dm.monDoc, Waiting);
    // Not blocking, the rows come later and nothing is known yet.
    return Blocking && LocateDoc(dm, DocID);
  }
  // Refresh asked for the server's row, and there is no server: even a cached row is no answer.
  return false;
}

bool OpenDocPermissions(Tdm& dm, int DocID, int UserID, Fetch How, Wait Waiting) {
  const bool Refresh = How == Fetch::Refresh;
  const bool Blocking = Waiting == Wait::ForAnswer;
  foundation::ContextScope scope(dm.Context());
  LogTrace("OpenDocPermissions", "doc_id:" + std::to_string(DocID));
  ProcNameScope proc("dm.OpenDocPermissions");
  dm.LoadFromCache(dm.tblDocPermissions);
  if (!Refresh) return LocatePermissions(dm, DocID, UserID);
  if (Blocking && !dm.mIsServerReachable()) {
    // mUserID is never assigned: this finds no row for a real user, and the ping always follows.
    if (!LocatePermissions(dm, DocID, dm.mUserID)) dm.ConnectToServer(true);
  }
  if (dm.mIsServerReachable()) {
    FetchData(dm, dm.tblDocPermissions, DocPermissionsSql(DocID, UserID), dm.Results.DocPermissionsResult, nullptr,
              Waiting);
    return Blocking && LocatePermissions(dm, DocID, UserID);
  }
  return false;
}

bool OpenWebForm(Tdm& dm, int DocNo, Fetch How, Wait Waiting) {
  foundation::ContextScope scope(dm.Context());
  ProcNameScope proc("dm.OpenWebForm");
  if (How == Fetch::CacheIsCurrent) dm.Live.mWebFormLive = true;
  const bool Refresh = How == Fetch::Refresh;
  const bool Blocking = Waiting == Wait::ForAnswer;
  dm.LoadFromCache(dm.tblWebForm);
  if (dm.Live.mWebFormLive && !Refresh) return false;
  if (Blocking && !dm.mIsServerReachable()) {
    if (!LocateWebForm(dm, DocNo)) dm.ConnectToServer(true);
  }
  if (dm.mIsServerReachable()) {
    FetchData(dm, dm.tblWebForm, WebFormSql(DocNo), dm.Results.WebFormResult, &dm.monWebForm, Waiting);
  }
  return Blocking && LocateWebForm(dm, DocNo);
}

bool FetchData(Tdm& dm, Table& Table, const std::string& SQL,
               const std::shared_ptr<transport::TRpcResult>& ResultObject, TRpcDataSetMonitor* Monitor,
               Wait Waiting) {
  foundation::ContextScope scope(dm.Context());
  const bool Blocking = Waiting == Wait::ForAnswer;
  LogTrace(Blocking ? "SERVER CALL from FetchData (WAIT FOR RESULT)" : "SERVER CALL from FetchData",
           "select SQL: " + SQL);
  transport::TRpcClientModule& module = dm.Connection.ClientModule;
  PrepareSelect(module, SQL);
  if (!Blocking) {
    module.Call(ResultObject);
    return true;
  }
  TRpcValue data = module.Data();
  TRpcValue reply = module.Execute(false, dm.CurrentServerTimeout());
  switch (reply.ValueType()) {
    case VT::rpc_DataSet:
      ProcessDatasetResult(dm, Table, Monitor, data, reply);
      // monDoc whichever table it was: as the commit has always been handed it.
      SaveAfterFetch(dm, Table.TableName(), &dm.monDoc);
      return true;
    case VT::rpc_Exception:
      LogException(nullptr, "Server-side exception after Select:\r\n" + reply.AsException().TextForm());
      return false;
    default:
      LogException(nullptr, "Unexpected Result after Select");
      return false;
  }
}

void ProcessDatasetResult(Tdm& dm, Table& Table, TRpcDataSetMonitor* Monitor, TRpcValue& /*Data*/,
                          TRpcValue& RpcData) {
  foundation::ContextScope scope(dm.Context());
  if (Monitor != nullptr) {
    // Switching the monitor off drops its record: what the user changed before
    // the rows came is written as a delta first, so that it is never lost.
    if (Monitor->Changed()) SaveAfterFetch(dm, Table.TableName(), Monitor);
    Monitor->SetActive(false);
  }
  Table.DisableControls();
  if (!Table.Active()) Table.Open();
  int count = 0;
  try {
    count = CopyRpcDataSetRowsToLocal(RpcData.AsDataSet(), Table, Table.IndexFieldNames());
  } catch (...) {
    Table.EnableControls();
    if (Monitor != nullptr) Monitor->SetActive(true);
    throw;
  }
  LogTrace("ProcessRpcResult", "function: select " + Table.Name + "\r\t" + "CopyRpcDataSetRowsToLocal" + "\t" +
                                   "Rows: " + std::to_string(count));
  Table.EnableControls();
  if (Monitor != nullptr) Monitor->SetActive(true);
  Table.First();
}

int CopyRpcDataSetRowsToLocal(const transport::TRpcDataSet& RpcData, Table& Table, const std::string& KeyFields) {
  ProcNameScope proc("dm.CopyRpcDataSetRowsToLocal");
  std::optional<Transaction> transaction;
  try {
    const std::vector<std::string> keys = SplitKeys(KeyFields);
    if (keys.empty()) {
      // A table without a key is replaced whole.
      Table.Close();
      Table.database().Execute("delete from " + Table.TableName());
      Table.Open();
    }
    static const transport::TRpcDataRow kNoData;
    // One commit for the whole reply. A row is one statement, which SQLite
    // undoes alone when it fails, so a failing row is still only skipped.
    transaction.emplace(Table.database());
    for (std::size_t i = 0; i < RpcData.RowCount(); ++i) {
      const transport::TRpcDataRow* row = RpcData.Row(i);
      try {
        CopyRow(row != nullptr ? *row : kNoData, Table, keys, KeyFields);
      } catch (const std::exception& e) {
        LogException(e, "ERROR on posting to " + Table.Name);
        Table.Cancel();
      }
    }
    transaction->Commit();
    return static_cast<int>(RpcData.RowCount());
  } catch (const std::exception& e) {
    // The rows copied before the failure stay, as they did row by row.
    try {
      if (transaction) transaction->Commit();
    } catch (const std::exception&) {
    }
    LogException(nullptr, "ERROR in CopyRpcDataSetRowsToLocal for " + Table.Name + "\r" + e.what());
    return 0;
  }
}

}  // namespace quillorn::data
