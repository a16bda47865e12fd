// The running routine's name ("dm.SaveToCache") for the logs while a data-layer
// routine runs, and the caller's name back when it ends, also on an exception.
// Only names; it never logs anything itself.
#pragma once

#include <string>
#include <utility>

#include "foundation/context.h"

namespace quillorn::data {

class ProcNameScope {
 public:
  // In the instance context current on this thread.
  explicit ProcNameScope(std::string name) : ProcNameScope(foundation::CurrentContext(), std::move(name)) {}
  ProcNameScope(foundation::LogContext& context, std::string name)
      : context_(context), previous_(std::exchange(context.ProcName, std::move(name))) {}
  ~ProcNameScope() { context_.ProcName = std::move(previous_); }
  ProcNameScope(const ProcNameScope&) = delete;
  ProcNameScope& operator=(const ProcNameScope&) = delete;

 private:
  foundation::LogContext& context_;
  std::string previous_;
};

}  // namespace quillorn::data
