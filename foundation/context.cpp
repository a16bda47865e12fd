#include "foundation/context.h"

namespace quillorn::foundation {
namespace detail {

thread_local constinit LogContext* tCurrentContext = nullptr;

LogContext& ProcessDefaultContext() noexcept {
  static LogContext context;
  return context;
}

}  // namespace detail

ContextScope::ContextScope(LogContext& context) noexcept : previous_(detail::tCurrentContext) {
  detail::tCurrentContext = &context;
}

ContextScope::~ContextScope() { detail::tCurrentContext = previous_; }

}  // namespace quillorn::foundation
