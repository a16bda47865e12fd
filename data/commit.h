// The commit: delta files submitted to the server one batch per table, oldest
// first, each under the user who made it; saved document files sent by
// "sendfile"; and what the server's replies to both mean for the cache. A delta
// leaves the folder as soon as its call is queued, so that it is never applied
// twice; a document file stays marked until the server confirms it.
#pragma once

#include <string>

#include "transport/rpc_client_module.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

class Tdm;

// The desktop program's main window, tried by these titles in this order.
inline constexpr char kDesktopWindowClass[] = "TApplication";
inline constexpr const char* kDesktopWindowTitles[] = {"Quillorn", "Quillorn Desk", "Quillorn 3"};
inline constexpr char kRefreshDocsMessage[] = "cmsRefreshDocs";

class TdmCommit {
 public:
  explicit TdmCommit(Tdm& dm) : dm_(dm) {}
  TdmCommit(const TdmCommit&) = delete;
  TdmCommit& operator=(const TdmCommit&) = delete;

  // Queues a "submit" for every delta file of TableName in one batch.
  void CommitToServer(const std::string& TableName, const std::string& KeyFields);
  // Everything that waits, once per connection: the documents' rows before
  // their files, the files before what was published from them.
  void CommitCache();
  // Marks the current row of tblFiles as saved, and sends it when online.
  void SaveDocument();
  // Sends every saved file that is not checked out, without waiting.
  void PostDocsToServer();

  // The replies on ResultFromCommitToServer, sorted by function; each returns
  // true when the reply had the expected shape. The remote catalogue calls them.
  bool ProcessSubmitResult(const transport::TRpcValue& Result);
  bool ProcessSendFileResult(const transport::TRpcValue& Result);
  // An aborted "submit" is lost for this client; nothing but a trace.
  void ProcessSubmitAborted(const std::string& TableComponentName);

 private:
  // Deletes a delta file that is still there, and its CACHELOG row.
  void RemoveDelta(const std::string& FileName);
  void PostRefreshDocs();

  Tdm& dm_;
};

}  // namespace quillorn::data
