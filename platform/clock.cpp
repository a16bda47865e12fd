#include "platform/clock.h"

#include <chrono>
#include <utility>
#include <vector>

namespace quillorn::platform {

std::uint64_t SteadyClock::NowMs() const {
  const auto since = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
}

void ManualClock::Advance(std::uint64_t ms) {
  now_ms_.fetch_add(ms);
  Notify();
}

void ManualClock::AdvanceTo(std::uint64_t ms) {
  std::uint64_t current = now_ms_.load();
  while (current < ms && !now_ms_.compare_exchange_weak(current, ms)) {
  }
  Notify();
}

ManualClock::ListenerId ManualClock::AddListener(std::function<void()> on_advance) {
  std::lock_guard lock(listeners_lock_);
  const ListenerId id = next_listener_++;
  listeners_.emplace(id, std::move(on_advance));
  return id;
}

void ManualClock::RemoveListener(ListenerId id) {
  std::lock_guard lock(listeners_lock_);
  listeners_.erase(id);
}

void ManualClock::Notify() {
  // Listeners only wake their loop; holding our lock meanwhile keeps a loop from
  // being destroyed between lookup and call.
  std::lock_guard lock(listeners_lock_);
  for (auto& [id, listener] : listeners_) listener();
}

}  // namespace quillorn::platform
