#include "foundation/context.h"

namespace quillorn::foundation {
namespace {

// Innermost scope of this thread; null means the process default is current.
thread_local LogContext* tCurrent = nullptr;

LogContext& ProcessDefault() noexcept {
  static LogContext context;
  return context;
}

}  // namespace

LogContext& CurrentContext() noexcept { return tCurrent != nullptr ? *tCurrent : ProcessDefault(); }

ContextScope::ContextScope(LogContext& context) noexcept : previous_(tCurrent) { tCurrent = &context; }

ContextScope::~ContextScope() { tCurrent = previous_; }

}  // namespace quillorn::foundation
