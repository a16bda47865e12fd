#include "server/guarded_http.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "foundation/thread_annotations.h"
#include "platform/socket_io.h"

namespace quillorn::server {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The longest any wait on a socket lasts before it looks at the clock and at
// the stop again: what a stop costs a connection at most.
constexpr milliseconds kSlice{100};

// Set while the listener hands over a connection that finds every place taken.
thread_local bool refusing = false;

platform::NativeSocket Native(socket_t sock) {
  return static_cast<platform::NativeSocket>(sock);
}

// Waits in slices until the socket is ready, the deadline passes or the server
// stops. A broken socket counts as ready: the read or write that follows says so.
bool Await(socket_t sock, bool toWrite, Clock::time_point deadline, const std::atomic<bool>& stopping) {
  for (;;) {
    if (stopping.load()) return false;
    const auto now = Clock::now();
    if (now >= deadline) return false;
    const auto wait = std::min(kSlice, std::chrono::ceil<milliseconds>(deadline - now));
    const platform::SocketWait state =
        toWrite ? platform::WaitToWrite(Native(sock), wait) : platform::WaitToRead(Native(sock), wait);
    if (state != platform::SocketWait::TimedOut) return true;
  }
}

// One request's reading and writing: its head and body must arrive by a
// deadline that grows only with the bytes that came, and each part of the
// reply must be taken within the read timeout.
class GuardedStream final : public httplib::Stream {
 public:
  GuardedStream(socket_t sock, const ServerLimits& limits, const std::atomic<bool>& stopping)
      : sock_(sock), limits_(limits), stopping_(stopping), start_(Clock::now()) {}

  bool is_readable() const override {
    return pos_ < len_ || platform::WaitToRead(Native(sock_), milliseconds(0)) == platform::SocketWait::Ready;
  }
  bool is_writable() const override { return !stopping_.load(); }

  ssize_t read(char* ptr, size_t size) override {
    if (pos_ < len_) return Hand(ptr, size);
    const auto deadline = start_ + limits_.ReadTimeout + milliseconds(received_ * 1000 / kMinBodyRate);
    if (!Await(sock_, false, deadline, stopping_)) return -1;
    // Large reads (a body) go straight to the caller; small ones (the head,
    // a byte at a time) through the buffer.
    const bool direct = size >= sizeof buffer_;
    const std::ptrdiff_t n =
        platform::ReadSocket(Native(sock_), direct ? ptr : buffer_, direct ? size : sizeof buffer_);
    if (n <= 0) return n;
    received_ += static_cast<std::size_t>(n);
    if (direct) return n;
    pos_ = 0;
    len_ = static_cast<std::size_t>(n);
    return Hand(ptr, size);
  }

  ssize_t write(const char* ptr, size_t size) override {
    if (!Await(sock_, true, Clock::now() + limits_.ReadTimeout, stopping_)) return -1;
    return platform::WriteSocket(Native(sock_), ptr, size);
  }

  // Only 127.0.0.1 is ever served.
  void get_remote_ip_and_port(std::string& ip, int& port) const override {
    ip = "127.0.0.1";
    port = 0;
  }
  void get_local_ip_and_port(std::string& ip, int& port) const override {
    ip = "127.0.0.1";
    port = 0;
  }
  socket_t socket() const override { return sock_; }

 private:
  ssize_t Hand(char* ptr, size_t size) {
    const std::size_t n = std::min(size, len_ - pos_);
    std::memcpy(ptr, buffer_ + pos_, n);
    pos_ += n;
    return static_cast<ssize_t>(n);
  }

  socket_t sock_;
  const ServerLimits& limits_;
  const std::atomic<bool>& stopping_;
  const Clock::time_point start_;
  std::size_t received_ = 0;
  char buffer_[4096];
  std::size_t pos_ = 0;
  std::size_t len_ = 0;
};

}  // namespace

// A thread for each open connection, up to the limit, made when no thread is
// free; a connection beyond the limit is refused on the listener's thread.
class GuardedHttpServer::Connections final : public httplib::TaskQueue {
 public:
  explicit Connections(std::size_t most) : most_(std::max<std::size_t>(most, 1)) {}

  void enqueue(std::function<void()> fn) override {
    {
      foundation::MutexLock lock(mutex_);
      if (busy_ + jobs_.size() < most_) {
        jobs_.push_back(std::move(fn));
        if (idle_ == 0) threads_.emplace_back([this] { Work(); });
        ready_.notify_one();
        return;
      }
    }
    refusing = true;
    fn();
    refusing = false;
  }

  void shutdown() override {
    std::vector<std::thread> threads;
    {
      foundation::MutexLock lock(mutex_);
      closing_ = true;
      threads.swap(threads_);
    }
    ready_.notify_all();
    for (std::thread& thread : threads) thread.join();
  }

 private:
  void Work() {
    for (;;) {
      std::function<void()> job;
      {
        foundation::MutexLock lock(mutex_);
        ++idle_;
        while (!closing_ && jobs_.empty()) lock.Wait(ready_);
        --idle_;
        if (jobs_.empty()) return;
        job = std::move(jobs_.front());
        jobs_.pop_front();
        ++busy_;
      }
      job();
      foundation::MutexLock lock(mutex_);
      --busy_;
    }
  }

  const std::size_t most_;
  foundation::Mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::function<void()>> jobs_ GUARDED_BY(mutex_);
  std::vector<std::thread> threads_ GUARDED_BY(mutex_);
  std::size_t busy_ GUARDED_BY(mutex_) = 0;
  std::size_t idle_ GUARDED_BY(mutex_) = 0;
  bool closing_ GUARDED_BY(mutex_) = false;
};

GuardedHttpServer::GuardedHttpServer(const ServerLimits& limits) : limits_(limits) {
  new_task_queue = [this] { return new Connections(limits_.MaxConnections); };
  set_payload_max_length(limits_.MaxBody);
  set_keep_alive_max_count(100);
}

void GuardedHttpServer::StopAll() {
  stopping_.store(true);
  stop();
}

bool GuardedHttpServer::process_and_close_socket(socket_t sock) {
  if (refusing) return Refuse(sock);
  bool ok = false;
  for (std::size_t served = 0; served < keep_alive_max_count_; ++served) {
    // Before its first request a connection may take as long as a request
    // may; between requests, as long as keep-alive allows.
    const auto idle = served == 0 ? limits_.ReadTimeout : limits_.KeepAlive;
    if (!Await(sock, false, Clock::now() + idle, stopping_)) break;
    GuardedStream stream(sock, limits_, stopping_);
    bool closed = false;
    ok = process_request(stream, served + 1 == keep_alive_max_count_, closed, nullptr);
    if (!ok || closed) break;
  }
  platform::ShutdownSocket(Native(sock));
  httplib::detail::close_socket(sock);
  return ok;
}

bool GuardedHttpServer::Refuse(socket_t sock) {
  static constexpr char kBusy[] =
      "HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
  // A fresh connection's send buffer is empty: this never blocks the listener.
  if (platform::WaitToWrite(Native(sock), milliseconds(0)) == platform::SocketWait::Ready) {
    platform::WriteSocket(Native(sock), kBusy, sizeof kBusy - 1);
  }
  ++refused_;
  platform::ShutdownSocket(Native(sock));
  httplib::detail::close_socket(sock);
  return false;
}

}  // namespace quillorn::server
