// The quillorn-server program as its operators and its clients meet it, all on
// 127.0.0.1: it listens, answers, logs and stops, and holds against clients
// that try to take it over, starve it or keep it from stopping. Every wait is
// bounded far beyond what the server needs, and far below what it took before
// it held.
#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/sql_policy.h"
#include "tests/loopback_client_for_test.h"
#include "transport/rpc_dataset.h"

namespace quillorn {
namespace {

using namespace std::chrono_literals;
using transport::TRpcValue;
using transport::TRpcValueTypes;

using foundation::testing::ReadAll;
using foundation::testing::TempFolder;

// Polls `path` until its text holds `wanted`, for at most `bound`.
std::string WaitFor(const std::filesystem::path& path, const std::string& wanted,
                    std::chrono::seconds bound) {
  const auto deadline = std::chrono::steady_clock::now() + bound;
  std::string text = ReadAll(path);
  while (text.find(wanted) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(10ms);
    text = ReadAll(path);
  }
  return text;
}

// The exit status of a shell command, as the shell reports it.
int ShellStatus(const std::string& command) {
  const auto file =
      std::filesystem::temp_directory_path() /
      ("quillorn-status-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
  std::system((command + "; echo $? >\"" + file.string() + "\"").c_str());
  const std::string status = ReadAll(file);
  std::filesystem::remove(file);
  return status.empty() ? -1 : std::stoi(status);
}

// quillorn-server over the demo organisation, run by the shell in the
// background; a subshell keeps its exit status. --run-seconds ends one that a
// failed test leaves behind.
class ServerProgram {
 public:
  explicit ServerProgram(const std::string& options = "") {
    const std::string command = "( \"" + std::string(QUILLORN_SERVER_APP) + "\" --port 0 --data \"" +
                                Data().string() + "\" --seed demo --run-seconds 90 " + options + " >\"" +
                                File("out") + "\" 2>\"" + File("err") + "\" & echo $! >\"" + File("pid") +
                                "\"; wait $!; echo $? >\"" + File("rc") + "\" ) &";
    std::system(command.c_str());
    const std::string prefix = "listening on 127.0.0.1:";
    const std::string out = WaitFor(folder_.Path() / "out", prefix, 20s);
    const auto at = out.find(prefix);
    if (at != std::string::npos) port_ = std::stoi(out.substr(at + prefix.size()));
  }
  // The subshell writes the status before the folder goes.
  ~ServerProgram() {
    std::system(("kill -KILL $(cat \"" + File("pid") + "\") 2>/dev/null").c_str());
    WaitFor(folder_.Path() / "rc", "\n", 10s);
  }

  int Port() const { return port_; }
  std::filesystem::path Data() const { return folder_.Path() / "data"; }
  std::string Log() const { return ReadAll(folder_.Path() / "err"); }
  std::string ExitStatus() const { return ReadAll(folder_.Path() / "rc"); }

  // Sends SIGTERM; how long the program took to end, or `bound` when it did not.
  std::chrono::milliseconds Terminate(std::chrono::seconds bound) {
    const auto start = std::chrono::steady_clock::now();
    std::system(("kill -TERM $(cat \"" + File("pid") + "\")").c_str());
    if (WaitFor(folder_.Path() / "rc", "\n", bound).find('\n') == std::string::npos) return bound;
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  }

 private:
  std::string File(const char* name) const { return (folder_.Path() / name).string(); }

  TempFolder folder_;
  int port_ = 0;
};

// The add-in's own connection settings; no repost, so that each call is one request.
struct Client : testing::LoopbackClient {
  explicit Client(int port) : LoopbackClient(port, 0) {}
  TRpcValue Call(const std::string& function, const std::string& sql = "") {
    auto& call = module.Prepare(function);
    if (!sql.empty()) call.SetString("sql", sql);
    return module.Execute(true, 20, true);
  }
  std::string Text(const TRpcValue& value) {
    switch (value.ValueType()) {
      case TRpcValueTypes::rpc_Exception:
        return "exception: " + value.AsException().Message();
      case TRpcValueTypes::rpc_Boolean:
        return value.AsBoolean() ? "true" : "false";
      case TRpcValueTypes::rpc_DataSet: {
        const auto& set = value.AsDataSet();
        return set.RowCount() == 0 ? "no row" : set.Row(0)->GetVariant(set.FieldDef(0).Name).AsString();
      }
      default:
        return value.toCode();
    }
  }

};

// Connections that send their request a byte a second, as a client on a bad
// line or one that means harm: each holds the server's attention for as long
// as the server lets it.
class SlowClients {
 public:
  SlowClients(int port, int count) {
    for (int i = 0; i < count; ++i) {
      threads_.emplace_back([this, port] {
        httplib::Client client("127.0.0.1", port);
        client.set_read_timeout(60);
        client.Post(
            "/cms", 1 << 20,
            [this](std::size_t offset, std::size_t, httplib::DataSink& sink) {
              std::unique_lock lock(mutex_);
              if (released_) return false;
              if (offset == 0) ++started_;
              started_cv_.notify_all();
              sink.write("x", 1);
              return !released_cv_.wait_for(lock, 1s, [this] { return released_; });
            },
            "application/octet-stream");
      });
    }
    // Each has sent its head and its first byte before the test goes on.
    std::unique_lock lock(mutex_);
    started_cv_.wait_for(lock, 10s, [&] { return started_ == count; });
  }
  ~SlowClients() {
    {
      std::lock_guard lock(mutex_);
      released_ = true;
    }
    released_cv_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  std::mutex mutex_;
  std::condition_variable released_cv_, started_cv_;
  bool released_ = false;
  int started_ = 0;
  std::vector<std::thread> threads_;
};

TEST(ServerProgram, NoClientTakesOverAUserThroughExecSql) {
  ServerProgram server;
  ASSERT_GT(server.Port(), 0);
  Client client(server.Port());
  for (const char* sql : {"UPDATE Users SET WEB_PASSWORD='x', P_ADMIN='Y' WHERE LOGIN='PBROWN'",
                          "CREATE TRIGGER own AFTER UPDATE ON CODES BEGIN UPDATE Users SET P_ADMIN='Y'; END",
                          "PRAGMA writable_schema=ON"}) {
    EXPECT_EQ(client.Text(client.Call("execsql", sql)),
              "exception: " + std::string(server::kNotAClientStatement));
  }
  EXPECT_EQ(
      client.Text(client.Call("select", "select WEB_PASSWORD || P_ADMIN from Users where LOGIN='PBROWN'")),
      "demoN");

  // `quillorn rpc` tells the refusal from a result by its exit status.
  const std::string rpc =
      "\"" + std::string(QUILLORN_APP) + "\" rpc --server 127.0.0.1:" + std::to_string(server.Port()) + " ";
  EXPECT_EQ(ShellStatus(rpc + "execsql \"sql=DELETE FROM Users\" >/dev/null"), 3);
  EXPECT_EQ(ShellStatus(rpc + "youthere >/dev/null"), 0);
}

TEST(ServerProgram, ACallIsAnsweredWhileEightSlowConnectionsAreHeld) {
  ServerProgram server;
  ASSERT_GT(server.Port(), 0);
  SlowClients slow(server.Port(), 8);
  Client client(server.Port());
  for (int call = 0; call < 3; ++call) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.Text(client.Call("youthere")), "true");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s) << "call " << call;
  }
}

TEST(ServerProgram, ARunawaySelectIsStoppedAndTheServerGoesOnAnswering) {
  ServerProgram server("--statement-seconds 1");
  ASSERT_GT(server.Port(), 0);
  Client client(server.Port());
  EXPECT_EQ(client.Text(client.Call("select",
                                    "with recursive r(x) as (select 1 union all select x + 1 from r) "
                                    "select count(*) from r")),
            "exception: The statement ran longer than 1000 ms and was stopped.");
  EXPECT_EQ(client.Text(client.Call("youthere")), "true");
  EXPECT_EQ(client.Text(client.Call("select", "select LOGIN from Users where USER_ID=1")), "JSMITH");
}

// Its first line names its port; every call is logged on its own line with the
// session it came in; SIGTERM stops it, with status 0, while a slow connection
// is still held.
TEST(ServerProgram, ListensAnswersLogsAndStopsOnSigtermWhileASlowConnectionIsHeld) {
  ServerProgram server("--allow-any-sql");
  ASSERT_GT(server.Port(), 0) << server.Log();
  EXPECT_TRUE(std::filesystem::exists(server.Data() / "server.db"));
  std::string session;
  {
    Client client(server.Port());
    EXPECT_EQ(client.Text(client.Call("youthere")), "true");
    EXPECT_EQ(client.Text(client.Call("execsql", "CREATE TABLE T (A INTEGER)")), "true");
    EXPECT_EQ(client.Text(client.Call("select", "SELECT A FROM T")), "no row");
    session = client.module.SessionId();
  }
  SlowClients slow(server.Port(), 1);
  EXPECT_LT(server.Terminate(20s), 5s);
  EXPECT_EQ(server.ExitStatus(), "0\n");
  const std::string log = server.Log();
  for (const std::string function : {"youthere", "execsql", "select"}) {
    EXPECT_NE(log.find('\t' + session + '\t' + function + '\t'), std::string::npos) << function << "\n" << log;
  }
  EXPECT_NE(log.find("stopped by signal"), std::string::npos) << log;
}

TEST(ServerProgram, RefusesAddressesOtherThanLoopback) {
  TempFolder folder;
  EXPECT_NE(ShellStatus("\"" + std::string(QUILLORN_SERVER_APP) + "\" --port 0 --data \"" + folder.Path().string() +
                       "\" --bind 0.0.0.0 >/dev/null 2>&1"),
            0);
}

}  // namespace
}  // namespace quillorn
