// Advisory whole-file locks between processes (and between holders inside one
// process): how the cache tells that somebody else still has its file open where
// the system lets an open file be deleted. Never locks the database file itself.
#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace quillorn::platform {

class FileLock {
 public:
  enum class Mode { Shared, Exclusive };

  virtual ~FileLock() = default;
  virtual Mode CurrentMode() const = 0;
  // Exclusive to shared without letting anybody take it exclusively in between
  // on systems that can do so; elsewhere as close to that as they allow.
  virtual void Downgrade() = 0;
};

// Tries once; null when another holder's lock is in the way. Creates `path`
// when it is missing. Raises std::runtime_error when the file can't be opened.
std::unique_ptr<FileLock> TryLockFile(const std::string& path, FileLock::Mode mode);

// Tries until `limit` has passed; null when it never got the lock.
std::unique_ptr<FileLock> LockFile(const std::string& path, FileLock::Mode mode,
                                   std::chrono::milliseconds limit);

}  // namespace quillorn::platform
