// flock() locks: they belong to the open file description, so two holders in one
// process exclude each other as two processes do, and they never touch the
// fcntl() locks that SQLite keeps on the database file.
#include "platform/file_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace quillorn::platform {
namespace {

class PosixFileLock : public FileLock {
 public:
  PosixFileLock(int fd, Mode mode) : fd_(fd), mode_(mode) {}
  ~PosixFileLock() override { ::close(fd_); }
  PosixFileLock(const PosixFileLock&) = delete;
  PosixFileLock& operator=(const PosixFileLock&) = delete;

  Mode CurrentMode() const override { return mode_; }
  void Downgrade() override {
    if (mode_ == Mode::Shared) return;
    // flock converts in place; the conversion is not atomic, which only lets a
    // waiting shared holder in a moment earlier.
    if (::flock(fd_, LOCK_SH) != 0) {
      throw std::runtime_error(std::string("Could not downgrade file lock: ") + std::strerror(errno));
    }
    mode_ = Mode::Shared;
  }

 private:
  int fd_;
  Mode mode_;
};

}  // namespace

std::unique_ptr<FileLock> TryLockFile(const std::string& path, FileLock::Mode mode) {
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) {
    throw std::runtime_error("Could not open lock file " + path + ": " + std::strerror(errno));
  }
  const int op = (mode == FileLock::Mode::Exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
  int rc;
  do {
    rc = ::flock(fd, op);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) {
    const int err = errno;
    ::close(fd);
    if (err == EWOULDBLOCK) return nullptr;
    throw std::runtime_error("Could not lock file " + path + ": " + std::strerror(err));
  }
  return std::make_unique<PosixFileLock>(fd, mode);
}

}  // namespace quillorn::platform
