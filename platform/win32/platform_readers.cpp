#include "platform/win32/platform_readers.h"

#include <windows.h>

#include <vector>

#include "platform/win32/this_module.h"
#include "platform/win32/wide_text.h"

namespace quillorn::platform {
namespace {

void FlushLiteral(std::string& out, std::wstring& literal) {
  if (literal.empty()) return;
  bool letters = false;
  for (wchar_t c : literal) letters = letters || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
  const std::string text = Utf8FromUtf16(literal);
  if (!letters && text.find_first_of("\"'") == std::string::npos) {
    out += text;
  } else if (text.find('"') == std::string::npos) {
    out += '"' + text + '"';
  } else {
    out += '\'' + text + '\'';
  }
  literal.clear();
}

// `field` maps a run of one picture letter to our letters; "" drops the run (an
// era), nullptr-like empty-optional means the letter is no field and stays text.
template <typename Field>
std::string Translate(std::wstring_view picture, Field field) {
  std::string out;
  std::wstring literal;
  std::size_t i = 0;
  while (i < picture.size()) {
    const wchar_t c = picture[i];
    if (c == L'\'') {
      // Quoted text; two quotes inside stand for one.
      ++i;
      while (i < picture.size()) {
        if (picture[i] == L'\'') {
          if (i + 1 < picture.size() && picture[i + 1] == L'\'') {
            literal += L'\'';
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        literal += picture[i++];
      }
      continue;
    }
    std::size_t run = 1;
    while (i + run < picture.size() && picture[i + run] == c) ++run;
    bool is_field = false;
    const std::string letters = field(c, run, is_field);
    if (is_field) {
      FlushLiteral(out, literal);
      out += letters;
    } else {
      literal.append(run, c);
    }
    i += run;
  }
  FlushLiteral(out, literal);
  return out;
}

std::wstring LocaleText(LCTYPE type) {
  wchar_t buffer[128] = {};
  const int n = ::GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, type, buffer, 128);
  return n > 1 ? std::wstring(buffer, static_cast<std::size_t>(n - 1)) : std::wstring();
}

void VersionReader(const std::string& file, foundation::TFileVersion& version) {
  try {
    ReadVersionResource(file, version);
  } catch (...) {
  }
}

bool SettingsReader(foundation::FormatSettings& settings) { return ReadLocaleFormatSettings(settings); }

}  // namespace

std::string FormatFromDatePicture(std::wstring_view picture) {
  return Translate(picture, [](wchar_t c, std::size_t run, bool& is_field) -> std::string {
    is_field = true;
    switch (c) {
      case L'd': return std::string(std::min<std::size_t>(run, 4), 'd');
      case L'M': return std::string(std::min<std::size_t>(run, 4), 'm');
      case L'y': return run <= 2 ? "yy" : "yyyy";
      case L'g': return {};  // the era has no letter of ours
      default: is_field = false; return {};
    }
  });
}

std::string FormatFromTimePicture(std::wstring_view picture) {
  return Translate(picture, [](wchar_t c, std::size_t run, bool& is_field) -> std::string {
    is_field = true;
    switch (c) {
      // Our formatter counts hours round the clock unless the format has ampm,
      // so h and H are the same letter.
      case L'h':
      case L'H': return run >= 2 ? "hh" : "h";
      case L'm': return run >= 2 ? "nn" : "n";
      case L's': return run >= 2 ? "ss" : "s";
      case L't': return "ampm";
      default: is_field = false; return {};
    }
  });
}

void ReadVersionResource(const std::string& file, foundation::TFileVersion& version) {
  const std::wstring path = Utf16FromUtf8(file.empty() ? ModuleFileName(ThisModule()) : file);
  DWORD ignored = 0;
  const DWORD size = ::GetFileVersionInfoSizeW(path.c_str(), &ignored);
  if (size == 0) return;
  std::vector<BYTE> data(size);
  if (!::GetFileVersionInfoW(path.c_str(), 0, size, data.data())) return;
  void* block = nullptr;
  UINT length = 0;
  if (!::VerQueryValueW(data.data(), L"\\", &block, &length) || length < sizeof(VS_FIXEDFILEINFO)) return;
  const auto* info = static_cast<const VS_FIXEDFILEINFO*>(block);
  if (info->dwSignature != 0xFEEF04BD) return;
  version.Major = HIWORD(info->dwFileVersionMS);
  version.Minor = LOWORD(info->dwFileVersionMS);
  version.Release = HIWORD(info->dwFileVersionLS);
  version.Build = LOWORD(info->dwFileVersionLS);
}

bool ReadLocaleFormatSettings(foundation::FormatSettings& settings) {
  const std::wstring date = LocaleText(LOCALE_SSHORTDATE);
  if (date.empty()) return false;
  settings.ShortDateFormat = FormatFromDatePicture(date);
  if (const std::wstring time = LocaleText(LOCALE_STIMEFORMAT); !time.empty()) {
    settings.LongTimeFormat = FormatFromTimePicture(time);
  }
  for (int m = 0; m < 12; ++m) {
    if (auto name = LocaleText(LOCALE_SABBREVMONTHNAME1 + m); !name.empty()) settings.ShortMonthNames[m] = Utf8FromUtf16(name);
    if (auto name = LocaleText(LOCALE_SMONTHNAME1 + m); !name.empty()) settings.LongMonthNames[m] = Utf8FromUtf16(name);
  }
  // Windows counts days from Monday; ours start with Sunday.
  for (int d = 0; d < 7; ++d) {
    const int ours = (d + 1) % 7;
    if (auto name = LocaleText(LOCALE_SABBREVDAYNAME1 + d); !name.empty()) settings.ShortDayNames[ours] = Utf8FromUtf16(name);
    if (auto name = LocaleText(LOCALE_SDAYNAME1 + d); !name.empty()) settings.LongDayNames[ours] = Utf8FromUtf16(name);
  }
  settings.TimeAMString = Utf8FromUtf16(LocaleText(LOCALE_S1159));
  settings.TimePMString = Utf8FromUtf16(LocaleText(LOCALE_S2359));
  return true;
}

void InstallPlatformReaders() noexcept {
  foundation::SetVersionResourceReader(&VersionReader);
  foundation::SetFormatSettingsReader(&SettingsReader);
}

}  // namespace quillorn::platform
