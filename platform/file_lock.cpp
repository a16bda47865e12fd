#include "platform/file_lock.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace quillorn::platform {

// The same on every system: only the single attempt differs.
std::unique_ptr<FileLock> LockFile(const std::string& path, FileLock::Mode mode,
                                   std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  auto pause = std::chrono::milliseconds(1);
  for (;;) {
    if (auto lock = TryLockFile(path, mode)) return lock;
    if (std::chrono::steady_clock::now() >= deadline) return nullptr;
    std::this_thread::sleep_for(pause);
    if (pause < std::chrono::milliseconds(20)) pause *= 2;
  }
}

}  // namespace quillorn::platform
