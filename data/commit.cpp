#include "data/commit.h"

#include <exception>
#include <stdexcept>
#include <vector>

#include "data/change_capture.h"
#include "data/proc_name_scope.h"
#include "data/sql_database.h"
#include "data/tdm.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "platform/window_messages.h"

namespace quillorn::data {

namespace {

using foundation::LogException;
using foundation::LogTrace;
using transport::TRpcValue;
using transport::TRpcValueTypes;

// The whole file as bytes; a file that has gone (another host committed it
// first) reads as nothing.
std::string GetLogContent(platform::SystemServices& System, const std::string& FileName) {
  std::string content;
  System.ReadFile(FileName, content);
  return content;
}

bool IsString(const TRpcValue& value) {
  switch (value.ValueType()) {
    case TRpcValueTypes::rpc_Text:
    case TRpcValueTypes::rpc_String:
    case TRpcValueTypes::rpc_WideString:
      return true;
    default:
      return false;
  }
}

bool IsInteger(const TRpcValue& value) {
  switch (value.ValueType()) {
    case TRpcValueTypes::rpc_Integer:
    case TRpcValueTypes::rpc_Cardinal:
    case TRpcValueTypes::rpc_LargeInt:
      return true;
    default:
      return false;
  }
}

bool StartsWith(const std::string& text, std::string_view prefix) { return text.rfind(prefix, 0) == 0; }

// Posts the batch that was opened, whatever happens on the way: the deltas
// queued so far have already left the folder, so the batch must go.
class BatchScope {
 public:
  explicit BatchScope(transport::TRpcClientModule& module) : module_(module) { module_.StartCalls(); }
  ~BatchScope() {
    try {
      module_.Post();
    } catch (const std::exception& e) {
      LogException(e, "CommitToServer");
    }
  }
  BatchScope(const BatchScope&) = delete;
  BatchScope& operator=(const BatchScope&) = delete;

 private:
  transport::TRpcClientModule& module_;
};

}  // namespace

void TdmCommit::RemoveDelta(const std::string& FileName) {
  platform::SystemServices& system = dm_.System();
  const std::string path = dm_.Folders().CacheDir + FileName;
  if (!system.FileExists(path)) return;
  system.DeleteFile(path);
  dm_.cacheExecSQL("delete from CACHELOG where FILENAME = '" + FileName + "'");
}

void TdmCommit::CommitToServer(const std::string& TableName, const std::string& KeyFields) {
  ProcNameScope proc("dm.CommitToServer");
  const std::string& cacheDir = dm_.Folders().CacheDir;
  const std::vector<std::string> names = CacheFilesOf(dm_.System(), cacheDir, TableName);
  if (names.empty()) return;
  transport::TRpcClientModule& module = dm_.Connection.ClientModule;
  BatchScope batch(module);
  // The owners' lookups and the log's deletes of one batch as one commit; the
  // calls only queue here, so the cache isn't held while the server works.
  Transaction transaction(dm_.Cache.CacheDB());
  try {
    for (const std::string& name : names) {
      const std::string content = GetLogContent(dm_.System(), cacheDir + name);
      int userId = dm_.UserID;
      const Variant owner = dm_.cacheLookup("select USER_ID from CACHELOG where FILENAME = '" + name + "'");
      if (owner.IsEmptyOrNull()) {
        LogException(nullptr, "WARNING: Do not know who\"" + name + "\" belongs to! Defaulting to current user.");
      } else {
        userId = owner.AsInt();
      }
      LogTrace("SERVER CALL from CommitToServer",
               "submit\r\ttbl:\t" + TableName + "\r\t" + "keyfields:\t" + KeyFields);
      transport::TRpcFunctionInfo& call = module.Prepare("submit");
      call.SetInteger("user_id", userId);
      call.SetText("table", TableName);
      if (!KeyFields.empty()) call.SetText("keyfields", KeyFields);
      call.SetText("logname", name);
      if (content.empty()) {
        call.SetNull("change_data");
      } else {
        try {
          call.SetCode("change_data", content);
        } catch (const std::exception& e) {
          // A damaged delta stays where it is, for someone to look at; sending
          // it would only fail on the server, and deleting it would lose it.
          module.ClearData();
          LogException(e, "Delta file: " + name);
          continue;
        }
      }
      module.Call(dm_.Connection.ResultFromCommitToServer);
      // From here the change lives in the queued call only: a delta is never
      // submitted twice, since the server would apply it twice.
      RemoveDelta(name);
    }
  } catch (...) {
    // The files already went with their calls: their log rows go too.
    try {
      transaction.Commit();
    } catch (const std::exception&) {
    }
    throw;
  }
  transaction.Commit();
}

void TdmCommit::CommitCache() {
  TdmConnection& connection = dm_.Connection;
  if (connection.mChacheComitted || !connection.mIsServerReachable) return;
  ProcNameScope proc("dm.CommitCache");
  LogTrace("CommitCache", "");
  connection.mChacheComitted = true;
  CommitToServer("DOCS", "DOC_ID");
  CommitToServer("CODES", "");
  PostDocsToServer();
  CommitToServer("PUBLISHED_DOCS", "DOC_NO;SOURCE_TYPE");
  CommitToServer("FORMS", "DOC_NO");
}

void TdmCommit::SaveDocument() {
  ProcNameScope proc("dm.SaveDocument");
  if (!dm_.tblFiles.Active()) {
    LogException(nullptr, "tblFiles not Open!");
    return;
  }
  dm_.cacheExecSQL("update FILES set CACHED=true, LAST_SAVED=NOW where doc_id=" +
                   std::to_string(dm_.tblFiles.FieldByName("DOC_ID").AsInteger()));
  if (dm_.Connection.mIsServerReachable) PostDocsToServer();
}

void TdmCommit::PostDocsToServer() {
  ProcNameScope proc("dm.PostDocsToServer");
  LogTrace("PostDocsToServer", "...");
  // A send pumps messages; a save that arrives meanwhile must not start another.
  if (dm_.Connection.mPostInProgress) return;
  dm_.LoadFromCache(dm_.tblFiles);  // OpenFiles: FILES never comes from a server
  const foundation::ReentryFlag::Scope inProgress = dm_.Connection.mPostInProgress.SetWhile();
  const ResultSet files = dm_.Cache.CacheDB().Query("select * from FILES where CACHED=true and CHECKED_OUT<>true");
  const int fileNameAt = files.ColumnIndex("FILENAME");
  const int docIdAt = files.ColumnIndex("DOC_ID");
  const int userIdAt = files.ColumnIndex("USER_ID");
  transport::TRpcClientModule& module = dm_.Connection.ClientModule;
  for (const std::vector<Variant>& row : files.rows) {
    const std::string fileName = row[fileNameAt].AsString();
    if (fileName.empty() || !dm_.System().FileExists(fileName)) continue;
    std::string bytes;
    // Read with sharing for others: the host still has the document open.
    if (!dm_.System().ReadFile(fileName, bytes)) throw std::runtime_error("Cannot open file \"" + fileName + "\".");
    const std::int32_t docId = row[docIdAt].IsEmptyOrNull() ? 0 : row[docIdAt].AsInt();
    LogTrace("SERVER CALL from SaveDocument", "sendfile " + fileName + "(size: " + std::to_string(bytes.size()) +
                                                  ")\r\tdoc_id: " + std::to_string(docId));
    transport::TRpcFunctionInfo& call = module.Prepare("sendfile");
    call.SetInteger("user_id", row[userIdAt].IsEmptyOrNull() ? 0 : row[userIdAt].AsInt());
    call.SetInteger("doc_id", docId);
    call.SetByteStream("file", bytes);
    module.Call(dm_.Connection.ResultFromCommitToServer);
  }
}

void TdmCommit::PostRefreshDocs() {
  platform::WindowMessages* messages = dm_.Messages;
  platform::WindowHandle window = 0;
  if (messages != nullptr) {
    for (const char* title : kDesktopWindowTitles) {
      window = messages->FindWindow(kDesktopWindowClass, title);
      if (window != 0) break;
    }
  }
  // Without the desktop program the post goes nowhere, as a post to no window does.
  if (messages != nullptr && window != 0) messages->Post(window, messages->RegisterMessage(kRefreshDocsMessage), 0, 0);
}

bool TdmCommit::ProcessSubmitResult(const TRpcValue& Result) {
  if (IsString(Result)) {
    const std::string logname = Result.AsString();
    RemoveDelta(logname);
    if (StartsWith(logname, "DOCS")) PostRefreshDocs();
    // Published copies are bulky and wanted only until the server has them.
    if (StartsWith(logname, "PUBLISHED_DOCS")) {
      dm_.cacheExecSQL("delete from PUBLISHED_DOCS");
      // The open set still holds the deleted rows: the next publish in this
      // session would edit a row that is gone, its post would touch nothing
      // and its forms would never reach the server. Re-reading is no change of
      // ours, so nothing is captured to send.
      if (dm_.tblPublishedDocs.Active()) dm_.tblPublishedDocs.Refresh();
    }
    return true;
  }
  if (Result.ValueType() == TRpcValueTypes::rpc_Boolean && Result.AsBoolean()) return true;
  if (Result.ValueType() == TRpcValueTypes::rpc_Exception) {
    LogException(nullptr, "Server-side exception after Submit:\r\n" + Result.AsException().TextForm());
  } else {
    LogException(nullptr, "Unexpected Result after Submit");
  }
  return false;
}

bool TdmCommit::ProcessSendFileResult(const TRpcValue& Result) {
  if (IsInteger(Result)) {
    const std::string docId = std::to_string(Result.AsLargeInt());
    LogTrace("ProcessRpcResult", "function: sendfile \r\tresult: " + docId);
    dm_.cacheExecSQL("update FILES set cached=false where doc_id=" + docId);
    return true;
  }
  if (Result.ValueType() == TRpcValueTypes::rpc_Exception) {
    LogException(nullptr, "Server-side exception after SendFile:\r\n" + Result.AsException().TextForm());
  } else {
    LogException(nullptr, "Unexpected Result after SendFile");
  }
  return false;
}

void TdmCommit::ProcessSubmitAborted(const std::string& TableComponentName) {
  LogTrace("SERVER CALL ABORTED", "function: submit " + TableComponentName);
}

}  // namespace quillorn::data
