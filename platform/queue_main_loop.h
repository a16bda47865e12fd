// The main loop where no host supplies one: a task queue and a timer heap run by
// the thread that created the loop, on a clock that tests can drive. Never runs
// a task or a timer on any other thread, and never holds its lock while one runs.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <queue>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/main_loop.h"

namespace quillorn::platform {

class QueueMainLoop final : public MainLoop {
 public:
  // With a ManualClock a wait can only end early when something wakes it; this
  // much real time with nothing happening ends it as a timeout instead of a hang.
  static constexpr std::uint32_t kDefaultManualStallMs = 10000;

  // The calling thread becomes the main thread. `clock` must outlive the loop;
  // null means the machine's steady clock.
  explicit QueueMainLoop(Clock* clock = nullptr);
  ~QueueMainLoop() override;
  QueueMainLoop(const QueueMainLoop&) = delete;
  QueueMainLoop& operator=(const QueueMainLoop&) = delete;

  void Post(std::function<void()> task) override;
  void Synchronize(std::function<void()> task) override;
  TimerId StartTimer(std::uint32_t interval_ms, std::function<void()> on_timer) override;
  void StopTimer(TimerId id) override;
  WaitResult Wait(WaitEvent& event, std::uint32_t timeout_ms) override;
  std::unique_ptr<WaitEvent> CreateEvent() override;
  std::uint64_t TickCount() const override;
  bool IsMainThread() const override;

  // Runs what is ready now (posted tasks, and timers due at the moment of the
  // call), without blocking. Returns how many tasks and timer calls ran.
  std::size_t RunUntilIdle();
  // Pumps for `ms` on the loop's clock; Quit ends it early.
  WaitResult RunFor(std::uint32_t ms);
  // Pumps until Quit.
  void Run();
  // Any thread. Sticky: every Wait, nested ones too, returns Quit from now on;
  // RunUntilIdle still runs what is queued, so workers in Synchronize get free.
  void Quit();
  bool QuitRequested() const;

  // ManualClock only: moves the clock forward to each timer's due time in turn,
  // running timers and tasks at each step, so that a long step fires every
  // period of every timer in order, as real time would.
  void AdvanceAndRun(std::uint64_t ms);

  // A task or a timer that throws: by default the exception leaves the call that
  // was pumping (Wait, RunUntilIdle ...), with the loop intact. With a handler
  // set, the handler gets it and pumping goes on, as a host's message loop does.
  void SetExceptionHandler(std::function<void(std::exception_ptr)> handler);
  void SetManualStallLimit(std::uint32_t real_ms) { manual_stall_ms_ = real_ms; }

  Clock& GetClock() const { return *clock_; }
  // Any thread: tasks posted and not yet run.
  std::size_t PendingTaskCount() const;
  std::size_t ActiveTimerCount() const { return timers_.size(); }
  // Milliseconds until the next timer is due on the loop's clock, or -1 when
  // none runs.
  std::int64_t MsToNextTimer() const;

  struct Shared;  // what events and wake-ups share with the loop

 private:
  struct TimerRecord {
    std::uint32_t interval_ms;
    std::shared_ptr<std::function<void()>> callback;
    std::uint64_t due_ms;
    std::uint64_t generation;
    bool running = false;
  };
  struct HeapEntry {
    std::uint64_t due_ms;
    std::uint64_t sequence;  // equal due times fire in the order they were scheduled
    TimerId id;
    std::uint64_t generation;
    bool operator>(const HeapEntry& other) const {
      return due_ms != other.due_ms ? due_ms > other.due_ms : sequence > other.sequence;
    }
  };

  void RequireMainThread(const char* what) const;
  void Schedule(TimerId id, TimerRecord& record, std::uint64_t due_ms);
  // Drops stale heap entries; true with the next live entry in `entry`.
  bool PeekTimer(HeapEntry& entry);
  bool RunOneTask();
  bool RunOneTimer(std::uint64_t due_limit_ms);
  void Invoke(const std::function<void()>& call);

  std::shared_ptr<Shared> shared_;
  std::unique_ptr<Clock> own_clock_;
  Clock* clock_;
  std::uint64_t clock_listener_ = 0;
  std::thread::id main_thread_;

  std::map<TimerId, TimerRecord> timers_;
  std::priority_queue<HeapEntry, std::vector<HeapEntry>, std::greater<HeapEntry>> heap_;
  TimerId next_timer_id_ = 1;
  std::uint64_t next_sequence_ = 0;
  std::uint64_t next_generation_ = 0;
  std::function<void(std::exception_ptr)> exception_handler_;
  std::uint32_t manual_stall_ms_ = kDefaultManualStallMs;
};

}  // namespace quillorn::platform
