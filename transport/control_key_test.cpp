#include "transport/control_key.h"

#include <gtest/gtest.h>

#include <deque>
#include <vector>

namespace quillorn::transport {
namespace {

// Hands out the given numbers in order, checking each against its bound.
RandomBelow Scripted(std::deque<int> values) {
  auto queue = std::make_shared<std::deque<int>>(std::move(values));
  return [queue](int bound) {
    EXPECT_FALSE(queue->empty());
    const int v = queue->front();
    queue->pop_front();
    EXPECT_GE(v, 0);
    EXPECT_LT(v, bound);
    return v;
  };
}

TEST(ControlKeyTest, DigitsFromScriptedChoices) {
  struct Case {
    std::int32_t counter_before;
    std::deque<int> random;  // length choice (0..4), then the digits
    const char* key;
    std::int32_t counter_after;
  };
  const std::vector<Case> cases = {
      // n = 5: base (10-5)*9+8 = 53, digits 1+2+3+4+5 = 15 -> 68; counter 1.
      {0, {0, 1, 2, 3, 4, 5}, "680112345", 1},
      // n = 9: base 17, nine nines 81 -> 98 (the largest sum).
      {41, {4, 9, 9, 9, 9, 9, 9, 9, 9, 9}, "9842999999999", 42},
      // n = 9 of zeros: 17 (the smallest sum); counter 99 -> wraps to 1.
      {99, {4, 0, 0, 0, 0, 0, 0, 0, 0, 0}, "1701000000000", 1},
      // n = 7: base 35, digits 7+0+3+0+0+0+1 = 11 -> 46; counter 98 -> 99.
      {98, {2, 7, 0, 3, 0, 0, 0, 1}, "46997030001", 99},
      // n = 6: base 44, six fives 30 -> 74; after a reset the counter stands at 0,
      // so the next key carries 01.
      {0, {1, 5, 5, 5, 5, 5, 5}, "7401555555", 1},
  };
  for (const auto& c : cases) {
    std::int32_t counter = c.counter_before;
    const std::string key = NewControlKey(counter, Scripted(c.random));
    EXPECT_EQ(key, c.key);
    EXPECT_EQ(counter, c.counter_after);
    EXPECT_TRUE(IsControlKey(key)) << key;
  }
}

// The counter runs 1 to 99, then 1 again; the real generator reaches every length.
TEST(ControlKeyTest, RuntimeKeysCountOnAndTakeEveryLength) {
  std::int32_t counter = 0;
  bool lengths[14] = {};
  for (int i = 0; i < 500; ++i) {
    const std::string key = NewControlKey(counter);
    ASSERT_TRUE(IsControlKey(key)) << key;
    ASSERT_EQ((key[2] - '0') * 10 + (key[3] - '0'), i % 99 + 1);
    ASSERT_EQ(counter, i % 99 + 1);
    lengths[key.size()] = true;
  }
  for (std::size_t n = 9; n <= 13; ++n) EXPECT_TRUE(lengths[n]) << n;
}

TEST(ControlKeyTest, ShapeChecks) {
  // A checksum off by one, too short, a letter, ten random digits, nothing.
  for (const char* key : {"690112345", "68011234", "68011234a", "17010000000000", ""}) {
    EXPECT_FALSE(IsControlKey(key)) << key;
  }
}

}  // namespace
}  // namespace quillorn::transport
