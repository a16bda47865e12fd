#include "platform/queue_main_loop.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/synchronized_call.h"

namespace quillorn::platform {

struct QueueMainLoop::Shared {
  std::mutex lock;
  std::condition_variable wake;
  std::deque<std::function<void()>> tasks;
  bool quit = false;
  // Bumped by everything that may end a wait, so a waiter that read it before
  // looking at its conditions cannot miss a wake-up that came in between.
  std::uint64_t wake_count = 0;

  void Wake() {
    ++wake_count;
    wake.notify_all();
  }
};

namespace {

using Shared = QueueMainLoop::Shared;

class LoopEvent final : public WaitEvent {
 public:
  explicit LoopEvent(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}

  void Set() override {
    std::lock_guard lock(shared_->lock);
    set_ = true;
    shared_->Wake();
  }
  void Reset() override {
    std::lock_guard lock(shared_->lock);
    set_ = false;
  }
  bool IsSet() const override {
    std::lock_guard lock(shared_->lock);
    return set_;
  }
  const Shared* Owner() const { return shared_.get(); }

 private:
  std::shared_ptr<Shared> shared_;
  bool set_ = false;
};

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();
// A real-clock wait longer than this is split; the loop looks again and waits on.
constexpr std::uint64_t kLongestRealWaitMs = 3600000;

}  // namespace

QueueMainLoop::QueueMainLoop(Clock* clock)
    : shared_(std::make_shared<Shared>()), clock_(clock), main_thread_(std::this_thread::get_id()) {
  if (clock_ == nullptr) {
    own_clock_ = std::make_unique<SteadyClock>();
    clock_ = own_clock_.get();
  }
  if (auto* manual = dynamic_cast<ManualClock*>(clock_)) {
    std::weak_ptr<Shared> weak = shared_;
    clock_listener_ = manual->AddListener([weak] {
      if (auto shared = weak.lock()) {
        std::lock_guard lock(shared->lock);
        shared->Wake();
      }
    });
  }
}

QueueMainLoop::~QueueMainLoop() {
  if (auto* manual = dynamic_cast<ManualClock*>(clock_)) manual->RemoveListener(clock_listener_);
  std::deque<std::function<void()>> dropped;
  {
    std::lock_guard lock(shared_->lock);
    dropped.swap(shared_->tasks);
  }
  // Destroying the tasks outside the lock releases any worker still in Synchronize.
  dropped.clear();
}

void QueueMainLoop::RequireMainThread(const char* what) const {
  if (!IsMainThread()) throw std::logic_error(std::string(what) + " called off the main thread");
}

bool QueueMainLoop::IsMainThread() const { return std::this_thread::get_id() == main_thread_; }

std::uint64_t QueueMainLoop::TickCount() const { return clock_->NowMs(); }

void QueueMainLoop::Post(std::function<void()> task) {
  if (!task) return;
  std::lock_guard lock(shared_->lock);
  shared_->tasks.push_back(std::move(task));
  shared_->Wake();
}

void QueueMainLoop::Synchronize(std::function<void()> task) { SynchronizeThroughPost(*this, std::move(task)); }

TimerId QueueMainLoop::StartTimer(std::uint32_t interval_ms, std::function<void()> on_timer) {
  RequireMainThread("StartTimer");
  // A zero interval would be due again at once and starve everything else.
  const std::uint32_t interval = std::max<std::uint32_t>(interval_ms, 1);
  const TimerId id = next_timer_id_++;
  auto [it, inserted] = timers_.emplace(
      id, TimerRecord{interval, std::make_shared<std::function<void()>>(std::move(on_timer)), 0, 0});
  Schedule(id, it->second, clock_->NowMs() + interval);
  return id;
}

void QueueMainLoop::StopTimer(TimerId id) {
  RequireMainThread("StopTimer");
  timers_.erase(id);  // its heap entry goes stale and is dropped when reached
}

void QueueMainLoop::Schedule(TimerId id, TimerRecord& record, std::uint64_t due_ms) {
  record.due_ms = due_ms;
  record.generation = ++next_generation_;
  heap_.push(HeapEntry{due_ms, next_sequence_++, id, record.generation});
}

bool QueueMainLoop::PeekTimer(HeapEntry& entry) {
  while (!heap_.empty()) {
    const HeapEntry& top = heap_.top();
    auto it = timers_.find(top.id);
    if (it != timers_.end() && it->second.generation == top.generation) {
      entry = top;
      return true;
    }
    heap_.pop();
  }
  return false;
}

std::int64_t QueueMainLoop::MsToNextTimer() const {
  // Stale entries are skipped here without being dropped, to stay const.
  auto copy = heap_;
  while (!copy.empty()) {
    const HeapEntry top = copy.top();
    copy.pop();
    auto it = timers_.find(top.id);
    if (it == timers_.end() || it->second.generation != top.generation) continue;
    const std::uint64_t now = clock_->NowMs();
    return top.due_ms <= now ? 0 : static_cast<std::int64_t>(top.due_ms - now);
  }
  return -1;
}

void QueueMainLoop::SetExceptionHandler(std::function<void(std::exception_ptr)> handler) {
  exception_handler_ = std::move(handler);
}

void QueueMainLoop::Invoke(const std::function<void()>& call) {
  if (!exception_handler_) {
    call();
    return;
  }
  try {
    call();
  } catch (...) {
    exception_handler_(std::current_exception());
  }
}

bool QueueMainLoop::RunOneTask() {
  std::function<void()> task;
  {
    std::lock_guard lock(shared_->lock);
    if (shared_->tasks.empty()) return false;
    task = std::move(shared_->tasks.front());
    shared_->tasks.pop_front();
  }
  Invoke(task);
  return true;
}

bool QueueMainLoop::RunOneTimer(std::uint64_t due_limit_ms) {
  HeapEntry entry;
  if (!PeekTimer(entry) || entry.due_ms > due_limit_ms) return false;
  heap_.pop();
  // Out of the heap while its callback runs, so a nested Wait cannot run it again.
  const auto callback = timers_.at(entry.id).callback;
  std::exception_ptr failure;
  try {
    if (*callback) Invoke(*callback);
  } catch (...) {
    failure = std::current_exception();
  }
  auto it = timers_.find(entry.id);
  if (it != timers_.end() && it->second.generation == entry.generation) {
    // The next period counts from the due time, not from the end of the call, so
    // periods do not drift; a call that overran them fires once, not in a burst.
    const std::uint64_t now = clock_->NowMs();
    std::uint64_t next = entry.due_ms + it->second.interval_ms;
    if (next <= now) next = now + it->second.interval_ms;
    Schedule(entry.id, it->second, next);
  }
  if (failure) std::rethrow_exception(failure);
  return true;
}

std::size_t QueueMainLoop::RunUntilIdle() {
  RequireMainThread("RunUntilIdle");
  const std::uint64_t limit = clock_->NowMs();
  std::size_t count = 0;
  while (RunOneTask() || RunOneTimer(limit)) ++count;
  return count;
}

void QueueMainLoop::Quit() {
  std::lock_guard lock(shared_->lock);
  shared_->quit = true;
  shared_->Wake();
}

std::size_t QueueMainLoop::PendingTaskCount() const {
  std::lock_guard lock(shared_->lock);
  return shared_->tasks.size();
}

bool QueueMainLoop::QuitRequested() const {
  std::lock_guard lock(shared_->lock);
  return shared_->quit;
}

std::unique_ptr<WaitEvent> QueueMainLoop::CreateEvent() { return std::make_unique<LoopEvent>(shared_); }

MainLoop::WaitResult QueueMainLoop::Wait(WaitEvent& event, std::uint32_t timeout_ms) {
  RequireMainThread("Wait");
  const auto* own = dynamic_cast<const LoopEvent*>(&event);
  if (own == nullptr || own->Owner() != shared_.get())
    throw std::invalid_argument("Wait needs an event made by this loop's CreateEvent");

  const bool infinite = timeout_ms == kInfinite;
  const std::uint64_t deadline = infinite ? kNever : clock_->NowMs() + timeout_ms;
  for (;;) {
    std::uint64_t seen;
    {
      std::lock_guard lock(shared_->lock);
      seen = shared_->wake_count;
    }
    if (QuitRequested()) return WaitResult::Quit;
    if (event.IsSet()) return WaitResult::Signaled;
    if (RunOneTask() || RunOneTimer(clock_->NowMs())) continue;
    const std::uint64_t now = clock_->NowMs();
    if (now >= deadline) return WaitResult::Timeout;

    std::unique_lock lock(shared_->lock);
    const auto woken = [&] { return shared_->wake_count != seen || !shared_->tasks.empty(); };
    if (clock_->IsManual()) {
      // Only another thread or a clock step can end this wait; if none comes,
      // give up as a timeout rather than hang.
      if (!shared_->wake.wait_for(lock, std::chrono::milliseconds(manual_stall_ms_), woken))
        return WaitResult::Timeout;
      continue;
    }
    std::uint64_t wake_at = deadline;
    HeapEntry next;
    if (PeekTimer(next)) wake_at = std::min(wake_at, next.due_ms);
    const std::uint64_t span = std::min(wake_at - now, kLongestRealWaitMs);
    shared_->wake.wait_for(lock, std::chrono::milliseconds(span), woken);
  }
}

MainLoop::WaitResult QueueMainLoop::RunFor(std::uint32_t ms) {
  auto never = CreateEvent();
  return Wait(*never, ms);
}

void QueueMainLoop::Run() {
  auto never = CreateEvent();
  while (Wait(*never, kInfinite) != WaitResult::Quit) {
  }
}

void QueueMainLoop::AdvanceAndRun(std::uint64_t ms) {
  RequireMainThread("AdvanceAndRun");
  auto* manual = dynamic_cast<ManualClock*>(clock_);
  if (manual == nullptr) throw std::logic_error("AdvanceAndRun needs a loop on a ManualClock");
  const std::uint64_t target = manual->NowMs() + ms;
  RunUntilIdle();
  HeapEntry next;
  while (!QuitRequested() && PeekTimer(next) && next.due_ms <= target) {
    manual->AdvanceTo(next.due_ms);
    RunUntilIdle();
  }
  manual->AdvanceTo(target);
  if (!QuitRequested()) RunUntilIdle();
}

}  // namespace quillorn::platform
