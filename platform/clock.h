// The time a main loop runs on: the machine's steady clock, or a clock that a
// test or a scenario moves by hand. Never the wall clock: a changed system time
// must not make a timer fire early or never.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>

namespace quillorn::platform {

class Clock {
 public:
  virtual ~Clock() = default;
  // Milliseconds since an arbitrary start; never goes back.
  virtual std::uint64_t NowMs() const = 0;
  // A clock that moves only when told to. A loop on it must not sleep in real
  // time waiting for a deadline that only the test can bring.
  virtual bool IsManual() const { return false; }
};

class SteadyClock final : public Clock {
 public:
  std::uint64_t NowMs() const override;
};

// Any thread may advance it; loops that listen are woken so that they look at
// their timers and deadlines again.
class ManualClock final : public Clock {
 public:
  using ListenerId = std::uint64_t;

  explicit ManualClock(std::uint64_t start_ms = 0) : now_ms_(start_ms) {}
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  std::uint64_t NowMs() const override { return now_ms_.load(); }
  bool IsManual() const override { return true; }

  void Advance(std::uint64_t ms);
  // Moves to `ms` if that is later; an earlier time is ignored, time never goes back.
  void AdvanceTo(std::uint64_t ms);

  ListenerId AddListener(std::function<void()> on_advance);
  void RemoveListener(ListenerId id);

 private:
  void Notify();

  std::atomic<std::uint64_t> now_ms_;
  std::mutex listeners_lock_;
  std::map<ListenerId, std::function<void()>> listeners_;
  ListenerId next_listener_ = 1;
};

}  // namespace quillorn::platform
