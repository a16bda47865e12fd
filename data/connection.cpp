#include "data/connection.h"

#include <exception>
#include <string>
#include <utility>

#include "data/proc_name_scope.h"
#include "foundation/log.h"

namespace quillorn::data {

namespace {

using foundation::LogTrace;
using transport::TRpcValue;
using transport::TRpcValueTypes;

constexpr char kYouThere[] = "youthere";

bool IsBooleanTrue(const TRpcValue& value) {
  return value.ValueType() == TRpcValueTypes::rpc_Boolean && value.AsBoolean();
}

std::string FunctionName(const TRpcValue& data) {
  if (data.ValueType() != TRpcValueTypes::rpc_Function) return {};
  return data.AsFunction().Name();
}

}  // namespace

TdmConnection::TdmConnection(platform::MainLoop& Loop, TdmSettings& Settings, foundation::LogContext& Context,
                             ConnectionOwner& Owner)
    : HttpClient(Loop),
      ClientModule(HttpClient),
      RpcHttpClient(Loop),
      RpcClientModule(RpcHttpClient),
      Timer1(Loop, kReconnectPingIntervalMs, [this] { Timer1Timer(); }),
      ResultFromCommitToServer(std::make_shared<transport::TRpcResult>()),
      loop_(Loop),
      settings_(Settings),
      context_(Context),
      owner_(Owner),
      alive_(std::make_shared<TdmConnection*>(this)) {
  for (transport::TRpcHttpClient* client : {&HttpClient, &RpcHttpClient}) {
    client->SetMultiThreaded(true);
    client->AutoConnect = true;
    client->ReconnectOn = {true, true, true};
  }
  HttpClient.SetServerAddr(kDefaultLocalAddress);
  HttpClient.SetServerPort(kDefaultServerPort);
  RpcHttpClient.SetServerPort(kRpcDefaultPort);

  ClientModule.AutoSyncEvents = true;
  ClientModule.Compression = transport::TRpcCompressLevel::cMax;
  ClientModule.EncryptionKey = 8;
  ClientModule.SecureKey = kSecureKey;
  ClientModule.AutoSessions = true;
  ClientModule.AutoRepost = 2;
  ClientModule.ModuleFileName = "/cms";

  RpcClientModule.AutoSyncEvents = true;
  RpcClientModule.Compression = transport::TRpcCompressLevel::cDefault;
  RpcClientModule.AutoRepost = 2;
  RpcClientModule.ModuleFileName = "/SvrInfo";

  HttpClient.OnConnectFail = [this] { HttpClientConnectFail(); };
  HttpClient.OnDisconnect = [this] { HttpClientDisconnect(); };
  HttpClient.OnConnectError = [this] { HttpClientConnectError(); };
  HttpClient.OnConnectLost = [this] { HttpClientConnectLost(); };

  ResultFromCommitToServer->OnReturn = [this](transport::TRpcClientModule* sender, TRpcValue& data,
                                              TRpcValue& result) {
    ResultFromCommitToServerReturn(sender, data, result);
  };
  ResultFromCommitToServer->RequestAborted = [this](transport::TRpcClientModule* sender, TRpcValue& data,
                                                    TRpcValue& result) {
    ResultFromCommitToServerRequestAborted(sender, data, result);
  };
}

TdmConnection::~TdmConnection() {
  alive_.reset();
  HttpClient.OnConnectFail = nullptr;
  HttpClient.OnDisconnect = nullptr;
  HttpClient.OnConnectError = nullptr;
  HttpClient.OnConnectLost = nullptr;
  ResultFromCommitToServer->OnReturn = nullptr;
  ResultFromCommitToServer->RequestAborted = nullptr;
}

void TdmConnection::UseCurrentServer() {
  const std::string address = settings_.CurrentServerAddress();
  HttpClient.SetServerAddr(address);
  HttpClient.SetServerPort(settings_.ServerPort);
  HttpClient.SetUseProxy(settings_.UseProxy);
  LogTrace("Using Connection Settings", "\r\tServer: " + address + ":" + settings_.ServerPort +
                                            "\r\tUse Proxy:" + (settings_.UseProxy ? "Yes" : "No"));
}

bool TdmConnection::AskYouThere(int TimeoutSeconds) {
  ClientModule.Prepare(kYouThere);
  // A timeout of 0 would wait without limit; a ping always gives up.
  const TRpcValue reply = ClientModule.Execute(true, TimeoutSeconds > 0 ? TimeoutSeconds : 1, true);
  return IsBooleanTrue(reply);
}

bool TdmConnection::ConnectToServer(bool Blocking) {
  foundation::ContextScope scope(context_);
  ProcNameScope proc(context_, "dm.ConnectToServer");
  if (Blocking) {
    LogTrace("ConnectToServer", "Blocking");
  } else {
    LogTrace("Ping server", "function (non-blocking): youthere");
  }
  // A connected client keeps its address even when mUseLocalServer has flipped.
  if (!HttpClient.Connected()) UseCurrentServer();

  if (!Blocking) {
    ClientModule.Prepare(kYouThere);
    ClientModule.Call(ResultFromCommitToServer);
    return true;
  }

  enum class Answer { Yes, Other, Failed };
  auto ask = [this](int timeout) {
    try {
      return AskYouThere(timeout) ? Answer::Yes : Answer::Other;
    } catch (const std::exception&) {
      return Answer::Failed;
    }
  };

  bool result = false;
  const Answer first = ask(settings_.CurrentServerTimeout());
  if (first == Answer::Yes) {
    SetIsServerReachable(true);
    ConnectionFailed = false;
    result = true;
  } else if (first == Answer::Failed) {
    ConnectionFailed = true;
    settings_.mUseLocalServer = !settings_.mUseLocalServer;
    if (settings_.mMultiServerConfig) {
      HttpClient.Disconnect();
      HttpClient.SetServerAddr(settings_.CurrentServerAddress());
      const Answer second = ask(settings_.CurrentServerTimeout());
      if (second == Answer::Yes) {
        // The flip stays: the second server is the current one from now on.
        SetIsServerReachable(true);
        ConnectionFailed = false;
        result = true;
      } else if (second == Answer::Failed) {
        // Neither answers. The reachable state is left alone here: a stale true
        // lasts until a connection event or a timer ping corrects it.
        settings_.mUseLocalServer = !settings_.mUseLocalServer;
      }
    } else {
      SetIsServerReachable(false);
    }
  }
  LogTrace("Ping server", std::string("function: youthere") + (result ? "\r\tYES" : "\r\tNO"));
  return result;
}

void TdmConnection::SetIsServerReachable(bool Value) {
  foundation::ContextScope scope(context_);
  ProcNameScope proc(context_, "dm.SetIsServerReachable");
  if (mStartUp) {
    // The start-up code is about to fetch everything anyway.
    mStartUp = false;
  } else if (Value && !mIsServerReachable) {
    mIsServerReachable = true;  // the fetches look at it
    owner_.RefetchStaleData();
  }
  mIsServerReachable = Value;
  owner_.ServerReachable(Value);
}

void TdmConnection::HttpClientConnectFail() {
  foundation::ContextScope scope(context_);
  LogTrace("HttpClientConnectFail", settings_.CurrentServerAddress() + ":" + settings_.ServerPort);
  SetIsServerReachable(false);
  Timer1.SetEnabled(true);
  mChacheComitted = false;
}

void TdmConnection::HttpClientDisconnect() {
  foundation::ContextScope scope(context_);
  LogTrace("HttpClientDisconnect", mShutDown ? "shutting down" : "");
  if (mShutDown) return;
  SetIsServerReachable(false);
  Timer1.SetEnabled(true);
  mChacheComitted = false;
}

void TdmConnection::Timer1Timer() {
  foundation::ContextScope scope(context_);
  try {
    ConnectToServer(false);
  } catch (const std::exception& e) {
    foundation::LogException(e, "Timer1Timer");
  }
}

void TdmConnection::ResultFromCommitToServerReturn(transport::TRpcClientModule* Sender, TRpcValue& Data,
                                                   TRpcValue& Result) {
  foundation::ContextScope scope(context_);
  if (FunctionName(Data) != kYouThere) {
    if (OnOtherCommitReturn) OnOtherCommitReturn(Sender, Data, Result);
    return;
  }
  if (!IsBooleanTrue(Result)) return;  // no proof of life: the timer goes on
  if (Sender != nullptr) {
    // Out of the connection's event first: the commit below makes calls of its own.
    std::weak_ptr<TdmConnection*> alive = alive_;
    loop_.Post([alive, data = Data, result = Result]() mutable {
      if (auto self = alive.lock()) (*self)->ResultFromCommitToServerReturn(nullptr, data, result);
    });
    return;
  }
  SetIsServerReachable(true);
  Timer1.SetEnabled(false);
  owner_.CommitCache();
}

void TdmConnection::ResultFromCommitToServerRequestAborted(transport::TRpcClientModule* /*Sender*/,
                                                           TRpcValue& Data, TRpcValue& /*Result*/) {
  foundation::ContextScope scope(context_);
  if (FunctionName(Data) != kYouThere) {
    if (OnOtherCommitAborted) OnOtherCommitAborted(Data);
    return;
  }
  LogTrace("SERVER CALL ABORTED", "function: youthere");
  SetIsServerReachable(false);
  // So that the pings alternate between the servers until one answers.
  if (settings_.mMultiServerConfig) settings_.mUseLocalServer = !settings_.mUseLocalServer;
}

void TdmConnection::Stop() {
  mShutDown = true;
  alive_.reset();
  Timer1.SetEnabled(false);
  ClientModule.CancelCalls();
  RpcClientModule.CancelCalls();
  HttpClient.Disconnect();
  RpcHttpClient.Disconnect();
}

}  // namespace quillorn::data
