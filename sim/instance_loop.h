// The one main loop of a simulation as one add-in instance sees it: every task,
// timer and synchronised call it hands in runs with that instance's LogContext
// current and its log writes counted as its own, as if it ran in a host process
// of its own. Never runs anything itself; the shared loop does.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/context.h"
#include "platform/main_loop.h"
#include "sim/log_watch.h"

namespace quillorn::sim {

class InstanceLoop final : public platform::MainLoop {
 public:
  // All three must outlive this loop and whatever the instance left queued in it.
  InstanceLoop(platform::MainLoop& shared, foundation::LogContext& context, LogWatch& logs, std::string owner);

  void Post(std::function<void()> task) override;
  void Synchronize(std::function<void()> task) override;
  platform::TimerId StartTimer(std::uint32_t interval_ms, std::function<void()> on_timer) override;
  void StopTimer(platform::TimerId id) override;
  WaitResult Wait(platform::WaitEvent& event, std::uint32_t timeout_ms) override;
  std::unique_ptr<platform::WaitEvent> CreateEvent() override;
  std::uint64_t TickCount() const override;
  bool IsMainThread() const override;

  // Runs `work` as this instance, on the calling thread.
  void RunAs(const std::function<void()>& work);

  // Failures of posted tasks and timers since the last call. They are logged
  // as the instance's own exceptions and go no further, as in a host's loop.
  std::vector<std::string> TakeFailures();

  // The process is gone: its timers stop, and nothing it handed in, nor
  // anything it hands in later, runs any more.
  void Kill();
  bool Killed() const noexcept { return killed_; }

 private:
  std::function<void()> Wrap(std::function<void()> work);
  std::function<void()> WrapCatching(std::function<void()> work);

  platform::MainLoop& shared_;
  foundation::LogContext& context_;
  LogWatch& logs_;
  std::string owner_;
  std::vector<std::string> failures_;
  std::set<platform::TimerId> timers_;
  bool killed_ = false;
};

}  // namespace quillorn::sim
