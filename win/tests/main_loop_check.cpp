// The Windows main loop under a real message queue: order of posts, workers
// synchronised onto the main thread, timers and their guarantees, and a wait that
// keeps pumping. Every wait here is bounded; nothing sleeps.
#include <windows.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/main_loop.h"
#include "platform/win32/windows_main_loop.h"
#include "win/tests/check.h"

using namespace quillorn::platform;

namespace {

constexpr std::uint32_t kBound = 5000;  // ms; far beyond what any case needs

CHECK_CASE(PostedTasksRunInOrderInsideAWait) {
  WindowsMainLoop loop;
  auto done = loop.CreateEvent();
  std::vector<int> order;
  for (int i = 0; i < 5; ++i) loop.Post([&order, i] { order.push_back(i); });
  loop.Post([&] { done->Set(); });
  CHECK(order.empty());  // nothing runs until the queue is pumped
  CHECK(loop.Wait(*done, kBound) == MainLoop::WaitResult::Signaled);
  CHECK(order == (std::vector<int>{0, 1, 2, 3, 4}));

  // A posted task may wait again; the inner wait keeps the queue going.
  auto inner = loop.CreateEvent();
  auto outer = loop.CreateEvent();
  std::vector<std::string> trace;
  loop.Post([&] {
    trace.push_back("outer task");
    loop.Post([&] {
      trace.push_back("nested task");
      inner->Set();
    });
    CHECK(loop.Wait(*inner, kBound) == MainLoop::WaitResult::Signaled);
    outer->Set();
  });
  CHECK(loop.Wait(*outer, kBound) == MainLoop::WaitResult::Signaled);
  CHECK(trace == (std::vector<std::string>{"outer task", "nested task"}));
}

CHECK_CASE(WaitTimesOutAndSeesWorkersSignal) {
  WindowsMainLoop loop;
  auto never = loop.CreateEvent();
  const ULONGLONG start = ::GetTickCount64();
  CHECK(loop.Wait(*never, 50) == MainLoop::WaitResult::Timeout);
  CHECK(::GetTickCount64() - start >= 40);  // the tick count's granularity

  auto event = loop.CreateEvent();
  std::thread worker([&] { event->Set(); });
  CHECK(loop.Wait(*event, kBound) == MainLoop::WaitResult::Signaled);
  worker.join();
  CHECK(event->IsSet());
  event->Reset();
  CHECK(!event->IsSet());
}

CHECK_CASE(SynchronizeRunsOnTheMainThread) {
  WindowsMainLoop loop;
  const DWORD main_thread = ::GetCurrentThreadId();
  auto finished = loop.CreateEvent();
  DWORD ran_on = 0;
  std::string caught;
  std::thread worker([&] {
    loop.Synchronize([&] { ran_on = ::GetCurrentThreadId(); });
    try {
      loop.Synchronize([] { throw std::runtime_error("from the main thread"); });
    } catch (const std::runtime_error& e) {
      caught = e.what();  // released here, on the worker
    }
    finished->Set();
  });
  CHECK(loop.Wait(*finished, kBound) == MainLoop::WaitResult::Signaled);
  worker.join();
  CHECK_EQ(ran_on, main_thread);
  CHECK_EQ(caught, std::string("from the main thread"));

  // On the main thread it runs at once.
  bool ran = false;
  loop.Synchronize([&] { ran = true; });
  CHECK(ran);
}

CHECK_CASE(SynchronizeIsReleasedWhenTheLoopGoes) {
  auto loop = std::make_unique<WindowsMainLoop>();
  std::string caught;
  std::thread worker([&] {
    try {
      loop->Synchronize([] {});
    } catch (const std::runtime_error& e) {
      caught = e.what();
    }
  });
  // Wait until the worker's task is queued (its message is there), unrun.
  MSG msg;
  const ULONGLONG start = ::GetTickCount64();
  while (!::PeekMessageW(&msg, loop->Window(), WM_APP + 1, WM_APP + 1, PM_NOREMOVE) &&
         ::GetTickCount64() - start < kBound) {
    ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_POSTMESSAGE);
  }
  loop.reset();
  worker.join();
  CHECK_EQ(caught, std::string("The main loop ended before a synchronised call ran"));
}

CHECK_CASE(TimersRepeatStopAndNeverNest) {
  WindowsMainLoop loop;
  auto done = loop.CreateEvent();
  int fired = 0;
  TimerId repeating = 0;
  repeating = loop.StartTimer(10, [&] {
    if (++fired == 3) {
      loop.StopTimer(repeating);  // stopped in its own callback: no fourth call
      done->Set();
    }
  });
  CHECK(loop.Wait(*done, kBound) == MainLoop::WaitResult::Signaled);
  auto settle = loop.CreateEvent();
  loop.Wait(*settle, 60);
  CHECK_EQ(fired, 3);

  // A callback that waits (as a blocking remote call does) is not entered again
  // by its own timer meanwhile, while other timers still run.
  int depth = 0, max_depth = 0, calls = 0, other = 0;
  auto release = loop.CreateEvent();
  auto finished = loop.CreateEvent();
  TimerId slow = 0;
  slow = loop.StartTimer(10, [&] {
    ++calls;
    max_depth = std::max(max_depth, ++depth);
    if (calls == 1) loop.Wait(*release, kBound);
    --depth;
    if (calls == 2) {
      loop.StopTimer(slow);
      finished->Set();
    }
  });
  TimerId helper = 0;
  helper = loop.StartTimer(15, [&] {
    if (++other == 5) {
      loop.StopTimer(helper);
      release->Set();
    }
  });
  CHECK(loop.Wait(*finished, kBound) == MainLoop::WaitResult::Signaled);
  CHECK_EQ(max_depth, 1);
  CHECK_EQ(other, 5);

  // The Timer component over the loop: disabled at creation, fires once enabled.
  int component_calls = 0;
  auto component_done = loop.CreateEvent();
  Timer timer(loop, 20, [&] {
    ++component_calls;
    component_done->Set();
  });
  CHECK(loop.Wait(*component_done, 80) == MainLoop::WaitResult::Timeout);
  timer.SetEnabled(true);
  CHECK(loop.Wait(*component_done, kBound) == MainLoop::WaitResult::Signaled);
  timer.SetEnabled(false);
  CHECK_EQ(component_calls, 1);
}

CHECK_CASE(FailuresLeaveTheWaitOrReachTheHandler) {
  WindowsMainLoop loop;
  auto never = loop.CreateEvent();
  loop.Post([] { throw std::runtime_error("task failed"); });
  CHECK_THROWS(std::runtime_error, loop.Wait(*never, kBound),
               CHECK_EQ(std::string(e.what()), std::string("task failed")));

  std::vector<std::string> handled;
  loop.SetExceptionHandler([&](std::exception_ptr error) {
    try {
      std::rethrow_exception(error);
    } catch (const std::exception& e) {
      handled.push_back(e.what());
    }
  });
  auto done = loop.CreateEvent();
  loop.Post([] { throw std::runtime_error("first"); });
  loop.Post([] { throw std::runtime_error("second"); });
  loop.Post([&] { done->Set(); });
  CHECK(loop.Wait(*done, kBound) == MainLoop::WaitResult::Signaled);
  CHECK(handled == (std::vector<std::string>{"first", "second"}));
}

CHECK_CASE(QuitEndsEveryWaitAndRun) {
  // On a thread of its own: the quit must not reach this thread's later cases.
  std::vector<MainLoop::WaitResult> results;
  int run_result = -1;
  std::thread host([&] {
    WindowsMainLoop loop;
    auto never = loop.CreateEvent();
    std::thread quitter;
    loop.Post([&] {
      quitter = std::thread([&loop] { loop.Quit(7); });
      results.push_back(loop.Wait(*never, kBound));  // nested: ends with Quit
    });
    run_result = loop.Run();
    results.push_back(loop.Wait(*never, kBound));  // sticky: at once
    quitter.join();
  });
  host.join();
  CHECK(results == (std::vector<MainLoop::WaitResult>{MainLoop::WaitResult::Quit, MainLoop::WaitResult::Quit}));
  CHECK_EQ(run_result, 7);

  // WM_QUIT from the host's own code ends our wait and is put back for the host.
  bool requeued = false;
  MainLoop::WaitResult seen = MainLoop::WaitResult::Signaled;
  std::thread other([&] {
    WindowsMainLoop loop;
    auto never = loop.CreateEvent();
    ::PostQuitMessage(3);
    seen = loop.Wait(*never, kBound);
    MSG msg;
    requeued = ::PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) && msg.wParam == 3;
  });
  other.join();
  CHECK(seen == MainLoop::WaitResult::Quit);
  CHECK(requeued);
}

}  // namespace
