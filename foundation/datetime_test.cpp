#include "foundation/datetime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <ios>
#include <locale>
#include <stdexcept>
#include <string>

namespace quillorn::foundation {
namespace {

TEST(DateTime, KnownDaysOfTheCalendar) {
  struct Case {
    int y, m, d;
    double value;
    int dow;  // 1 = Sunday
  };
  const Case cases[] = {
      {1899, 12, 30, 0, 7},       {1899, 12, 29, -1, 6},      {1900, 1, 1, 2, 2},
      {1900, 3, 1, 61, 5},        {2000, 1, 1, 36526, 7},     {2000, 2, 29, 36585, 3},
      {2024, 3, 7, 45358, 5},     {1, 1, 1, -693593, 2},      {9999, 12, 31, 2958465, 6},
      {1752, 9, 14, -53797, 5},   {1800, 1, 1, -36522, 4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.y << "-" << c.m << "-" << c.d);
    EXPECT_EQ(EncodeDate(c.y, c.m, c.d), c.value);
    int y = 0, m = 0, d = 0;
    DecodeDate(c.value, y, m, d);
    EXPECT_EQ(y, c.y);
    EXPECT_EQ(m, c.m);
    EXPECT_EQ(d, c.d);
    EXPECT_EQ(DayOfWeek(c.value), c.dow);
  }
}

TEST(DateTime, EveryDayRoundTripsAndFollowsTheDayBefore) {
  int py = 0, pm = 0, pd = 0;
  DecodeDate(-693594, py, pm, pd);  // below the range: all zeros
  EXPECT_EQ(py, 0);
  py = 0, pm = 12, pd = 31;  // the day before 0001-01-01
  for (long long day = -693593; day <= 2958465; ++day) {
    int y = 0, m = 0, d = 0;
    DecodeDate(static_cast<double>(day), y, m, d);
    const bool follows = (d == pd + 1 && m == pm && y == py) || (d == 1 && m == pm + 1 && y == py &&
                                                                 pd == DaysInMonth(py, pm)) ||
                         (d == 1 && m == 1 && y == py + 1 && pm == 12 && pd == 31);
    if (!follows || EncodeDate(y, m, d) != static_cast<double>(day)) {
      FAIL() << "day " << day << " decodes to " << y << "-" << m << "-" << d;
    }
    py = y, pm = m, pd = d;
  }
  EXPECT_EQ(py, 9999);
}

TEST(DateTime, InvalidCalendarValuesAreRefused) {
  const int cases[][3] = {{2023, 2, 29}, {2100, 2, 29}, {0, 1, 1},   {10000, 1, 1},
                          {2024, 13, 1}, {2024, 0, 10}, {2024, 4, 31}, {2024, 1, 0}};
  for (const auto& c : cases) {
    double out = 42;
    EXPECT_FALSE(TryEncodeDate(c[0], c[1], c[2], out)) << c[0] << "-" << c[1] << "-" << c[2];
    EXPECT_EQ(out, 42);
    EXPECT_THROW(EncodeDate(c[0], c[1], c[2]), std::invalid_argument);
  }
  const int times[][4] = {{24, 0, 0, 0}, {0, 60, 0, 0}, {0, 0, 60, 0}, {0, 0, 0, 1000}, {-1, 0, 0, 0}};
  for (const auto& t : times) {
    double out = 0;
    EXPECT_FALSE(TryEncodeTime(t[0], t[1], t[2], t[3], out));
    EXPECT_THROW(EncodeTime(t[0], t[1], t[2], t[3]), std::invalid_argument);
  }
  EXPECT_TRUE(IsLeapYear(2000));
  EXPECT_TRUE(IsLeapYear(2024));
  EXPECT_FALSE(IsLeapYear(1900));
  EXPECT_FALSE(IsLeapYear(2023));
  EXPECT_EQ(DaysInMonth(2024, 2), 29);
  EXPECT_EQ(DaysInMonth(1900, 2), 28);
}

TEST(DateTime, TimeOfDayOfNegativeValuesIsTheAbsoluteFraction) {
  struct Case {
    double value;
    int y, m, d, h, n;
  };
  const Case cases[] = {
      {-1.25, 1899, 12, 29, 6, 0},  {-0.5, 1899, 12, 30, 12, 0}, {0.5, 1899, 12, 30, 12, 0},
      {-2.75, 1899, 12, 28, 18, 0}, {1.75, 1899, 12, 31, 18, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    int y = 0, m = 0, d = 0, h = 0, n = 0, s = 0, ms = 0;
    DecodeDate(c.value, y, m, d);
    DecodeTime(c.value, h, n, s, ms);
    EXPECT_EQ(y * 10000 + m * 100 + d, c.y * 10000 + c.m * 100 + c.d);
    EXPECT_EQ(h * 100 + n, c.h * 100 + c.n);
    if (c.value <= -1) {
      EXPECT_EQ(EncodeDateTime(c.y, c.m, c.d, c.h, c.n, 0, 0), c.value);
    }
  }
}

TEST(DateTime, EncodedTimesDecodeToThemselves) {
  const int days[][3] = {{1899, 12, 30}, {1850, 6, 15}, {2024, 2, 29}, {9999, 12, 31}, {1, 1, 1}};
  for (const auto& day : days) {
    for (int h = 0; h < 24; h += 5) {
      for (int ms = 0; ms < 1000; ms += 111) {
        const double value = EncodeDateTime(day[0], day[1], day[2], h, 59 - h, h * 2, ms);
        int y = 0, m = 0, d = 0, hh = 0, nn = 0, ss = 0, zz = 0;
        DecodeDate(value, y, m, d);
        DecodeTime(value, hh, nn, ss, zz);
        ASSERT_EQ(y * 10000 + m * 100 + d, day[0] * 10000 + day[1] * 100 + day[2]) << value;
        ASSERT_EQ(hh, h);
        ASSERT_EQ(nn, 59 - h);
        ASSERT_EQ(ss, h * 2);
        ASSERT_EQ(zz, ms);
      }
    }
  }
}

TEST(DateTime, NowLiesWithinToday) {
  const double today = Date();
  const double now = Now();
  EXPECT_EQ(today, std::floor(today));
  EXPECT_GE(now, today);
  EXPECT_LT(now, today + 1.0001);  // a midnight between the two reads is allowed
  EXPECT_GT(today, EncodeDate(2020, 1, 1));
}

TEST(DateFormat, Letters) {
  const FormatSettings& inv = InvariantFormatSettings();
  const double morning = EncodeDateTime(2024, 3, 7, 9, 5, 3, 0);     // a Thursday
  const double evening = EncodeDateTime(2005, 11, 20, 21, 45, 59, 0);  // a Sunday
  const double midnight = EncodeDateTime(2024, 12, 1, 0, 7, 0, 0);
  const double noon = EncodeDateTime(2024, 12, 1, 12, 0, 0, 0);
  struct Case {
    const char* format;
    double value;
    const char* expected;
  };
  const Case cases[] = {
      {"d", morning, "7"},
      {"dd", morning, "07"},
      {"ddd", morning, "Thu"},
      {"dddd", evening, "Sunday"},
      {"ddddd", morning, "Thursday7"},
      {"mm", morning, "03"},
      {"mmm", evening, "Nov"},
      {"mmmm", morning, "March"},
      {"yy", evening, "05"},
      {"y", evening, "05"},
      {"yyy", evening, "2005"},
      {"hh", morning, "09"},
      {"n", morning, "5"},
      {"nn", morning, "05"},
      {"ss", evening, "59"},
      {"DD.MM.YYYY", morning, "07.03.2024"},
      {"Dddd, d. MMMM yyyy", evening, "Sunday, 20. November 2005"},
      {"hh:mm", morning, "09:05"},       // m right after an hour is the minute
      {"h:m:s", morning, "9:5:3"},
      {"mm hh", morning, "03 09"},       // ... but not before it
      {"h:nn ampm", evening, "9:45 PM"},
      {"hh:nn AMPM", morning, "09:05 AM"},
      {"h ampm", midnight, "12 AM"},
      {"h ampm", noon, "12 PM"},
      {"ampm hh", evening, "PM 21"},     // the twelve-hour clock is asked for behind the hour
      {"'Day' d", morning, "Day 7"},
      {"\"mm\" mm", morning, "mm 03"},
      {"dd 'h", morning, "07 h"},
      {"c t z / :", morning, "c t z / :"},
      {"yyyy-mm-dd", 0, "1899-12-30"},
      {"yyyy", EncodeDate(5, 1, 1), "0005"},
      {"dd.mm.yyyy hh:nn", -1.25, "29.12.1899 06:00"},
      {"", morning, "2024-03-07 09:05:03"},
      {"", EncodeDate(2024, 3, 7), "2024-03-07"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FormatDateTime(c.format, c.value, inv), c.expected) << "format \"" << c.format << "\"";
  }
  EXPECT_EQ(DateToStr(morning, inv), "2024-03-07");
  EXPECT_EQ(TimeToStr(evening, inv), "21:45:59");
}

TEST(DateFormat, SettingsFromTheClassicLocale) {
  const FormatSettings s = FormatSettingsFromLocale(std::locale::classic());
  EXPECT_EQ(s.ShortDateFormat, "mm/dd/yy");
  EXPECT_EQ(s.LongTimeFormat, "hh:nn:ss");
  EXPECT_EQ(FormatDateTime(s.ShortDateFormat, EncodeDate(2024, 3, 7), s), "03/07/24");
}

// A locale whose time_put renders the probe as a given country would, so that the
// mapping back to letters can be checked without installed locales.
class FakeTimePut : public std::time_put<char> {
 public:
  FakeTimePut(std::string date, std::string time, bool ampm)
      : date_(std::move(date)), time_(std::move(time)), ampm_(ampm) {}

 protected:
  iter_type do_put(iter_type out, std::ios_base&, char, const std::tm* t, char format, char) const override {
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    std::string text;
    switch (format) {
      case 'x': text = date_; break;
      case 'X': text = time_; break;
      case 'p': text = !ampm_ ? "" : t->tm_hour < 12 ? "am" : "pm"; break;
      case 'b': text = kMonths[t->tm_mon]; break;
      case 'B': text = std::string(kMonths[t->tm_mon]) + "uary"; break;
      case 'a': text = kDays[t->tm_wday]; break;
      case 'A': text = std::string(kDays[t->tm_wday]) + "day"; break;
      default: break;
    }
    for (char c : text) *out++ = c;
    return out;
  }

 private:
  std::string date_, time_;
  bool ampm_;
};

TEST(DateFormat, LocaleRenderingsMapBackToLetters) {
  struct Case {
    const char* date;  // the locale's rendering of 2033-03-02 13:04:05, a Wednesday
    const char* time;
    bool ampm;
    const char* shortDate;
    const char* longTime;
    const char* laterDate;  // 2024-11-23 09:07:08 in the mapped formats
    const char* laterTime;
  };
  const Case cases[] = {
      {"03/02/2033", "01:04:05 pm", true, "mm/dd/yyyy", "hh:nn:ss ampm", "11/23/2024", "09:07:08 am"},
      {"3/2/33", "1:04:05 pm", true, "m/d/yy", "h:nn:ss ampm", "11/23/24", "9:07:08 am"},
      {"02.03.2033", "13:04:05", false, "dd.mm.yyyy", "hh:nn:ss", "23.11.2024", "09:07:08"},
      {"2033-03-02", "13.04.05", false, "yyyy-mm-dd", "hh.nn.ss", "2024-11-23", "09.07.08"},
      {"Wed 2 Mar 2033 d.C.", "13h04", false, "ddd d mmm yyyy\" d.C.\"", "hh\"h\"nn", "Sat 23 Nov 2024 d.C.",
       "09h07"},
      {"Wedday, Maruary 2, 2033", "13:04:05", false, "dddd, mmmm d, yyyy", "hh:nn:ss",
       "Satday, Novuary 23, 2024", "09:07:08"},
  };
  const double probe = EncodeDateTime(2033, 3, 2, 13, 4, 5, 0);
  const double later = EncodeDateTime(2024, 11, 23, 9, 7, 8, 0);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.date);
    const std::locale fake(std::locale::classic(), new FakeTimePut(c.date, c.time, c.ampm));
    const FormatSettings s = FormatSettingsFromLocale(fake);
    EXPECT_EQ(s.ShortDateFormat, c.shortDate);
    EXPECT_EQ(s.LongTimeFormat, c.longTime);
    EXPECT_EQ(DateToStr(probe, s), c.date);
    EXPECT_EQ(TimeToStr(probe, s), c.time);
    EXPECT_EQ(DateToStr(later, s), c.laterDate);
    EXPECT_EQ(TimeToStr(later, s), c.laterTime);
  }
}

}  // namespace
}  // namespace quillorn::foundation
