#include "platform/win32/windows_main_loop.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/synchronized_call.h"
#include "platform/win32/this_module.h"

namespace quillorn::platform {

namespace {

constexpr wchar_t kClassName[] = L"QuillornMainLoop";
constexpr UINT kTaskMessage = WM_APP + 1;

class WinEvent final : public WaitEvent {
 public:
  WinEvent() : handle_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (handle_ == nullptr) throw std::runtime_error("CreateEventW failed");
  }
  ~WinEvent() override { ::CloseHandle(handle_); }
  WinEvent(const WinEvent&) = delete;
  WinEvent& operator=(const WinEvent&) = delete;

  void Set() override { ::SetEvent(handle_); }
  void Reset() override { ::ResetEvent(handle_); }
  bool IsSet() const override { return ::WaitForSingleObject(handle_, 0) == WAIT_OBJECT_0; }
  HANDLE Handle() const { return handle_; }

 private:
  HANDLE handle_;
};

}  // namespace

struct WindowsMainLoop::Shared {
  std::mutex lock;
  std::deque<std::function<void()>> tasks;
  HWND window = nullptr;  // null once the loop is gone: posts are dropped
  DWORD thread_id = 0;
  bool quit = false;
  int quit_code = 0;
};

WindowsMainLoop::WindowsMainLoop() : shared_(std::make_shared<Shared>()), thread_id_(::GetCurrentThreadId()) {
  WNDCLASSEXW wc{};
  wc.cbSize = sizeof wc;
  wc.lpfnWndProc = &WindowsMainLoop::WindowProc;
  wc.hInstance = ThisModule();
  wc.lpszClassName = kClassName;
  if (::RegisterClassExW(&wc) == 0 && ::GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
    throw std::runtime_error("RegisterClassExW failed: " + std::to_string(::GetLastError()));
  }
  window_ = ::CreateWindowExW(0, kClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, ThisModule(), this);
  if (window_ == nullptr) throw std::runtime_error("CreateWindowExW failed: " + std::to_string(::GetLastError()));
  std::lock_guard guard(shared_->lock);
  shared_->window = window_;
  shared_->thread_id = thread_id_;
}

WindowsMainLoop::~WindowsMainLoop() {
  std::deque<std::function<void()>> dropped;
  {
    std::lock_guard guard(shared_->lock);
    shared_->window = nullptr;
    dropped.swap(shared_->tasks);
  }
  ::SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
  ::DestroyWindow(window_);  // its timers go with it
  // Fails while another thread's loop still has a window of the class; that
  // loop unregisters it when it goes.
  ::UnregisterClassW(kClassName, ThisModule());
  dropped.clear();  // outside the lock: releases workers still in Synchronize
}

LRESULT CALLBACK WindowsMainLoop::WindowProc(HWND window, UINT msg, WPARAM wparam, LPARAM lparam) {
  if (msg == WM_NCCREATE) {
    const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lparam);
    ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
  }
  auto* self = reinterpret_cast<WindowsMainLoop*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self != nullptr) {
    if (msg == kTaskMessage) {
      self->RunTask();
      return 0;
    }
    if (msg == WM_TIMER) {
      self->RunTimer(static_cast<UINT_PTR>(wparam));
      return 0;
    }
  }
  return ::DefWindowProcW(window, msg, wparam, lparam);
}

bool WindowsMainLoop::IsMainThread() const { return ::GetCurrentThreadId() == thread_id_; }

std::uint64_t WindowsMainLoop::TickCount() const { return ::GetTickCount64(); }

std::unique_ptr<WaitEvent> WindowsMainLoop::CreateEvent() { return std::make_unique<WinEvent>(); }

void WindowsMainLoop::Post(std::function<void()> task) {
  if (!task) return;
  std::lock_guard guard(shared_->lock);
  if (shared_->window == nullptr) return;
  shared_->tasks.push_back(std::move(task));
  // One message per task keeps them in order with the host's own posts.
  ::PostMessageW(shared_->window, kTaskMessage, 0, 0);
}

void WindowsMainLoop::Synchronize(std::function<void()> task) { SynchronizeThroughPost(*this, std::move(task)); }

void WindowsMainLoop::RunTask() {
  std::function<void()> task;
  {
    std::lock_guard guard(shared_->lock);
    if (shared_->tasks.empty()) return;
    task = std::move(shared_->tasks.front());
    shared_->tasks.pop_front();
  }
  Guard(task);
}

TimerId WindowsMainLoop::StartTimer(std::uint32_t interval_ms, std::function<void()> on_timer) {
  if (!IsMainThread()) throw std::logic_error("StartTimer called off the main thread");
  const TimerId id = next_timer_id_++;
  timers_[id] = TimerRecord{std::move(on_timer), false};
  const UINT interval = std::max<UINT>(interval_ms, USER_TIMER_MINIMUM);
  if (::SetTimer(window_, static_cast<UINT_PTR>(id), interval, nullptr) == 0) {
    timers_.erase(id);
    throw std::runtime_error("SetTimer failed: " + std::to_string(::GetLastError()));
  }
  return id;
}

void WindowsMainLoop::StopTimer(TimerId id) {
  if (!IsMainThread()) throw std::logic_error("StopTimer called off the main thread");
  if (timers_.erase(id) != 0) ::KillTimer(window_, static_cast<UINT_PTR>(id));
}

void WindowsMainLoop::RunTimer(UINT_PTR raw_id) {
  const TimerId id = raw_id;
  auto it = timers_.find(id);
  // A wait inside the callback pumps this timer's messages too; they are dropped
  // rather than run inside the call that is still going.
  if (it == timers_.end() || it->second.running) return;
  it->second.running = true;
  const std::function<void()> callback = it->second.callback;  // the record may go meanwhile
  Guard(callback);
  if (auto again = timers_.find(id); again != timers_.end()) again->second.running = false;
}

void WindowsMainLoop::SetExceptionHandler(std::function<void(std::exception_ptr)> handler) {
  exception_handler_ = std::move(handler);
}

void WindowsMainLoop::Guard(const std::function<void()>& call) {
  try {
    if (call) call();
  } catch (...) {
    if (exception_handler_) {
      try {
        exception_handler_(std::current_exception());
      } catch (...) {
      }
    } else if (!pending_) {
      pending_ = std::current_exception();
    }
  }
}

void WindowsMainLoop::RethrowPending() {
  if (pending_) std::rethrow_exception(std::exchange(pending_, nullptr));
}

bool WindowsMainLoop::PumpOne(MSG& msg) {
  if (msg.message == WM_QUIT) {
    {
      std::lock_guard guard(shared_->lock);
      shared_->quit = true;
      shared_->quit_code = static_cast<int>(msg.wParam);
    }
    // Put back for the loops outside ours, the host's among them.
    ::PostQuitMessage(static_cast<int>(msg.wParam));
    return false;
  }
  ::TranslateMessage(&msg);
  ::DispatchMessageW(&msg);
  return true;
}

MainLoop::WaitResult WindowsMainLoop::Wait(WaitEvent& event, std::uint32_t timeout_ms) {
  auto* win_event = dynamic_cast<WinEvent*>(&event);
  if (win_event == nullptr) throw std::invalid_argument("Wait needs an event made by this loop's CreateEvent");
  if (!IsMainThread()) throw std::logic_error("Wait called off the main thread");
  const std::uint64_t start = ::GetTickCount64();
  auto quit_requested = [&] {
    std::lock_guard guard(shared_->lock);
    return shared_->quit;
  };
  for (;;) {
    if (quit_requested()) return WaitResult::Quit;
    if (win_event->IsSet()) return WaitResult::Signaled;
    MSG msg;
    while (::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
      if (!PumpOne(msg)) return WaitResult::Quit;
      RethrowPending();
      if (quit_requested()) return WaitResult::Quit;
      if (win_event->IsSet()) return WaitResult::Signaled;
    }
    DWORD remaining = INFINITE;
    if (timeout_ms != kInfinite) {
      const std::uint64_t elapsed = ::GetTickCount64() - start;
      if (elapsed >= timeout_ms) return WaitResult::Timeout;
      remaining = static_cast<DWORD>(timeout_ms - elapsed);
    }
    HANDLE handle = win_event->Handle();
    const DWORD r = ::MsgWaitForMultipleObjectsEx(1, &handle, remaining, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    if (r == WAIT_FAILED) throw std::runtime_error("MsgWaitForMultipleObjectsEx failed: " + std::to_string(::GetLastError()));
  }
}

int WindowsMainLoop::Run() {
  if (!IsMainThread()) throw std::logic_error("Run called off the main thread");
  MSG msg;
  for (;;) {
    {
      std::lock_guard guard(shared_->lock);
      if (shared_->quit) return shared_->quit_code;
    }
    const BOOL got = ::GetMessageW(&msg, nullptr, 0, 0);
    if (got == -1) throw std::runtime_error("GetMessageW failed: " + std::to_string(::GetLastError()));
    if (!PumpOne(msg)) {
      // Run is the outermost loop of its thread: the quit is ours, not passed on.
      MSG leftover;
      ::PeekMessageW(&leftover, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);
      continue;
    }
    RethrowPending();
  }
}

void WindowsMainLoop::Quit(int exit_code) {
  std::lock_guard guard(shared_->lock);
  shared_->quit = true;
  shared_->quit_code = exit_code;
  // Wakes a thread that sleeps in MsgWaitForMultipleObjectsEx or GetMessageW.
  if (shared_->window != nullptr) ::PostMessageW(shared_->window, kTaskMessage, 0, 0);
}

}  // namespace quillorn::platform
