// Registered window messages between the client's processes on one desktop:
// names become numbers that every process agrees on, windows are found by class
// and title, and posts arrive on the receiving window's main thread. Posting
// never blocks and never runs the receiver's handler on the sender's stack.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/main_loop.h"

namespace quillorn::platform {

// HWND on Windows; 0 is no window.
using WindowHandle = std::uint64_t;
// HWND_BROADCAST: every top-level window on the desktop.
inline constexpr WindowHandle kBroadcastWindow = 0xFFFF;

struct WindowMessage {
  std::uint32_t msg;
  std::uint64_t wparam;
  std::int64_t lparam;
};

// The first number RegisterWindowMessageW hands out; registered numbers lie in
// [kFirstRegisteredMessage, 0xFFFF].
inline constexpr std::uint32_t kFirstRegisteredMessage = 0xC000;

// The number a name gets where the system has no registry: a hash of the name
// without regard to case (as Windows compares them), the same in every process.
std::uint32_t RegisteredMessageNumber(std::string_view name);

// A window that receives posts; it stops receiving when destroyed.
class MessageWindow {
 public:
  virtual ~MessageWindow() = default;
  virtual WindowHandle Handle() const = 0;
};

using MessageHandler = std::function<void(const WindowMessage&)>;

// Windows: RegisterWindowMessageW, CreateWindowExW (a hidden top-level window,
// so that HWND_BROADCAST reaches it), PostMessageW, FindWindowW.
class WindowMessages {
 public:
  virtual ~WindowMessages() = default;

  virtual std::uint32_t RegisterMessage(std::string_view name) = 0;
  // `handler` runs on `loop`'s thread, the thread that must also destroy the
  // window, before the loop.
  virtual std::unique_ptr<MessageWindow> CreateWindow(std::string_view class_name, std::string_view title,
                                                      MainLoop& loop, MessageHandler handler) = 0;
  // False when the window does not exist (or, for a broadcast, never).
  virtual bool Post(WindowHandle window, std::uint32_t msg, std::uint64_t wparam, std::int64_t lparam) = 0;
  bool Broadcast(std::uint32_t msg, std::uint64_t wparam, std::int64_t lparam) {
    return Post(kBroadcastWindow, msg, wparam, lparam);
  }
  // An empty class or title matches any; the class compares without regard to case.
  virtual WindowHandle FindWindow(std::string_view class_name, std::string_view title) = 0;
};

// One desktop inside this process: what tests use to run several instances side
// by side. Thread-safe; windows of different main loops may share it.
std::unique_ptr<WindowMessages> CreateInProcessWindowMessages();

// The system's own: between all processes of the user. Elsewhere than Windows
// the processes meet in `meeting_folder` (empty: a per-user runtime folder).
std::unique_ptr<WindowMessages> CreateWindowMessages(const std::string& meeting_folder = {});

}  // namespace quillorn::platform
