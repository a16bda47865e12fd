// Test code only: the data tests' reference server under the name the workflow tests use.
#pragma once

#include "data/data_test_support.h"

namespace quillorn::data::testing {
using FetchServer = RefServer;
}  // namespace quillorn::data::testing
