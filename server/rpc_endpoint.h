// One module path of the server seen without HTTP: a request's action, session
// field and body in, a status, cookie and body out, with the handshake, the
// streams and compression. Never runs a function itself: it hands the clear
// code of the calls to a processor and enciphers what that gives back.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "server/server_limits.h"
#include "server/session_store.h"
#include "transport/message_body.h"

namespace quillorn::server {

struct EndpointOptions {
  bool Encryption = true;  // false: HELLO is answered empty and bodies run clear
  std::string SecureKey = "K7r@vQ2x";
  transport::TRpcCompressLevel Compression = transport::TRpcCompressLevel::cMax;
};

struct EndpointRequest {
  std::string Action;             // "HELLO", "START", "RESET" or empty
  std::optional<std::string> Id;  // the session field, if the query had one
  std::string Body;
};

struct EndpointReply {
  int Status = 200;
  std::string Text;       // reason for a status other than 200
  std::string SetCookie;  // value of the "ID" cookie to set, empty for none
  std::string Body;
};

// Code of the calls in, code of their results (in the same order) out.
using CallProcessor = std::function<std::string(std::string_view code)>;

class RpcEndpoint {
 public:
  // Sessions are kept and bodies inflated within `limits`; `now` is the clock
  // of the sessions' idle time.
  RpcEndpoint(EndpointOptions options, CallProcessor processor, const ServerLimits& limits = {},
              std::function<SessionStore::Clock::time_point()> now = SessionStore::Clock::now);

  // Serialised: one request at a time, since a session's streams allow no other.
  EndpointReply Handle(const EndpointRequest& request);

  // Forgets a session, so that its next request is answered 410.
  bool ExpireSession(const std::string& id);
  std::size_t SessionCount();

 private:
  EndpointReply Hello(ServerSession* session, const EndpointRequest& request);
  EndpointReply Start(ServerSession& session, const EndpointRequest& request);
  EndpointReply Calls(ServerSession* session, const EndpointRequest& request, bool reset);

  EndpointOptions options_;
  CallProcessor processor_;
  std::size_t max_inflated_;
  SessionStore sessions_;
  std::mutex mutex_;
};

}  // namespace quillorn::server
