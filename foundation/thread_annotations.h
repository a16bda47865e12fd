// Lock rules the compiler can check: clang's -Wthread-safety reads these
// attributes (make test runs it over the portable libraries); GCC and MinGW see
// empty macros. Mutex and MutexLock exist because std::mutex carries no
// capability attribute in libstdc++, so a field guarded by one cannot be checked.
#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QUILLORN_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QUILLORN_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) QUILLORN_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY QUILLORN_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) QUILLORN_THREAD_ATTRIBUTE(guarded_by(x))
#define PT_GUARDED_BY(x) QUILLORN_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define REQUIRES(...) QUILLORN_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) QUILLORN_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) QUILLORN_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) QUILLORN_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

namespace quillorn::foundation {

// Taken only through MutexLock, so that a lock never outlives its scope.
class CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

 private:
  friend class MutexLock;
  std::mutex mutex_;
};

// Holds the mutex for its scope. Wait releases it while it blocks and holds it
// again before it returns, so the caller re-tests its condition in a loop.
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex.mutex_) {}
  ~MutexLock() RELEASE() {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void Wait(std::condition_variable& cv) { cv.wait(lock_); }

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace quillorn::foundation
