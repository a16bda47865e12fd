// TRpcHttpClient: the HTTP/1.1 connection under a client module. Owns the queue
// of requests and one worker thread that does the socket work; everything that
// touches the module's state runs on the main thread by a blocking synchronise.
// Never decodes, enciphers or decides about a reply itself.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/thread_annotations.h"
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
  TRpcRequestOwner() = default;
  TRpcRequestOwner(const TRpcRequestOwner&) = delete;
  TRpcRequestOwner& operator=(const TRpcRequestOwner&) = delete;
  virtual ~TRpcRequestOwner() = default;
  // About to send the head of the queue. Deferred: something was queued ahead
  // of it (a handshake step), ask again. Dropped: it is no longer wanted.
  virtual TRpcPreparedRequest BeginRequest(const std::shared_ptr<TRpcHttpRequest>& request) = 0;
  virtual void DataReceived(const std::shared_ptr<TRpcHttpRequest>& request,
                            TRpcHttpResponse& response) = 0;
  // The request went out and the connection went before its reply came.
  virtual void RequestLost(const std::shared_ptr<TRpcHttpRequest>& request) = 0;

  // What a request keeps of its owner: it expires when the owner goes.
  std::weak_ptr<TRpcRequestOwner> Handle() const { return anchor_; }
  // Whether the request is this owner's; never reaches through the handle.
  bool Owns(const TRpcHttpRequest& request) const;

 private:
  // Owns nothing (its deleter does nothing); it is here so that the handles
  // expire with the owner. Handles are locked on the main thread only, where
  // owners are also destroyed, so none can be locked while one is going.
  std::shared_ptr<TRpcRequestOwner> anchor_{this, [](TRpcRequestOwner*) {}};
};

struct TRpcHttpRequest {
  virtual ~TRpcHttpRequest() = default;
  std::weak_ptr<TRpcRequestOwner> Owner;
};

inline bool TRpcRequestOwner::Owns(const TRpcHttpRequest& request) const {
  return !request.Owner.owner_before(anchor_) && !anchor_.owner_before(request.Owner);
}

class TRpcHttpClient {
 public:
  explicit TRpcHttpClient(platform::MainLoop& loop);
  ~TRpcHttpClient();  // main thread: stops the worker; queued requests are dropped
  TRpcHttpClient(const TRpcHttpClient&) = delete;
  TRpcHttpClient& operator=(const TRpcHttpClient&) = delete;

  // Settings; the address and port are taken when the connection opens.
  void SetServerAddr(std::string address) EXCLUDES(mutex_);
  void SetServerPort(std::string port) EXCLUDES(mutex_);
  std::string ServerAddr() const EXCLUDES(mutex_);
  std::string ServerPort() const EXCLUDES(mutex_);
  void SetUseProxy(bool use) { use_proxy_ = use; }  // no proxy is configured on this side yet
  bool UseProxy() const noexcept { return use_proxy_; }
  // Raises "Can not change MultiThreaded after Connect." once connected.
  void SetMultiThreaded(bool on) EXCLUDES(mutex_);
  bool MultiThreaded() const noexcept { return multi_threaded_; }
  bool AutoConnect = true;
  struct ReconnectOptions {
    bool ConnectError = true;
    bool ConnectLost = true;
    bool ConnectFail = true;
  } ReconnectOn;
  // Seconds the socket waits to connect and for each read of a reply.
  void SetTimeouts(int connect_seconds, int read_seconds) EXCLUDES(mutex_);

  bool Connected() const EXCLUDES(mutex_);
  // Drops the open connection; queued requests stay and reopen it.
  void Disconnect() EXCLUDES(mutex_);

  // Connection events, on the main thread.
  std::function<void()> OnConnect;
  std::function<void()> OnConnectFail;   // the server could not be reached
  std::function<void()> OnConnectError;  // a request could not be written
  std::function<void()> OnConnectLost;   // an open connection broke
  std::function<void()> OnDisconnect;    // an open connection closed

  // Any thread. Handshake steps go to the head, calls to the tail.
  void Enqueue(std::shared_ptr<TRpcHttpRequest> request, bool at_head = false) EXCLUDES(mutex_);
  // Main thread: takes the owner's requests out of the queue; returns them.
  std::vector<std::shared_ptr<TRpcHttpRequest>> RemoveQueued(const TRpcRequestOwner* owner) EXCLUDES(mutex_);
  // The request on the wire at this moment, if any.
  std::shared_ptr<TRpcHttpRequest> InFlight() const EXCLUDES(mutex_);
  std::size_t QueuedCount() const EXCLUDES(mutex_);
  // Whether any of the owner's requests is queued or on the wire.
  bool HasRequests(const TRpcRequestOwner* owner) const EXCLUDES(mutex_);

  platform::MainLoop& Loop() noexcept { return loop_; }

 private:
  struct Sync;
  struct Impl;
  struct Turn;
  // Where one turn of the worker stands after each step; the step that takes
  // it goes on, Done ends the turn and Stop ends the worker.
  enum class Outcome { Stop, Done, Taken, Prepared, Replied, Lost };

  void WorkerMain() EXCLUDES(mutex_);
  Outcome Take(Turn& turn) EXCLUDES(mutex_);        // the head of the queue, or a connection to drop
  Outcome Prepare(Turn& turn) EXCLUDES(mutex_);     // the owner fills it on the main thread
  Outcome Send(Turn& turn) EXCLUDES(mutex_);        // socket work, on this thread only
  Outcome Deliver(Turn& turn) EXCLUDES(mutex_);     // the reply to the owner on the main thread
  Outcome ReportLoss(Turn& turn) EXCLUDES(mutex_);  // the lost connection's events, then the owner
  // Runs `task` on the main thread and waits; false when the client is stopping.
  bool OnMain(std::function<void()> task) EXCLUDES(mutex_);
  void FireEvent(const std::function<void()>& event) EXCLUDES(mutex_);
  bool Stopping() const EXCLUDES(mutex_);
  // Opens the connection with the turn's settings unless one is open.
  void OpenConnection(const Turn& turn) REQUIRES(mutex_);

  // One lock for everything the worker shares. It is never held across socket
  // work or a wait for the main thread, so no field needs a lock-free read.
  mutable foundation::Mutex mutex_;
  platform::MainLoop& loop_;
  const std::unique_ptr<Impl> impl_ PT_GUARDED_BY(mutex_);
  std::condition_variable wake_;
  std::deque<std::shared_ptr<TRpcHttpRequest>> queue_ GUARDED_BY(mutex_);
  std::shared_ptr<TRpcHttpRequest> in_flight_ GUARDED_BY(mutex_);
  std::vector<std::shared_ptr<Sync>> pending_syncs_ GUARDED_BY(mutex_);
  std::string address_ GUARDED_BY(mutex_) = "localhost";
  std::string port_ GUARDED_BY(mutex_) = "80";
  int connect_timeout_s_ GUARDED_BY(mutex_) = 5;
  int read_timeout_s_ GUARDED_BY(mutex_) = 300;
  bool drop_connection_ GUARDED_BY(mutex_) = false;
  bool connected_ GUARDED_BY(mutex_) = false;
  bool stopping_ GUARDED_BY(mutex_) = false;
  // Settings of the main thread; the worker never reads them.
  bool use_proxy_ = false;
  bool multi_threaded_ = true;
  std::thread worker_;
};

}  // namespace quillorn::transport
