#include "data/connection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include "data/data_test_support.h"

namespace quillorn::data {
namespace {

using testing::DeadPort;
using testing::Instance;
using transport::TRpcValue;

// The reference server, its "youthere" answering as `reply` makes and counted.
struct PingServer {
  explicit PingServer(std::function<TRpcValue()> reply, int port = 0)
      : server([this, reply](server::FunctionTable& table) {
          table.Register("youthere", [this, reply](const transport::TRpcRecord&) {
            ++calls;
            return reply();
          });
        }, port) {}
  std::atomic<int> calls{0};
  testing::RefServer server;
};

TEST(Connection, BlockingPing) {
  // Holds a "youthere" until the test lets it go, long after the ping gave up.
  std::promise<void> release;
  const std::shared_future<void> released = release.get_future().share();
  auto yes = [] { return transport::BooleanValue(true); };
  struct Case {
    const char* name;
    std::function<TRpcValue()> reply;
    const char* after;       // what the ping left
    std::string remote;      // a second server, on the same port
    bool listening = true;
    int failedRequests = 0;  // answered with 500 before the server serves
  };
  const std::vector<Case> cases = {
      {.name = "live", .reply = yes, .after = "YES reachable local"},
      // Only the Boolean true proves anything; the state stays as it was.
      {.name = "answers false", .reply = [] { return transport::BooleanValue(false); }, .after = "NO reachable local"},
      // A refused connection is a connection event: that, not the ping, starts the timer.
      {.name = "nobody", .reply = yes, .after = "NO failed timer", .listening = false},
      {.name = "nobody at either address", .reply = yes, .after = "NO failed local timer", .remote = "127.0.0.1",
       .listening = false},
      // "127.1" is the same loopback address spelt short; once it answers it stays current. The
      // switch's own disconnect started the timer, whose first answer stops it again.
      {.name = "the second answers", .reply = yes, .after = "YES reachable timer 127.1", .remote = "127.1",
       .failedRequests = 3},
      // Taken and answered after the wait: no connection event, so no ping timer.
      {.name = "times out", .reply = [released] {
         released.wait_for(std::chrono::seconds(20));
         return transport::BooleanValue(true);
       }, .after = "NO failed"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::atomic<int> failures{c.failedRequests};
    PingServer ping(c.reply);
    ping.server.Server().SetFaultPlan([&](const server::SeenRequest&) {
      return server::Fault{.Status = failures-- > 0 ? 500 : 0};
    });
    Instance instance(c.listening ? ping.server.Port() : DeadPort(), {},
                      c.remote.empty() ? "" : "Remote_Address=" + c.remote + "\r\n");
    Tdm& dm = *instance.dm;
    instance.loop.SetManualStallLimit(300);
    dm.SetIsServerReachable(true);
    const bool answered = dm.ConnectToServer(true);
    if (std::string(c.name) == "times out") release.set_value();
    std::string after = answered ? "YES" : "NO";
    for (const auto& [on, word] : {std::pair{dm.Connection.ConnectionFailed, " failed"},
                                   std::pair{dm.mIsServerReachable(), " reachable"},
                                   std::pair{dm.Settings.mUseLocalServer, " local"},
                                   std::pair{dm.Connection.Timer1.Enabled(), " timer"}}) {
      if (on) after += word;
    }
    if (dm.Connection.HttpClient.ServerAddr() != "127.0.0.1") after += " " + dm.Connection.HttpClient.ServerAddr();
    EXPECT_EQ(after, c.after);
    EXPECT_EQ(ping.calls, c.listening ? 1 : 0);
    EXPECT_TRUE(instance.traced.Traced("Ping server",
                                       answered ? "function: youthere\r\tYES" : "function: youthere\r\tNO"));
  }
}

}  // namespace
}  // namespace quillorn::data
