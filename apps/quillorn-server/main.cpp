// quillorn-server: the reference server. Serves the remote functions at "/cms"
// on 127.0.0.1 over a database in its data folder, within its limits, runs only
// the client's own statements unless told otherwise, logs every call, and
// stops within a second on SIGTERM or SIGINT, whatever runs.
#include <CLI/CLI.hpp>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include "server/call_log.h"
#include "server/catalogue.h"
#include "server/demo_seed.h"
#include "server/function_table.h"
#include "server/rpc_server.h"
#include "server/server_limits.h"
#include "server/sql_policy.h"
#include "server/store.h"
#include "server/submit_functions.h"

namespace {

std::atomic<int> stop_signal{0};
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler may only touch a lock-free flag");

extern "C" void OnStopSignal(int signal) { stop_signal.store(signal); }

// How often the main thread looks at the flag; also the longest a stop waits.
constexpr auto kWatchInterval = std::chrono::milliseconds(50);

std::chrono::milliseconds Millis(double seconds) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000.0));
}

// The limits' options, in the units an administrator thinks in.
struct LimitOptions {
  double maxBodyMiB, maxInflatedMiB, maxAnswerMiB;
  double statementSeconds, sessionIdleSeconds, readTimeoutSeconds, keepAliveSeconds;
  std::size_t maxSessions, maxConnections;

  explicit LimitOptions(const quillorn::server::ServerLimits& d)
      : maxBodyMiB(static_cast<double>(d.MaxBody / quillorn::server::kMiB)),
        maxInflatedMiB(static_cast<double>(d.MaxInflated / quillorn::server::kMiB)),
        maxAnswerMiB(static_cast<double>(d.MaxAnswer / quillorn::server::kMiB)),
        statementSeconds(static_cast<double>(d.StatementTime.count()) / 1000.0),
        sessionIdleSeconds(static_cast<double>(d.SessionIdle.count()) / 1000.0),
        readTimeoutSeconds(static_cast<double>(d.ReadTimeout.count()) / 1000.0),
        keepAliveSeconds(static_cast<double>(d.KeepAlive.count()) / 1000.0),
        maxSessions(d.MaxSessions),
        maxConnections(d.MaxConnections) {}

  void Add(CLI::App& app) {
    const auto positive = CLI::PositiveNumber;
    app.add_option("--max-body", maxBodyMiB, "largest request body, in MiB")
        ->check(positive)
        ->capture_default_str();
    app.add_option("--max-inflated", maxInflatedMiB, "largest request once inflated, in MiB")
        ->check(positive)
        ->capture_default_str();
    app.add_option("--max-answer", maxAnswerMiB, "largest answer, in MiB")
        ->check(positive)
        ->capture_default_str();
    app.add_option("--statement-seconds", statementSeconds, "a statement running longer is stopped")
        ->check(positive)
        ->capture_default_str();
    app.add_option("--max-sessions", maxSessions, "sessions kept; the least recently used goes first")
        ->check(positive)
        ->capture_default_str();
    app.add_option("--session-idle-seconds", sessionIdleSeconds, "a session unused this long is forgotten")
        ->check(positive)
        ->capture_default_str();
    app.add_option("--read-timeout", readTimeoutSeconds,
                   "seconds a request's head and body may take to arrive")
        ->check(positive)
        ->capture_default_str();
    app.add_option("--keep-alive", keepAliveSeconds, "seconds an idle connection is kept")
        ->check(positive)
        ->capture_default_str();
    app.add_option("--max-connections", maxConnections, "open connections; one more is answered 503")
        ->check(positive)
        ->capture_default_str();
  }

  quillorn::server::ServerLimits Limits() const {
    quillorn::server::ServerLimits limits;
    const auto bytes = [](double mib) {
      return static_cast<std::size_t>(mib * static_cast<double>(quillorn::server::kMiB));
    };
    limits.MaxBody = bytes(maxBodyMiB);
    limits.MaxInflated = bytes(maxInflatedMiB);
    limits.MaxAnswer = bytes(maxAnswerMiB);
    limits.StatementTime = Millis(statementSeconds);
    limits.MaxSessions = maxSessions;
    limits.SessionIdle = Millis(sessionIdleSeconds);
    limits.ReadTimeout = Millis(readTimeoutSeconds);
    limits.KeepAlive = Millis(keepAliveSeconds);
    limits.MaxConnections = maxConnections;
    return limits;
  }
};

}  // namespace

int main(int argc, char** argv) {
  using namespace quillorn;
  CLI::App app{"quillorn-server: the reference server of the Quillorn document service"};
  int port = 0;
  std::string data;
  std::string bind = "127.0.0.1";
  std::string log_file;
  int run_seconds = 0;
  std::string seed;
  app.add_option("--port", port, "port to listen on; 0 takes a free one")->check(CLI::Range(0, 65535));
  app.add_option("--data", data, "data folder; its server.db is created when missing")->required();
  app.add_option("--bind", bind, "address to listen on; only 127.0.0.1 is served")
      ->check(CLI::IsMember({"127.0.0.1"}));
  app.add_option("--log", log_file, "file for the call log (relative: in the data folder); default stderr");
  app.add_option("--run-seconds", run_seconds, "stop by itself after this long; 0 runs until a signal")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--seed", seed, "fill an empty data folder with sample data: demo")
      ->check(CLI::IsMember({std::string(server::kDemoSeedName)}));
  bool allowAnySql = false;
  app.add_flag("--allow-any-sql", allowAnySql,
               "let execsql run any single statement and submit change any table (tests and demos that build "
               "schemas); by default only the client's own statements and tables");
  LimitOptions limitOptions{server::ServerLimits{}};
  limitOptions.Add(app);
  CLI11_PARSE(app, argc, argv);
  const server::ServerLimits limits = limitOptions.Limits();
  const server::SqlPolicy policy =
      allowAnySql ? server::SqlPolicy::AnyStatement : server::SqlPolicy::ClientStatements;

  try {
    server::ServerStore store{std::filesystem::path(data), {limits.StatementTime, limits.MaxAnswer}};
    if (!seed.empty()) {
      const bool seeded = server::SeedDemo(store);
      std::cout << (seeded ? "seeded the demo organisation"
                           : "the data folder holds tables already; not seeded")
                << std::endl;
    }

    std::ofstream log_stream;
    if (!log_file.empty()) {
      const std::filesystem::path path = std::filesystem::path(data) / log_file;  // absolute stays absolute
      log_stream.open(path, std::ios::app);
      if (!log_stream) throw std::runtime_error("Cannot open the log file " + path.string());
    }
    server::CallLog log(log_file.empty() ? std::cerr : log_stream);

    server::FunctionTable functions;
    for (auto& [name, function] : server::Catalogue(store, policy))
      functions.Register(name, log.Wrap(name, function));
    for (auto& [name, function] : server::SubmitFunctions(store, policy)) {
      functions.Register(name, log.Wrap(name, function));
    }

    server::ServerOptions options;
    options.Port = port;
    options.Limits = limits;
    server::RpcServer rpc(options, std::move(functions));
    // The request plan runs on the request's own thread just before its calls:
    // the one place where the log can learn whose session they serve.
    rpc.SetFaultPlan([](const server::SeenRequest& seen) {
      server::CallLog::SetCurrentSession(seen.Id);
      return server::Fault{};
    });

    std::signal(SIGTERM, OnStopSignal);
    std::signal(SIGINT, OnStopSignal);
    const int listening = rpc.Start();
    std::cout << "listening on " << bind << ":" << listening << std::endl;
    log.Write("started on " + bind + ":" + std::to_string(listening) + " with " + store.FileName().string());

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(run_seconds);
    while (stop_signal.load() == 0 && (run_seconds == 0 || std::chrono::steady_clock::now() < deadline)) {
      std::this_thread::sleep_for(kWatchInterval);
      // The HTTP side keeps every request it saw for tests; a long run must not.
      rpc.ClearSeen();
    }
    // The statement first, so that the request running it can answer and end.
    store.Stop();
    rpc.Stop();
    const int signal = stop_signal.load();
    log.Write(signal != 0 ? "stopped by signal " + std::to_string(signal) : "stopped after " + std::to_string(run_seconds) + " s");
    return 0;
  } catch (const std::exception& e) {
    std::cerr << "quillorn-server: " << e.what() << std::endl;
    return 1;
  }
}
