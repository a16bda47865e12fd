#include <atomic>
#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>

#include "foundation/datetime.h"

namespace quillorn::foundation {
namespace {

std::atomic<FormatSettingsReader> gReader{nullptr};

FormatSettings MakeInvariant() {
  FormatSettings s;
  s.ShortDateFormat = "yyyy-mm-dd";
  s.LongTimeFormat = "hh:nn:ss";
  s.ShortMonthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  s.LongMonthNames = {"January", "February", "March",     "April",   "May",      "June",
                      "July",    "August",   "September", "October", "November", "December"};
  s.ShortDayNames = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  s.LongDayNames = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
  s.TimeAMString = "AM";
  s.TimePMString = "PM";
  return s;
}

// The probe values are chosen so that every number in the locale's output names
// one field: 2033-03-02 13:04:05 (a Wednesday).
constexpr int kProbeYear = 2033, kProbeMonth = 3, kProbeDay = 2;
constexpr int kProbeHour = 13, kProbeMinute = 4, kProbeSecond = 5;

std::tm ProbeTm(int month, int wday, int hour) {
  std::tm tm{};
  tm.tm_year = kProbeYear - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = kProbeDay;
  tm.tm_wday = wday;
  tm.tm_yday = 0;
  tm.tm_hour = hour;
  tm.tm_min = kProbeMinute;
  tm.tm_sec = kProbeSecond;
  tm.tm_isdst = -1;
  return tm;
}

std::string Put(const std::locale& loc, const std::tm& tm, const char* pattern) {
  std::ostringstream os;
  os.imbue(loc);
  os << std::put_time(&tm, pattern);
  return os.fail() ? std::string() : os.str();
}

bool IsAsciiLetterOrQuote(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '"' || c == '\'';
}

// Literal text of the locale's pattern; quoted when it holds anything the
// formatter would read as a field.
void FlushLiteral(std::string& out, std::string& literal) {
  if (literal.empty()) return;
  bool needsQuotes = false;
  for (char c : literal) needsQuotes = needsQuotes || IsAsciiLetterOrQuote(c);
  if (needsQuotes && literal.find('"') == std::string::npos) {
    out += '"' + literal + '"';
  } else if (needsQuotes) {
    out += '\'' + literal + '\'';
  } else {
    out += literal;
  }
  literal.clear();
}

struct NameRule {
  std::string_view text;
  std::string_view letters;
};

// Turns the locale's rendering of the probe back into format letters.
std::string MapBack(std::string_view text, const NameRule* numbers, size_t numberCount, const NameRule* names,
                    size_t nameCount) {
  std::string out;
  std::string literal;
  size_t i = 0;
  while (i < text.size()) {
    if (text[i] >= '0' && text[i] <= '9') {
      size_t end = i;
      while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
      const std::string_view digits = text.substr(i, end - i);
      std::string_view letters;
      for (size_t k = 0; k < numberCount; ++k) {
        if (numbers[k].text == digits) letters = numbers[k].letters;
      }
      if (letters.empty()) {
        literal.append(digits);
      } else {
        FlushLiteral(out, literal);
        out.append(letters);
      }
      i = end;
      continue;
    }
    bool matched = false;
    for (size_t k = 0; k < nameCount && !matched; ++k) {
      const std::string_view name = names[k].text;
      if (!name.empty() && text.substr(i, name.size()) == name) {
        FlushLiteral(out, literal);
        out.append(names[k].letters);
        i += name.size();
        matched = true;
      }
    }
    if (!matched) literal += text[i++];
  }
  FlushLiteral(out, literal);
  return out;
}

FormatSettings FromLocale(const std::locale& loc) {
  FormatSettings s = MakeInvariant();
  for (int m = 1; m <= 12; ++m) {
    const std::tm tm = ProbeTm(m, 0, kProbeHour);
    if (std::string name = Put(loc, tm, "%b"); !name.empty()) s.ShortMonthNames[m - 1] = name;
    if (std::string name = Put(loc, tm, "%B"); !name.empty()) s.LongMonthNames[m - 1] = name;
  }
  for (int d = 0; d < 7; ++d) {
    const std::tm tm = ProbeTm(kProbeMonth, d, kProbeHour);
    if (std::string name = Put(loc, tm, "%a"); !name.empty()) s.ShortDayNames[d] = name;
    if (std::string name = Put(loc, tm, "%A"); !name.empty()) s.LongDayNames[d] = name;
  }
  const std::string am = Put(loc, ProbeTm(kProbeMonth, 3, 1), "%p");
  const std::string pm = Put(loc, ProbeTm(kProbeMonth, 3, kProbeHour), "%p");
  if (!am.empty() && !pm.empty()) {
    s.TimeAMString = am;
    s.TimePMString = pm;
  }

  const std::tm probe = ProbeTm(kProbeMonth, 3, kProbeHour);  // 2033-03-02 was a Wednesday
  const NameRule dateNumbers[] = {{"2033", "yyyy"}, {"33", "yy"}, {"03", "mm"}, {"3", "m"},
                                  {"02", "dd"},     {"2", "d"}};
  const std::string longMonth = s.LongMonthNames[kProbeMonth - 1];
  const std::string shortMonth = s.ShortMonthNames[kProbeMonth - 1];
  const std::string longDay = s.LongDayNames[3];
  const std::string shortDay = s.ShortDayNames[3];
  const NameRule dateNames[] = {{longMonth, "mmmm"}, {longDay, "dddd"}, {shortMonth, "mmm"}, {shortDay, "ddd"}};
  if (const std::string date = Put(loc, probe, "%x"); !date.empty()) {
    s.ShortDateFormat = MapBack(date, dateNumbers, std::size(dateNumbers), dateNames, std::size(dateNames));
  }
  const NameRule timeNumbers[] = {{"13", "hh"}, {"01", "hh"}, {"1", "h"}, {"04", "nn"},
                                  {"4", "n"},   {"05", "ss"}, {"5", "s"}};
  const NameRule timeNames[] = {{pm, "ampm"}};
  if (const std::string time = Put(loc, probe, "%X"); !time.empty()) {
    s.LongTimeFormat = MapBack(time, timeNumbers, std::size(timeNumbers), timeNames, pm.empty() ? 0 : 1);
  }
  return s;
}

std::locale UserLocale() {
  try {
    return std::locale("");
  } catch (...) {
    return std::locale::classic();
  }
}

}  // namespace

FormatSettings FormatSettingsFromLocale(const std::locale& loc) { return FromLocale(loc); }

void SetFormatSettingsReader(FormatSettingsReader reader) noexcept { gReader.store(reader); }

const FormatSettings& DefaultFormatSettings() {
  static const FormatSettings settings = [] {
    FormatSettings fromLocale;
    try {
      fromLocale = FromLocale(UserLocale());
    } catch (...) {
      fromLocale = MakeInvariant();
    }
    if (const FormatSettingsReader reader = gReader.load(); reader != nullptr) {
      FormatSettings fromSystem = fromLocale;
      try {
        if (reader(fromSystem)) return fromSystem;
      } catch (...) {
      }
    }
    return fromLocale;
  }();
  return settings;
}

const FormatSettings& InvariantFormatSettings() {
  static const FormatSettings settings = MakeInvariant();
  return settings;
}

}  // namespace quillorn::foundation
