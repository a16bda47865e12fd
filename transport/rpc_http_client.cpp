#include "transport/rpc_http_client.h"

#include <httplib.h>

#include <algorithm>
#include <stdexcept>

namespace quillorn::transport {

using foundation::MutexLock;

// One blocking call onto the main thread. Shared with the posted task, which may
// run after the client is gone, so it carries its own lock.
struct TRpcHttpClient::Sync {
  foundation::Mutex mutex;
  std::condition_variable done_cv;
  bool done GUARDED_BY(mutex) = false;
  bool cancelled GUARDED_BY(mutex) = false;
};

struct TRpcHttpClient::Impl {
  // Made and used by the worker; the destructor stops it from the main thread.
  std::unique_ptr<httplib::Client> client;
};

// What one turn of the worker carries from step to step.
struct TRpcHttpClient::Turn {
  std::shared_ptr<TRpcHttpRequest> request;
  // The settings as they stood when the request was taken.
  std::string address;
  std::string port;
  int connect_timeout = 0;
  int read_timeout = 0;
  TRpcPreparedRequest prepared;
  TRpcHttpResponse response;
  httplib::Error error = httplib::Error::Success;
};

TRpcHttpClient::TRpcHttpClient(platform::MainLoop& loop)
    : loop_(loop), impl_(std::make_unique<Impl>()) {
  worker_ = std::thread([this] { WorkerMain(); });
}

TRpcHttpClient::~TRpcHttpClient() {
  {
    MutexLock lock(mutex_);
    stopping_ = true;
    for (auto& pending : pending_syncs_) {
      Sync& sync = *pending;
      MutexLock sync_lock(sync.mutex);
      sync.cancelled = true;
      sync.done_cv.notify_all();
    }
    queue_.clear();
    // The worker makes no connection once it sees stopping_, so this one is the last.
    if (impl_->client) impl_->client->stop();
  }
  wake_.notify_all();
  if (worker_.joinable()) worker_.join();
}

void TRpcHttpClient::SetServerAddr(std::string address) {
  MutexLock lock(mutex_);
  address_ = std::move(address);
}
void TRpcHttpClient::SetServerPort(std::string port) {
  MutexLock lock(mutex_);
  port_ = std::move(port);
}
std::string TRpcHttpClient::ServerAddr() const {
  MutexLock lock(mutex_);
  return address_;
}
std::string TRpcHttpClient::ServerPort() const {
  MutexLock lock(mutex_);
  return port_;
}

void TRpcHttpClient::SetMultiThreaded(bool on) {
  if (Connected()) throw std::logic_error("Can not change MultiThreaded after Connect.");
  multi_threaded_ = on;
}

void TRpcHttpClient::SetTimeouts(int connect_seconds, int read_seconds) {
  MutexLock lock(mutex_);
  connect_timeout_s_ = connect_seconds;
  read_timeout_s_ = read_seconds;
}

bool TRpcHttpClient::Connected() const {
  MutexLock lock(mutex_);
  return connected_;
}

bool TRpcHttpClient::Stopping() const {
  MutexLock lock(mutex_);
  return stopping_;
}

void TRpcHttpClient::Disconnect() {
  {
    MutexLock lock(mutex_);
    drop_connection_ = true;
  }
  wake_.notify_all();
}

void TRpcHttpClient::Enqueue(std::shared_ptr<TRpcHttpRequest> request, bool at_head) {
  {
    MutexLock lock(mutex_);
    if (stopping_) return;
    if (at_head) {
      queue_.push_front(std::move(request));
    } else {
      queue_.push_back(std::move(request));
    }
  }
  wake_.notify_all();
}

std::vector<std::shared_ptr<TRpcHttpRequest>> TRpcHttpClient::RemoveQueued(const TRpcRequestOwner* owner) {
  std::vector<std::shared_ptr<TRpcHttpRequest>> removed;
  MutexLock lock(mutex_);
  auto keep = std::stable_partition(queue_.begin(), queue_.end(),
                                    [owner](const auto& r) { return !owner->Owns(*r); });
  removed.assign(keep, queue_.end());
  queue_.erase(keep, queue_.end());
  return removed;
}

std::shared_ptr<TRpcHttpRequest> TRpcHttpClient::InFlight() const {
  MutexLock lock(mutex_);
  return in_flight_;
}

bool TRpcHttpClient::HasRequests(const TRpcRequestOwner* owner) const {
  MutexLock lock(mutex_);
  if (in_flight_ && owner->Owns(*in_flight_)) return true;
  return std::any_of(queue_.begin(), queue_.end(), [owner](const auto& r) { return owner->Owns(*r); });
}

std::size_t TRpcHttpClient::QueuedCount() const {
  MutexLock lock(mutex_);
  return queue_.size();
}

bool TRpcHttpClient::OnMain(std::function<void()> task) {
  if (loop_.IsMainThread()) {
    task();
    return true;
  }
  auto sync = std::make_shared<Sync>();
  {
    MutexLock lock(mutex_);
    if (stopping_) return false;
    pending_syncs_.push_back(sync);
  }
  // A posted task and a flag rather than MainLoop::Synchronize, so that a client
  // torn down on the main thread never waits for a worker that waits for it.
  loop_.Post([sync, task = std::move(task)] {
    {
      MutexLock lock(sync->mutex);
      if (sync->cancelled) return;
    }
    struct Finish {
      Sync& s;
      ~Finish() {
        MutexLock lock(s.mutex);
        s.done = true;
        s.done_cv.notify_all();
      }
    } finish{*sync};
    task();
  });
  bool completed;
  {
    MutexLock lock(sync->mutex);
    while (!sync->done && !sync->cancelled) lock.Wait(sync->done_cv);
    completed = sync->done;
  }
  MutexLock lock(mutex_);
  pending_syncs_.erase(std::remove(pending_syncs_.begin(), pending_syncs_.end(), sync),
                       pending_syncs_.end());
  return completed;
}

// The handler is read on the main thread, where its owner sets and clears it.
void TRpcHttpClient::FireEvent(const std::function<void()>& event) {
  OnMain([&event] {
    if (event) event();
  });
}

// ---- the worker ---------------------------------------------------------------

void TRpcHttpClient::WorkerMain() {
  for (;;) {
    Turn turn;
    Outcome outcome = Take(turn);
    if (outcome == Outcome::Taken) outcome = Prepare(turn);
    if (outcome == Outcome::Prepared) outcome = Send(turn);
    if (outcome == Outcome::Replied) outcome = Deliver(turn);
    if (outcome == Outcome::Lost) outcome = ReportLoss(turn);
    if (outcome == Outcome::Stop) return;
  }
}

// The request stays at the head of the queue until its owner has prepared it, so
// that a handshake step queued meanwhile still goes ahead of it.
TRpcHttpClient::Outcome TRpcHttpClient::Take(Turn& turn) {
  bool was_connected = false;
  {
    MutexLock lock(mutex_);
    while (!stopping_ && queue_.empty() && !drop_connection_) lock.Wait(wake_);
    if (stopping_) return Outcome::Stop;
    if (std::exchange(drop_connection_, false)) {
      impl_->client.reset();
      was_connected = std::exchange(connected_, false);
    }
    if (!queue_.empty()) turn.request = queue_.front();
    turn.address = address_;
    turn.port = port_;
    turn.connect_timeout = connect_timeout_s_;
    turn.read_timeout = read_timeout_s_;
  }
  if (was_connected) FireEvent(OnDisconnect);
  return turn.request ? Outcome::Taken : Outcome::Done;
}

// The owner is asked on the main thread each time: a module that has gone there
// leaves an expired handle, and its requests are then dropped unanswered.
TRpcHttpClient::Outcome TRpcHttpClient::Prepare(Turn& turn) {
  const bool asked = OnMain([&turn] {
    auto owner = turn.request->Owner.lock();
    turn.prepared = owner ? owner->BeginRequest(turn.request)
                          : TRpcPreparedRequest{TRpcPreparedRequest::Kind::Dropped};
  });
  if (!asked) return Outcome::Stop;
  MutexLock lock(mutex_);
  if (stopping_) return Outcome::Stop;
  if (turn.prepared.What == TRpcPreparedRequest::Kind::Deferred) return Outcome::Done;
  // Whatever happened meanwhile, this request leaves the queue now.
  auto it = std::find(queue_.begin(), queue_.end(), turn.request);
  if (it != queue_.end()) queue_.erase(it);
  if (turn.prepared.What == TRpcPreparedRequest::Kind::Dropped) return Outcome::Done;
  in_flight_ = turn.request;
  return Outcome::Prepared;
}

void TRpcHttpClient::OpenConnection(const Turn& turn) {
  if (impl_->client) return;
  int port_number = 80;
  try {
    port_number = std::stoi(turn.port);
  } catch (const std::exception&) {
    port_number = 80;
  }
  impl_->client = std::make_unique<httplib::Client>(turn.address, port_number);
  impl_->client->set_keep_alive(true);
  // Headers and body leave in separate writes; with Nagle's delay each
  // round trip would wait for a delayed acknowledgement.
  impl_->client->set_tcp_nodelay(true);
  impl_->client->set_connection_timeout(turn.connect_timeout, 0);
  impl_->client->set_read_timeout(turn.read_timeout, 0);
  impl_->client->set_write_timeout(turn.read_timeout, 0);
}

TRpcHttpClient::Outcome TRpcHttpClient::Send(Turn& turn) {
  httplib::Client* client = nullptr;
  {
    MutexLock lock(mutex_);
    if (stopping_) return Outcome::Stop;  // the destructor's stop() has passed already
    OpenConnection(turn);
    client = impl_->client.get();
  }

  // Only this thread resets the connection, so the pointer stays good unlocked.
  httplib::Headers headers;
  for (auto& [name, value] : turn.prepared.Headers) headers.emplace(name, value);
  auto result = client->Post(turn.prepared.Target, headers, turn.prepared.Body, std::string());

  if (Stopping()) return Outcome::Stop;
  if (!result) {
    turn.error = result.error();
    return Outcome::Lost;
  }
  TRpcHttpResponse& response = turn.response;
  response.Status = result->status;
  response.Text = result->reason;
  response.Body = std::move(result->body);
  auto range = result->headers.equal_range("Set-Cookie");
  for (auto it = range.first; it != range.second; ++it) response.SetCookies.push_back(it->second);
  return Outcome::Replied;
}

TRpcHttpClient::Outcome TRpcHttpClient::Deliver(Turn& turn) {
  bool was_connected;
  {
    MutexLock lock(mutex_);
    was_connected = std::exchange(connected_, true);
  }
  if (!was_connected) FireEvent(OnConnect);
  {
    MutexLock lock(mutex_);
    in_flight_.reset();
  }
  const bool delivered = OnMain([&turn] {
    if (auto owner = turn.request->Owner.lock()) owner->DataReceived(turn.request, turn.response);
  });
  return delivered ? Outcome::Done : Outcome::Stop;
}

// No reply: the connection is gone, and the next request opens a new one.
TRpcHttpClient::Outcome TRpcHttpClient::ReportLoss(Turn& turn) {
  bool was_connected;
  {
    MutexLock lock(mutex_);
    impl_->client.reset();
    in_flight_.reset();
    was_connected = std::exchange(connected_, false);
  }
  if (turn.error == httplib::Error::Connection) {
    FireEvent(OnConnectFail);
  } else if (turn.error == httplib::Error::Write && !was_connected) {
    FireEvent(OnConnectError);
  } else {
    FireEvent(OnConnectLost);
  }
  if (was_connected) FireEvent(OnDisconnect);
  if (Stopping()) return Outcome::Stop;
  const bool reported = OnMain([&turn] {
    if (auto owner = turn.request->Owner.lock()) owner->RequestLost(turn.request);
  });
  return reported ? Outcome::Done : Outcome::Stop;
}

}  // namespace quillorn::transport
