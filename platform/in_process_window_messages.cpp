#include <algorithm>
#include <cctype>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/window_messages.h"

namespace quillorn::platform {

namespace {

bool SameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

// What a posted delivery holds on to: when the window is gone first, the
// delivery finds the handler cleared and does nothing.
struct Receiver {
  MessageHandler handler;
};

struct Desktop {
  struct Entry {
    std::string class_name;
    std::string title;
    MainLoop* loop;
    std::shared_ptr<Receiver> receiver;
  };
  std::mutex lock;
  std::map<WindowHandle, Entry> windows;
  WindowHandle next_handle = 0x10000;  // above the broadcast handle
};

class InProcessWindow final : public MessageWindow {
 public:
  InProcessWindow(std::shared_ptr<Desktop> desktop, WindowHandle handle, std::shared_ptr<Receiver> receiver)
      : desktop_(std::move(desktop)), handle_(handle), receiver_(std::move(receiver)) {}
  ~InProcessWindow() override {
    {
      std::lock_guard guard(desktop_->lock);
      desktop_->windows.erase(handle_);
    }
    receiver_->handler = nullptr;  // on the loop's thread, like every delivery
  }
  WindowHandle Handle() const override { return handle_; }

 private:
  std::shared_ptr<Desktop> desktop_;
  WindowHandle handle_;
  std::shared_ptr<Receiver> receiver_;
};

class InProcessWindowMessages final : public WindowMessages {
 public:
  std::uint32_t RegisterMessage(std::string_view name) override { return RegisteredMessageNumber(name); }

  std::unique_ptr<MessageWindow> CreateWindow(std::string_view class_name, std::string_view title, MainLoop& loop,
                                              MessageHandler handler) override {
    auto receiver = std::make_shared<Receiver>(Receiver{std::move(handler)});
    std::lock_guard guard(desktop_->lock);
    const WindowHandle handle = desktop_->next_handle++;
    desktop_->windows.emplace(handle,
                              Desktop::Entry{std::string(class_name), std::string(title), &loop, receiver});
    return std::make_unique<InProcessWindow>(desktop_, handle, std::move(receiver));
  }

  bool Post(WindowHandle window, std::uint32_t msg, std::uint64_t wparam, std::int64_t lparam) override {
    std::vector<std::pair<MainLoop*, std::shared_ptr<Receiver>>> targets;
    {
      std::lock_guard guard(desktop_->lock);
      for (const auto& [handle, entry] : desktop_->windows)
        if (window == kBroadcastWindow || handle == window) targets.emplace_back(entry.loop, entry.receiver);
    }
    if (targets.empty() && window != kBroadcastWindow) return false;
    const WindowMessage message{msg, wparam, lparam};
    for (auto& [loop, receiver] : targets) {
      loop->Post([receiver = std::move(receiver), message] {
        if (receiver->handler) receiver->handler(message);
      });
    }
    return true;
  }

  WindowHandle FindWindow(std::string_view class_name, std::string_view title) override {
    std::lock_guard guard(desktop_->lock);
    for (const auto& [handle, entry] : desktop_->windows) {
      if ((class_name.empty() || SameText(class_name, entry.class_name)) && (title.empty() || title == entry.title))
        return handle;
    }
    return 0;
  }

 private:
  std::shared_ptr<Desktop> desktop_ = std::make_shared<Desktop>();
};

}  // namespace

std::unique_ptr<WindowMessages> CreateInProcessWindowMessages() {
  return std::make_unique<InProcessWindowMessages>();
}

}  // namespace quillorn::platform
