#include "platform/synchronized_call.h"

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace quillorn::platform {

namespace {

// The worker's side. If the queue is dropped with the task in it (the loop is
// destroyed), the worker is told instead of waiting for ever.
struct SyncState {
  std::mutex lock;
  std::condition_variable done_signal;
  bool done = false;
  bool ran = false;
  std::exception_ptr error;

  void Finish(bool has_run, std::exception_ptr failure) {
    std::lock_guard guard(lock);
    done = true;
    ran = has_run;
    error = std::move(failure);
    done_signal.notify_all();
  }
};

class SyncTask {
 public:
  SyncTask(std::shared_ptr<SyncState> state, std::function<void()> task)
      : state_(std::move(state)), task_(std::move(task)) {}
  ~SyncTask() {
    if (!finished_) state_->Finish(false, nullptr);
  }
  SyncTask(const SyncTask&) = delete;
  SyncTask& operator=(const SyncTask&) = delete;

  void Run() {
    std::exception_ptr failure;
    try {
      task_();
    } catch (...) {
      failure = std::current_exception();
    }
    finished_ = true;
    state_->Finish(true, std::move(failure));
  }

 private:
  std::shared_ptr<SyncState> state_;
  std::function<void()> task_;
  bool finished_ = false;
};

}  // namespace

void SynchronizeThroughPost(MainLoop& loop, std::function<void()> task) {
  if (!task) return;
  if (loop.IsMainThread()) {
    task();
    return;
  }
  auto state = std::make_shared<SyncState>();
  auto wrapper = std::make_shared<SyncTask>(state, std::move(task));
  loop.Post([wrapper] { wrapper->Run(); });
  wrapper.reset();  // the queue holds the only reference now
  std::exception_ptr error;
  {
    std::unique_lock guard(state->lock);
    state->done_signal.wait(guard, [&] { return state->done; });
    if (!state->ran) throw std::runtime_error("The main loop ended before a synchronised call ran");
    // Taken out, so the exception is released on this thread, not the main one.
    error = std::move(state->error);
  }
  if (error) std::rethrow_exception(error);
}

}  // namespace quillorn::platform
