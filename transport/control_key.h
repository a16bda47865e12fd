// Control keys: the short digit strings that end every enciphered message and
// that the other side must give back, with their checksum digits and running
// counter. Never a secret: they only prove that both cipher streams are in step.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace quillorn::transport {

inline constexpr std::int32_t kControlCounterMax = 99;

// Returns a number from 0 to bound - 1.
using RandomBelow = std::function<int(int bound)>;

// Advances `ControlCounter` (1 to 99, then 1 again) and makes a key of 9 to 13
// digits: two checksum digits, two counter digits, then 5 to 9 random digits.
std::string NewControlKey(std::int32_t& ControlCounter, const RandomBelow& random);

// The same with the plain runtime generator; the digits need no cipher grade.
std::string NewControlKey(std::int32_t& ControlCounter);

// True when `key` has the shape above and its checksum digits add up.
bool IsControlKey(std::string_view key) noexcept;

}  // namespace quillorn::transport
