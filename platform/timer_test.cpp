#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/main_loop.h"
#include "platform/queue_main_loop.h"

namespace quillorn::platform {
namespace {

TEST(Timer, RunsOnlyWhenEnabledWithAnIntervalAndAHandler) {
  struct Case {
    const char* name;
    bool enabled;
    std::uint32_t interval;
    bool handler;
    int expected_in_one_second;
  };
  const Case cases[] = {
      {.name = "disabled", .enabled = false, .interval = 100, .handler = true, .expected_in_one_second = 0},
      {.name = "enabled", .enabled = true, .interval = 100, .handler = true, .expected_in_one_second = 10},
      {.name = "zero interval", .enabled = true, .interval = 0, .handler = true, .expected_in_one_second = 0},
      {.name = "no handler", .enabled = true, .interval = 100, .handler = false, .expected_in_one_second = 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ManualClock clock;
    QueueMainLoop loop(&clock);
    int calls = 0;
    Timer timer(loop, c.interval, nullptr);
    if (c.handler) timer.SetOnTimer([&] { ++calls; });
    timer.SetEnabled(c.enabled);
    loop.AdvanceAndRun(1000);
    EXPECT_EQ(calls, c.expected_in_one_second);
    EXPECT_EQ(loop.ActiveTimerCount(), c.expected_in_one_second > 0 ? 1u : 0u);
  }
}

TEST(Timer, ChangingTheIntervalOrReenablingStartsTheCountAgain) {
  ManualClock clock;
  QueueMainLoop loop(&clock);
  std::vector<std::uint64_t> at;
  Timer timer(loop, 500, [&] { at.push_back(clock.NowMs()); });
  timer.SetEnabled(true);
  loop.AdvanceAndRun(400);
  timer.SetInterval(5000);  // the print poll's switch when a print starts
  loop.AdvanceAndRun(5000);
  timer.SetEnabled(true);  // already on: no restart
  loop.AdvanceAndRun(1000);
  timer.SetEnabled(false);
  timer.SetEnabled(true);
  loop.AdvanceAndRun(5000);
  // Without the restart at 6400 the second call would come at 10400.
  EXPECT_EQ(at, (std::vector<std::uint64_t>{5400, 11400}));
  EXPECT_EQ(timer.Interval(), 5000u);
}

TEST(Timer, OneShotStopsItselfAndMayBeDestroyedInItsHandler) {
  ManualClock clock;
  QueueMainLoop loop(&clock);
  int one_shot_calls = 0;
  Timer one_shot(loop, 1000, nullptr);
  one_shot.SetOnTimer([&] {
    one_shot.SetEnabled(false);
    ++one_shot_calls;
  });
  one_shot.SetEnabled(true);

  int owned_calls = 0;
  auto owned = std::make_unique<Timer>(loop, 500, nullptr);
  owned->SetOnTimer([&] {
    ++owned_calls;
    owned.reset();
  });
  owned->SetEnabled(true);

  loop.AdvanceAndRun(10000);
  EXPECT_EQ(one_shot_calls, 1);
  EXPECT_EQ(owned_calls, 1);
  EXPECT_EQ(owned, nullptr);
  EXPECT_EQ(loop.ActiveTimerCount(), 0u);
}

}  // namespace
}  // namespace quillorn::platform
