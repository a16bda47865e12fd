// The main loop on a Windows UI thread: a message-only window receives posted
// tasks and timer messages, so everything runs inside whoever pumps the thread's
// queue (the host's own loop, or our Wait). Never runs a task on another thread
// and never lets an exception unwind through the system's message dispatch.
#pragma once

#include <windows.h>

#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "platform/main_loop.h"

namespace quillorn::platform {

class WindowsMainLoop final : public MainLoop {
 public:
  // The calling thread becomes the main thread; its queue is the loop's queue.
  WindowsMainLoop();
  ~WindowsMainLoop() override;
  WindowsMainLoop(const WindowsMainLoop&) = delete;
  WindowsMainLoop& operator=(const WindowsMainLoop&) = delete;

  void Post(std::function<void()> task) override;
  void Synchronize(std::function<void()> task) override;
  TimerId StartTimer(std::uint32_t interval_ms, std::function<void()> on_timer) override;
  void StopTimer(TimerId id) override;
  WaitResult Wait(WaitEvent& event, std::uint32_t timeout_ms) override;
  std::unique_ptr<WaitEvent> CreateEvent() override;
  std::uint64_t TickCount() const override;
  bool IsMainThread() const override;

  // Pumps the thread's queue until WM_QUIT (PostQuitMessage); for programs that
  // own their thread. Inside a host the host pumps.
  int Run();
  // Any thread: ends Run and every Wait, nested ones too, with Quit.
  void Quit(int exit_code = 0);

  // A task or timer that throws: the handler gets it and pumping goes on. Without
  // one the exception leaves our own Wait or Run once the message is dispatched,
  // and is dropped when somebody else's loop dispatched it.
  void SetExceptionHandler(std::function<void(std::exception_ptr)> handler);

  HWND Window() const { return window_; }

 private:
  struct TimerRecord {
    std::function<void()> callback;
    bool running = false;
  };

 public:
  struct Shared;  // what posting threads share with the loop

 private:

  static LRESULT CALLBACK WindowProc(HWND window, UINT msg, WPARAM wparam, LPARAM lparam);
  void RunTask();
  void RunTimer(UINT_PTR id);
  void Guard(const std::function<void()>& call);
  void RethrowPending();
  // One message: false on WM_QUIT (which it puts back for the outer loops).
  bool PumpOne(MSG& msg);

  std::shared_ptr<Shared> shared_;
  HWND window_ = nullptr;
  DWORD thread_id_ = 0;
  std::map<TimerId, TimerRecord> timers_;
  TimerId next_timer_id_ = 1;
  std::function<void(std::exception_ptr)> exception_handler_;
  std::exception_ptr pending_;
};

}  // namespace quillorn::platform
