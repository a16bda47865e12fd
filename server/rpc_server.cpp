#include "server/rpc_server.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "server/guarded_http.h"

namespace quillorn::server {

struct RpcServer::Http {
  explicit Http(const ServerLimits& limits) : server(limits) {}
  GuardedHttpServer server;
};

RpcServer::RpcServer(ServerOptions options, FunctionTable functions)
    : options_(std::move(options)),
      functions_(std::move(functions)),
      http_(std::make_unique<Http>(options_.Limits)) {
  functions_.SetAnswerLimit(options_.Limits.MaxAnswer);
  endpoint_ = std::make_unique<RpcEndpoint>(
      options_.Endpoint, [this](std::string_view code) { return functions_.Process(code); }, options_.Limits);

  http_->server.set_tcp_nodelay(true);
  http_->server.Post(options_.ModulePath, [this](const httplib::Request& req, httplib::Response& res) {
    SeenRequest seen;
    seen.Method = req.method;
    seen.Target = req.target;
    seen.BodySize = req.body.size();
    seen.HasHost = req.has_header("Host");
    seen.HasContentType = req.has_header("Content-Type");
    if (req.has_param("ACTION")) seen.Action = req.get_param_value("ACTION");
    if (req.has_param("ID")) seen.Id = req.get_param_value("ID");
    std::function<Fault(const SeenRequest&)> plan;
    {
      std::lock_guard lock(mutex_);
      seen_.push_back(seen);
      plan = fault_plan_;
    }
    const Fault fault = plan ? plan(seen) : Fault{};
    if (fault.Status != 0) {
      res.status = fault.Status;
      return;
    }

    EndpointRequest request{seen.Action, seen.Id, req.body};
    EndpointReply reply = endpoint_->Handle(request);
    res.status = reply.Status;
    if (!reply.SetCookie.empty()) res.set_header("Set-Cookie", "ID=" + reply.SetCookie);
    if (fault.LoseReply) {
      // The headers go out, the body never does: the client sees the
      // connection break in the middle of the reply.
      res.set_content_provider(reply.Body.size() + 1, "application/octet-stream",
                               [](std::size_t, std::size_t, httplib::DataSink&) { return false; });
      return;
    }
    res.body = std::move(reply.Body);
  });
}

RpcServer::~RpcServer() { Stop(); }

int RpcServer::Start() {
  if (thread_.joinable()) return port_;
  const std::string host = "127.0.0.1";
  port_ = options_.Port == 0 ? http_->server.bind_to_any_port(host)
                             : (http_->server.bind_to_port(host, options_.Port) ? options_.Port : -1);
  if (port_ <= 0) throw std::runtime_error("The server could not listen on 127.0.0.1.");
  thread_ = std::thread([this] { http_->server.listen_after_bind(); });
  // stop() before the accept loop runs would be lost and leave it running, so
  // Start returns only once it runs (bounded: five seconds at most).
  for (int i = 0; i < 5000 && !http_->server.is_running(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return port_;
}

void RpcServer::Stop() {
  if (!thread_.joinable()) return;
  http_->server.StopAll();
  thread_.join();
}

std::size_t RpcServer::Refused() const {
  return http_->server.Refused();
}

std::vector<SeenRequest> RpcServer::Seen() const {
  std::lock_guard lock(mutex_);
  return seen_;
}

void RpcServer::ClearSeen() {
  std::lock_guard lock(mutex_);
  seen_.clear();
}

void RpcServer::SetFaultPlan(std::function<Fault(const SeenRequest&)> plan) {
  std::lock_guard lock(mutex_);
  fault_plan_ = std::move(plan);
}

}  // namespace quillorn::server
