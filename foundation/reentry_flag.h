// A flag that tells an event handler the add-in itself is behind the event it
// sees (its own save, its own close, a send already under way), so that the
// handler lets the event pass. Handlers re-enter because blocking calls and
// dialogs keep the host's message queue running.
#pragma once

namespace quillorn::foundation {

class ReentryFlag {
 public:
  class Scope;

  bool IsSet() const noexcept { return set_; }
  explicit operator bool() const noexcept { return set_; }

  // Set until the scope ends, also by an exception, unless the scope is told
  // to keep it.
  [[nodiscard]] Scope SetWhile() noexcept;
  // Set or cleared with no scope: where a flag must outlive a failure, the
  // caller says why.
  void Set() noexcept { set_ = true; }
  void Clear() noexcept { set_ = false; }

 private:
  bool set_ = false;
};

class ReentryFlag::Scope {
 public:
  explicit Scope(ReentryFlag& flag) noexcept : flag_(&flag) { flag.Set(); }
  ~Scope() {
    if (flag_ != nullptr) flag_->Clear();
  }
  Scope(Scope&& other) noexcept : flag_(other.flag_) { other.flag_ = nullptr; }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
  Scope& operator=(Scope&&) = delete;

  // The flag stays set when the scope ends; whoever calls this says why.
  void Keep() noexcept { flag_ = nullptr; }

 private:
  ReentryFlag* flag_;
};

inline ReentryFlag::Scope ReentryFlag::SetWhile() noexcept { return Scope(*this); }

}  // namespace quillorn::foundation
