// Test code only: the data tests' fixture under the name the workflow tests include.
#pragma once

#include "data/data_test_support.h"
