#include "foundation/datetime.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <mutex>
#include <stdexcept>

namespace quillorn::foundation {
namespace {

constexpr long long kMSecsPerDay = 86400000;
// Days from 1899-12-30 (value 0) to 1970-01-01, the epoch of the civil-date arithmetic below.
constexpr long long kDaysTo1970 = 25569;
// Value range of the calendar this type can hold: 0001-01-01 .. 9999-12-31.
constexpr long long kMinDay = -693593;
constexpr long long kMaxDay = 2958465;

// Howard Hinnant's civil-date algorithms, on days since 1970-01-01.
long long DaysFromCivil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

void CivilFromDays(long long z, int& year, int& month, int& day) {
  z += 719468;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const long long y = static_cast<long long>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(y + (month <= 2));
}

// Splits a value into whole days and milliseconds of the day. The fraction of a
// negative value is the time of day as an absolute amount: -1.25 is the day -1 at
// 06:00, not 18:00 of day -2. Milliseconds are rounded so that an encoded time
// decodes to itself despite binary fractions.
bool Split(TDateTime value, long long& days, long long& msec) {
  if (!std::isfinite(value)) return false;
  const double scaled = value * static_cast<double>(kMSecsPerDay);
  if (std::fabs(scaled) > 9.0e17) return false;
  const long long total = std::llround(scaled);
  days = total / kMSecsPerDay;  // truncates toward zero, matching the fraction rule
  msec = (total < 0 ? -total : total) % kMSecsPerDay;
  return days >= kMinDay && days <= kMaxDay;
}

}  // namespace

bool IsLeapYear(int year) noexcept { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysInMonth(int year, int month) noexcept {
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12) return 0;
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

bool TryEncodeDate(int year, int month, int day, TDateTime& out) noexcept {
  if (year < 1 || year > 9999 || month < 1 || month > 12) return false;
  if (day < 1 || day > DaysInMonth(year, month)) return false;
  out = static_cast<TDateTime>(DaysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) +
                               kDaysTo1970);
  return true;
}

bool TryEncodeTime(int hour, int minute, int second, int msec, TDateTime& out) noexcept {
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 || msec < 0 ||
      msec > 999) {
    return false;
  }
  const long long total = ((hour * 60LL + minute) * 60 + second) * 1000 + msec;
  out = static_cast<TDateTime>(total) / static_cast<TDateTime>(kMSecsPerDay);
  return true;
}

TDateTime EncodeDate(int year, int month, int day) {
  TDateTime result = 0;
  if (!TryEncodeDate(year, month, day, result)) throw std::invalid_argument("Invalid argument to date encode");
  return result;
}

TDateTime EncodeTime(int hour, int minute, int second, int msec) {
  TDateTime result = 0;
  if (!TryEncodeTime(hour, minute, second, msec, result)) {
    throw std::invalid_argument("Invalid argument to time encode");
  }
  return result;
}

TDateTime EncodeDateTime(int year, int month, int day, int hour, int minute, int second, int msec) {
  const TDateTime date = EncodeDate(year, month, day);
  const TDateTime time = EncodeTime(hour, minute, second, msec);
  // Before the zero day the time of day is carried as an absolute fraction.
  return date < 0 ? date - time : date + time;
}

void DecodeDate(TDateTime value, int& year, int& month, int& day) noexcept {
  long long days = 0;
  long long msec = 0;
  if (!Split(value, days, msec)) {
    year = month = day = 0;
    return;
  }
  CivilFromDays(days - kDaysTo1970, year, month, day);
}

void DecodeTime(TDateTime value, int& hour, int& minute, int& second, int& msec) noexcept {
  long long days = 0;
  long long ms = 0;
  if (!Split(value, days, ms)) {
    hour = minute = second = msec = 0;
    return;
  }
  msec = static_cast<int>(ms % 1000);
  second = static_cast<int>(ms / 1000 % 60);
  minute = static_cast<int>(ms / 60000 % 60);
  hour = static_cast<int>(ms / 3600000);
}

int DayOfWeek(TDateTime value) noexcept {
  long long days = 0;
  long long msec = 0;
  if (!Split(value, days, msec)) return 0;
  // Day 0 (1899-12-30) was a Saturday.
  const long long index = ((days + 6) % 7 + 7) % 7;  // 0 = Sunday
  return static_cast<int>(index) + 1;
}

TDateTime Now() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  const int ms = static_cast<int>(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000);
  std::tm local{};
  {
    // std::localtime shares one buffer per process on some C libraries.
    static std::mutex lock;
    std::lock_guard<std::mutex> guard(lock);
    const std::tm* tm = std::localtime(&seconds);
    if (tm == nullptr) throw std::runtime_error("Local time not available");
    local = *tm;
  }
  return EncodeDateTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                        local.tm_sec < 60 ? local.tm_sec : 59, ms < 0 ? 0 : ms);
}

TDateTime Date() { return std::floor(Now()); }

TDateTime IncMonth(TDateTime date, int months) {
  int year = 0, month = 0, day = 0;
  DecodeDate(date, year, month, day);
  const double timeOfDay = date - std::floor(date);
  const int total = year * 12 + (month - 1) + months;
  year = total / 12;
  month = total % 12 + 1;
  day = std::min(day, DaysInMonth(year, month));
  return EncodeDate(year, month, day) + timeOfDay;
}

}  // namespace quillorn::foundation
