#include "transport/rpc_client_module.h"

#include <chrono>

#include "platform/main_loop.h"
#include "transport/control_key.h"
#include "transport/secure_random.h"

namespace quillorn::transport {

void TRpcQuery::Set(const std::string& name, const std::string& value) {
  for (auto& pair : pairs_) {
    if (pair.first == name) {
      pair.second = value;
      return;
    }
  }
  pairs_.emplace_back(name, value);
}

void TRpcQuery::Remove(const std::string& name) {
  std::erase_if(pairs_, [&](const auto& pair) { return pair.first == name; });
}

const std::string* TRpcQuery::Find(const std::string& name) const {
  for (const auto& pair : pairs_) {
    if (pair.first == name) return &pair.second;
  }
  return nullptr;
}

std::string TRpcQuery::Text() const {
  std::string text;
  for (const auto& [name, value] : pairs_) {
    if (!text.empty()) text.push_back('&');
    text += name;
    text.push_back('=');
    text += value;
  }
  return text;
}

TRpcClientModule::TRpcClientModule(TRpcHttpClient& client) : client_(client) {}

// The queued requests would be dropped unsent anyway; one on the wire is read to
// its end and delivered to no one, as its handle has expired.
TRpcClientModule::~TRpcClientModule() { client_.RemoveQueued(this); }

std::string TRpcClientModule::KeyStateName() const { return ModuleHost + ModuleFileName + ".$CLI-CRYPT$"; }

TRpcCryptClient* TRpcClientModule::KeyState() {
  auto it = session_.Objects.find(KeyStateName());
  return it == session_.Objects.end() ? nullptr : it->second.get();
}

TRpcCryptClient& TRpcClientModule::NewKeyState() {
  auto& slot = session_.Objects[KeyStateName()];
  slot = std::make_unique<TRpcCryptClient>();
  return *slot;
}

void TRpcClientModule::RemoveKeyState() { session_.Objects.erase(KeyStateName()); }

void TRpcClientModule::OpenSession(const std::string& id) {
  session_ = TRpcClientSession{};
  session_.Id = id;
}

void TRpcClientModule::CloseSession() { session_ = TRpcClientSession{}; }

std::string TRpcClientModule::Path() const {
  // A request's own file name would be joined with one "/"; this module sets none.
  if (ModuleFileName.empty() || ModuleFileName.front() != '/') return "/" + ModuleFileName;
  return ModuleFileName;
}

TRpcFunctionInfo& TRpcClientModule::Prepare(const std::string& name) {
  auto call = std::make_unique<TRpcFunctionInfo>(name);
  TRpcFunctionInfo& ref = *call;
  data_.Set(std::move(call));
  return ref;
}

void TRpcClientModule::Call(std::shared_ptr<TRpcResult> result, bool /*fromInsideEvent*/) {
  if (data_.IsNull()) throw ERpcClientError("No Data defined. Use the \"Data\" property before \"Call\".");
  if (!open_request_) {
    open_request_ = std::make_shared<TRpcModuleRequest>();
    open_request_->Owner = Handle();
  }
  open_request_->Calls.push_back(std::move(data_));
  data_.Clear();
  open_request_->Results.push_back(std::move(result));
  if (post_level_ == 0) SendRequest(std::exchange(open_request_, nullptr));
}

void TRpcClientModule::StartCalls() {
  if (post_level_++ == 0 && !open_request_) {
    open_request_ = std::make_shared<TRpcModuleRequest>();
    open_request_->Owner = Handle();
  }
}

void TRpcClientModule::Post() {
  if (post_level_ == 0) throw ERpcClientError("Post without StartCalls.");
  if (--post_level_ > 0) return;
  RequestPtr request = std::exchange(open_request_, nullptr);
  if (request && !request->Calls.empty()) SendRequest(std::move(request));
}

void TRpcClientModule::SendRequest(RequestPtr request) { client_.Enqueue(std::move(request)); }

void TRpcClientModule::CancelCalls() {
  for (auto& queued : client_.RemoveQueued(this)) {
    static_cast<TRpcModuleRequest&>(*queued).Cancelled = true;
  }
  if (auto in_flight = client_.InFlight(); in_flight && Owns(*in_flight)) {
    static_cast<TRpcModuleRequest&>(*in_flight).Cancelled = true;
  }
}

bool TRpcClientModule::WaitForCompletion(int timeoutSeconds) {
  platform::MainLoop& loop = client_.Loop();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  auto tick = loop.CreateEvent();
  while (client_.HasRequests(this)) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    // Nothing signals the event: the wait pumps the loop for a short slice.
    if (loop.Wait(*tick, 10) == platform::MainLoop::WaitResult::Quit) return false;
  }
  return true;
}

TRpcValue TRpcClientModule::Execute(bool /*autoFreeResult*/, int timeoutSeconds,
                                    bool /*allowMessageProcessing*/) {
  struct State {
    bool returned = false;
    TRpcValue value;
    std::string error;
    std::unique_ptr<platform::WaitEvent> done;
  };
  platform::MainLoop& loop = client_.Loop();
  auto state = std::make_shared<State>();
  state->done = loop.CreateEvent();
  auto result = std::make_shared<TRpcResult>();
  result->OnReturn = [state](TRpcClientModule*, TRpcValue&, TRpcValue& value) {
    state->value = std::move(value);
    state->returned = true;
    state->done->Set();
  };
  result->RequestAborted = [state, this](TRpcClientModule*, TRpcValue&, TRpcValue&) {
    state->error = abort_text_;
    state->done->Set();
  };
  Call(result);

  const std::uint32_t timeout_ms = timeoutSeconds > 0
                                       ? static_cast<std::uint32_t>(timeoutSeconds) * 1000u
                                       : platform::kInfinite;
  const auto outcome = loop.Wait(*state->done, timeout_ms);
  if (outcome == platform::MainLoop::WaitResult::Signaled && state->returned) {
    return std::move(state->value);
  }
  CancelCalls();
  switch (outcome) {
    case platform::MainLoop::WaitResult::Signaled:
      if (!state->error.empty()) throw ERpcExecuteError(0, state->error);
      throw ERpcExecuteError(0, "Error: Connection problems, no response received.");
    case platform::MainLoop::WaitResult::Timeout:
      throw ERpcExecuteError(1, "Error: Connection problems, response timed out.");
    case platform::MainLoop::WaitResult::Quit:
      throw ERpcExecuteError(2, "Error: Application Terminating.");
    case platform::MainLoop::WaitResult::Message:
      throw ERpcExecuteError(3, "Error: Unknown message received.");
  }
  throw ERpcExecuteError(4, "Error: Connection problems.");
}

// ---- requests as they begin -------------------------------------------------

TRpcPreparedRequest TRpcClientModule::BeginRequest(const std::shared_ptr<TRpcHttpRequest>& base) {
  auto request = std::static_pointer_cast<TRpcModuleRequest>(base);
  switch (request->What) {
    case TRpcModuleRequest::Kind::Hello: return BeginHello(request);
    case TRpcModuleRequest::Kind::Start: return BeginStart(request);
    case TRpcModuleRequest::Kind::Calls: return BeginCalls(request);
  }
  return {TRpcPreparedRequest::Kind::Dropped};
}

TRpcPreparedRequest TRpcClientModule::Finish(const RequestPtr& request, std::string body) {
  const std::string field = SessionField();
  if (!session_.Id.empty()) {
    request->Query.Set(field, session_.Id);
  } else if (AutoSessions) {
    request->Query.Set(field, "NEW");
  } else {
    request->Query.Remove(field);
  }
  const std::string* sent = request->Query.Find(field);
  request->SentId = sent ? *sent : std::string();
  request->Sends++;
  request->Reposting = false;

  TRpcPreparedRequest prepared;
  const std::string query = request->Query.Text();
  prepared.Target = query.empty() ? Path() : Path() + "?" + query;
  prepared.Body = std::move(body);
  if (!ModuleHost.empty()) prepared.Headers.emplace_back("Host", ModuleHost);
  return prepared;
}

TRpcPreparedRequest TRpcClientModule::BeginCalls(const RequestPtr& request) {
  if (request->Cancelled) return {TRpcPreparedRequest::Kind::Dropped};
  TRpcCryptClient* keys = nullptr;
  if (EncryptionKey > 0) {
    keys = KeyState();
    if (keys == nullptr || !keys->HaveHello || !keys->HaveStart) {
      // The handshake goes first; a RESET would be meaningless before it.
      request->Query.Remove("ACTION");
      auto step = std::make_shared<TRpcModuleRequest>();
      step->Owner = Handle();
      step->What = (keys == nullptr || !keys->HaveHello) ? TRpcModuleRequest::Kind::Hello
                                                          : TRpcModuleRequest::Kind::Start;
      step->Query.Set("ACTION", step->What == TRpcModuleRequest::Kind::Hello ? "HELLO" : "START");
      step->Ahead = request;
      client_.Enqueue(std::move(step), /*at_head=*/true);
      return {TRpcPreparedRequest::Kind::Deferred};
    }
  }

  if (!request->Built) {
    std::string code;
    for (std::size_t i = 0; i < request->Calls.size();) {
      auto& result = request->Results[i];
      if (result && result->PreparingCall) {
        TRpcValue none;
        result->PreparingCall(this, request->Calls[i], none);
      }
      if (request->Calls[i].IsNull()) {
        request->Calls.erase(request->Calls.begin() + static_cast<std::ptrdiff_t>(i));
        request->Results.erase(request->Results.begin() + static_cast<std::ptrdiff_t>(i));
        continue;
      }
      if (request->Calls[i].ValueType() == TRpcValueTypes::rpc_Record) {
        // Every call on the wire carries its function marker.
        if (auto* fn = dynamic_cast<TRpcFunctionInfo*>(request->Calls[i].Get())) fn->SetFunctionMarker(true);
      }
      code += request->Calls[i].toCode();
      ++i;
    }
    if (request->Calls.empty()) return {TRpcPreparedRequest::Kind::Dropped};
    PackedCode packed = PackCode(code, Compression);
    request->Packed = std::move(packed.bytes);
    request->Compressed = packed.compressed;
    request->Built = true;
  }

  const std::string* action = request->Query.Find("ACTION");
  if (keys != nullptr && action != nullptr && *action == "RESET" && keys->AllReady) {
    keys->ControlCounter = 0;
    keys->Write = std::make_unique<TRpcCrypt>(keys->ServerKey + keys->ClientHello);
    keys->Read = std::make_unique<TRpcCrypt>(keys->ClientKey + keys->ServerHello);
  } else if (action != nullptr && *action == "RESET") {
    request->Query.Remove("ACTION");
  }

  std::string body = request->Packed;
  if (keys != nullptr && keys->Write) {
    keys->ControlKey = NewControlKey(keys->ControlCounter);
    if (!request->Compressed) body.push_back(kKeySeparator);
    body += keys->ControlKey;
    keys->Write->Encrypt(body);
  }
  return Finish(request, std::move(body));
}

TRpcPreparedRequest TRpcClientModule::BeginHello(const RequestPtr& request) {
  TRpcCryptClient& keys = NewKeyState();
  keys.ClientHello = SecureRandomBytes(static_cast<std::size_t>(EncryptionKey));
  keys.ControlKey = NewControlKey(keys.ControlCounter);
  std::string body = keys.ClientHello;
  body.push_back(kKeySeparator);
  body += keys.ControlKey;
  if (!SecureKey.empty()) TRpcCrypt(SecureKey).Encrypt(body);
  return Finish(request, std::move(body));
}

TRpcPreparedRequest TRpcClientModule::BeginStart(const RequestPtr& request) {
  TRpcCryptClient* keys = KeyState();
  if (keys == nullptr || !keys->HaveHello || !keys->Write) return {TRpcPreparedRequest::Kind::Dropped};
  keys->ClientKey = SecureRandomBytes(static_cast<std::size_t>(EncryptionKey));
  keys->ControlKey = NewControlKey(keys->ControlCounter);
  std::string body = keys->ClientKey;
  body.push_back(kKeySeparator);
  body += keys->ControlKey;
  keys->Write->Encrypt(body);
  return Finish(request, std::move(body));
}

}  // namespace quillorn::transport
