// The client module against the in-process server on 127.0.0.1: handshake,
// streams, resets, failure statuses, the clear mode and result delivery.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/queue_main_loop.h"
#include "server/function_table.h"
#include "server/rpc_server.h"
#include "transport/rpc_client_module.h"
#include "transport/rpc_dataset.h"
#include "transport/rpc_http_client.h"
#include "transport/value_json.h"

namespace quillorn {
namespace {

using server::Fault;
using server::SeenRequest;
using transport::TRpcClientModule;
using transport::TRpcCompressLevel;
using transport::TRpcResult;
using transport::TRpcValue;
using transport::TRpcValueTypes;

constexpr int kCallTimeoutSeconds = 10;

server::FunctionTable TestFunctions() {
  server::FunctionTable table;
  server::RegisterDefaultFunctions(table);
  table.Register("echo", [](const transport::TRpcRecord& params) {
    return transport::TextValue(params.GetString("text"));
  });
  table.Register("fail", [](const transport::TRpcRecord&) -> TRpcValue {
    throw std::runtime_error("the function failed");
  });
  table.Register("rows", [](const transport::TRpcRecord& params) {
    auto set = std::make_unique<transport::TRpcDataSet>();
    set->AddField("DOC_ID", transport::TRpcFieldTypes::ft_Integer);
    set->AddField("DOC_NAME", transport::TRpcFieldTypes::ft_String, 512);
    const int count = params.GetInteger("count");
    for (int i = 0; i < count; ++i) {
      auto& row = set->AppendRow();
      row.SetInteger("DOC_ID", i + 1);
      row.SetText("DOC_NAME", "Quality manual, chapter " + std::to_string(i + 1));
    }
    return TRpcValue(std::move(set));
  });
  return table;
}

// A server, a connection and a module configured as the document service's.
struct Loopback {
  explicit Loopback(bool encryption = true, TRpcCompressLevel server_level = TRpcCompressLevel::cMax)
      : server(server::ServerOptions{.Endpoint = {.Encryption = encryption, .Compression = server_level}},
               TestFunctions()) {
    const int port = server.Start();
    client.SetServerAddr("127.0.0.1");
    client.SetServerPort(std::to_string(port));
    client.SetTimeouts(5, 15);
    module.ModuleFileName = "/cms";
    module.Compression = TRpcCompressLevel::cMax;
    module.EncryptionKey = 8;
    module.SecureKey = "K7r@vQ2x";
    module.AutoSessions = true;
    module.AutoRepost = 2;
  }

  TRpcValue Echo(const std::string& text) {
    module.Prepare("echo").SetText("text", text);
    return module.Execute(true, kCallTimeoutSeconds, true);
  }

  std::vector<std::string> Targets() {
    std::vector<std::string> targets;
    for (const auto& seen : server.Seen()) targets.push_back(seen.Target);
    return targets;
  }

  // The code and text of the call's failure; code -1 when it did not fail.
  std::pair<int, std::string> Failure(int timeout_seconds = kCallTimeoutSeconds) {
    try {
      module.Execute(true, timeout_seconds, true);
    } catch (const transport::ERpcExecuteError& e) {
      return {e.Code(), e.what()};
    }
    return {-1, ""};
  }

  platform::QueueMainLoop loop;
  server::RpcServer server;
  transport::TRpcHttpClient client{loop};
  TRpcClientModule module{client};
};

TEST(TransportE2E, FirstCallShakesHandsThenCallsGoStraight) {
  Loopback lb;
  TRpcValue result = [&] {
    lb.module.Prepare("youthere");
    return lb.module.Execute(true, kCallTimeoutSeconds, true);
  }();
  ASSERT_EQ(result.ValueType(), TRpcValueTypes::rpc_Boolean);
  EXPECT_TRUE(result.AsBoolean());
  const std::string id = lb.module.SessionId();
  ASSERT_FALSE(id.empty());
  EXPECT_EQ(lb.Targets(), (std::vector<std::string>{"/cms?ACTION=HELLO&ID=NEW",
                                                    "/cms?ACTION=START&ID=" + id, "/cms?ID=" + id}));
  for (const auto& seen : lb.server.Seen()) EXPECT_EQ(seen.Method, "POST");

  // The streams run on: later calls need no handshake and still decipher.
  // Large replies and requests travel compressed as well as enciphered.
  lb.module.Prepare("rows").SetInteger("count", 1000);
  TRpcValue rows = lb.module.Execute(true, kCallTimeoutSeconds, true);
  ASSERT_EQ(rows.AsDataSet().RowCount(), 1000u);
  EXPECT_EQ(rows.AsDataSet().Row(999)->GetString("DOC_NAME"), "Quality manual, chapter 1000");
  const std::string big(20000, 'q');
  for (int i = 0; i < 3; ++i) EXPECT_EQ(lb.Echo("call " + std::to_string(i)).AsString(), "call " + std::to_string(i));
  EXPECT_EQ(lb.Echo(big).AsString(), big);
  EXPECT_LT(lb.server.Seen().back().BodySize, 1000u);
  const auto targets = lb.Targets();
  ASSERT_EQ(targets.size(), 8u);
  for (std::size_t i = 3; i < targets.size(); ++i) EXPECT_EQ(targets[i], "/cms?ID=" + id);
  EXPECT_TRUE(lb.module.KeyState()->AllReady);
}

TEST(TransportE2E, LostReplyIsResentWithResetAndBothStreamsRestart) {
  Loopback lb;
  EXPECT_EQ(lb.Echo("warm up").AsString(), "warm up");
  const std::string id = lb.module.SessionId();
  std::atomic<int> calls{0};
  lb.server.SetFaultPlan([&](const SeenRequest& seen) {
    Fault fault;
    // The second call after the handshake is handled, but its reply never arrives.
    if (seen.Action.empty() && ++calls == 1) fault.LoseReply = true;
    return fault;
  });
  lb.server.ClearSeen();
  EXPECT_EQ(lb.Echo("lost once").AsString(), "lost once");
  EXPECT_EQ(lb.Targets(), (std::vector<std::string>{"/cms?ID=" + id, "/cms?ID=" + id + "&ACTION=RESET"}));
  EXPECT_EQ(lb.module.KeyState()->ControlCounter, 1);  // counted from 0 again by the reset

  // Both sides are in step on the restarted streams.
  lb.server.ClearSeen();
  EXPECT_EQ(lb.Echo("after the reset").AsString(), "after the reset");
  EXPECT_EQ(lb.Targets(), (std::vector<std::string>{"/cms?ID=" + id}));
  EXPECT_EQ(lb.module.KeyState()->ControlCounter, 2);
}

TEST(TransportE2E, FailureStatusesTakeTheirPaths) {
  const std::vector<std::string> handshake = {"/cms?ACTION=HELLO&ID=<id>", "/cms?ACTION=START&ID=<id>", "/cms?ID=<id>"};
  struct Case {
    int status;
    // What follows the failed call; "<id>" is the session before, "<new>" after.
    std::vector<std::string> after;
    const char* event;
  };
  const std::vector<Case> cases = {
      {.status = 410,
       .after = {"/cms?ACTION=HELLO&ID=NEW", "/cms?ACTION=START&ID=<new>", "/cms?ID=<new>"},
       .event = "expired"},
      {.status = 412, .after = handshake, .event = "required"},
      {.status = 409, .after = {"/cms?ID=<id>&ACTION=RESET"}, .event = "wrong key"},
      {.status = 417, .after = handshake, .event = "wrong key"},
      {.status = 500, .after = handshake, .event = "error"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.status);
    Loopback lb;
    std::vector<std::string> events;
    lb.module.OnSessionExpired = [&] { events.push_back("expired"); };
    lb.module.OnEncryptRequired = [&] { events.push_back("required"); };
    lb.module.OnEncryptWrongKey = [&] { events.push_back("wrong key"); };
    lb.module.OnResponseError = [&] { events.push_back("error"); };
    EXPECT_EQ(lb.Echo("first").AsString(), "first");
    const std::string id = lb.module.SessionId();
    std::atomic<int> failed{0};
    lb.server.SetFaultPlan([&](const SeenRequest& seen) {
      Fault fault;
      if (seen.Action.empty() && failed++ == 0) {
        fault.Status = c.status;
        if (c.status == 410) lb.server.Endpoint().ExpireSession(*seen.Id);
      }
      return fault;
    });
    lb.server.ClearSeen();
    EXPECT_EQ(lb.Echo("second").AsString(), "second");
    const std::string fresh = lb.module.SessionId();
    std::vector<std::string> expected{"/cms?ID=" + id};
    for (std::string step : c.after) {
      if (auto p = step.find("<id>"); p != std::string::npos) step.replace(p, 4, id);
      if (auto p = step.find("<new>"); p != std::string::npos) step.replace(p, 5, fresh);
      expected.push_back(step);
    }
    EXPECT_EQ(lb.Targets(), expected);
    EXPECT_EQ(fresh != id, c.status == 410);
    EXPECT_EQ(events, std::vector<std::string>{c.event});
  }
}

TEST(TransportE2E, RepeatedExpiryUsesUpTheRepostsAndAborts) {
  Loopback lb;
  EXPECT_EQ(lb.Echo("first").AsString(), "first");
  lb.server.SetFaultPlan([&](const SeenRequest& seen) {
    Fault fault;
    if (seen.Action.empty()) fault.Status = 410;
    return fault;
  });
  lb.server.ClearSeen();
  int aborted = 0;
  lb.module.OnResponseAbort = [&] { ++aborted; };
  lb.module.Prepare("echo").SetText("text", "never");
  EXPECT_EQ(lb.Failure(), std::make_pair(0, std::string("Error response #410: Gone")));
  EXPECT_EQ(aborted, 1);
  int call_requests = 0;
  for (const auto& seen : lb.server.Seen()) call_requests += seen.Action.empty();
  // Once free (the first expiry), then the two counted reposts.
  EXPECT_EQ(call_requests, 4);
}

TEST(TransportE2E, ServerThatDeclinesEncryptionWorksInTheClear) {
  Loopback lb(/*encryption=*/false);
  EXPECT_EQ(lb.Echo("clear").AsString(), "clear");
  const std::string id = lb.module.SessionId();
  EXPECT_EQ(lb.Targets(), (std::vector<std::string>{"/cms?ACTION=HELLO&ID=NEW", "/cms?ID=" + id}));
  ASSERT_NE(lb.module.KeyState(), nullptr);
  EXPECT_TRUE(lb.module.KeyState()->HaveStart);
  EXPECT_FALSE(lb.module.KeyState()->Read);
  // A clear body is the code itself: the call's length, no key behind it.
  lb.module.Prepare("youthere");
  const std::string code = lb.module.Data().toCode();
  lb.server.ClearSeen();
  EXPECT_TRUE(lb.module.Execute(true, kCallTimeoutSeconds, true).AsBoolean());
  EXPECT_EQ(lb.server.Seen().at(0).BodySize, code.size());
  // Large replies come back compressed and still read.
  lb.module.Prepare("rows").SetInteger("count", 300);
  EXPECT_EQ(lb.module.Execute(true, kCallTimeoutSeconds, true).AsDataSet().RowCount(), 300u);
}

TEST(TransportE2E, NonBlockingResultArrivesOnTheMainThread) {
  Loopback lb;
  auto done = lb.loop.CreateEvent();
  bool on_main = false;
  std::string text;
  auto result = std::make_shared<TRpcResult>();
  result->OnReturn = [&](TRpcClientModule* sender, TRpcValue& data, TRpcValue& value) {
    EXPECT_EQ(sender, &lb.module);
    EXPECT_EQ(data.AsFunction().Name(), "echo");
    on_main = lb.loop.IsMainThread();
    text = value.AsString();
    done->Set();
  };
  lb.module.Prepare("echo").SetText("text", "later");
  lb.module.Call(result);
  EXPECT_TRUE(text.empty());  // nothing runs before the loop does
  ASSERT_EQ(lb.loop.Wait(*done, kCallTimeoutSeconds * 1000), platform::MainLoop::WaitResult::Signaled);
  EXPECT_TRUE(on_main);
  EXPECT_EQ(text, "later");
}

TEST(TransportE2E, SeveralCallsInOneRequestAreAnsweredInOrder) {
  Loopback lb;
  EXPECT_TRUE(lb.Echo("handshake first").AsString() == "handshake first");
  lb.server.ClearSeen();
  auto done = lb.loop.CreateEvent();
  std::vector<std::string> got;
  auto result = std::make_shared<TRpcResult>();
  result->OnReturn = [&](TRpcClientModule*, TRpcValue& data, TRpcValue& value) {
    std::string text;
    switch (value.ValueType()) {
      case TRpcValueTypes::rpc_Exception: text = value.AsException().Message(); break;
      case TRpcValueTypes::rpc_DataSet: text = std::to_string(value.AsDataSet().RowCount()) + " rows"; break;
      default: text = value.AsString();
    }
    got.push_back(data.AsFunction().Name() + ":" + text);
    if (got.size() == 5) done->Set();
  };
  lb.module.StartCalls();
  for (const char* text : {"one", "two"}) {
    lb.module.Prepare("echo").SetText("text", text);
    lb.module.Call(result);
  }
  lb.module.Prepare("nosuchfunction");
  lb.module.Call(result);
  lb.module.Prepare("fail");
  lb.module.Call(result);
  lb.module.Prepare("rows").SetInteger("count", 50);
  lb.module.Call(result);
  lb.module.Post();
  ASSERT_EQ(lb.loop.Wait(*done, kCallTimeoutSeconds * 1000), platform::MainLoop::WaitResult::Signaled);
  EXPECT_EQ(got, (std::vector<std::string>{"echo:one", "echo:two",
                                           "nosuchfunction:" + server::FunctionTable::UnknownFunctionMessage("nosuchfunction"),
                                           "fail:the function failed", "rows:50 rows"}));
  EXPECT_EQ(lb.server.Seen().size(), 1u);
  EXPECT_THROW(lb.module.Post(), transport::ERpcClientError);
  try {
    lb.module.Call(result);
    ADD_FAILURE() << "a call with nothing prepared";
  } catch (const transport::ERpcClientError& e) {
    EXPECT_STREQ(e.what(), "No Data defined. Use the \"Data\" property before \"Call\".");
  }
}

TEST(TransportE2E, NoServerEndsInTheFixedMessageAndConnectFail) {
  Loopback lb;
  lb.server.Stop();
  int fails = 0;
  lb.client.OnConnectFail = [&] { ++fails; };
  lb.module.Prepare("youthere");
  EXPECT_EQ(lb.Failure(), std::make_pair(0, std::string("Error: Connection problems, no response received.")));
  EXPECT_EQ(fails, 3);  // the HELLO and its two reposts
}

TEST(TransportE2E, WaitOutcomesGiveTheirCodes) {
  Loopback lb;
  std::mutex mutex;
  std::condition_variable cv;
  bool release = false;
  lb.server.Stop();
  // A server whose function waits until the test lets it go.
  server::FunctionTable slow_table = TestFunctions();
  slow_table.Register("slow", [&](const transport::TRpcRecord&) {
    std::unique_lock lock(mutex);
    cv.wait_for(lock, std::chrono::seconds(20), [&] { return release; });
    return transport::BooleanValue(true);
  });
  server::RpcServer slow({}, std::move(slow_table));
  lb.client.SetServerPort(std::to_string(slow.Start()));

  lb.module.Prepare("slow");
  EXPECT_EQ(lb.Failure(1), std::make_pair(1, std::string("Error: Connection problems, response timed out.")));
  lb.loop.Post([&] { lb.loop.Quit(); });
  lb.module.Prepare("youthere");
  EXPECT_EQ(lb.Failure(), std::make_pair(2, std::string("Error: Application Terminating.")));
  {
    std::lock_guard lock(mutex);
    release = true;
  }
  cv.notify_all();
}

// Runs the quillorn program with `args`; its stdout and stderr land in files.
struct ProgramRun {
  int exit_code = -1;
  std::string out, err;
};

ProgramRun RunQuillorn(const std::string& args) {
  const auto dir = std::filesystem::temp_directory_path();
  const auto tag = std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
  const auto out = dir / ("quillorn-rpc-" + tag + ".out");
  const auto err = dir / ("quillorn-rpc-" + tag + ".err");
  const std::string command = std::string("\"") + QUILLORN_APP + "\" " + args + " >\"" + out.string() +
                              "\" 2>\"" + err.string() + "\"";
  ProgramRun run{.exit_code = std::system(command.c_str())};
  for (auto [path, text] : {std::pair{out, &run.out}, std::pair{err, &run.err}}) {
    std::ifstream in(path, std::ios::binary);
    text->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    std::filesystem::remove(path);
  }
  return run;
}

TEST(TransportE2E, RpcCommandCallsThroughTheModuleAndPrintsJson) {
  server::FunctionTable table = TestFunctions();
  table.Register("add", [](const transport::TRpcRecord& params) {
    return transport::IntegerValue(params.GetInteger("a") + params.GetInteger("b") +
                                   (params.GetBoolean("plus_one") ? 1 : 0));
  });
  server::RpcServer server({}, std::move(table));
  const std::string at = "--server 127.0.0.1:" + std::to_string(server.Start());

  ProgramRun run = RunQuillorn("rpc " + at + " youthere");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, transport::ValueToJsonText(transport::BooleanValue(true)) + "\n");
  std::vector<std::string> targets;
  for (const auto& seen : server.Seen()) targets.push_back(seen.Target.substr(0, seen.Target.find("&ID=")));
  EXPECT_EQ(targets.at(0), "/cms?ACTION=HELLO");  // the full handshake, as the add-in does it

  run = RunQuillorn("rpc " + at + " --compression none add a:int=40 b:int=1 plus_one:bool=true");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, transport::ValueToJsonText(transport::IntegerValue(42)) + "\n");

  run = RunQuillorn("rpc " + at + " echo \"text=two words\"");
  EXPECT_EQ(run.out, transport::ValueToJsonText(transport::TextValue("two words")) + "\n");

  // A failure of the transport: its text on stderr, nothing on stdout.
  run = RunQuillorn("rpc " + at + " --path /nothing youthere");
  EXPECT_NE(run.exit_code, 0);
  EXPECT_EQ(run.err, "Error response #404: Not Found\n");
  EXPECT_TRUE(run.out.empty());
}

}  // namespace
}  // namespace quillorn
