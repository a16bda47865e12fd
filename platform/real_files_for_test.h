// Test code only: system services over the real file system, for the parts a
// test builds without an add-in instance around them (a cache store, a commit).
#pragma once

#include "platform/system_services.h"

namespace quillorn::platform::testing {

inline SystemServices& RealFiles() {
  static FakeSystemServices files;
  return files;
}

}  // namespace quillorn::platform::testing
