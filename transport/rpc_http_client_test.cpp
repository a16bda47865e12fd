// Requests that outlive their owner: whatever stage the request has reached when
// its module goes, the connection calls into nothing and serves the next module.
#include "transport/rpc_http_client.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/queue_main_loop.h"

namespace quillorn::transport {
namespace {

constexpr std::uint32_t kWaitMs = 10000;

// Writes down what the connection asks of it, in a log the test keeps.
class RecordingOwner final : public TRpcRequestOwner {
 public:
  RecordingOwner(std::string name, std::vector<std::string>& log, platform::WaitEvent& answered)
      : name_(std::move(name)), log_(log), answered_(answered) {}

  std::shared_ptr<TRpcHttpRequest> Request() {
    auto request = std::make_shared<TRpcHttpRequest>();
    request->Owner = Handle();
    return request;
  }

  TRpcPreparedRequest BeginRequest(const std::shared_ptr<TRpcHttpRequest>&) override {
    log_.push_back(name_ + ":begin");
    return {.Target = "/" + name_};
  }
  void DataReceived(const std::shared_ptr<TRpcHttpRequest>&, TRpcHttpResponse& response) override {
    log_.push_back(name_ + ":" + response.Body);
    answered_.Set();
  }
  void RequestLost(const std::shared_ptr<TRpcHttpRequest>&) override {
    log_.push_back(name_ + ":lost");
    answered_.Set();
  }

 private:
  std::string name_;
  std::vector<std::string>& log_;
  platform::WaitEvent& answered_;
};

TEST(RpcHttpClient, RequestsOfAGoneOwnerAreReadOrDroppedAndReachNoOne) {
  // "/slow" holds its reply until the test lets it go, so that its owner can go
  // while it is on the wire.
  httplib::Server server;
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  std::atomic<int> queued_hits{0};
  server.Post("/slow", [released](const httplib::Request&, httplib::Response& res) {
    released.wait_for(std::chrono::milliseconds(kWaitMs));
    res.set_content("late", "text/plain");
  });
  server.Post("/queued", [&](const httplib::Request&, httplib::Response& res) {
    ++queued_hits;
    res.set_content("unwanted", "text/plain");
  });
  server.Post("/stays", [](const httplib::Request&, httplib::Response& res) { res.set_content("ok", "text/plain"); });
  const int port = server.bind_to_any_port("127.0.0.1");
  ASSERT_GT(port, 0);
  std::thread listener([&] { server.listen_after_bind(); });

  platform::QueueMainLoop loop;
  std::vector<std::string> log;
  auto answered = loop.CreateEvent();
  {
    TRpcHttpClient client(loop);
    client.SetServerAddr("127.0.0.1");
    client.SetServerPort(std::to_string(port));
    // In optionals, so that a call after one is gone lands in its emptied storage
    // (a pure virtual call, which aborts) rather than in freed memory.
    std::optional<RecordingOwner> slow_owner(std::in_place, "slow", log, *answered);
    std::optional<RecordingOwner> queued_owner(std::in_place, "queued", log, *answered);
    RecordingOwner stays("stays", log, *answered);
    auto on_the_wire = slow_owner->Request();
    client.Enqueue(on_the_wire);
    client.Enqueue(queued_owner->Request());
    client.Enqueue(stays.Request());

    auto tick = loop.CreateEvent();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
    while (client.InFlight() != on_the_wire && std::chrono::steady_clock::now() < deadline) loop.Wait(*tick, 5);
    ASSERT_EQ(client.InFlight(), on_the_wire);

    // Both go without telling the connection.
    slow_owner.reset();
    queued_owner.reset();
    release.set_value();
    ASSERT_EQ(loop.Wait(*answered, kWaitMs), platform::MainLoop::WaitResult::Signaled);
    EXPECT_FALSE(client.HasRequests(&stays));
  }
  server.stop();
  listener.join();

  EXPECT_EQ(log, (std::vector<std::string>{"slow:begin", "stays:begin", "stays:ok"}));
  EXPECT_EQ(queued_hits, 0);
}

}  // namespace
}  // namespace quillorn::transport
