// Test code only: a server on 127.0.0.1 that answers "youthere" as a test says,
// a port where nothing listens, and reading back one instance's trace file.
// Never used by the client itself.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "foundation/context.h"
#include "foundation/log.h"
#include "foundation/temp_folder_for_test.h"
#include "server/function_table.h"
#include "server/rpc_server.h"
#include "transport/rpc_value.h"

namespace quillorn::data::testing {

// The limit of every wait in these tests, in real time.
inline constexpr std::uint32_t kWaitMs = 10000;

// A server whose "youthere" gives what `reply` makes, counting the calls.
class PingServer {
 public:
  explicit PingServer(std::function<transport::TRpcValue()> reply = [] { return transport::BooleanValue(true); },
                      int port = 0)
      : server_(Options(port), Functions(std::move(reply), calls_)) {
    port_ = server_.Start();
  }
  int Port() const { return port_; }
  int Calls() const { return calls_->load(); }
  server::RpcServer& Server() { return server_; }

 private:
  static server::ServerOptions Options(int port) {
    server::ServerOptions options;
    options.Port = port;
    return options;
  }
  static server::FunctionTable Functions(std::function<transport::TRpcValue()> reply,
                                         const std::shared_ptr<std::atomic<int>>& calls) {
    server::FunctionTable table;
    table.Register("youthere", [reply = std::move(reply), calls](const transport::TRpcRecord&) {
      ++*calls;
      return reply();
    });
    return table;
  }

  std::shared_ptr<std::atomic<int>> calls_ = std::make_shared<std::atomic<int>>(0);
  server::RpcServer server_;
  int port_ = 0;
};

// A loopback port that was free a moment ago and where nothing listens now.
inline int DeadPort() {
  server::RpcServer gone({}, server::FunctionTable{});
  return gone.Start();
}

// An add-in instance's log context with tracing on, writing into its own folder.
struct TracedContext {
  foundation::testing::TempFolder folder;
  foundation::LogContext context;
  TracedContext() {
    context.TraceEnabled = true;
    context.AppDir = folder.Dir();
    context.AppDataDir = folder.Dir();
  }
  std::string Trace() const { return foundation::testing::ReadAll(folder.Path() / foundation::kTraceFileName); }
  // One record as the trace file holds it.
  bool Traced(const std::string& where, const std::string& what) const {
    return Trace().find("\t" + where + "\t" + what + "\r\n") != std::string::npos;
  }
};

}  // namespace quillorn::data::testing
