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
      : server(MakeOptions(encryption, server_level), TestFunctions()) {
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

  static server::ServerOptions MakeOptions(bool encryption, TRpcCompressLevel level) {
    server::ServerOptions options;
    options.Endpoint.Encryption = encryption;
    options.Endpoint.Compression = level;
    return options;
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
  for (int i = 0; i < 5; ++i) EXPECT_EQ(lb.Echo("call " + std::to_string(i)).AsString(), "call " + std::to_string(i));
  const auto targets = lb.Targets();
  ASSERT_EQ(targets.size(), 8u);
  for (std::size_t i = 3; i < targets.size(); ++i) EXPECT_EQ(targets[i], "/cms?ID=" + id);
  ASSERT_NE(lb.module.KeyState(), nullptr);
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
  struct Case {
    int status;
    // What follows the failed call; "<id>" is the session before, "<new>" after.
    std::vector<std::string> after;
    int events_expired, events_required, events_wrong, events_error;
  };
  const std::vector<Case> cases = {
      {410, {"/cms?ACTION=HELLO&ID=NEW", "/cms?ACTION=START&ID=<new>", "/cms?ID=<new>"}, 1, 0, 0, 0},
      {412, {"/cms?ACTION=HELLO&ID=<id>", "/cms?ACTION=START&ID=<id>", "/cms?ID=<id>"}, 0, 1, 0, 0},
      {409, {"/cms?ID=<id>&ACTION=RESET"}, 0, 0, 1, 0},
      {417, {"/cms?ACTION=HELLO&ID=<id>", "/cms?ACTION=START&ID=<id>", "/cms?ID=<id>"}, 0, 0, 1, 0},
      {500, {"/cms?ACTION=HELLO&ID=<id>", "/cms?ACTION=START&ID=<id>", "/cms?ID=<id>"}, 0, 0, 0, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.status);
    Loopback lb;
    int expired = 0, required = 0, wrong = 0, error = 0;
    lb.module.OnSessionExpired = [&] { ++expired; };
    lb.module.OnEncryptRequired = [&] { ++required; };
    lb.module.OnEncryptWrongKey = [&] { ++wrong; };
    lb.module.OnResponseError = [&] { ++error; };
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
    if (c.status == 410) EXPECT_NE(fresh, id);
    else EXPECT_EQ(fresh, id);
    EXPECT_EQ(expired, c.events_expired);
    EXPECT_EQ(required, c.events_required);
    EXPECT_EQ(wrong, c.events_wrong);
    EXPECT_EQ(error, c.events_error);
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
  try {
    lb.Echo("never");
    FAIL() << "expected the call to be given up";
  } catch (const transport::ERpcExecuteError& e) {
    EXPECT_EQ(e.Code(), 0);
    EXPECT_STREQ(e.what(), "Error response #410: Gone");
  }
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
  std::thread::id ran_on;
  bool on_main = false;
  std::string text;
  auto result = std::make_shared<TRpcResult>();
  result->OnReturn = [&](TRpcClientModule* sender, TRpcValue& data, TRpcValue& value) {
    EXPECT_EQ(sender, &lb.module);
    EXPECT_EQ(data.AsFunction().Name(), "echo");
    ran_on = std::this_thread::get_id();
    on_main = lb.loop.IsMainThread();
    text = value.AsString();
    done->Set();
  };
  lb.module.Prepare("echo").SetText("text", "later");
  lb.module.Call(result);
  EXPECT_TRUE(text.empty());  // nothing runs before the loop does
  ASSERT_EQ(lb.loop.Wait(*done, kCallTimeoutSeconds * 1000), platform::MainLoop::WaitResult::Signaled);
  EXPECT_TRUE(on_main);
  EXPECT_EQ(ran_on, std::this_thread::get_id());
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
}

TEST(TransportE2E, UnknownFunctionGivesAnExceptionValue) {
  Loopback lb;
  lb.module.Prepare("nosuchfunction");
  TRpcValue value = lb.module.Execute(true, kCallTimeoutSeconds, true);
  ASSERT_EQ(value.ValueType(), TRpcValueTypes::rpc_Exception);
  EXPECT_EQ(value.AsException().Message(), "Unknown function: nosuchfunction");
}

TEST(TransportE2E, LargeRepliesAndRequestsTravelCompressedAndEnciphered) {
  Loopback lb;
  lb.module.Prepare("rows").SetInteger("count", 1000);
  TRpcValue value = lb.module.Execute(true, kCallTimeoutSeconds, true);
  const auto& set = value.AsDataSet();
  ASSERT_EQ(set.RowCount(), 1000u);
  EXPECT_EQ(set.Row(999)->GetString("DOC_NAME"), "Quality manual, chapter 1000");
  const std::string big(20000, 'q');
  lb.server.ClearSeen();
  EXPECT_EQ(lb.Echo(big).AsString(), big);
  EXPECT_LT(lb.server.Seen().at(0).BodySize, 1000u);  // compressed on the way out
}

TEST(TransportE2E, NoServerEndsInTheFixedMessageAndConnectFail) {
  int port;
  {
    server::RpcServer gone({}, server::FunctionTable{});
    port = gone.Start();
  }
  platform::QueueMainLoop loop;
  transport::TRpcHttpClient client(loop);
  client.SetServerAddr("127.0.0.1");
  client.SetServerPort(std::to_string(port));
  int fails = 0;
  client.OnConnectFail = [&] { ++fails; };
  TRpcClientModule module(client);
  module.EncryptionKey = 8;
  module.SecureKey = "K7r@vQ2x";
  module.AutoSessions = true;
  module.AutoRepost = 2;
  module.Prepare("youthere");
  try {
    module.Execute(true, kCallTimeoutSeconds, true);
    FAIL() << "expected no server";
  } catch (const transport::ERpcExecuteError& e) {
    EXPECT_EQ(e.Code(), 0);
    EXPECT_STREQ(e.what(), "Error: Connection problems, no response received.");
  }
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
  try {
    lb.module.Execute(true, 1, true);
    FAIL() << "expected a timeout";
  } catch (const transport::ERpcExecuteError& e) {
    EXPECT_EQ(e.Code(), 1);
    EXPECT_STREQ(e.what(), "Error: Connection problems, response timed out.");
  }
  lb.loop.Post([&] { lb.loop.Quit(); });
  lb.module.Prepare("youthere");
  try {
    lb.module.Execute(true, kCallTimeoutSeconds, true);
    FAIL() << "expected the quit";
  } catch (const transport::ERpcExecuteError& e) {
    EXPECT_EQ(e.Code(), 2);
    EXPECT_STREQ(e.what(), "Error: Application Terminating.");
  }
  {
    std::lock_guard lock(mutex);
    release = true;
  }
  cv.notify_all();
}

TEST(TransportE2E, PrepareIsNeededBeforeCall) {
  Loopback lb;
  try {
    lb.module.Call(std::make_shared<TRpcResult>());
    FAIL();
  } catch (const transport::ERpcClientError& e) {
    EXPECT_STREQ(e.what(), "No Data defined. Use the \"Data\" property before \"Call\".");
  }
}

}  // namespace
}  // namespace quillorn

namespace quillorn {
namespace {

// Runs the quillorn program with `args`; its stdout and stderr land in files.
struct ProgramRun {
  int exit_code = -1;
  std::string out, err;
};

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

ProgramRun RunQuillorn(const std::string& args) {
  const auto dir = std::filesystem::temp_directory_path();
  const auto tag = std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
  const auto out = dir / ("quillorn-rpc-" + tag + ".out");
  const auto err = dir / ("quillorn-rpc-" + tag + ".err");
  const std::string command = std::string("\"") + QUILLORN_APP + "\" " + args + " >\"" + out.string() +
                              "\" 2>\"" + err.string() + "\"";
  ProgramRun run;
  const int status = std::system(command.c_str());
  run.exit_code = status;
  run.out = ReadAll(out);
  run.err = ReadAll(err);
  std::filesystem::remove(out);
  std::filesystem::remove(err);
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
