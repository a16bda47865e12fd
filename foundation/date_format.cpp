#include <string>
#include <string_view>

#include "foundation/datetime.h"

namespace quillorn::foundation {
namespace {

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

void AppendNumber(std::string& out, int value, int digits) {
  std::string text = std::to_string(value);
  if (static_cast<int>(text.size()) < digits) out.append(static_cast<size_t>(digits) - text.size(), '0');
  out += text;
}

bool StartsWithNoCase(std::string_view text, size_t at, std::string_view prefix) {
  if (text.size() - at < prefix.size()) return false;
  for (size_t k = 0; k < prefix.size(); ++k) {
    if (Upper(text[at + k]) != Upper(prefix[k])) return false;
  }
  return true;
}

// An hour is written on the twelve-hour clock when "ampm" follows it before the
// next hour letter; like the formatter this one stands in for, the look-ahead stops
// at the first "a" outside quotes, whether or not it starts "ampm".
bool TwelveHourAhead(std::string_view format, size_t from) {
  char quote = 0;
  for (size_t k = from; k < format.size(); ++k) {
    const char c = format[k];
    if (quote != 0) {
      if (c == quote) quote = 0;
      continue;
    }
    if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == 'a' || c == 'A') {
      return StartsWithNoCase(format, k, "ampm");
    } else if (c == 'h' || c == 'H') {
      return false;
    }
  }
  return false;
}

struct Parts {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, msec = 0, dow = 0;
};

// Letters are read without regard to case and a run of one letter is one field.
// Where the letter table is silent this formatter decides:
//  - "m"/"mm" right after an hour field (the last letter seen was h) are minutes;
//  - "y" is the two-digit year, "yyy" and longer the four-digit year;
//  - runs longer than a field's longest form: "ddddd" is "dddd" then "d",
//    "mmmmm" likewise; "hhh", "nnn", "sss" are two digits;
//  - every other character, letters such as c, t, z included, is copied as it
//    stands, and so are "/" and ":" (the locale's separators are already inside
//    the formats read from it);
//  - text in double or single quotes is copied without the quotes; an unclosed
//    quote runs to the end.
void Format(std::string& out, std::string_view format, const Parts& p, const FormatSettings& s) {
  char last = 0;
  size_t i = 0;
  while (i < format.size()) {
    const char c = format[i];
    if (c == '"' || c == '\'') {
      const size_t close = format.find(c, i + 1);
      const size_t end = close == std::string_view::npos ? format.size() : close;
      out.append(format.substr(i + 1, end - i - 1));
      i = end == format.size() ? end : end + 1;
      continue;
    }
    if (!IsLetter(c)) {
      out += c;
      ++i;
      continue;
    }
    char token = Upper(c);
    if (token == 'M' && last == 'H') token = 'N';
    last = token;
    size_t run = 1;
    while (i + run < format.size() && Upper(format[i + run]) == Upper(c)) ++run;
    switch (token) {
      case 'D':
        if (run > 4) run = 4;
        if (run <= 2) {
          AppendNumber(out, p.day, static_cast<int>(run));
        } else if (p.dow >= 1 && p.dow <= 7) {
          out += run == 3 ? s.ShortDayNames[p.dow - 1] : s.LongDayNames[p.dow - 1];
        }
        break;
      case 'M':
        if (run > 4) run = 4;
        if (run <= 2) {
          AppendNumber(out, p.month, static_cast<int>(run));
        } else if (p.month >= 1 && p.month <= 12) {
          out += run == 3 ? s.ShortMonthNames[p.month - 1] : s.LongMonthNames[p.month - 1];
        }
        break;
      case 'Y':
        if (run <= 2) {
          AppendNumber(out, p.year % 100, 2);
        } else {
          AppendNumber(out, p.year, 4);
        }
        break;
      case 'H': {
        int hour = p.hour;
        if (TwelveHourAhead(format, i + run)) {
          hour %= 12;
          if (hour == 0) hour = 12;
        }
        AppendNumber(out, hour, run == 1 ? 1 : 2);
        break;
      }
      case 'N':
        AppendNumber(out, p.minute, run == 1 ? 1 : 2);
        break;
      case 'S':
        AppendNumber(out, p.second, run == 1 ? 1 : 2);
        break;
      case 'A':
        if (StartsWithNoCase(format, i, "ampm")) {
          out += p.hour < 12 ? s.TimeAMString : s.TimePMString;
          run = 4;
        } else {
          out += c;
          run = 1;
        }
        break;
      default:
        out += c;
        run = 1;
        break;
    }
    i += run;
  }
}

Parts Decode(TDateTime value) {
  Parts p;
  DecodeDate(value, p.year, p.month, p.day);
  DecodeTime(value, p.hour, p.minute, p.second, p.msec);
  p.dow = DayOfWeek(value);
  return p;
}

}  // namespace

std::string FormatDateTime(std::string_view format, TDateTime value, const FormatSettings& settings) {
  std::string out;
  const Parts parts = Decode(value);
  if (format.empty()) {
    // No format at all gives the short date, and the long time when there is one.
    Format(out, settings.ShortDateFormat, parts, settings);
    if (parts.hour != 0 || parts.minute != 0 || parts.second != 0 || parts.msec != 0) {
      out += ' ';
      Format(out, settings.LongTimeFormat, parts, settings);
    }
    return out;
  }
  Format(out, format, parts, settings);
  return out;
}

std::string DateToStr(TDateTime value, const FormatSettings& settings) {
  std::string out;
  Format(out, settings.ShortDateFormat, Decode(value), settings);
  return out;
}

std::string TimeToStr(TDateTime value, const FormatSettings& settings) {
  std::string out;
  Format(out, settings.LongTimeFormat, Decode(value), settings);
  return out;
}

}  // namespace quillorn::foundation
