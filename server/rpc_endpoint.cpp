#include "server/rpc_endpoint.h"

#include "transport/control_key.h"
#include "transport/secure_random.h"

namespace quillorn::server {
namespace {

using transport::TRpcCrypt;

EndpointReply Status(int status, std::string text) {
  EndpointReply reply;
  reply.Status = status;
  reply.Text = std::move(text);
  return reply;
}

constexpr int kSessionExpired = 410;
constexpr int kEncryptionRequired = 412;
constexpr int kOutOfStep = 409;
constexpr int kWrongKey = 417;

// A handshake body is a key half, byte 13 and a control key; the half may hold
// byte 13 itself, so the split is at the last one.
bool SplitHandshake(const std::string& clear, std::string& half, std::string& control_key) {
  const auto cut = clear.rfind('\r');
  if (cut == std::string::npos || cut == 0) return false;
  half = clear.substr(0, cut);
  control_key = clear.substr(cut + 1);
  return transport::IsControlKey(control_key);
}

// The control key ends a call body: the digits behind the last byte that is
// not a digit, which must be byte 13 (plain code) or byte 0 (compressed).
bool FindControlKey(const std::string& clear, std::string& control_key) {
  std::size_t start = clear.size();
  while (start > 0 && clear[start - 1] >= '0' && clear[start - 1] <= '9') --start;
  if (start == 0) return false;
  const char mark = clear[start - 1];
  if (mark != transport::kKeySeparator && mark != transport::kCompressedMark) return false;
  control_key = clear.substr(start);
  return transport::IsControlKey(control_key);
}

}  // namespace

RpcEndpoint::RpcEndpoint(EndpointOptions options, CallProcessor processor, const ServerLimits& limits,
                         std::function<SessionStore::Clock::time_point()> now)
    : options_(std::move(options)),
      processor_(std::move(processor)),
      max_inflated_(limits.MaxInflated),
      sessions_(limits.MaxSessions, limits.SessionIdle, std::move(now)) {}

bool RpcEndpoint::ExpireSession(const std::string& id) {
  std::lock_guard lock(mutex_);
  return sessions_.Close(id);
}

std::size_t RpcEndpoint::SessionCount() {
  std::lock_guard lock(mutex_);
  return sessions_.Count();
}

EndpointReply RpcEndpoint::Handle(const EndpointRequest& request) {
  std::lock_guard lock(mutex_);
  ServerSession* session = nullptr;
  if (request.Id && *request.Id != "NEW") {
    session = sessions_.Find(*request.Id);
    // An unknown id on HELLO simply gets a new session; anything else has lost
    // its keys with the session.
    if (session == nullptr && request.Action != "HELLO") return Status(kSessionExpired, "Gone");
  }
  if (request.Action == "HELLO") return Hello(session, request);
  if (request.Action == "START") {
    if (session == nullptr) return Status(kSessionExpired, "Gone");
    return Start(*session, request);
  }
  if (request.Action == "RESET") return Calls(session, request, true);
  if (!request.Action.empty()) return Status(400, "Bad Request");
  return Calls(session, request, false);
}

EndpointReply RpcEndpoint::Hello(ServerSession* session, const EndpointRequest& request) {
  EndpointReply reply;
  if (!options_.Encryption) {
    if (session == nullptr) {
      session = &sessions_.Open();
      reply.SetCookie = session->Id;
    }
    session->Keys.reset();
    return reply;  // an empty body declines encryption
  }
  std::string clear = request.Body;
  TRpcCrypt(options_.SecureKey).Decrypt(clear);
  std::string client_hello, control_key;
  if (!SplitHandshake(clear, client_hello, control_key)) return Status(kWrongKey, "Expectation Failed");
  // The client can only complete the handshake if its first HELLO is answered
  // with a session cookie.
  if (session == nullptr) {
    session = &sessions_.Open();
    reply.SetCookie = session->Id;
  }
  ServerKeyState& keys = session->Keys.emplace();
  keys.ClientHello = client_hello;
  keys.ServerHello = transport::SecureRandomBytes(client_hello.size());
  keys.HaveHello = true;
  reply.Body = keys.ServerHello + control_key;
  TRpcCrypt(keys.ClientHello).Encrypt(reply.Body);
  return reply;
}

EndpointReply RpcEndpoint::Start(ServerSession& session, const EndpointRequest& request) {
  if (!options_.Encryption) return Status(400, "Bad Request");
  if (!session.Keys || !session.Keys->HaveHello) return Status(kWrongKey, "Expectation Failed");
  ServerKeyState& keys = *session.Keys;
  std::string clear = request.Body;
  TRpcCrypt(keys.ServerHello).Decrypt(clear);
  std::string client_key, control_key;
  if (!SplitHandshake(clear, client_key, control_key)) {
    session.Keys.reset();
    return Status(kWrongKey, "Expectation Failed");
  }
  keys.ClientKey = client_key;
  keys.ServerKey = transport::SecureRandomBytes(client_key.size());
  keys.RestartStreams();
  EndpointReply reply;
  reply.Body = keys.ServerKey + control_key;
  // The write stream runs on from this reply into the replies to the calls.
  keys.Write.Encrypt(reply.Body);
  keys.AllReady = true;
  return reply;
}

EndpointReply RpcEndpoint::Calls(ServerSession* session, const EndpointRequest& request, bool reset) {
  EndpointReply reply;
  if (options_.Encryption) {
    if (session == nullptr || !session->Keys || !session->Keys->AllReady) {
      return Status(reset ? kWrongKey : kEncryptionRequired,
                    reset ? "Expectation Failed" : "Precondition Failed");
    }
  } else if (session == nullptr) {
    session = &sessions_.Open();
    reply.SetCookie = session->Id;
  }

  ServerKeyState* keys = options_.Encryption ? &*session->Keys : nullptr;
  std::string code;
  std::string control_key;
  try {
    if (keys != nullptr) {
      if (reset) keys->RestartStreams();
      std::string clear = request.Body;
      keys->Read.Decrypt(clear);
      if (!FindControlKey(clear, control_key)) return Status(kOutOfStep, "Conflict");
      code = transport::UnpackKeyedBody(clear, control_key.size(), max_inflated_);
    } else {
      code = transport::UnpackClearBody(request.Body, max_inflated_);
    }
  } catch (const transport::TRpcDecompressError& e) {
    return Status(400, e.what());
  }

  std::string results;
  try {
    results = processor_(code);
  } catch (const std::exception& e) {
    return Status(400, e.what());  // the calls themselves would not decode
  }
  reply.Body = transport::BuildBody(results, options_.Compression,
                                    keys != nullptr ? &keys->Write : nullptr, control_key);
  return reply;
}

}  // namespace quillorn::server
