// LockFileEx locks on the first byte of the lock file: handle-bound, so two
// holders in one process exclude each other as two processes do.
#include "platform/file_lock.h"

#include <windows.h>

#include <stdexcept>

namespace quillorn::platform {
namespace {

std::wstring Widen(const std::string& text) {
  if (text.empty()) return {};
  int n = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring out(static_cast<size_t>(n), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n);
  return out;
}

bool LockRange(HANDLE handle, FileLock::Mode mode) {
  OVERLAPPED where{};
  DWORD flags = LOCKFILE_FAIL_IMMEDIATELY;
  if (mode == FileLock::Mode::Exclusive) flags |= LOCKFILE_EXCLUSIVE_LOCK;
  return ::LockFileEx(handle, flags, 0, 1, 0, &where) != 0;
}

void UnlockRange(HANDLE handle) {
  OVERLAPPED where{};
  ::UnlockFileEx(handle, 0, 1, 0, &where);
}

class WinFileLock : public FileLock {
 public:
  WinFileLock(HANDLE handle, Mode mode) : handle_(handle), mode_(mode) {}
  ~WinFileLock() override {
    UnlockRange(handle_);
    ::CloseHandle(handle_);
  }
  WinFileLock(const WinFileLock&) = delete;
  WinFileLock& operator=(const WinFileLock&) = delete;

  Mode CurrentMode() const override { return mode_; }
  void Downgrade() override {
    if (mode_ == Mode::Shared) return;
    // Windows has no conversion: take shared on top of exclusive, then drop the
    // exclusive one, which leaves the shared one in place.
    if (!LockRange(handle_, Mode::Shared)) {
      // The same handle holds it exclusively; a shared request on it fails, so
      // release and retake, accepting the short gap.
      UnlockRange(handle_);
      if (!LockRange(handle_, Mode::Shared)) throw std::runtime_error("Could not downgrade file lock");
    } else {
      UnlockRange(handle_);
    }
    mode_ = Mode::Shared;
  }

 private:
  HANDLE handle_;
  Mode mode_;
};

}  // namespace

std::unique_ptr<FileLock> TryLockFile(const std::string& path, FileLock::Mode mode) {
  HANDLE handle = ::CreateFileW(Widen(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("Could not open lock file " + path);
  }
  if (!LockRange(handle, mode)) {
    const DWORD err = ::GetLastError();
    ::CloseHandle(handle);
    if (err == ERROR_LOCK_VIOLATION || err == ERROR_IO_PENDING) return nullptr;
    throw std::runtime_error("Could not lock file " + path);
  }
  return std::make_unique<WinFileLock>(handle, mode);
}

}  // namespace quillorn::platform
