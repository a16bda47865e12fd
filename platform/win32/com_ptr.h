// An owning reference to a COM interface: AddRef on copy, Release on drop, so a
// reference taken in a scope is given back in it, also when an exception passes.
// Never calls QueryInterface by itself.
#pragma once

#include <unknwn.h>

#include <utility>

namespace quillorn::platform {

template <typename T>
class ComPtr {
 public:
  ComPtr() = default;
  // Takes a new reference of its own (AddRef).
  explicit ComPtr(T* p) : p_(p) {
    if (p_ != nullptr) p_->AddRef();
  }
  // Adopts a reference the caller already holds (as an out-parameter hands it over).
  static ComPtr Adopt(T* p) {
    ComPtr r;
    r.p_ = p;
    return r;
  }
  ComPtr(const ComPtr& other) : ComPtr(other.p_) {}
  ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(p_, other.p_);
    return *this;
  }
  ~ComPtr() {
    if (p_ != nullptr) p_->Release();
  }

  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }
  // For out-parameters: drops what is held and hands out the slot.
  T** Put() {
    *this = ComPtr();
    return &p_;
  }
  // Hands the reference to the caller (for out-parameters of our own servers).
  T* Detach() noexcept { return std::exchange(p_, nullptr); }

 private:
  T* p_ = nullptr;
};

}  // namespace quillorn::platform
