// TRpcClientModule: turns prepared calls into requests on a TRpcHttpClient and
// replies into results. It keeps the session (from the server's cookie), runs
// the HELLO/START key exchange, enciphers and compresses bodies, reposts and
// resets after failures, and hands each result to its TRpcResult on the main
// thread. It never blocks the main thread without pumping its loop.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "transport/message_body.h"
#include "transport/rpc_crypt_client.h"
#include "transport/rpc_http_client.h"
#include "transport/rpc_result.h"
#include "transport/rpc_value.h"

namespace quillorn::transport {

// Ordered name=value pairs of a request's query; setting a name keeps its place.
class TRpcQuery {
 public:
  void Set(const std::string& name, const std::string& value);
  void Remove(const std::string& name);
  const std::string* Find(const std::string& name) const;
  std::string Text() const;  // "a=1&b=2"

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
};

// One request of the module: a handshake step or a batch of calls.
struct TRpcModuleRequest : TRpcHttpRequest {
  enum class Kind { Calls, Hello, Start };
  Kind What = Kind::Calls;
  TRpcQuery Query;
  // The calls array: each call and, beside it, its result handler.
  std::vector<TRpcValue> Calls;
  std::vector<std::shared_ptr<TRpcResult>> Results;
  bool Built = false;   // the code was packed (once, on first sending)
  std::string Packed;   // the packed code, before enciphering
  bool Compressed = false;
  int RepostCount = 0;  // counted reposts so far
  int Sends = 0;        // times it went out
  bool Reposting = false;
  bool Cancelled = false;  // replies are still read, for the streams' sake, but delivered to no one
  std::string SentId;      // the session field it carried, empty if none
  std::string ErrorText;   // the response error text, if one was stored
  // A handshake step: the call request it was placed ahead of.
  std::weak_ptr<TRpcModuleRequest> Ahead;
};

class TRpcClientModule : public TRpcRequestOwner {
 public:
  explicit TRpcClientModule(TRpcHttpClient& client);  // the client must outlive the module
  ~TRpcClientModule() override;
  TRpcClientModule(const TRpcClientModule&) = delete;
  TRpcClientModule& operator=(const TRpcClientModule&) = delete;

  // Configuration; what isn't set stands at the first choice of each setting.
  std::string ModuleFileName = "/";
  std::string ModuleHost;
  TRpcCompressLevel Compression = TRpcCompressLevel::cNone;
  int EncryptionKey = 0;  // bytes of each random key half; 0 is no encryption
  std::string SecureKey;
  bool ForceEncryption = false;
  bool AutoSessions = false;
  std::string AutoSessionField;  // empty means "ID"
  int AutoRepost = 0;            // negative: without limit
  bool AutoSyncEvents = true;    // results always arrive on the main thread here

  // Events, on the main thread.
  std::function<void()> OnSessionExpired;
  std::function<void()> OnEncryptRequired;
  std::function<void()> OnEncryptWrongKey;
  std::function<void()> OnEncryptNotSupported;
  std::function<void()> OnResponseError;
  std::function<void()> OnResponseAbort;
  std::function<void(const TRpcModuleRequest& request, bool& repost)> OnRepostCheck;

  // Building calls: Prepare starts a function in Data, Call moves it into the
  // open request (posting at once outside StartCalls/Post).
  TRpcFunctionInfo& Prepare(const std::string& name);
  TRpcValue& Data() noexcept { return data_; }
  void Call(std::shared_ptr<TRpcResult> result, bool fromInsideEvent = false);
  void StartCalls();
  void Post();

  // Blocking: sends Data, pumps the main loop until its result, and returns it.
  // A timeout of 0 waits without limit. Raises ERpcExecuteError.
  TRpcValue Execute(bool autoFreeResult, int timeoutSeconds, bool allowMessageProcessing = true);

  void CancelCalls();
  void ClearData() { data_.Clear(); }
  // Pumps until none of the module's requests is queued or on the wire; false on timeout.
  bool WaitForCompletion(int timeoutSeconds);
  void ResetLogin() {}  // no login step is configured on this side

  // The session as the server's cookie set it; empty when none is open.
  const std::string& SessionId() const noexcept { return session_.Id; }
  void CloseSession();
  // The key state of the open session (or of the no-session state), or null.
  TRpcCryptClient* KeyState();
  TRpcHttpClient& Client() noexcept { return client_; }

  // TRpcRequestOwner, called by the connection on the main thread.
  TRpcPreparedRequest BeginRequest(const std::shared_ptr<TRpcHttpRequest>& request) override;
  void DataReceived(const std::shared_ptr<TRpcHttpRequest>& request, TRpcHttpResponse& response) override;
  void RequestLost(const std::shared_ptr<TRpcHttpRequest>& request) override;

 private:
  using RequestPtr = std::shared_ptr<TRpcModuleRequest>;

  std::string SessionField() const { return AutoSessionField.empty() ? "ID" : AutoSessionField; }
  std::string KeyStateName() const;
  TRpcCryptClient& NewKeyState();
  void RemoveKeyState();
  void OpenSession(const std::string& id);
  std::string Path() const;
  void SendRequest(RequestPtr request);

  TRpcPreparedRequest BeginCalls(const RequestPtr& request);
  TRpcPreparedRequest BeginHello(const RequestPtr& request);
  TRpcPreparedRequest BeginStart(const RequestPtr& request);
  TRpcPreparedRequest Finish(const RequestPtr& request, std::string body);

  // Reply handling.
  void HelloReply(const RequestPtr& request, TRpcHttpResponse& response, const std::string* cookie);
  void StartReply(const RequestPtr& request, TRpcHttpResponse& response);
  void CallsReply(const RequestPtr& request, TRpcHttpResponse& response);
  // A 200 reply to a handshake step with an empty body: the server works clear.
  void DeclinedReply(const RequestPtr& request);
  void StatusReply(const RequestPtr& request, int status, const std::string& text);
  void ResponseError(const RequestPtr& request, int status, const std::string& text);
  void WrongKey(const RequestPtr& request);
  void OutOfStep(const RequestPtr& request);
  void EncryptionNotSupported(const RequestPtr& request);
  void RepostCheck(const RequestPtr& request);
  void Abort(const RequestPtr& request);

  TRpcHttpClient& client_;
  TRpcClientSession session_;
  TRpcValue data_;
  int post_level_ = 0;
  RequestPtr open_request_;
  std::string close_pending_;  // a session the server closed by the "-" form
  std::string abort_text_;     // the error text of the request being aborted
};

}  // namespace quillorn::transport
