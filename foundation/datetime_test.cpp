#include "foundation/datetime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <ios>
#include <locale>
#include <stdexcept>
#include <string>

namespace quillorn::foundation {
namespace {

// Every day of the range decodes to the day after the one before it, encodes back and
// falls on the weekday after it; from day 0, 1899-12-30, a Saturday, that fixes every value.
TEST(DateTime, EveryDayRoundTripsAndFollowsTheDayBefore) {
  int py = 0, pm = 0, pd = 0;
  DecodeDate(-693594, py, pm, pd);  // below the range: all zeros
  EXPECT_EQ(py, 0);
  EXPECT_EQ(EncodeDate(1899, 12, 30), 0);
  EXPECT_EQ(DayOfWeek(0), 7);
  py = 0, pm = 12, pd = 31;  // the day before 0001-01-01
  int pdow = DayOfWeek(-693593) == 1 ? 7 : DayOfWeek(-693593) - 1;
  for (long long day = -693593; day <= 2958465; ++day) {
    int y = 0, m = 0, d = 0;
    DecodeDate(static_cast<double>(day), y, m, d);
    const bool follows = (d == pd + 1 && m == pm && y == py) || (d == 1 && m == pm + 1 && y == py &&
                                                                 pd == DaysInMonth(py, pm)) ||
                         (d == 1 && m == 1 && y == py + 1 && pm == 12 && pd == 31);
    const int dow = DayOfWeek(static_cast<double>(day));
    if (!follows || EncodeDate(y, m, d) != static_cast<double>(day) || dow != pdow % 7 + 1) {
      FAIL() << "day " << day << " decodes to " << y << "-" << m << "-" << d << ", weekday " << dow;
    }
    py = y, pm = m, pd = d, pdow = dow;
  }
  EXPECT_EQ(py, 9999);
}

TEST(DateTime, InvalidCalendarValuesAreRefused) {
  const int dates[][3] = {{2023, 2, 29}, {2100, 2, 29}, {0, 1, 1}, {10000, 1, 1}, {2024, 13, 1}, {2024, 4, 31}, {2024, 1, 0}};
  for (const auto& c : dates) {
    double out = 42;
    EXPECT_FALSE(TryEncodeDate(c[0], c[1], c[2], out)) << c[0] << "-" << c[1] << "-" << c[2];
    EXPECT_EQ(out, 42);
    EXPECT_THROW(EncodeDate(c[0], c[1], c[2]), std::invalid_argument);
  }
  const int times[][4] = {{24, 0, 0, 0}, {0, 60, 0, 0}, {0, 0, 60, 0}, {0, 0, 0, 1000}, {-1, 0, 0, 0}};
  for (const auto& t : times) EXPECT_THROW(EncodeTime(t[0], t[1], t[2], t[3]), std::invalid_argument);
  EXPECT_EQ(EncodeDate(2000, 2, 29), 36585);  // every fourth century keeps its leap day
}

// Adding months keeps the day where the target month has it and takes that
// month's last day where it is shorter; the time of day rides along.
TEST(DateTime, IncMonthClipsTheDayToTheTargetMonth) {
  struct Case {
    int from[3];
    int months;
    int to[3];
  };
  const Case cases[] = {
      {.from = {2024, 1, 31}, .months = 1, .to = {2024, 2, 29}},
      {.from = {2023, 1, 31}, .months = 1, .to = {2023, 2, 28}},
      {.from = {2024, 3, 31}, .months = 1, .to = {2024, 4, 30}},
      {.from = {2024, 2, 29}, .months = 12, .to = {2025, 2, 28}},
      {.from = {2024, 11, 15}, .months = 3, .to = {2025, 2, 15}},
      {.from = {2024, 8, 31}, .months = 18, .to = {2026, 2, 28}},
      {.from = {2024, 5, 10}, .months = 0, .to = {2024, 5, 10}},
  };
  for (const Case& c : cases) {
    const TDateTime from = EncodeDate(c.from[0], c.from[1], c.from[2]) + 0.75;
    const TDateTime got = IncMonth(from, c.months);
    int y = 0, m = 0, d = 0;
    DecodeDate(got, y, m, d);
    EXPECT_EQ((std::array<int, 3>{y, m, d}), (std::array<int, 3>{c.to[0], c.to[1], c.to[2]}))
        << c.from[0] << "-" << c.from[1] << "-" << c.from[2] << " plus " << c.months;
    EXPECT_DOUBLE_EQ(got - std::floor(got), 0.75);
  }
}

// Before the epoch the day counts down while the time of day still counts up: -1.25 is 06:00 of the 29th.
TEST(DateTime, TimesDecodeToThemselvesBeforeTheEpochToo) {
  const int days[][3] = {{1899, 12, 30}, {1850, 6, 15}, {2024, 2, 29}, {1, 1, 1}};
  for (const auto& day : days) {
    for (int h = 0; h < 24; h += 5) {
      for (int ms = 0; ms < 1000; ms += 111) {
        const double value = EncodeDateTime(day[0], day[1], day[2], h, 59 - h, h * 2, ms);
        int y = 0, m = 0, d = 0, hh = 0, nn = 0, ss = 0, zz = 0;
        DecodeDate(value, y, m, d);
        DecodeTime(value, hh, nn, ss, zz);
        ASSERT_EQ(y * 10000 + m * 100 + d, day[0] * 10000 + day[1] * 100 + day[2]) << value;
        ASSERT_EQ(hh * 10000000 + nn * 100000 + ss * 1000 + zz, h * 10000000 + (59 - h) * 100000 + h * 2 * 1000 + ms);
      }
    }
  }
  EXPECT_EQ(EncodeDateTime(1899, 12, 29, 6, 0, 0, 0), -1.25);
  int y = 0, m = 0, d = 0, h = 0, n = 0, s = 0, ms = 0;
  DecodeDate(-0.5, y, m, d);  // the half day before the epoch is still its day
  DecodeTime(-0.5, h, n, s, ms);
  EXPECT_EQ(y * 10000 + m * 100 + d, 18991230);
  EXPECT_EQ(h, 12);
}

TEST(DateTime, NowLiesWithinToday) {
  const double today = Date();
  EXPECT_EQ(today, std::floor(today));
  EXPECT_GE(Now(), today);
  EXPECT_LT(Now(), today + 1.0001);  // a midnight between the two reads is allowed
  EXPECT_GT(today, EncodeDate(2020, 1, 1));
}

TEST(DateFormat, Letters) {
  const FormatSettings& inv = InvariantFormatSettings();
  const double morning = EncodeDateTime(2024, 3, 7, 9, 5, 3, 0);       // a Thursday
  const double evening = EncodeDateTime(2005, 11, 20, 21, 45, 59, 0);  // a Sunday
  const double noon = EncodeDateTime(2024, 12, 1, 12, 0, 0, 0);
  struct Case {
    const char* format;
    double value;
    const char* expected;
  };
  const Case cases[] = {
      {.format = "d dd ddd dddd ddddd", .value = morning, .expected = "7 07 Thu Thursday Thursday7"},
      {.format = "m mm mmm mmmm", .value = evening, .expected = "11 11 Nov November"},
      {.format = "y yy yyy yyyy", .value = evening, .expected = "05 05 2005 2005"},
      {.format = "h:n:s hh:nn:ss", .value = morning, .expected = "9:5:3 09:05:03"},
      {.format = "Dddd, d. MMMM YYYY", .value = evening, .expected = "Sunday, 20. November 2005"},
      {.format = "hh:mm mm hh", .value = morning, .expected = "09:05 03 09"},  // m right after an hour is the minute
      {.format = "h:nn ampm", .value = evening, .expected = "9:45 PM"},
      {.format = "h AMPM", .value = noon - 0.5, .expected = "12 AM"},
      {.format = "h ampm", .value = noon, .expected = "12 PM"},
      {.format = "ampm hh a", .value = evening, .expected = "PM 21 a"},  // the twelve-hour clock is asked for behind the hour
      {.format = "'Day' d \"mm\" dd 'h", .value = morning, .expected = "Day 7 mm 07 h"},
      {.format = "c t z / :", .value = morning, .expected = "c t z / :"},
      {.format = "yyyy", .value = EncodeDate(5, 1, 1), .expected = "0005"},
      {.format = "dd.mm.yyyy hh:nn", .value = -1.25, .expected = "29.12.1899 06:00"},
      {.format = "", .value = morning, .expected = "2024-03-07 09:05:03"},
      {.format = "", .value = EncodeDate(2024, 3, 7), .expected = "2024-03-07"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FormatDateTime(c.format, c.value, inv), c.expected) << "format \"" << c.format << "\"";
  }
  EXPECT_EQ(DateToStr(morning, inv), "2024-03-07");
  EXPECT_EQ(TimeToStr(evening, inv), "21:45:59");
}

TEST(DateFormat, SettingsFromTheClassicLocale) {
  const FormatSettings s = FormatSettingsFromLocale(std::locale::classic());
  EXPECT_EQ(FormatDateTime(s.ShortDateFormat + " " + s.LongTimeFormat, EncodeDateTime(2024, 3, 7, 9, 5, 3, 0), s),
            "03/07/24 09:05:03");
}

// A locale whose time_put renders the probe as a given country would, so that the
// mapping back to letters can be checked without installed locales.
class FakeTimePut : public std::time_put<char> {
 public:
  FakeTimePut(std::string date, std::string time, bool ampm)
      : date_(std::move(date)), time_(std::move(time)), ampm_(ampm) {}

 protected:
  iter_type do_put(iter_type out, std::ios_base&, char, const std::tm* t, char format, char) const override {
    const std::string month = std::string("JanFebMarAprMayJunJulAugSepOctNovDec").substr(t->tm_mon * 3, 3);
    const std::string day = std::string("SunMonTueWedThuFriSat").substr(t->tm_wday * 3, 3);
    const std::string text = format == 'x'   ? date_
                             : format == 'X' ? time_
                             : format == 'p' ? (!ampm_ ? "" : t->tm_hour < 12 ? "am" : "pm")
                             : format == 'b' ? month
                             : format == 'B' ? month + "uary"
                             : format == 'a' ? day
                             : format == 'A' ? day + "day"
                                             : "";
    return std::copy(text.begin(), text.end(), out);
  }

 private:
  std::string date_, time_;
  bool ampm_;
};

// The locale's rendering of 2033-03-02 13:04:05 (a Wednesday) maps back to letters
// that render the same again.
TEST(DateFormat, LocaleRenderingsMapBackToLetters) {
  struct Case {
    const char* date;
    const char* time;
    bool ampm;
    const char* shortDate;
    const char* longTime;
  };
  const Case cases[] = {
      {.date = "03/02/2033", .time = "01:04:05 pm", .ampm = true, .shortDate = "mm/dd/yyyy", .longTime = "hh:nn:ss ampm"},
      {.date = "3/2/33", .time = "1:04:05 pm", .ampm = true, .shortDate = "m/d/yy", .longTime = "h:nn:ss ampm"},
      {.date = "2033-03-02", .time = "13.04.05", .ampm = false, .shortDate = "yyyy-mm-dd", .longTime = "hh.nn.ss"},
      {.date = "Wed 2 Mar 2033 d.C.", .time = "13h04", .ampm = false, .shortDate = "ddd d mmm yyyy\" d.C.\"",
       .longTime = "hh\"h\"nn"},
      {.date = "Wedday, Maruary 2, 2033", .time = "13:04:05", .ampm = false, .shortDate = "dddd, mmmm d, yyyy",
       .longTime = "hh:nn:ss"},
  };
  const double probe = EncodeDateTime(2033, 3, 2, 13, 4, 5, 0);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.date);
    const std::locale fake(std::locale::classic(), new FakeTimePut(c.date, c.time, c.ampm));
    const FormatSettings s = FormatSettingsFromLocale(fake);
    EXPECT_EQ(s.ShortDateFormat, c.shortDate);
    EXPECT_EQ(s.LongTimeFormat, c.longTime);
    EXPECT_EQ(DateToStr(probe, s), c.date);
    EXPECT_EQ(TimeToStr(probe, s), c.time);
  }
}

}  // namespace
}  // namespace quillorn::foundation
