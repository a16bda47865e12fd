#include "transport/rpc_http_client.h"

#include <httplib.h>

#include <algorithm>
#include <stdexcept>

namespace quillorn::transport {

struct TRpcHttpClient::Sync {
  std::mutex mutex;
  std::condition_variable done_cv;
  bool done = false;
  bool cancelled = false;
};

struct TRpcHttpClient::Impl {
  std::unique_ptr<httplib::Client> client;  // worker thread only, but stop() from any
  std::mutex client_mutex;                  // guards the pointer for stop()
};

TRpcHttpClient::TRpcHttpClient(platform::MainLoop& loop)
    : loop_(loop), impl_(std::make_unique<Impl>()) {
  worker_ = std::thread([this] { WorkerMain(); });
}

TRpcHttpClient::~TRpcHttpClient() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    for (auto& sync : pending_syncs_) {
      std::lock_guard sync_lock(sync->mutex);
      sync->cancelled = true;
      sync->done_cv.notify_all();
    }
    queue_.clear();
  }
  wake_.notify_all();
  {
    std::lock_guard lock(impl_->client_mutex);
    if (impl_->client) impl_->client->stop();
  }
  if (worker_.joinable()) worker_.join();
}

void TRpcHttpClient::SetServerAddr(std::string address) {
  std::lock_guard lock(mutex_);
  address_ = std::move(address);
}
void TRpcHttpClient::SetServerPort(std::string port) {
  std::lock_guard lock(mutex_);
  port_ = std::move(port);
}
std::string TRpcHttpClient::ServerAddr() const {
  std::lock_guard lock(mutex_);
  return address_;
}
std::string TRpcHttpClient::ServerPort() const {
  std::lock_guard lock(mutex_);
  return port_;
}

void TRpcHttpClient::SetMultiThreaded(bool on) {
  if (connected_) throw std::logic_error("Can not change MultiThreaded after Connect.");
  multi_threaded_ = on;
}

void TRpcHttpClient::SetTimeouts(int connect_seconds, int read_seconds) {
  std::lock_guard lock(mutex_);
  connect_timeout_s_ = connect_seconds;
  read_timeout_s_ = read_seconds;
}

void TRpcHttpClient::Disconnect() {
  {
    std::lock_guard lock(mutex_);
    drop_connection_ = true;
  }
  wake_.notify_all();
}

void TRpcHttpClient::Enqueue(std::shared_ptr<TRpcHttpRequest> request, bool at_head) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    if (at_head) {
      queue_.push_front(std::move(request));
    } else {
      queue_.push_back(std::move(request));
    }
  }
  wake_.notify_all();
}

std::vector<std::shared_ptr<TRpcHttpRequest>> TRpcHttpClient::RemoveQueued(TRpcRequestOwner* owner) {
  std::vector<std::shared_ptr<TRpcHttpRequest>> removed;
  std::lock_guard lock(mutex_);
  auto keep = std::stable_partition(queue_.begin(), queue_.end(),
                                    [owner](const auto& r) { return r->Owner != owner; });
  removed.assign(keep, queue_.end());
  queue_.erase(keep, queue_.end());
  return removed;
}

std::shared_ptr<TRpcHttpRequest> TRpcHttpClient::InFlight() const {
  std::lock_guard lock(mutex_);
  return in_flight_;
}

bool TRpcHttpClient::HasRequests(const TRpcRequestOwner* owner) const {
  std::lock_guard lock(mutex_);
  if (in_flight_ && in_flight_->Owner == owner) return true;
  return std::any_of(queue_.begin(), queue_.end(), [owner](const auto& r) { return r->Owner == owner; });
}

std::size_t TRpcHttpClient::QueuedCount() const {
  std::lock_guard lock(mutex_);
  return queue_.size();
}

bool TRpcHttpClient::OnMain(std::function<void()> task) {
  if (loop_.IsMainThread()) {
    task();
    return true;
  }
  auto sync = std::make_shared<Sync>();
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return false;
    pending_syncs_.push_back(sync);
  }
  // A posted task and a flag rather than MainLoop::Synchronize, so that a client
  // torn down on the main thread never waits for a worker that waits for it.
  loop_.Post([sync, task = std::move(task)] {
    {
      std::lock_guard lock(sync->mutex);
      if (sync->cancelled) return;
    }
    struct Finish {
      Sync& s;
      ~Finish() {
        std::lock_guard lock(s.mutex);
        s.done = true;
        s.done_cv.notify_all();
      }
    } finish{*sync};
    task();
  });
  bool completed;
  {
    std::unique_lock lock(sync->mutex);
    sync->done_cv.wait(lock, [&] { return sync->done || sync->cancelled; });
    completed = sync->done;
  }
  std::lock_guard lock(mutex_);
  pending_syncs_.erase(std::remove(pending_syncs_.begin(), pending_syncs_.end(), sync),
                       pending_syncs_.end());
  return completed;
}

void TRpcHttpClient::FireEvent(const std::function<void()>& event) {
  if (event) OnMain([&event] { event(); });
}

void TRpcHttpClient::WorkerMain() {
  for (;;) {
    std::shared_ptr<TRpcHttpRequest> request;
    std::string address, port;
    int connect_timeout = 0, read_timeout = 0;
    bool drop = false;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stopping_ || !queue_.empty() || drop_connection_; });
      if (stopping_) return;
      drop = std::exchange(drop_connection_, false);
      if (!queue_.empty()) request = queue_.front();
      address = address_;
      port = port_;
      connect_timeout = connect_timeout_s_;
      read_timeout = read_timeout_s_;
    }
    if (drop) {
      {
        std::lock_guard lock(impl_->client_mutex);
        impl_->client.reset();
      }
      if (connected_.exchange(false)) FireEvent(OnDisconnect);
    }
    if (!request) continue;

    // The owner is read on the main thread each time: a module that goes away
    // there clears it, and its requests are then dropped unanswered.
    TRpcPreparedRequest prepared;
    if (!OnMain([&] {
          prepared = request->Owner ? request->Owner->BeginRequest(request)
                                    : TRpcPreparedRequest{TRpcPreparedRequest::Kind::Dropped};
        }))
      return;
    {
      std::lock_guard lock(mutex_);
      if (stopping_) return;
      if (prepared.What == TRpcPreparedRequest::Kind::Deferred) continue;
      // Whatever happened meanwhile, this request leaves the queue now.
      auto it = std::find(queue_.begin(), queue_.end(), request);
      if (it != queue_.end()) queue_.erase(it);
      if (prepared.What == TRpcPreparedRequest::Kind::Dropped) continue;
      in_flight_ = request;
    }

    httplib::Client* client = nullptr;
    {
      std::lock_guard lock(impl_->client_mutex);
      if (stopping_) return;  // the destructor's stop() has passed already
      if (!impl_->client) {
        int port_number = 80;
        try {
          port_number = std::stoi(port);
        } catch (const std::exception&) {
          port_number = 80;
        }
        impl_->client = std::make_unique<httplib::Client>(address, port_number);
        impl_->client->set_keep_alive(true);
        // Headers and body leave in separate writes; with Nagle's delay each
        // round trip would wait for a delayed acknowledgement.
        impl_->client->set_tcp_nodelay(true);
        impl_->client->set_connection_timeout(connect_timeout, 0);
        impl_->client->set_read_timeout(read_timeout, 0);
        impl_->client->set_write_timeout(read_timeout, 0);
      }
      client = impl_->client.get();
    }

    httplib::Headers headers;
    for (auto& [name, value] : prepared.Headers) headers.emplace(name, value);
    auto result = client->Post(prepared.Target, headers, prepared.Body, std::string());

    if (stopping_) return;
    if (result) {
      TRpcHttpResponse response;
      response.Status = result->status;
      response.Text = result->reason;
      response.Body = std::move(result->body);
      auto range = result->headers.equal_range("Set-Cookie");
      for (auto it = range.first; it != range.second; ++it) response.SetCookies.push_back(it->second);
      if (!connected_.exchange(true)) FireEvent(OnConnect);
      {
        std::lock_guard lock(mutex_);
        in_flight_.reset();
      }
      if (!OnMain([&] {
            if (request->Owner) request->Owner->DataReceived(request, response);
          }))
        return;
      continue;
    }

    // No reply: the connection is gone, and the next request opens a new one.
    const httplib::Error error = result.error();
    {
      std::lock_guard lock(impl_->client_mutex);
      impl_->client.reset();
    }
    {
      std::lock_guard lock(mutex_);
      in_flight_.reset();
    }
    const bool was_connected = connected_.exchange(false);
    if (error == httplib::Error::Connection) {
      FireEvent(OnConnectFail);
    } else if (error == httplib::Error::Write && !was_connected) {
      FireEvent(OnConnectError);
    } else {
      FireEvent(OnConnectLost);
    }
    if (was_connected) FireEvent(OnDisconnect);
    if (stopping_) return;
    if (!OnMain([&] {
          if (request->Owner) request->Owner->RequestLost(request);
        }))
      return;
  }
}

}  // namespace quillorn::transport
