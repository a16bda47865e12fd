// TRpcHttpClient: the HTTP/1.1 connection under a client module. Owns the queue
// of requests and one worker thread that does the socket work; everything that
// touches the module's state runs on the main thread by a blocking synchronise.
// Never decodes, enciphers or decides about a reply itself.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/main_loop.h"

namespace quillorn::transport {

class TRpcHttpClient;
struct TRpcHttpRequest;

// What a reply brought, as the module reads it.
struct TRpcHttpResponse {
  int Status = 0;
  std::string Text;                     // the reason phrase
  std::vector<std::string> SetCookies;  // every Set-Cookie header, in order
  std::string Body;
};

// A request as it goes out: the full target ("/cms?ID=..") and the body.
struct TRpcPreparedRequest {
  enum class Kind { Send, Deferred, Dropped };
  Kind What = Kind::Send;
  std::string Target;
  std::string Body;
  std::vector<std::pair<std::string, std::string>> Headers;
};

// The party that fills and reads a request: the client module. All three run on
// the main thread.
class TRpcRequestOwner {
 public:
  virtual ~TRpcRequestOwner() = default;
  // About to send the head of the queue. Deferred: something was queued ahead
  // of it (a handshake step), ask again. Dropped: it is no longer wanted.
  virtual TRpcPreparedRequest BeginRequest(const std::shared_ptr<TRpcHttpRequest>& request) = 0;
  virtual void DataReceived(const std::shared_ptr<TRpcHttpRequest>& request,
                            TRpcHttpResponse& response) = 0;
  // The request went out and the connection went before its reply came.
  virtual void RequestLost(const std::shared_ptr<TRpcHttpRequest>& request) = 0;
};

struct TRpcHttpRequest {
  virtual ~TRpcHttpRequest() = default;
  TRpcRequestOwner* Owner = nullptr;
};

class TRpcHttpClient {
 public:
  explicit TRpcHttpClient(platform::MainLoop& loop);
  ~TRpcHttpClient();  // main thread: stops the worker; queued requests are dropped
  TRpcHttpClient(const TRpcHttpClient&) = delete;
  TRpcHttpClient& operator=(const TRpcHttpClient&) = delete;

  // Settings; the address and port are taken when the connection opens.
  void SetServerAddr(std::string address);
  void SetServerPort(std::string port);
  std::string ServerAddr() const;
  std::string ServerPort() const;
  void SetUseProxy(bool use) { use_proxy_ = use; }  // no proxy is configured on this side yet
  bool UseProxy() const noexcept { return use_proxy_; }
  // Raises "Can not change MultiThreaded after Connect." once connected.
  void SetMultiThreaded(bool on);
  bool MultiThreaded() const noexcept { return multi_threaded_; }
  bool AutoConnect = true;
  struct ReconnectOptions {
    bool ConnectError = true;
    bool ConnectLost = true;
    bool ConnectFail = true;
  } ReconnectOn;
  // Seconds the socket waits to connect and for each read of a reply.
  void SetTimeouts(int connect_seconds, int read_seconds);

  bool Connected() const noexcept { return connected_.load(); }
  // Drops the open connection; queued requests stay and reopen it.
  void Disconnect();

  // Connection events, on the main thread.
  std::function<void()> OnConnect;
  std::function<void()> OnConnectFail;   // the server could not be reached
  std::function<void()> OnConnectError;  // a request could not be written
  std::function<void()> OnConnectLost;   // an open connection broke
  std::function<void()> OnDisconnect;    // an open connection closed

  // Any thread. Handshake steps go to the head, calls to the tail.
  void Enqueue(std::shared_ptr<TRpcHttpRequest> request, bool at_head = false);
  // Main thread: takes the owner's requests out of the queue; returns them.
  std::vector<std::shared_ptr<TRpcHttpRequest>> RemoveQueued(TRpcRequestOwner* owner);
  // The request on the wire at this moment, if any.
  std::shared_ptr<TRpcHttpRequest> InFlight() const;
  std::size_t QueuedCount() const;
  // Whether any of the owner's requests is queued or on the wire.
  bool HasRequests(const TRpcRequestOwner* owner) const;

  platform::MainLoop& Loop() noexcept { return loop_; }

 private:
  struct Sync;
  struct Impl;
  void WorkerMain();
  // Runs `task` on the main thread and waits; false when the client is stopping.
  bool OnMain(std::function<void()> task);
  void FireEvent(const std::function<void()>& event);

  platform::MainLoop& loop_;
  std::unique_ptr<Impl> impl_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::shared_ptr<TRpcHttpRequest>> queue_;
  std::shared_ptr<TRpcHttpRequest> in_flight_;
  std::vector<std::shared_ptr<Sync>> pending_syncs_;
  std::string address_ = "localhost";
  std::string port_ = "80";
  bool use_proxy_ = false;
  bool multi_threaded_ = true;
  int connect_timeout_s_ = 5;
  int read_timeout_s_ = 300;
  bool drop_connection_ = false;
  std::atomic<bool> connected_{false};
  std::atomic<bool> stopping_{false};
  std::thread worker_;
};

}  // namespace quillorn::transport
