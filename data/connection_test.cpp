#include "data/connection.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "data/connection_test_support.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"

namespace quillorn::data {
namespace {

using testing::DeadPort;
using testing::kWaitMs;
using testing::PingServer;
using testing::TracedContext;
using transport::TRpcValue;
using WaitResult = platform::MainLoop::WaitResult;

class RecordingOwner final : public ConnectionOwner {
 public:
  explicit RecordingOwner(TdmConnection*& connection) : connection_(connection) {}
  void RefetchStaleData() override {
    ++refetches;
  }
  void CommitCache() override {
    ++commits;
    timerOnDuringCommit = connection_->Timer1.Enabled();
    if (committed) committed->Set();
  }
  void ServerReachable(bool reachable) override { reports.push_back(reachable); }

  int refetches = 0;
  int commits = 0;
  bool timerOnDuringCommit = true;
  std::unique_ptr<platform::WaitEvent> committed;
  std::vector<bool> reports;

 private:
  TdmConnection*& connection_;
};

// A connection on a manual clock, pointed at `port` on 127.0.0.1 (and, with a
// remote address, at that too, on the same port as the settings have it).
struct Rig {
  explicit Rig(int port, std::string remote = {}) {
    settings.mLocalServerAddress = "127.0.0.1";
    settings.mRemoteServerAddress = remote;
    settings.mMultiServerConfig = !remote.empty();
    settings.ServerPort = std::to_string(port);
    connection = std::make_unique<TdmConnection>(loop, settings, traced.context, owner);
    raw = connection.get();
    abort = loop.CreateEvent();
    connection->ClientModule.OnResponseAbort = [this] { abort->Set(); };
    owner.committed = loop.CreateEvent();
    // Tells the test that a reply has been through the connection's handler.
    returned = loop.CreateEvent();
    auto handler = connection->ResultFromCommitToServer->OnReturn;
    connection->ResultFromCommitToServer->OnReturn = [this, handler](transport::TRpcClientModule* sender,
                                                                     TRpcValue& data, TRpcValue& result) {
      handler(sender, data, result);
      returned->Set();
    };
  }
  ~Rig() { connection.reset(); }

  // Pumps until the module gives a request up.
  void WaitForAbort() {
    ASSERT_EQ(loop.Wait(*abort, kWaitMs), WaitResult::Signaled);
    abort->Reset();
  }
  // Pumps until a reply has been handled, and then what it posted.
  void WaitForReturn() {
    ASSERT_EQ(loop.Wait(*returned, kWaitMs), WaitResult::Signaled);
    returned->Reset();
    loop.RunUntilIdle();
  }
  // Pumps until the commit has been asked for.
  void WaitForCommit() {
    ASSERT_EQ(loop.Wait(*owner.committed, kWaitMs), WaitResult::Signaled);
    owner.committed->Reset();
  }

  TracedContext traced;
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  TdmSettings settings{traced.folder.Dir(), traced.folder.Dir()};
  TdmConnection* raw = nullptr;
  RecordingOwner owner{raw};
  std::unique_ptr<TdmConnection> connection;
  std::unique_ptr<platform::WaitEvent> abort;
  std::unique_ptr<platform::WaitEvent> returned;
};

TEST(Connection, BlockingPingToALiveServer) {
  PingServer server;
  Rig rig(server.Port());
  rig.connection->ConnectionFailed = true;
  EXPECT_TRUE(rig.connection->ConnectToServer(true));
  EXPECT_TRUE(rig.connection->mIsServerReachable);
  EXPECT_FALSE(rig.connection->ConnectionFailed);
  EXPECT_TRUE(rig.settings.mUseLocalServer);
  EXPECT_FALSE(rig.connection->Timer1.Enabled());
  EXPECT_EQ(server.Calls(), 1);
  EXPECT_TRUE(rig.traced.Traced("Using Connection Settings",
                                "\r\tServer: 127.0.0.1:" + std::to_string(server.Port()) + "\r\tUse Proxy:No"));
  EXPECT_TRUE(rig.traced.Traced("Ping server", "function: youthere\r\tYES"));
  EXPECT_EQ(rig.traced.context.ProcName, "");
}

TEST(Connection, BlockingPingToNoServer) {
  struct Case {
    const char* name;
    std::string remote;
    bool useLocalAfter;
  };
  const std::vector<Case> cases = {
      // One server: the flip happens all the same, and only the timeout changes.
      {"one address", "", false},
      // Two servers, both down: both asked, and the flag is back where it was.
      {"two addresses", "127.0.0.1", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Rig rig(DeadPort(), c.remote);
    rig.connection->SetIsServerReachable(true);
    EXPECT_FALSE(rig.connection->ConnectToServer(true));
    EXPECT_TRUE(rig.connection->ConnectionFailed);
    EXPECT_EQ(rig.settings.mUseLocalServer, c.useLocalAfter);
    EXPECT_EQ(rig.settings.CurrentServerAddress(), "127.0.0.1");
    EXPECT_FALSE(rig.connection->mIsServerReachable);
    EXPECT_TRUE(rig.traced.Traced("Ping server", "function: youthere\r\tNO"));
    // A refused connection is a connection event: that, not the ping, starts the timer.
    EXPECT_TRUE(rig.traced.Trace().find("\tHttpClientConnectFail\t") != std::string::npos);
    EXPECT_TRUE(rig.connection->Timer1.Enabled());
  }
}

TEST(Connection, BlockingPingThatTimesOutDoesNotStartTheTimer) {
  // The server takes the call and answers after the wait has ended: no
  // connection event, so the offline state comes without the ping timer.
  std::mutex mutex;
  std::condition_variable cv;
  bool release = false;
  PingServer server([&] {
    std::unique_lock lock(mutex);
    cv.wait_for(lock, std::chrono::seconds(20), [&] { return release; });
    return transport::BooleanValue(true);
  });
  Rig rig(server.Port());
  rig.loop.SetManualStallLimit(300);
  rig.connection->SetIsServerReachable(true);
  EXPECT_FALSE(rig.connection->ConnectToServer(true));
  {
    std::lock_guard lock(mutex);
    release = true;
  }
  cv.notify_all();
  EXPECT_TRUE(rig.connection->ConnectionFailed);
  EXPECT_FALSE(rig.settings.mUseLocalServer);
  EXPECT_FALSE(rig.connection->mIsServerReachable);
  EXPECT_FALSE(rig.connection->Timer1.Enabled());
  EXPECT_EQ(rig.owner.reports, (std::vector<bool>{true, false}));
}

TEST(Connection, SecondServerAnswersAndStaysCurrent) {
  // The first attempt's requests fail on the server; the retry, on the other
  // address ("127.1" is the same loopback address spelt short), is answered.
  PingServer server;
  std::atomic<int> failures{3};
  server.Server().SetFaultPlan([&](const server::SeenRequest&) {
    server::Fault fault;
    if (failures-- > 0) fault.Status = 500;
    return fault;
  });
  Rig rig(server.Port(), "127.1");
  EXPECT_TRUE(rig.connection->ConnectToServer(true));
  EXPECT_FALSE(rig.connection->ConnectionFailed);
  EXPECT_FALSE(rig.settings.mUseLocalServer);
  EXPECT_EQ(rig.connection->HttpClient.ServerAddr(), "127.1");
  EXPECT_TRUE(rig.connection->mIsServerReachable);
  EXPECT_EQ(server.Calls(), 1);
}

TEST(Connection, RepliesOtherThanTrueProveNothing) {
  const std::vector<std::function<TRpcValue()>> replies = {
      [] { return transport::BooleanValue(false); },
      [] { return transport::IntegerValue(1); },
      [] { return transport::TextValue("true"); },
  };
  for (std::size_t i = 0; i < replies.size(); ++i) {
    SCOPED_TRACE(i);
    PingServer server(replies[i]);
    Rig rig(server.Port());
    rig.connection->HttpClientConnectFail();  // offline, pinging
    ASSERT_TRUE(rig.connection->Timer1.Enabled());
    const auto reports = rig.owner.reports;

    EXPECT_FALSE(rig.connection->ConnectToServer(true));
    EXPECT_FALSE(rig.connection->ConnectionFailed);
    EXPECT_TRUE(rig.settings.mUseLocalServer);

    EXPECT_TRUE(rig.connection->ConnectToServer(false));
    rig.WaitForReturn();
    EXPECT_EQ(server.Calls(), 2);
    EXPECT_FALSE(rig.connection->mIsServerReachable);
    EXPECT_TRUE(rig.connection->Timer1.Enabled());
    EXPECT_EQ(rig.owner.commits, 0);
    EXPECT_EQ(rig.owner.reports, reports);
  }
}

TEST(Connection, TrueArrivesInADeferredSecondPass) {
  Rig rig(DeadPort());
  rig.connection->HttpClientConnectFail();
  TRpcValue call(std::make_unique<transport::TRpcFunctionInfo>("youthere"));
  TRpcValue yes = transport::BooleanValue(true);
  rig.connection->ResultFromCommitToServerReturn(&rig.connection->ClientModule, call, yes);
  // Still inside the connection's event: nothing has happened yet.
  EXPECT_FALSE(rig.connection->mIsServerReachable);
  EXPECT_TRUE(rig.connection->Timer1.Enabled());
  EXPECT_EQ(rig.owner.commits, 0);
  rig.loop.RunUntilIdle();
  EXPECT_TRUE(rig.connection->mIsServerReachable);
  EXPECT_FALSE(rig.connection->Timer1.Enabled());
  EXPECT_EQ(rig.owner.commits, 1);
  EXPECT_FALSE(rig.owner.timerOnDuringCommit);
}

TEST(Connection, AbortedPingGoesOfflineAndAlternatesBetweenTwoServers) {
  struct Case {
    std::string remote;
    std::vector<bool> useLocalAfterEachPing;
  };
  const std::vector<Case> cases = {
      {"", {true, true}},
      {"127.0.0.1", {false, true}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.remote);
    Rig rig(DeadPort(), c.remote);
    rig.connection->SetIsServerReachable(true);
    for (bool expected : c.useLocalAfterEachPing) {
      EXPECT_TRUE(rig.connection->ConnectToServer(false));
      EXPECT_TRUE(rig.traced.Traced("Ping server", "function (non-blocking): youthere"));
      rig.WaitForAbort();
      EXPECT_FALSE(rig.connection->mIsServerReachable);
      EXPECT_EQ(rig.settings.mUseLocalServer, expected);
    }
    EXPECT_TRUE(rig.traced.Traced("SERVER CALL ABORTED", "function: youthere"));
  }
}

TEST(Connection, TimerPingFindsAServerThatCameBack) {
  const int port = DeadPort();
  Rig rig(port);
  rig.connection->SetIsServerReachable(true);
  rig.connection->HttpClientConnectFail();  // the connection went
  EXPECT_FALSE(rig.connection->mIsServerReachable);
  ASSERT_TRUE(rig.connection->Timer1.Enabled());

  rig.loop.AdvanceAndRun(kReconnectPingIntervalMs - 1);
  EXPECT_FALSE(rig.traced.Traced("Ping server", "function (non-blocking): youthere"));
  rig.loop.AdvanceAndRun(1);
  EXPECT_TRUE(rig.traced.Traced("Ping server", "function (non-blocking): youthere"));
  rig.WaitForAbort();
  EXPECT_FALSE(rig.connection->mIsServerReachable);
  EXPECT_TRUE(rig.connection->Timer1.Enabled());

  PingServer server([] { return transport::BooleanValue(true); }, port);
  rig.loop.AdvanceAndRun(kReconnectPingIntervalMs);
  rig.WaitForCommit();
  EXPECT_EQ(rig.owner.commits, 1);
  EXPECT_TRUE(rig.connection->mIsServerReachable);
  EXPECT_FALSE(rig.connection->Timer1.Enabled());
  EXPECT_EQ(rig.owner.refetches, 1);
  // Stopped: more time brings no more pings.
  rig.loop.AdvanceAndRun(3 * kReconnectPingIntervalMs);
  rig.loop.RunUntilIdle();
  EXPECT_EQ(server.Calls(), 1);
}

TEST(Connection, ConnectionEventsStartThePingUnlessShuttingDown) {
  struct Case {
    const char* name;
    bool disconnect;  // else connect fail
    bool shutDown;
    bool timerAfter;
  };
  const std::vector<Case> cases = {
      {"connect fail", false, false, true},
      {"connect fail while shutting down", false, true, true},
      {"disconnect", true, false, true},
      {"disconnect while shutting down", true, true, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Rig rig(DeadPort());
    rig.connection->SetIsServerReachable(true);
    rig.connection->mChacheComitted = true;
    rig.connection->mShutDown = c.shutDown;
    if (c.disconnect) {
      rig.connection->HttpClientDisconnect();
    } else {
      rig.connection->HttpClientConnectFail();
    }
    EXPECT_EQ(rig.connection->Timer1.Enabled(), c.timerAfter);
    EXPECT_EQ(rig.connection->mIsServerReachable, !c.timerAfter);
    EXPECT_EQ(rig.connection->mChacheComitted, !c.timerAfter);
    EXPECT_EQ(rig.owner.reports.size(), c.timerAfter ? 2u : 1u);
  }
}

}  // namespace
}  // namespace quillorn::data
