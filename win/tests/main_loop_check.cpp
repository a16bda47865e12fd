// The Windows main loop under a real message queue: order of posts and their
// failures, workers synchronised onto the main thread, timers and their
// guarantees, quits, and a wait that keeps pumping. Every wait here is bounded;
// nothing sleeps.
#include <windows.h>

#include <memory>
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
constexpr auto kSignaled = MainLoop::WaitResult::Signaled;

CHECK_CASE(PostsRunInOrderAndTheirFailuresLeaveTheWaitOrReachTheHandler) {
  WindowsMainLoop loop;
  auto done = loop.CreateEvent();
  loop.Post([] { throw std::runtime_error("task failed"); });
  CHECK_THROWS(std::runtime_error, loop.Wait(*done, kBound),
               CHECK_EQ(std::string(e.what()), std::string("task failed")));

  std::vector<std::string> order;
  loop.SetExceptionHandler([&](std::exception_ptr error) {
    try {
      std::rethrow_exception(error);
    } catch (const std::exception& e) {
      order.push_back(e.what());
    }
  });
  auto inner = loop.CreateEvent();
  loop.Post([&] { order.push_back("first"); });
  loop.Post([] { throw std::runtime_error("second"); });
  loop.Post([&] {
    loop.Post([&] {
      order.push_back("nested");
      inner->Set();
    });
    CHECK(loop.Wait(*inner, kBound) == kSignaled);  // a nested wait keeps pumping
    done->Set();
  });
  CHECK(order.empty());  // nothing runs until the queue is pumped
  CHECK(loop.Wait(*done, kBound) == kSignaled);
  CHECK(order == (std::vector<std::string>{"first", "second", "nested"}));
  done->Reset();
  const ULONGLONG start = ::GetTickCount64();
  CHECK(loop.Wait(*done, 50) == MainLoop::WaitResult::Timeout);
  CHECK(::GetTickCount64() - start >= 40);  // the tick count's granularity
}

CHECK_CASE(AWorkersSynchronisedCallRunsOnTheMainThread) {
  WindowsMainLoop loop;
  auto finished = loop.CreateEvent();
  DWORD ran_on = 0;
  std::thread worker([&] {
    loop.Synchronize([&] { ran_on = ::GetCurrentThreadId(); });
    finished->Set();
  });
  CHECK(loop.Wait(*finished, kBound) == kSignaled);
  worker.join();
  CHECK_EQ(ran_on, ::GetCurrentThreadId());

  // A call still queued when the loop goes is released, unrun, with an error.
  auto doomed = std::make_unique<WindowsMainLoop>();
  std::string caught;
  std::thread late([&] {
    try {
      doomed->Synchronize([] {});
    } catch (const std::runtime_error& e) {
      caught = e.what();
    }
  });
  MSG msg;  // until the worker's task is queued (its message is there)
  const ULONGLONG start = ::GetTickCount64();
  while (!::PeekMessageW(&msg, doomed->Window(), WM_APP + 1, WM_APP + 1, PM_NOREMOVE) &&
         ::GetTickCount64() - start < kBound) {
    ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_POSTMESSAGE);
  }
  doomed.reset();
  late.join();
  CHECK_EQ(caught, std::string("The main loop ended before a synchronised call ran"));
}

CHECK_CASE(ATimerStopsInItsCallbackAndIsNotReenteredByAWait) {
  // The slow timer waits in its first call (as a blocking remote call does); its
  // own ticks meanwhile are dropped, the other timer's still run.
  WindowsMainLoop loop;
  int depth = 0, max_depth = 0, calls = 0, other = 0;
  auto release = loop.CreateEvent();
  auto finished = loop.CreateEvent();
  TimerId slow = 0, helper = 0;
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
  helper = loop.StartTimer(15, [&] {
    if (++other == 3) {
      loop.StopTimer(helper);
      release->Set();
    }
  });
  CHECK(loop.Wait(*finished, kBound) == kSignaled);
  auto settle = loop.CreateEvent();
  loop.Wait(*settle, 60);
  CHECK_EQ(max_depth, 1);
  CHECK_EQ(calls, 2);  // none after its stop
  CHECK_EQ(other, 3);
}

CHECK_CASE(QuitEndsEveryWaitAndRun) {
  // On a thread of its own: a quit must not reach this thread's later cases.
  std::vector<MainLoop::WaitResult> results;
  int run_result = -1;
  WPARAM requeued = 0;
  std::thread host([&] {
    {
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
    }
    // WM_QUIT from the host's own code ends our wait and is put back for the host.
    WindowsMainLoop loop;
    auto never = loop.CreateEvent();
    ::PostQuitMessage(3);
    results.push_back(loop.Wait(*never, kBound));
    MSG msg;
    if (::PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) requeued = msg.wParam;
  });
  host.join();
  CHECK(results == std::vector<MainLoop::WaitResult>(3, MainLoop::WaitResult::Quit));
  CHECK_EQ(run_result, 7);
  CHECK_EQ(requeued, 3u);
}

}  // namespace
