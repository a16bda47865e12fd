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

TEST(ControlKeyTest, CounterRunsOneToNinetyNineThenOneAgain) {
  std::int32_t counter = 0;
  std::vector<std::int32_t> seen;
  for (int i = 0; i < 200; ++i) {
    const std::string key = NewControlKey(counter);
    ASSERT_TRUE(IsControlKey(key)) << key;
    seen.push_back((key[2] - '0') * 10 + (key[3] - '0'));
    ASSERT_EQ(seen.back(), counter);
  }
  EXPECT_EQ(seen[0], 1);
  EXPECT_EQ(seen[98], 99);
  EXPECT_EQ(seen[99], 1);
  EXPECT_EQ(seen[197], 99);
  EXPECT_EQ(seen[198], 1);
  EXPECT_EQ(seen[199], 2);
}

TEST(ControlKeyTest, ShapeChecks) {
  struct Case {
    const char* key;
    bool valid;
  };
  const std::vector<Case> cases = {
      {"680112345", true},   {"690112345", false},  // checksum off by one
      {"68011234", false},                            // too short
      {"68011234a", false},  {"17010000000000", false},  // 10 random digits
      {"", false},           {"9842999999999", true},
  };
  for (const auto& c : cases) EXPECT_EQ(IsControlKey(c.key), c.valid) << c.key;
}

TEST(ControlKeyTest, RuntimeGeneratorCoversEveryLength) {
  std::int32_t counter = 0;
  bool lengths[14] = {};
  for (int i = 0; i < 500; ++i) {
    const std::string key = NewControlKey(counter);
    ASSERT_GE(key.size(), 9u);
    ASSERT_LE(key.size(), 13u);
    lengths[key.size()] = true;
  }
  for (std::size_t n = 9; n <= 13; ++n) EXPECT_TRUE(lengths[n]) << n;
}

}  // namespace
}  // namespace quillorn::transport
