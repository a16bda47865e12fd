// The scalar texts that need more than a number conversion: floats, currency,
// dates and times, and the boolean reading of text.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "foundation/datetime.h"
#include "transport/codec.h"

namespace quillorn::transport {
namespace {

[[noreturn]] void Fail(std::string message) { throw ERpcInfo(std::move(message)); }

[[noreturn]] void BadValue(TRpcValueTypes type, std::string_view text) {
  Fail("Invalid value for " + std::string(ClassName(type)) + ": \"" + std::string(text) + "\"");
}

double FloatText(std::string_view text) {
  if (text.empty()) return 0;
  const char* first = text.data();
  const char* last = first + text.size();
  if (*first == '+') ++first;
  double value = 0;
  auto [ptr, ec] = std::from_chars(first, last, value, std::chars_format::general);
  if (ec != std::errc() || ptr != last || first == last) BadValue(TRpcValueTypes::rpc_Float, text);
  return value;
}

std::int64_t CurrencyText(std::string_view text) {
  if (text.empty()) return 0;
  std::size_t i = 0;
  const bool negative = text[0] == '-';
  if (text[0] == '-' || text[0] == '+') ++i;
  std::uint64_t whole = 0;
  std::int64_t frac = 0;
  int frac_digits = 0;
  bool round_up = false;
  bool any_digit = false;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    whole = whole * 10 + static_cast<unsigned>(text[i] - '0');
    any_digit = true;
    if (whole > 1000000000000000ULL) BadValue(TRpcValueTypes::rpc_Currency, text);
  }
  if (i < text.size() && text[i] == '.') {
    for (++i; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
      any_digit = true;
      if (frac_digits < 4) {
        frac = frac * 10 + (text[i] - '0');
        ++frac_digits;
      } else if (frac_digits == 4) {
        round_up = text[i] >= '5';
        ++frac_digits;
      }
    }
  }
  if (i != text.size() || !any_digit) {
    // Scientific notation: through a double, rounded to the fourth decimal.
    const double value = FloatText(text) * static_cast<double>(kCurrencyScale);
    if (!std::isfinite(value) || std::fabs(value) >= 9.2e18) BadValue(TRpcValueTypes::rpc_Currency, text);
    return std::llround(value);
  }
  for (int d = std::min(frac_digits, 4); d < 4; ++d) frac *= 10;
  // whole stays below 1e15, so the scaled value fits 64 unsigned bits.
  const std::uint64_t scaled = whole * static_cast<std::uint64_t>(kCurrencyScale) +
                               static_cast<std::uint64_t>(frac) + (round_up ? 1 : 0);
  const std::uint64_t limit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1 : 0);
  if (scaled > limit) BadValue(TRpcValueTypes::rpc_Currency, text);
  if (!negative) return static_cast<std::int64_t>(scaled);
  return scaled == limit ? std::numeric_limits<std::int64_t>::min() : -static_cast<std::int64_t>(scaled);
}
// Reads 1 to 9 digits.
bool Digits(std::string_view text, std::size_t& pos, int& out) {
  const std::size_t start = pos;
  long value = 0;
  while (pos < text.size() && pos - start < 9 && text[pos] >= '0' && text[pos] <= '9') {
    value = value * 10 + (text[pos] - '0');
    ++pos;
  }
  out = static_cast<int>(value);
  return pos > start && (pos >= text.size() || text[pos] < '0' || text[pos] > '9');
}

}  // namespace

foundation::TDateTime DateTimeFromCodeText(std::string_view text) {
  auto invalid = [] { Fail("Invalid DateTime format."); };
  std::size_t pos = 0;
  int first = 0;
  if (!Digits(text, pos, first)) invalid();
  bool has_date = false;
  double date = 0;
  int hour = 0, minute = 0, second = 0, msec = 0;
  bool has_time = false;
  if (pos < text.size() && (text[pos] == '-' || text[pos] == '/')) {
    const char sep = text[pos++];
    int month = 0, day = 0;
    if (!Digits(text, pos, month) || pos >= text.size() || text[pos] != sep) invalid();
    ++pos;
    if (!Digits(text, pos, day)) invalid();
    if (!foundation::TryEncodeDate(first, month, day, date)) invalid();
    has_date = true;
    if (pos < text.size() && (text[pos] == 'T' || text[pos] == ' ')) {
      ++pos;
      if (!Digits(text, pos, hour)) invalid();
      has_time = true;
    }
  } else {
    hour = first;
    has_time = true;
  }
  if (has_time) {
    if (pos >= text.size() || text[pos] != ':') invalid();
    ++pos;
    if (!Digits(text, pos, minute)) invalid();
    if (pos < text.size() && text[pos] == ':') {
      ++pos;
      if (!Digits(text, pos, second)) invalid();
      if (pos < text.size() && text[pos] == '.') {
        ++pos;
        if (!Digits(text, pos, msec)) invalid();
      }
    }
  }
  if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
    // A zone offset is accepted and the value taken as written.
    ++pos;
    int oh = 0, om = 0;
    const std::size_t start = pos;
    if (!Digits(text, pos, oh)) invalid();
    if (pos - start == 4) {
      om = oh % 100;
      oh /= 100;
    } else if (pos < text.size() && text[pos] == ':') {
      ++pos;
      if (!Digits(text, pos, om)) invalid();
    }
    if (oh > 23 || om > 59) invalid();
  }
  if (pos != text.size()) invalid();
  double time = 0;
  if (!foundation::TryEncodeTime(hour, minute, second, msec, time)) invalid();
  if (!has_date) return time;
  return date < 0 ? date - time : date + time;
}

double FloatFromCodeText(std::string_view text) { return FloatText(text); }
std::int64_t CurrencyFromCodeText(std::string_view text) { return CurrencyText(text); }

bool TextToBoolean(std::string_view text) noexcept {
  if (text.empty() || text.size() > 5) return !text.empty();
  char upper[6] = {};
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    upper[i] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  const std::string_view u(upper, text.size());
  return !(u == "0" || u == "F" || u == "N" || u == "FALSE" || u == "NO");
}

}  // namespace quillorn::transport

