// The server side over HTTP: one module path answered by an RpcEndpoint and a
// FunctionTable, on 127.0.0.1 at a given or free port, served on threads of its
// own within its limits and stoppable at any moment. It records what it saw,
// and a test can make it fail a request on purpose; it never listens beyond the
// loopback address.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "server/function_table.h"
#include "server/rpc_endpoint.h"
#include "server/server_limits.h"

namespace quillorn::server {

struct ServerOptions {
  std::string ModulePath = "/cms";
  int Port = 0;  // 0: any free port
  EndpointOptions Endpoint;
  ServerLimits Limits;
};

// A request as it arrived.
struct SeenRequest {
  std::string Method;
  std::string Target;  // path and query as sent
  std::string Action;
  std::optional<std::string> Id;
  std::size_t BodySize = 0;
  bool HasHost = false;
  bool HasContentType = false;
};

// What to do with one request instead of answering it normally.
struct Fault {
  int Status = 0;           // answer with this status and no body, without handling
  bool LoseReply = false;   // handle it, then break the connection before the reply
};

class RpcServer {
 public:
  RpcServer(ServerOptions options, FunctionTable functions);
  ~RpcServer();
  RpcServer(const RpcServer&) = delete;
  RpcServer& operator=(const RpcServer&) = delete;

  // Binds 127.0.0.1 and serves on its own thread; returns the port. Raises on failure.
  int Start();
  // Ends every connection and the listener within a moment, whatever a client
  // is sending. A statement that runs is the store's: stop that first.
  void Stop();
  // Connections refused because the limit of open ones was reached.
  std::size_t Refused() const;
  int Port() const noexcept { return port_; }

  std::vector<SeenRequest> Seen() const;
  void ClearSeen();
  // Asked for every request before it is handled; a default Fault handles it.
  void SetFaultPlan(std::function<Fault(const SeenRequest&)> plan);

  RpcEndpoint& Endpoint() noexcept { return *endpoint_; }

 private:
  struct Http;
  ServerOptions options_;
  FunctionTable functions_;
  std::unique_ptr<RpcEndpoint> endpoint_;
  std::unique_ptr<Http> http_;
  std::thread thread_;
  int port_ = 0;
  mutable std::mutex mutex_;
  std::vector<SeenRequest> seen_;
  std::function<Fault(const SeenRequest&)> fault_plan_;
};

}  // namespace quillorn::server
