// The HTTP server under the reference server's module path: cpp-httplib's
// parsing and routing, with the connections run here, so that no idle, slow or
// surplus client can hold a thread that another client needs, and a stop ends
// every connection within a moment. Never listens beyond what it is given.
#pragma once

#include <httplib.h>

#include <atomic>
#include <cstddef>

#include "server/server_limits.h"

namespace quillorn::server {

class GuardedHttpServer : public httplib::Server {
 public:
  explicit GuardedHttpServer(const ServerLimits& limits);

  // Every connection ends at its next look at the clock (a tenth of a second
  // at most), then the listener; waits for both.
  void StopAll();

  // Connections answered 503 because MaxConnections were open.
  std::size_t Refused() const noexcept { return refused_.load(); }

 private:
  class Connections;
  friend class Connections;

  bool process_and_close_socket(socket_t sock) override;
  bool Refuse(socket_t sock);

  ServerLimits limits_;
  std::atomic<bool> stopping_{false};
  std::atomic<std::size_t> refused_{0};
};

}  // namespace quillorn::server
