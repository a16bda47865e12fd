#include "sim/instance_loop.h"

#include <exception>
#include <utility>

#include "foundation/log.h"

namespace quillorn::sim {

InstanceLoop::InstanceLoop(platform::MainLoop& shared, foundation::LogContext& context, LogWatch& logs,
                           std::string owner)
    : shared_(shared), context_(context), logs_(logs), owner_(std::move(owner)) {}

void InstanceLoop::RunAs(const std::function<void()>& work) {
  foundation::ContextScope scope(context_);
  LogOwnerScope owner(logs_, owner_);
  work();
}

std::function<void()> InstanceLoop::Wrap(std::function<void()> work) {
  return [this, work = std::move(work)] {
    if (!killed_) RunAs(work);
  };
}

std::function<void()> InstanceLoop::WrapCatching(std::function<void()> work) {
  return [this, work = std::move(work)] {
    if (killed_) return;
    RunAs([&] {
      try {
        work();
      } catch (const std::exception& e) {
        failures_.emplace_back(e.what());
        foundation::LogException(e, "main loop");
      } catch (...) {
        failures_.emplace_back("unknown failure");
        foundation::LogException(nullptr, "main loop: unknown failure");
      }
    });
  };
}

std::vector<std::string> InstanceLoop::TakeFailures() {
  std::vector<std::string> out;
  out.swap(failures_);
  return out;
}

void InstanceLoop::Post(std::function<void()> task) { shared_.Post(WrapCatching(std::move(task))); }

void InstanceLoop::Synchronize(std::function<void()> task) {
  // The worker thread calling this must not touch the log watch: only the
  // wrapped task does, and it runs on the main thread.
  shared_.Synchronize(Wrap(std::move(task)));
}

platform::TimerId InstanceLoop::StartTimer(std::uint32_t interval_ms, std::function<void()> on_timer) {
  const platform::TimerId id = shared_.StartTimer(interval_ms, WrapCatching(std::move(on_timer)));
  timers_.insert(id);
  return id;
}

void InstanceLoop::StopTimer(platform::TimerId id) {
  timers_.erase(id);
  shared_.StopTimer(id);
}

void InstanceLoop::Kill() {
  killed_ = true;
  for (platform::TimerId id : timers_) shared_.StopTimer(id);
  timers_.clear();
}

platform::MainLoop::WaitResult InstanceLoop::Wait(platform::WaitEvent& event, std::uint32_t timeout_ms) {
  return shared_.Wait(event, timeout_ms);
}

std::unique_ptr<platform::WaitEvent> InstanceLoop::CreateEvent() { return shared_.CreateEvent(); }

std::uint64_t InstanceLoop::TickCount() const { return shared_.TickCount(); }

bool InstanceLoop::IsMainThread() const { return shared_.IsMainThread(); }

}  // namespace quillorn::sim
