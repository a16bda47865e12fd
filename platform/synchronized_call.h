// A worker's call run on the main thread through a loop's Post, with the worker
// waiting until it has run: the part of Synchronize that every main loop shares.
// Never runs the task on the worker, and never leaves the worker waiting for a
// task that the loop dropped unrun.
#pragma once

#include <functional>

#include "platform/main_loop.h"

namespace quillorn::platform {

// On the main thread the task runs at once. Elsewhere it is posted and the
// caller waits for it; an exception of the task is raised again here, and a task
// the loop threw away unrun (the loop went) raises std::runtime_error.
void SynchronizeThroughPost(MainLoop& loop, std::function<void()> task);

}  // namespace quillorn::platform
