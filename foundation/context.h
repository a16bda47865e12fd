// The process-wide values that logging and the data layer read (trace switch,
// running routine, folders), held per add-in instance so that two instances can
// live side by side in one test process. Never holds anything a host owns.
#pragma once

#include <string>

namespace quillorn::foundation {

struct LogContext {
  bool TraceEnabled = false;  // set on at start-up or by the key chord, never back off
  std::string ProcName;       // "dm." + routine on entry, cleared on exit; a hint, not a stack
  std::string AppDir;         // folder of the module file, ending in a path delimiter
  std::string AppDataDir;     // per-user data folder + "Quillorn" + delimiter, or AppDir
};

namespace detail {
// Innermost ContextScope of this thread, null outside any scope. Constant-initialised,
// so reading it is one thread-local load (the trace switch test sits on every path).
extern thread_local constinit LogContext* tCurrentContext;
LogContext& ProcessDefaultContext() noexcept;
}  // namespace detail

// The context of the instance running on this thread: the innermost ContextScope,
// else one process default (what the real add-in, one instance per process, uses).
inline LogContext& CurrentContext() noexcept {
  LogContext* current = detail::tCurrentContext;
  return current != nullptr ? *current : detail::ProcessDefaultContext();
}

// Makes `context` current on this thread until the scope ends; scopes nest.
class ContextScope {
 public:
  explicit ContextScope(LogContext& context) noexcept;
  ~ContextScope();
  ContextScope(const ContextScope&) = delete;
  ContextScope& operator=(const ContextScope&) = delete;

 private:
  LogContext* previous_;
};

}  // namespace quillorn::foundation
