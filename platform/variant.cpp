// Conversions follow the host's variant rules rather than C++'s: True is -1 as a
// number, text converts through its number or its "True"/"False" spelling, a
// double rounds half to even into an integer, and the decimal point is always ".".
#include "platform/variant.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <system_error>

#include "platform/automation.h"

namespace quillorn::platform {
namespace {

using Kind = Variant::Kind;

[[noreturn]] void RaiseConversion(Kind from, std::string_view to) {
  throw HostError("Could not convert variant of type (" + std::string(KindName(from)) + ") into type (" +
                  std::string(to) + ")");
}

[[noreturn]] void RaiseOverflow() { throw HostError("Arithmetic overflow occurred"); }

std::string_view Trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

// A number written in text: optional sign, digits with "." as decimal point,
// optional exponent. Surrounding blanks are allowed, as the host allows them.
bool ParseNumber(std::string_view text, double& out) {
  std::string_view s = Trim(text);
  if (s.empty()) return false;
  if (s.front() == '+') {
    s.remove_prefix(1);
    if (s.empty() || s.front() == '+' || s.front() == '-') return false;
  }
  auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), out, std::chars_format::general);
  return ec == std::errc() && end == s.data() + s.size() && std::isfinite(out);
}

bool ParseBoolWord(std::string_view text, bool& out) {
  std::string_view s = Trim(text);
  if (EqualsNoCase(s, "True")) {
    out = true;
    return true;
  }
  if (EqualsNoCase(s, "False")) {
    out = false;
    return true;
  }
  return false;
}

// Round half to even, as the host does when a fraction must become an integer.
template <typename Int>
Int RoundToInt(double value) {
  double r = std::nearbyint(value);
  if (std::fabs(value - std::trunc(value)) == 0.5) {
    double t = std::trunc(value);
    r = std::fmod(t, 2.0) == 0 ? t : t + (value > 0 ? 1.0 : -1.0);
  }
  // The upper bound of int64 is not exactly representable, hence the "<" test.
  if (!(r >= static_cast<double>(std::numeric_limits<Int>::min()) &&
        r < -static_cast<double>(std::numeric_limits<Int>::min()))) {
    RaiseOverflow();
  }
  return static_cast<Int>(r);
}

void CivilFromDays(long long z, int& y, unsigned& m, unsigned& d) {
  // Days since 1970-01-01 to a proleptic Gregorian date.
  z += 719468;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const long long yy = static_cast<long long>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = static_cast<int>(yy + (m <= 2 ? 1 : 0));
}

long long DaysFromCivil(int y, unsigned m, unsigned d) {
  y -= m <= 2 ? 1 : 0;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

constexpr long long kDaysFrom1899To1970 = 25569;

// Date-times read as text in one fixed, locale-free form; the host's own
// short-date format belongs to the user's machine and is not ours to guess.
std::string FormatDateTime(double days) {
  long long whole = static_cast<long long>(std::floor(days));
  double frac = days - static_cast<double>(whole);
  long long seconds = std::llround(frac * 86400.0);
  if (seconds >= 86400) {
    ++whole;
    seconds -= 86400;
  }
  int y = 0;
  unsigned m = 0, d = 0;
  CivilFromDays(whole - kDaysFrom1899To1970, y, m, d);
  char buf[64];
  if (seconds == 0) {
    std::snprintf(buf, sizeof buf, "%04d-%02u-%02u", y, m, d);
  } else {
    std::snprintf(buf, sizeof buf, "%04d-%02u-%02u %02lld:%02lld:%02lld", y, m, d, seconds / 3600,
                  (seconds / 60) % 60, seconds % 60);
  }
  return buf;
}

bool ParseDateTime(std::string_view text, double& out) {
  std::string s(Trim(text));
  int y = 0, hh = 0, mm = 0, ss = 0;
  unsigned mo = 0, d = 0;
  int consumed = 0;
  if (std::sscanf(s.c_str(), "%4d-%2u-%2u%n", &y, &mo, &d, &consumed) != 3) return false;
  if (mo < 1 || mo > 12 || d < 1 || d > 31) return false;
  std::string rest = s.substr(static_cast<std::size_t>(consumed));
  if (!rest.empty()) {
    int used = 0;
    if (std::sscanf(rest.c_str(), "%*[ T]%2d:%2d%n", &hh, &mm, &used) != 2) return false;
    std::string secs = rest.substr(static_cast<std::size_t>(used));
    if (!secs.empty()) {
      int more = 0;
      if (std::sscanf(secs.c_str(), ":%2d%n", &ss, &more) != 1 || static_cast<std::size_t>(more) != secs.size()) {
        return false;
      }
    }
    if (hh > 23 || mm > 59 || ss > 59 || hh < 0 || mm < 0 || ss < 0) return false;
  }
  out = static_cast<double>(DaysFromCivil(y, mo, d) + kDaysFrom1899To1970) + (hh * 3600 + mm * 60 + ss) / 86400.0;
  return true;
}

// Fifteen significant digits, "." decimal, exponent without "+" or padding:
// 0.1 -> "0.1", 1e20 -> "1E20", 1e-5 -> "1E-5".
std::string FormatDouble(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.15G", v);
  std::string s(buf);
  auto e = s.find('E');
  if (e == std::string::npos) return s;
  std::string mantissa = s.substr(0, e);
  std::string exponent = s.substr(e + 1);
  bool negative = !exponent.empty() && exponent[0] == '-';
  if (!exponent.empty() && (exponent[0] == '+' || exponent[0] == '-')) exponent.erase(0, 1);
  while (exponent.size() > 1 && exponent[0] == '0') exponent.erase(0, 1);
  return mantissa + "E" + (negative ? "-" : "") + exponent;
}

// Whole numbers exactly; anything else through its number (rounded) or its
// "True"/"False" spelling. Returns false when the text is none of those.
bool IntFromText(const std::string& text, std::int64_t& out) {
  std::string_view t = Trim(text);
  if (t.size() > 1 && t.front() == '+' && t[1] != '+' && t[1] != '-') t.remove_prefix(1);
  auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), out);
  if (ec == std::errc() && end == t.data() + t.size()) return true;
  if (ec == std::errc::result_out_of_range) RaiseOverflow();
  double d = 0;
  if (ParseNumber(text, d)) {
    out = RoundToInt<std::int64_t>(d);
    return true;
  }
  bool b = false;
  if (ParseBoolWord(text, b)) {
    out = b ? -1 : 0;
    return true;
  }
  return false;
}

bool IsNumeric(Kind k) {
  return k == Kind::Bool || k == Kind::Int32 || k == Kind::Int64 || k == Kind::Double || k == Kind::DateTime;
}

}  // namespace

std::string_view KindName(Variant::Kind kind) noexcept {
  switch (kind) {
    case Kind::Empty: return "Empty";
    case Kind::Null: return "Null";
    case Kind::Bool: return "Boolean";
    case Kind::Int32: return "Integer";
    case Kind::Int64: return "Int64";
    case Kind::Double: return "Double";
    case Kind::Text: return "String";
    case Kind::DateTime: return "Date";
    case Kind::Object: return "Dispatch";
    case Kind::Array: return "Array";
  }
  return "Unknown";
}

bool Variant::AsBool() const {
  switch (kind()) {
    case Kind::Empty: return false;
    case Kind::Bool: return std::get<bool>(v_);
    case Kind::Int32: return std::get<std::int32_t>(v_) != 0;
    case Kind::Int64: return std::get<std::int64_t>(v_) != 0;
    case Kind::Double: return std::get<double>(v_) != 0;
    case Kind::DateTime: return std::get<DateTimeValue>(v_).days != 0;
    case Kind::Text: {
      const auto& s = std::get<std::string>(v_);
      bool b = false;
      if (ParseBoolWord(s, b)) return b;
      double d = 0;
      if (ParseNumber(s, d)) return d != 0;
      break;
    }
    default: break;
  }
  RaiseConversion(kind(), "Boolean");
}

std::int64_t Variant::AsInt64() const {
  switch (kind()) {
    case Kind::Empty: return 0;
    case Kind::Bool: return std::get<bool>(v_) ? -1 : 0;
    case Kind::Int32: return std::get<std::int32_t>(v_);
    case Kind::Int64: return std::get<std::int64_t>(v_);
    case Kind::Double: return RoundToInt<std::int64_t>(std::get<double>(v_));
    case Kind::DateTime: return RoundToInt<std::int64_t>(std::get<DateTimeValue>(v_).days);
    case Kind::Text: {
      std::int64_t n = 0;
      if (IntFromText(std::get<std::string>(v_), n)) return n;
      break;
    }
    default: break;
  }
  RaiseConversion(kind(), "Int64");
}

std::int32_t Variant::AsInt() const {
  std::int64_t wide = 0;
  switch (kind()) {
    case Kind::Double: return RoundToInt<std::int32_t>(std::get<double>(v_));
    case Kind::DateTime: return RoundToInt<std::int32_t>(std::get<DateTimeValue>(v_).days);
    case Kind::Text:
      if (!IntFromText(std::get<std::string>(v_), wide)) RaiseConversion(kind(), "Integer");
      break;
    case Kind::Null:
    case Kind::Object:
    case Kind::Array: RaiseConversion(kind(), "Integer");
    default: wide = AsInt64(); break;
  }
  if (wide < std::numeric_limits<std::int32_t>::min() || wide > std::numeric_limits<std::int32_t>::max()) {
    RaiseOverflow();
  }
  return static_cast<std::int32_t>(wide);
}

double Variant::AsDouble() const {
  switch (kind()) {
    case Kind::Empty: return 0;
    case Kind::Bool: return std::get<bool>(v_) ? -1 : 0;
    case Kind::Int32: return std::get<std::int32_t>(v_);
    case Kind::Int64: return static_cast<double>(std::get<std::int64_t>(v_));
    case Kind::Double: return std::get<double>(v_);
    case Kind::DateTime: return std::get<DateTimeValue>(v_).days;
    case Kind::Text: {
      const auto& s = std::get<std::string>(v_);
      double d = 0;
      if (ParseNumber(s, d)) return d;
      bool b = false;
      if (ParseBoolWord(s, b)) return b ? -1 : 0;
      if (ParseDateTime(s, d)) return d;
      break;
    }
    default: break;
  }
  RaiseConversion(kind(), "Double");
}

std::string Variant::AsString() const {
  switch (kind()) {
    case Kind::Empty:
    case Kind::Null: return {};
    case Kind::Bool: return std::get<bool>(v_) ? "True" : "False";
    case Kind::Int32: return std::to_string(std::get<std::int32_t>(v_));
    case Kind::Int64: return std::to_string(std::get<std::int64_t>(v_));
    case Kind::Double: return FormatDouble(std::get<double>(v_));
    case Kind::Text: return std::get<std::string>(v_);
    case Kind::DateTime: return FormatDateTime(std::get<DateTimeValue>(v_).days);
    default: break;
  }
  RaiseConversion(kind(), "String");
}

double Variant::AsDateTime() const {
  switch (kind()) {
    case Kind::Empty: return 0;
    case Kind::DateTime: return std::get<DateTimeValue>(v_).days;
    case Kind::Int32:
    case Kind::Int64:
    case Kind::Double: return AsDouble();
    case Kind::Text: {
      const auto& s = std::get<std::string>(v_);
      double d = 0;
      if (ParseDateTime(s, d)) return d;
      if (ParseNumber(s, d)) return d;
      break;
    }
    default: break;
  }
  RaiseConversion(kind(), "Date");
}

const ObjectRef& Variant::AsObject() const {
  if (kind() == Kind::Object) {
    const auto& obj = std::get<ObjectRef>(v_);
    if (obj) return obj;
  }
  throw HostError("Variant does not reference an automation object");
}

const VariantList& Variant::AsArray() const {
  if (kind() == Kind::Array) {
    const auto& list = std::get<std::shared_ptr<const VariantList>>(v_);
    if (list) return *list;
  }
  RaiseConversion(kind(), "Array");
}

Variant Variant::Get(std::string_view name, std::initializer_list<Variant> args) const {
  return AsObject()->GetProperty(name, std::span<const Variant>(args.begin(), args.size()));
}

void Variant::Put(std::string_view name, const Variant& value, std::initializer_list<Variant> args) const {
  AsObject()->PutProperty(name, std::span<const Variant>(args.begin(), args.size()), value);
}

Variant Variant::Call(std::string_view name, std::initializer_list<Variant> args) const {
  return AsObject()->CallMethod(name, std::span<const Variant>(args.begin(), args.size()));
}

Variant Variant::GetWith(std::string_view name, std::span<const Variant> args) const {
  return AsObject()->GetProperty(name, args);
}

Variant Variant::CallWith(std::string_view name, std::span<const Variant> args) const {
  return AsObject()->CallMethod(name, args);
}

bool Variant::operator==(const Variant& other) const {
  const Kind a = kind();
  const Kind b = other.kind();
  if (a == b) {
    if (a == Kind::Array) return AsArray() == other.AsArray();
    return v_ == other.v_;
  }
  // Numbers compare by value whatever their width, as the host compares them.
  if (IsNumeric(a) && IsNumeric(b)) {
    if ((a == Kind::Int32 || a == Kind::Int64) && (b == Kind::Int32 || b == Kind::Int64)) {
      return AsInt64() == other.AsInt64();
    }
    return AsDouble() == other.AsDouble();
  }
  return false;
}

}  // namespace quillorn::platform
