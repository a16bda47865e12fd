// Registered window messages on Windows: real hidden top-level windows, so that
// HWND_BROADCAST reaches them from every process of the desktop. Each window
// class is registered by the first window of its name and unregistered by the
// last; handlers run in the window procedure on the creating thread.
#include <windows.h>

#undef CreateWindow
#undef FindWindow

#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include "platform/win32/this_module.h"
#include "platform/win32/wide_text.h"
#include "platform/window_messages.h"

namespace quillorn::platform {
namespace {

class ClassRegistry {
 public:
  void Acquire(const std::wstring& name, WNDPROC proc) {
    std::lock_guard guard(lock_);
    int& count = counts_[Key(name)];
    if (count == 0) {
      WNDCLASSEXW wc{};
      wc.cbSize = sizeof wc;
      wc.lpfnWndProc = proc;
      wc.hInstance = ThisModule();
      wc.lpszClassName = name.c_str();
      if (::RegisterClassExW(&wc) == 0 && ::GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
        counts_.erase(Key(name));
        throw std::runtime_error("RegisterClassExW failed: " + std::to_string(::GetLastError()));
      }
    }
    ++count;
  }
  void Release(const std::wstring& name) {
    std::lock_guard guard(lock_);
    auto it = counts_.find(Key(name));
    if (it == counts_.end()) return;
    if (--it->second == 0) {
      ::UnregisterClassW(name.c_str(), ThisModule());
      counts_.erase(it);
    }
  }

 private:
  static std::wstring Key(const std::wstring& name) {
    std::wstring key = name;
    ::CharLowerBuffW(key.data(), static_cast<DWORD>(key.size()));
    return key;
  }
  std::mutex lock_;
  std::map<std::wstring, int> counts_;
};

ClassRegistry& Classes() {
  static ClassRegistry registry;
  return registry;
}

class WinMessageWindow final : public MessageWindow {
 public:
  WinMessageWindow(std::string_view class_name, std::string_view title, MainLoop& loop, MessageHandler handler)
      : class_name_(Utf16FromUtf8(class_name)), handler_(std::move(handler)) {
    if (!loop.IsMainThread()) throw std::logic_error("A message window must be made on its loop's thread");
    Classes().Acquire(class_name_, &WinMessageWindow::Proc);
    // Hidden and top-level (not message-only), or broadcasts would pass it by.
    window_ = ::CreateWindowExW(WS_EX_TOOLWINDOW, class_name_.c_str(), Utf16FromUtf8(title).c_str(), WS_POPUP, 0, 0,
                                0, 0, nullptr, nullptr, ThisModule(), this);
    if (window_ == nullptr) {
      const DWORD error = ::GetLastError();
      Classes().Release(class_name_);
      throw std::runtime_error("CreateWindowExW failed: " + std::to_string(error));
    }
  }
  ~WinMessageWindow() override {
    ::SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
    ::DestroyWindow(window_);
    Classes().Release(class_name_);
  }
  WinMessageWindow(const WinMessageWindow&) = delete;
  WinMessageWindow& operator=(const WinMessageWindow&) = delete;

  WindowHandle Handle() const override { return reinterpret_cast<WindowHandle>(window_); }

 private:
  static LRESULT CALLBACK Proc(HWND window, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_NCCREATE) {
      const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lparam);
      ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* self = reinterpret_cast<WinMessageWindow*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    // Only application messages are ours: WM_USER and up, registered ones included.
    if (self != nullptr && msg >= WM_USER && self->handler_) {
      try {
        self->handler_(WindowMessage{msg, static_cast<std::uint64_t>(wparam), static_cast<std::int64_t>(lparam)});
      } catch (...) {
        // A receiver's failure must not unwind through the system's dispatch.
      }
      return 0;
    }
    return ::DefWindowProcW(window, msg, wparam, lparam);
  }

  std::wstring class_name_;
  MessageHandler handler_;
  HWND window_ = nullptr;
};

class WindowsWindowMessages final : public WindowMessages {
 public:
  std::uint32_t RegisterMessage(std::string_view name) override {
    const UINT msg = ::RegisterWindowMessageW(Utf16FromUtf8(name).c_str());
    if (msg == 0) throw std::runtime_error("RegisterWindowMessageW failed: " + std::to_string(::GetLastError()));
    return msg;
  }

  std::unique_ptr<MessageWindow> CreateWindow(std::string_view class_name, std::string_view title, MainLoop& loop,
                                              MessageHandler handler) override {
    return std::make_unique<WinMessageWindow>(class_name, title, loop, std::move(handler));
  }

  bool Post(WindowHandle window, std::uint32_t msg, std::uint64_t wparam, std::int64_t lparam) override {
    if (window == 0) return false;
    return ::PostMessageW(reinterpret_cast<HWND>(window), msg, static_cast<WPARAM>(wparam),
                          static_cast<LPARAM>(lparam)) != 0;
  }

  WindowHandle FindWindow(std::string_view class_name, std::string_view title) override {
    const std::wstring wide_class = Utf16FromUtf8(class_name);
    const std::wstring wide_title = Utf16FromUtf8(title);
    HWND found = ::FindWindowW(class_name.empty() ? nullptr : wide_class.c_str(),
                               title.empty() ? nullptr : wide_title.c_str());
    return reinterpret_cast<WindowHandle>(found);
  }
};

}  // namespace

std::unique_ptr<WindowMessages> CreateWindowMessages(const std::string&) {
  return std::make_unique<WindowsWindowMessages>();
}

}  // namespace quillorn::platform
