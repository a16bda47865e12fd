// The host's UI thread as the add-in sees it: posted tasks, timers, a worker's
// callback synchronised onto the main thread, and a blocking wait that keeps the
// queue running (so handlers may re-enter, as they do under a modal COM call).
// Windows: a message-only window, SetTimer, PostMessageW, MsgWaitForMultipleObjects.
// Elsewhere: a queue and a timer heap on a clock that tests can drive.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace quillorn::platform {

using TimerId = std::uint64_t;

// A wait without a time limit (INFINITE on Windows).
inline constexpr std::uint32_t kInfinite = 0xFFFFFFFF;

// A flag a worker raises and the main thread waits on.
// Windows: a manual-reset event handle (SetEvent/ResetEvent).
class WaitEvent {
 public:
  virtual ~WaitEvent() = default;
  virtual void Set() = 0;    // any thread
  virtual void Reset() = 0;
  virtual bool IsSet() const = 0;
};

// Windows: PostMessageW to a message-only window; SetTimer/KillTimer on it;
// Wait is MsgWaitForMultipleObjects in a PeekMessage/DispatchMessage loop.
class MainLoop {
 public:
  // Message is for a wait that hands a message back to its caller instead of
  // dispatching it; a loop that dispatches while it waits never returns it.
  enum class WaitResult { Signaled, Timeout, Quit, Message };

  virtual ~MainLoop() = default;

  // Any thread: run `task` on the main thread after what is queued already.
  virtual void Post(std::function<void()> task) = 0;
  // Any thread: run `task` on the main thread and return when it has run.
  // Called on the main thread, it runs at once.
  virtual void Synchronize(std::function<void()> task) = 0;

  // Main thread: a repeating timer, first due `interval_ms` from now. A timer
  // stopped in its own callback does not fire again; an overrun fires once, not
  // in a burst; a timer never runs inside its own callback.
  virtual TimerId StartTimer(std::uint32_t interval_ms, std::function<void()> on_timer) = 0;
  virtual void StopTimer(TimerId id) = 0;

  // Main thread: wait for `event` up to `timeout_ms`, running posted tasks and
  // timers meanwhile. Quit when the loop is told to stop. Handlers may Wait again.
  // `timeout_ms` kInfinite waits without limit.
  virtual WaitResult Wait(WaitEvent& event, std::uint32_t timeout_ms) = 0;

  virtual std::unique_ptr<WaitEvent> CreateEvent() = 0;

  // Milliseconds on the loop's clock (GetTickCount on Windows; tests move it).
  virtual std::uint64_t TickCount() const = 0;
  virtual bool IsMainThread() const = 0;
};

// The timer component: Enabled and Interval as properties, OnTimer on the main thread.
// As the host framework's timer: it runs only while enabled, with an interval
// above zero and a handler; disabled at creation. Main thread only.
class Timer {
 public:
  Timer(MainLoop& loop, std::uint32_t interval_ms, std::function<void()> on_timer);
  ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  bool Enabled() const noexcept { return enabled_; }
  void SetEnabled(bool enabled);
  std::uint32_t Interval() const noexcept { return interval_ms_; }
  void SetInterval(std::uint32_t interval_ms);  // restarts a running timer
  void SetOnTimer(std::function<void()> on_timer);

 private:
  void Restart();
  void Fire();
  MainLoop& loop_;
  std::uint32_t interval_ms_;
  std::function<void()> on_timer_;
  bool enabled_ = false;
  TimerId id_ = 0;
};

}  // namespace quillorn::platform
