#include <utility>

#include "platform/main_loop.h"

namespace quillorn::platform {

Timer::Timer(MainLoop& loop, std::uint32_t interval_ms, std::function<void()> on_timer)
    : loop_(loop), interval_ms_(interval_ms), on_timer_(std::move(on_timer)) {}

Timer::~Timer() {
  if (id_ != 0) loop_.StopTimer(id_);
}

void Timer::SetEnabled(bool enabled) {
  if (enabled == enabled_) return;
  enabled_ = enabled;
  Restart();
}

void Timer::SetInterval(std::uint32_t interval_ms) {
  if (interval_ms == interval_ms_) return;
  interval_ms_ = interval_ms;
  Restart();
}

void Timer::SetOnTimer(std::function<void()> on_timer) {
  const bool had_handler = static_cast<bool>(on_timer_);
  on_timer_ = std::move(on_timer);
  if (had_handler != static_cast<bool>(on_timer_)) Restart();
}

void Timer::Restart() {
  if (id_ != 0) {
    loop_.StopTimer(id_);
    id_ = 0;
  }
  if (enabled_ && interval_ms_ != 0 && on_timer_) id_ = loop_.StartTimer(interval_ms_, [this] { Fire(); });
}

void Timer::Fire() {
  // A copy: the handler may replace itself, or destroy this timer.
  auto handler = on_timer_;
  if (handler) handler();
}

}  // namespace quillorn::platform
