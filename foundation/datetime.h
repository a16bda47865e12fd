// The system's date-time value: days since 1899-12-30 as a double, the fraction
// being the time of day (local time). Conversions to and from calendar values,
// and the date formatter whose letters the format codes of the server use.
#pragma once

#include <array>
#include <locale>
#include <string>
#include <string_view>

namespace quillorn::foundation {

using TDateTime = double;

struct FormatSettings {
  std::string ShortDateFormat = "dd/mm/yyyy";
  std::string LongTimeFormat = "hh:nn:ss";
  std::array<std::string, 12> ShortMonthNames;
  std::array<std::string, 12> LongMonthNames;
  std::array<std::string, 7> ShortDayNames;  // Sunday first
  std::array<std::string, 7> LongDayNames;
  std::string TimeAMString = "AM";
  std::string TimePMString = "PM";
};

// The user's formats and names, read once from the C++ locale of the environment.
const FormatSettings& DefaultFormatSettings();
// Where the C++ runtime can't name the user's locale (MinGW's knows only "C"), the
// platform layer installs a reader that fills in the system's formats; it must be
// installed before the first call of DefaultFormatSettings and returns false to
// keep what the C++ locale gave.
using FormatSettingsReader = bool (*)(FormatSettings& settings);
void SetFormatSettingsReader(FormatSettingsReader reader) noexcept;
// The same, read from a given locale: %x and %X of a probe date mapped back to letters.
FormatSettings FormatSettingsFromLocale(const std::locale& loc);
// Fixed English names and ISO-like formats, for tests and for the wire.
const FormatSettings& InvariantFormatSettings();

bool TryEncodeDate(int year, int month, int day, TDateTime& out) noexcept;
bool TryEncodeTime(int hour, int minute, int second, int msec, TDateTime& out) noexcept;
TDateTime EncodeDate(int year, int month, int day);  // throws std::invalid_argument
TDateTime EncodeTime(int hour, int minute, int second, int msec);
TDateTime EncodeDateTime(int year, int month, int day, int hour, int minute, int second, int msec);
void DecodeDate(TDateTime value, int& year, int& month, int& day) noexcept;
void DecodeTime(TDateTime value, int& hour, int& minute, int& second, int& msec) noexcept;
int DayOfWeek(TDateTime value) noexcept;  // 1 = Sunday ... 7 = Saturday
bool IsLeapYear(int year) noexcept;
int DaysInMonth(int year, int month) noexcept;
// Date plus Months, keeping the day of the month or taking the last day of a
// shorter month; the time of day stays.
TDateTime IncMonth(TDateTime date, int months);
TDateTime Now();   // local time
TDateTime Date();  // today, no time part

// Formats with the letters d dd ddd dddd m mm mmm mmmm yy yyyy h hh n nn s ss ampm;
// text in double or single quotes is copied, all other text as it stands.
std::string FormatDateTime(std::string_view format, TDateTime value,
                           const FormatSettings& settings = DefaultFormatSettings());
std::string DateToStr(TDateTime value, const FormatSettings& settings = DefaultFormatSettings());
std::string TimeToStr(TDateTime value, const FormatSettings& settings = DefaultFormatSettings());

}  // namespace quillorn::foundation
