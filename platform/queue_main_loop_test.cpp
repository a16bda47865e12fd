#include "platform/queue_main_loop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace quillorn::platform {
namespace {

using WaitResult = MainLoop::WaitResult;

struct Fire {
  std::uint64_t at;
  std::string who;
  bool operator==(const Fire&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Fire& fire) { return out << fire.who << "@" << fire.at; }

TEST(QueueMainLoop, PostedTasksRunInOrderIncludingThosePostedWhileRunning) {
  QueueMainLoop loop;
  std::vector<int> order;
  loop.Post([&] {
    order.push_back(1);
    loop.Post([&] { order.push_back(4); });
  });
  loop.Post([&] { order.push_back(2); });
  std::thread worker([&] { loop.Post([&] { order.push_back(3); }); });
  worker.join();
  EXPECT_EQ(loop.RunUntilIdle(), 4u);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(loop.RunUntilIdle(), 0u);
}

TEST(QueueMainLoop, TimersFireEveryPeriodInOrderWhenTheClockStepsFar) {
  ManualClock clock(1000);
  QueueMainLoop loop(&clock);
  std::vector<Fire> fired;
  loop.StartTimer(30, [&] { fired.push_back({clock.NowMs() - 1000, "a"}); });
  loop.StartTimer(50, [&] { fired.push_back({clock.NowMs() - 1000, "b"}); });
  loop.AdvanceAndRun(29);
  EXPECT_TRUE(fired.empty());
  loop.AdvanceAndRun(121);
  // At 150 both are due; b's entry was scheduled first (at 100, a's at 120).
  const std::vector<Fire> expected{{30, "a"}, {50, "b"}, {60, "a"}, {90, "a"},
                                   {100, "b"}, {120, "a"}, {150, "b"}, {150, "a"}};
  EXPECT_EQ(fired, expected);
  EXPECT_EQ(clock.NowMs(), 1150u);
  EXPECT_EQ(loop.MsToNextTimer(), 30);
}

TEST(QueueMainLoop, AnOverdueOrOverrunningTimerFiresOnceNotInABurst) {
  struct Case {
    const char* name;
    std::uint64_t jump_before;  // clock moved without the loop running
    std::uint64_t overrun;      // how far the first call moves the clock itself
    std::vector<std::uint64_t> expected;
  };
  const Case cases[] = {
      {"jump past five periods", 55, 0, {55, 65, 75}},
      {"first call overruns three periods", 10, 35, {10, 55, 65}},
      {"on time", 10, 0, {10, 20, 30}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ManualClock clock;
    QueueMainLoop loop(&clock);
    std::vector<std::uint64_t> at;
    loop.StartTimer(10, [&] {
      at.push_back(clock.NowMs());
      if (at.size() == 1) clock.Advance(c.overrun);
    });
    clock.Advance(c.jump_before);
    loop.RunUntilIdle();
    loop.RunUntilIdle();
    ASSERT_EQ(at.size(), 1u);
    while (at.size() < 3) loop.AdvanceAndRun(1);
    EXPECT_EQ(at, c.expected);
  }
}

TEST(QueueMainLoop, TimerStoppedInACallbackDoesNotFireAgain) {
  ManualClock clock;
  QueueMainLoop loop(&clock);
  int self_calls = 0, stopper_calls = 0, victim_calls = 0;
  TimerId self = 0, victim = 0;
  self = loop.StartTimer(7, [&] {
    if (++self_calls == 2) loop.StopTimer(self);
  });
  // Both due at 10; the stopper runs first and the victim's turn must not come.
  loop.StartTimer(10, [&] {
    ++stopper_calls;
    loop.StopTimer(victim);
  });
  victim = loop.StartTimer(10, [&] { ++victim_calls; });
  loop.AdvanceAndRun(1000);
  EXPECT_EQ(self_calls, 2);
  EXPECT_EQ(stopper_calls, 100);
  EXPECT_EQ(victim_calls, 0);
  EXPECT_EQ(loop.ActiveTimerCount(), 1u);
}

TEST(QueueMainLoop, TimerDoesNotReenterItsOwnCallbackFromANestedWait) {
  ManualClock clock;
  QueueMainLoop loop(&clock);
  auto never = loop.CreateEvent();
  int depth = 0, deepest = 0, calls = 0, other = 0;
  loop.StartTimer(10, [&] {
    ++calls;
    deepest = std::max(deepest, ++depth);
    if (calls == 1) {
      clock.Advance(10);  // this timer and the other one are due inside the nested wait
      loop.Wait(*never, 50);
    }
    --depth;
  });
  loop.StartTimer(15, [&] {
    ++other;
    clock.Advance(100);  // ends the nested wait as a timeout
  });
  loop.AdvanceAndRun(10);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(deepest, 1);
  EXPECT_EQ(other, 1);
  EXPECT_EQ(loop.MsToNextTimer(), 10);  // rescheduled from the time it returned
}

TEST(QueueMainLoop, WaitOutcomes) {
  struct Case {
    const char* name;
    std::function<void(QueueMainLoop&, ManualClock&, WaitEvent&)> arrange;
    WaitResult expected;
    std::uint64_t advance_first = 0;
  };
  const Case cases[] = {
      {"event set by a posted task", [](auto& loop, auto&, auto& ev) { loop.Post([&ev] { ev.Set(); }); },
       WaitResult::Signaled},
      {"event already set", [](auto&, auto&, auto& ev) { ev.Set(); }, WaitResult::Signaled},
      {"clock moved past the timeout by a task",
       [](auto& loop, auto& clock, auto&) { loop.Post([&clock] { clock.Advance(101); }); }, WaitResult::Timeout},
      {"clock moved past the timeout by a timer",
       [](auto& loop, auto& clock, auto&) { loop.StartTimer(1, [&clock] { clock.Advance(500); }); },
       WaitResult::Timeout, 1},
      {"quit by a task", [](auto& loop, auto&, auto&) { loop.Post([&loop] { loop.Quit(); }); }, WaitResult::Quit},
      {"quit wins over a set event",
       [](auto& loop, auto&, auto& ev) {
         ev.Set();
         loop.Quit();
       },
       WaitResult::Quit},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ManualClock clock;
    QueueMainLoop loop(&clock);
    loop.SetManualStallLimit(5000);
    auto event = loop.CreateEvent();
    c.arrange(loop, clock, *event);
    clock.Advance(c.advance_first);
    EXPECT_EQ(loop.Wait(*event, 100), c.expected);
  }
}

TEST(QueueMainLoop, WaitEndsWhenAnotherThreadSetsTheEventOrStepsTheClock) {
  for (const bool by_clock : {false, true}) {
    SCOPED_TRACE(by_clock ? "clock" : "event");
    ManualClock clock;
    QueueMainLoop loop(&clock);
    loop.SetManualStallLimit(5000);
    auto event = loop.CreateEvent();
    std::thread worker([&] {
      if (by_clock)
        clock.Advance(1000);
      else
        event->Set();
    });
    const WaitResult result = loop.Wait(*event, 500);
    worker.join();
    EXPECT_EQ(result, by_clock ? WaitResult::Timeout : WaitResult::Signaled);
  }
}

TEST(QueueMainLoop, ManualClockWaitGivesUpAfterTheStallLimit) {
  ManualClock clock;
  QueueMainLoop loop(&clock);
  loop.SetManualStallLimit(20);
  auto event = loop.CreateEvent();
  EXPECT_EQ(loop.Wait(*event, kInfinite), WaitResult::Timeout);
}

TEST(QueueMainLoop, RealClockWaitTimesOutAndRunsTimersMeanwhile) {
  QueueMainLoop loop;
  auto event = loop.CreateEvent();
  int ticks = 0;
  loop.StartTimer(5, [&] { ++ticks; });
  const std::uint64_t start = loop.TickCount();
  EXPECT_EQ(loop.Wait(*event, 40), WaitResult::Timeout);
  EXPECT_GE(loop.TickCount() - start, 40u);
  EXPECT_GE(ticks, 1);
}

TEST(QueueMainLoop, SynchronizeFromAWorkerRunsOnTheMainThreadAndCarriesExceptionsBack) {
  QueueMainLoop loop;
  bool ran = false;
  loop.Synchronize([&] { ran = true; });  // on the main thread: at once, nothing queued
  EXPECT_TRUE(ran);
  EXPECT_EQ(loop.PendingTaskCount(), 0u);
  auto done = loop.CreateEvent();
  std::vector<int> results;
  bool all_on_main = true;
  std::string caught;
  std::thread worker([&] {
    for (int i = 0; i < 3; ++i) {
      loop.Synchronize([&, i] {
        all_on_main = all_on_main && loop.IsMainThread();
        results.push_back(i);
      });
    }
    try {
      loop.Synchronize([] { throw std::runtime_error("refused"); });
    } catch (const std::runtime_error& e) {
      caught = e.what();
    }
    done->Set();
  });
  const WaitResult result = loop.Wait(*done, 10000);
  worker.join();
  EXPECT_EQ(result, WaitResult::Signaled);
  EXPECT_EQ(results, (std::vector<int>{0, 1, 2}));
  EXPECT_TRUE(all_on_main);
  EXPECT_EQ(caught, "refused");
}

TEST(QueueMainLoop, DestroyingTheLoopReleasesAWorkerInSynchronize) {
  auto loop = std::make_unique<QueueMainLoop>();
  std::string caught;
  std::thread worker([&, raw = loop.get()] {
    try {
      raw->Synchronize([] {});
      caught = "ran";
    } catch (const std::runtime_error& e) {
      caught = e.what();
    }
  });
  for (int i = 0; i < 10000000 && loop->PendingTaskCount() == 0; ++i) std::this_thread::yield();
  ASSERT_EQ(loop->PendingTaskCount(), 1u);
  loop.reset();
  worker.join();
  EXPECT_EQ(caught, "The main loop ended before a synchronised call ran");
}

TEST(QueueMainLoop, AThrowingTaskLeavesThePumpingCallUnlessAHandlerTakesIt) {
  for (const bool with_handler : {false, true}) {
    SCOPED_TRACE(with_handler ? "handler" : "no handler");
    ManualClock clock;
    QueueMainLoop loop(&clock);
    std::vector<std::string> seen;
    if (with_handler) {
      loop.SetExceptionHandler([&](std::exception_ptr error) {
        try {
          std::rethrow_exception(error);
        } catch (const std::exception& e) {
          seen.push_back(std::string("handled ") + e.what());
        }
      });
    }
    int ticks = 0;
    loop.StartTimer(10, [&] {
      ++ticks;
      throw std::runtime_error("tick");
    });
    loop.Post([] { throw std::runtime_error("task"); });
    loop.Post([&] { seen.push_back("next"); });
    clock.Advance(10);
    if (with_handler) {
      EXPECT_EQ(loop.RunUntilIdle(), 3u);
      EXPECT_EQ(seen, (std::vector<std::string>{"handled task", "next", "handled tick"}));
    } else {
      EXPECT_THROW(loop.RunUntilIdle(), std::runtime_error);
      EXPECT_THROW(loop.RunUntilIdle(), std::runtime_error);  // the timer, after "next"
      EXPECT_EQ(seen, (std::vector<std::string>{"next"}));
    }
    // The throwing timer stays scheduled one period on.
    EXPECT_EQ(ticks, 1);
    EXPECT_EQ(loop.MsToNextTimer(), 10);
  }
}

TEST(QueueMainLoop, ReentrantWaitsEachGetTheirOwnOutcome) {
  ManualClock clock;
  QueueMainLoop loop(&clock);
  loop.SetManualStallLimit(5000);
  auto outer = loop.CreateEvent();
  auto inner = loop.CreateEvent();
  auto never = loop.CreateEvent();
  std::vector<std::string> log;
  const auto name = [](WaitResult r) {
    return r == WaitResult::Signaled ? "signaled" : r == WaitResult::Timeout ? "timeout" : "other";
  };
  loop.Post([&] {
    log.push_back("outer task");
    // The outer event comes up while the nested wait runs: that wait goes on for its own.
    loop.Post([&] { outer->Set(); });
    loop.Post([&] { inner->Set(); });
    log.push_back(std::string("inner ") + name(loop.Wait(*inner, 1000)));
    loop.Post([&] { clock.Advance(60); });
    log.push_back(std::string("second inner ") + name(loop.Wait(*never, 50)));
  });
  EXPECT_EQ(loop.Wait(*outer, 1000), WaitResult::Signaled);
  EXPECT_EQ(log, (std::vector<std::string>{"outer task", "inner signaled", "second inner timeout"}));
}

TEST(QueueMainLoop, MainThreadOnlyCallsRefuseOtherThreadsAndForeignEvents) {
  QueueMainLoop loop;
  QueueMainLoop other;
  auto foreign = other.CreateEvent();
  EXPECT_THROW(loop.Wait(*foreign, 0), std::invalid_argument);
  std::thread worker([&] {
    EXPECT_THROW(loop.StartTimer(10, [] {}), std::logic_error);
    auto event = loop.CreateEvent();
    EXPECT_THROW(loop.Wait(*event, 0), std::logic_error);
  });
  worker.join();
}

TEST(QueueMainLoop, RunEndsOnQuitFromAWorker) {
  QueueMainLoop loop;
  int ran = 0;
  std::thread worker([&] {
    loop.Synchronize([&] { ++ran; });
    loop.Quit();
  });
  loop.Run();
  worker.join();
  EXPECT_EQ(ran, 1);
  EXPECT_EQ(loop.RunFor(1000), WaitResult::Quit);
}

}  // namespace
}  // namespace quillorn::platform
