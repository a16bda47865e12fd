// The data module's link to its server: the two client components with their
// design values, the one online/offline switch, the "youthere" ping (blocking and
// not), the reconnect timer and the connection events that start it. Never shows
// anything to the user and never reads or writes the cache itself.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "data/settings.h"
#include "foundation/context.h"
#include "foundation/reentry_flag.h"
#include "platform/main_loop.h"
#include "transport/rpc_client_module.h"
#include "transport/rpc_http_client.h"
#include "transport/rpc_result.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

inline constexpr std::uint32_t kReconnectPingIntervalMs = 20000;
inline constexpr char kSecureKey[] = "K7r@vQ2x";
inline constexpr char kRpcDefaultPort[] = "3049";

// What the connection asks of the data module around it. All on the main thread.
class ConnectionOwner {
 public:
  virtual ~ConnectionOwner() = default;
  // The server answers again after a time offline: fetch, without waiting, what
  // still comes from the cache. mIsServerReachable is already true here.
  virtual void RefetchStaleData() = 0;
  // The reconnect ping got its answer: send what waited while offline.
  virtual void CommitCache() = 0;
  // Every SetIsServerReachable, changed or not.
  virtual void ServerReachable(bool Reachable) = 0;
};

class TdmConnection {
 public:
  // The loop, the settings, the context and the owner must outlive the connection.
  TdmConnection(platform::MainLoop& Loop, TdmSettings& Settings, foundation::LogContext& Context,
                ConnectionOwner& Owner);
  ~TdmConnection();
  TdmConnection(const TdmConnection&) = delete;
  TdmConnection& operator=(const TdmConnection&) = delete;

  // Blocking: asks "youthere" on the current server and waits its timeout,
  // trying the other server once when there are two; true on the Boolean true.
  // Not blocking: true only means the question is on its way.
  bool ConnectToServer(bool Blocking);
  void SetIsServerReachable(bool Value);

  // Connection events of HttpClient. Error and Lost are deliberately empty:
  // Fail and Disconnect already tell all that matters.
  void HttpClientConnectFail();
  void HttpClientDisconnect();
  void HttpClientConnectError() {}
  void HttpClientConnectLost() {}
  void Timer1Timer();

  // The result object of "youthere", "submit" and "sendfile". Only "youthere"
  // is answered here; the others go to the two hooks below.
  void ResultFromCommitToServerReturn(transport::TRpcClientModule* Sender, transport::TRpcValue& Data,
                                      transport::TRpcValue& Result);
  void ResultFromCommitToServerRequestAborted(transport::TRpcClientModule* Sender, transport::TRpcValue& Data,
                                              transport::TRpcValue& Result);
  // For the commit: replies to calls other than "youthere" on ResultFromCommitToServer.
  std::function<void(transport::TRpcClientModule* Sender, transport::TRpcValue& Data, transport::TRpcValue& Result)>
      OnOtherCommitReturn;
  std::function<void(transport::TRpcValue& Data)> OnOtherCommitAborted;

  // The shutdown's part: the timer stops and nothing more is asked or answered.
  void Stop();

  transport::TRpcHttpClient HttpClient;
  transport::TRpcClientModule ClientModule;
  transport::TRpcHttpClient RpcHttpClient;
  transport::TRpcClientModule RpcClientModule;
  platform::Timer Timer1;
  std::shared_ptr<transport::TRpcResult> ResultFromCommitToServer;

  bool ConnectionFailed = false;  // the last blocking ping raised
  bool mIsServerReachable = false;
  bool mStartUp = true;       // until the first SetIsServerReachable
  bool mShutDown = false;     // a disconnect from now on is expected
  bool mChacheComitted = false;
  foundation::ReentryFlag mPostInProgress;

 private:
  // One blocking "youthere" on the client as it stands; raises when the call does.
  bool AskYouThere(int TimeoutSeconds);
  void UseCurrentServer();

  platform::MainLoop& loop_;
  TdmSettings& settings_;
  foundation::LogContext& context_;
  ConnectionOwner& owner_;
  // Tasks posted to the loop hold this weakly, so that one running after the
  // connection is gone does nothing.
  std::shared_ptr<TdmConnection*> alive_;
};

}  // namespace quillorn::data
