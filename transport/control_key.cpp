#include "transport/control_key.h"

#include <random>

namespace quillorn::transport {
namespace {

constexpr int kMinRandomDigits = 5;
constexpr int kMaxRandomDigits = 9;

int BaseSum(int n) { return (10 - n) * 9 + 8; }

}  // namespace

std::string NewControlKey(std::int32_t& ControlCounter, const RandomBelow& random) {
  ControlCounter = ControlCounter + 1;
  if (ControlCounter > kControlCounterMax) ControlCounter = 1;
  const int n = kMinRandomDigits + random(kMaxRandomDigits - kMinRandomDigits + 1);
  std::string key(static_cast<std::size_t>(n) + 4, '0');
  int sum = BaseSum(n);
  for (int i = 0; i < n; ++i) {
    const int r = random(10);
    key[static_cast<std::size_t>(i) + 4] = static_cast<char>('0' + r);
    sum += r;
  }
  // The base makes the sum land between 17 and 98 for every length, so two
  // digits always hold it.
  key[0] = static_cast<char>('0' + (sum / 10) % 10);
  key[1] = static_cast<char>('0' + sum % 10);
  key[2] = static_cast<char>('0' + (ControlCounter / 10) % 10);
  key[3] = static_cast<char>('0' + ControlCounter % 10);
  return key;
}

std::string NewControlKey(std::int32_t& ControlCounter) {
  thread_local std::minstd_rand engine{std::random_device{}()};
  return NewControlKey(ControlCounter, [](int bound) {
    return std::uniform_int_distribution<int>(0, bound - 1)(engine);
  });
}

bool IsControlKey(std::string_view key) noexcept {
  const int n = static_cast<int>(key.size()) - 4;
  if (n < kMinRandomDigits || n > kMaxRandomDigits) return false;
  for (char c : key) {
    if (c < '0' || c > '9') return false;
  }
  int sum = BaseSum(n);
  for (int i = 4; i < static_cast<int>(key.size()); ++i) sum += key[static_cast<std::size_t>(i)] - '0';
  return (key[0] - '0') * 10 + (key[1] - '0') == sum;
}

}  // namespace quillorn::transport
