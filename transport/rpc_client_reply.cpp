// The reply side of TRpcClientModule: cookies, handshake replies, result
// delivery, and the reactions to failed replies and lost connections.
#include <string>

#include "foundation/log.h"
#include "transport/rpc_client_module.h"

namespace quillorn::transport {
namespace {

constexpr int kOutOfStep = 409;
constexpr int kSessionExpired = 410;
constexpr int kEncryptionRequired = 412;
constexpr int kWrongKey = 417;

// The value of the cookie `name` among the Set-Cookie headers, if one is there.
bool FindCookie(const std::vector<std::string>& headers, const std::string& name, std::string& value) {
  for (const std::string& header : headers) {
    std::size_t start = 0;
    while (start < header.size() && header[start] == ' ') ++start;
    if (header.compare(start, name.size(), name) != 0) continue;
    const std::size_t eq = start + name.size();
    if (eq >= header.size() || header[eq] != '=') continue;
    const std::size_t end = header.find(';', eq + 1);
    value = header.substr(eq + 1, end == std::string::npos ? std::string::npos : end - eq - 1);
    return true;
  }
  return false;
}

void Fire(const std::function<void()>& event) {
  if (event) event();
}

}  // namespace

void TRpcClientModule::DataReceived(const std::shared_ptr<TRpcHttpRequest>& base,
                                    TRpcHttpResponse& response) {
  auto request = std::static_pointer_cast<TRpcModuleRequest>(base);
  std::string cookie;
  const bool has_cookie = FindCookie(response.SetCookies, SessionField(), cookie);
  const bool hello = request->What == TRpcModuleRequest::Kind::Hello && response.Status == 200;

  close_pending_.clear();
  if (has_cookie) {
    if (cookie == "-" + request->SentId) {
      close_pending_ = request->SentId;  // closed once the reply has been read
    } else if (!hello && (request->SentId == "NEW" || cookie != session_.Id)) {
      OpenSession(cookie);
    }
  }

  if (response.Status != 200) {
    StatusReply(request, response.Status, response.Text);
  } else if (hello) {
    HelloReply(request, response, has_cookie && close_pending_.empty() ? &cookie : nullptr);
  } else if (request->What == TRpcModuleRequest::Kind::Start) {
    StartReply(request, response);
  } else {
    CallsReply(request, response);
  }

  if (!close_pending_.empty() && session_.Id == close_pending_) CloseSession();
  close_pending_.clear();
}

void TRpcClientModule::HelloReply(const RequestPtr& request, TRpcHttpResponse& response,
                                  const std::string* cookie) {
  if (!session_.Id.empty() && (cookie == nullptr || *cookie == session_.Id)) {
    // the key state stays as the HELLO left it
  } else if (cookie != nullptr) {
    TRpcCryptClient carried;
    if (TRpcCryptClient* old = KeyState()) {
      carried.ClientHello = old->ClientHello;
      carried.ControlKey = old->ControlKey;
      carried.ControlCounter = old->ControlCounter;
      carried.ClientKey = old->ClientKey;
    }
    OpenSession(*cookie);
    TRpcCryptClient& keys = NewKeyState();
    keys.ClientHello = carried.ClientHello;
    keys.ControlKey = carried.ControlKey;
    keys.ControlCounter = carried.ControlCounter;
    keys.ClientKey = carried.ClientKey;
  } else {
    if (ForceEncryption) {
      ResponseError(request, 0, "Session required for encryption.");
      return;
    }
    // No session to hang the keys on: the state starts over, ClientHello gone,
    // so the reply below can only end as a wrong key.
    NewKeyState();
  }

  TRpcCryptClient* keys = KeyState();
  keys->HaveHello = true;
  if (response.Body.empty()) {
    DeclinedReply(request);
    return;
  }
  if (response.Body.size() <= keys->ControlKey.size()) {
    WrongKey(request);
    return;
  }
  keys->Read = std::make_unique<TRpcCrypt>(keys->ClientHello);
  std::string clear = response.Body;
  keys->Read->Decrypt(clear);
  const std::size_t head = clear.size() - keys->ControlKey.size();
  if (clear.compare(head, std::string::npos, keys->ControlKey) != 0) {
    WrongKey(request);
    return;
  }
  keys->ServerHello = clear.substr(0, head);
  keys->Write = std::make_unique<TRpcCrypt>(keys->ServerHello);
}

void TRpcClientModule::DeclinedReply(const RequestPtr& request) {
  if (ForceEncryption) {
    EncryptionNotSupported(request);
    return;
  }
  TRpcCryptClient& keys = NewKeyState();
  keys.HaveHello = true;
  keys.HaveStart = true;
}

void TRpcClientModule::StartReply(const RequestPtr& request, TRpcHttpResponse& response) {
  TRpcCryptClient* keys = KeyState();
  if (keys == nullptr) {
    WrongKey(request);
    return;
  }
  keys->HaveStart = true;
  if (response.Body.empty()) {
    DeclinedReply(request);
    return;
  }
  if (response.Body.size() <= keys->ControlKey.size() || !keys->Read || !keys->Write) {
    WrongKey(request);
    return;
  }
  keys->Read->SetKey(keys->ClientKey + keys->ServerHello);
  std::string clear = response.Body;
  keys->Read->Decrypt(clear);
  const std::size_t head = clear.size() - keys->ControlKey.size();
  if (clear.compare(head, std::string::npos, keys->ControlKey) != 0) {
    WrongKey(request);
    return;
  }
  keys->ServerKey = clear.substr(0, head);
  keys->Write->SetKey(keys->ServerKey + keys->ClientHello);
  keys->AllReady = true;
}

void TRpcClientModule::CallsReply(const RequestPtr& request, TRpcHttpResponse& response) {
  try {
    TRpcCryptClient* keys = EncryptionKey > 0 ? KeyState() : nullptr;
    std::string code;
    if (keys == nullptr || !keys->Read) {
      if (ForceEncryption && EncryptionKey > 0) {
        EncryptionNotSupported(request);
        return;
      }
      try {
        code = UnpackClearBody(response.Body);
      } catch (const TRpcDecompressError& e) {
        foundation::LogTrace("TRpcClientModule.DataReceived DECOMPRESS-1", e.what());
        ResponseError(request, 0, e.what());
        return;
      }
    } else {
      if (response.Body.size() <= keys->ControlKey.size()) {
        OutOfStep(request);
        return;
      }
      std::string clear = std::move(response.Body);
      keys->Read->Decrypt(clear);
      const std::size_t key_size = keys->ControlKey.size();
      if (clear.compare(clear.size() - key_size, std::string::npos, keys->ControlKey) != 0) {
        OutOfStep(request);
        return;
      }
      try {
        code = UnpackKeyedBody(clear, key_size);
      } catch (const TRpcDecompressError& e) {
        foundation::LogTrace("TRpcClientModule.DataReceived DECOMPRESS-2", e.what());
        ResponseError(request, 0, e.what());
        return;
      }
    }

    if (!close_pending_.empty() && session_.Id == close_pending_) {
      CloseSession();
      close_pending_.clear();
    }
    if (request->Cancelled) return;  // read for the streams' sake only
    if (code.empty()) {
      if (!request->Calls.empty()) throw ERpcInfo("Response missing Result(s).");
      return;
    }
    std::int64_t at = 0;
    std::size_t index = 0;
    const auto size = static_cast<std::int64_t>(code.size());
    while (at < size) {
      const std::int64_t before = at;
      TRpcValue result = TRpcValue::FromCode(code, at, kRpcMaxDepth);
      if (at <= before) break;
      if (index >= request->Calls.size()) {
        if (!result.IsNull()) throw ERpcInfo("More Results received than Calls sent.");
        continue;
      }
      auto& handler = request->Results[index];
      TRpcValue& data = request->Calls[index];
      ++index;
      if (handler && handler->OnReturn) handler->OnReturn(this, data, result);
    }
    // Calls without a result are released without notice.
  } catch (const std::exception& e) {
    foundation::LogTrace("TRpcClientModule.DataReceived EXCEPTION", e.what());
    ResponseError(request, 0, e.what());
  }
}

void TRpcClientModule::StatusReply(const RequestPtr& request, int status, const std::string& text) {
  request->ErrorText = "Error response #" + std::to_string(status) + ": " + text;
  if (request->Cancelled) return;
  switch (status) {
    case kSessionExpired:
      RemoveKeyState();
      Fire(OnSessionExpired);
      CloseSession();
      request->Query.Remove(SessionField());
      if (request->Sends <= 1) {
        // The first expiry costs no repost from the allowance.
        request->Reposting = true;
        client_.Enqueue(request, /*at_head=*/true);
        return;
      }
      RepostCheck(request);
      return;
    case kEncryptionRequired:
      RemoveKeyState();
      Fire(OnEncryptRequired);
      RepostCheck(request);
      return;
    case kOutOfStep:
      OutOfStep(request);
      return;
    case kWrongKey:
      WrongKey(request);
      return;
    default:
      ResponseError(request, status, text);
      return;
  }
}

void TRpcClientModule::ResponseError(const RequestPtr& request, int status, const std::string& text) {
  request->ErrorText = status == 0 ? "Error: Bad response. " + text
                                   : "Error response #" + std::to_string(status) + ": " + text;
  if (request->Cancelled) return;
  RemoveKeyState();
  Fire(OnResponseError);
  RepostCheck(request);
}

void TRpcClientModule::WrongKey(const RequestPtr& request) {
  if (request->Cancelled) return;
  RemoveKeyState();
  Fire(OnEncryptWrongKey);
  RepostCheck(request);
}

void TRpcClientModule::OutOfStep(const RequestPtr& request) {
  // The reset itself is the repost check's: a call request that is reposted
  // carries ACTION=RESET, anything else starts the handshake over.
  if (request->Cancelled) return;
  Fire(OnEncryptWrongKey);
  RepostCheck(request);
}

void TRpcClientModule::EncryptionNotSupported(const RequestPtr& request) {
  if (request->Cancelled) return;
  RemoveKeyState();
  Fire(OnEncryptNotSupported);
  RepostCheck(request);
}

void TRpcClientModule::RequestLost(const std::shared_ptr<TRpcHttpRequest>& base) {
  auto request = std::static_pointer_cast<TRpcModuleRequest>(base);
  if (request->Cancelled) return;
  RepostCheck(request);
}

void TRpcClientModule::RepostCheck(const RequestPtr& request) {
  bool repost = AutoRepost < 0 || request->RepostCount < AutoRepost;
  if (!repost && OnRepostCheck) OnRepostCheck(*request, repost);

  if (request->What == TRpcModuleRequest::Kind::Calls) {
    // The streams cannot be brought back in step after a lost message: both
    // sides restart them from the stored keys, or the handshake starts over.
    TRpcCryptClient* keys = KeyState();
    if (keys != nullptr && keys->AllReady && repost && request->RepostCount < 2) {
      request->Query.Set("ACTION", "RESET");
    } else {
      RemoveKeyState();
    }
  } else {
    RemoveKeyState();
  }

  if (repost) {
    request->RepostCount++;
    request->Reposting = true;
    client_.Enqueue(request, /*at_head=*/true);
    return;
  }
  Abort(request);
}

void TRpcClientModule::Abort(const RequestPtr& request) {
  abort_text_ = request->ErrorText;
  Fire(OnResponseAbort);
  for (std::size_t i = 0; i < request->Calls.size(); ++i) {
    auto& handler = request->Results[i];
    TRpcValue empty;
    if (handler && handler->RequestAborted) handler->RequestAborted(this, request->Calls[i], empty);
  }
  // A handshake that is given up takes the calls waiting behind it along;
  // they would only start it again.
  if (auto ahead = request->Ahead.lock()) {
    for (auto& queued : client_.RemoveQueued(this)) {
      if (queued == ahead) {
        if (ahead->ErrorText.empty()) ahead->ErrorText = request->ErrorText;
        Abort(ahead);
      } else {
        client_.Enqueue(queued);
      }
    }
  }
  abort_text_.clear();
}

}  // namespace quillorn::transport
