#include "foundation/paths.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

namespace quillorn::foundation {
namespace {

// Both delimiters count on Windows, where either may appear in a user's path.
bool IsDelimiter(char c) {
#ifdef _WIN32
  return c == '\\' || c == '/' || c == ':';
#else
  return c == '/';
#endif
}

size_t LastDelimiter(std::string_view name) {
  for (size_t i = name.size(); i > 0; --i) {
    if (IsDelimiter(name[i - 1])) return i - 1;
  }
  return std::string_view::npos;
}

char UpperChar(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
char LowerChar(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

std::filesystem::path PathFromUtf8(std::string_view name) {
  return std::filesystem::path(std::u8string(reinterpret_cast<const char8_t*>(name.data()), name.size()));
}

std::string Utf8FromPath(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(reinterpret_cast<const char*>(text.data()), text.size());
}

std::string IncludeTrailingPathDelimiter(std::string_view path) {
  std::string result(path);
  if (result.empty() || result.back() != kPathDelim) result += kPathDelim;
  return result;
}

std::string ExtractFilePath(std::string_view fileName) {
  const size_t at = LastDelimiter(fileName);
  return at == std::string_view::npos ? std::string() : std::string(fileName.substr(0, at + 1));
}

std::string ExtractFileName(std::string_view fileName) {
  const size_t at = LastDelimiter(fileName);
  return std::string(at == std::string_view::npos ? fileName : fileName.substr(at + 1));
}

std::string ExtractFileExt(std::string_view fileName) {
  const size_t delim = LastDelimiter(fileName);
  const size_t dot = fileName.rfind('.');
  if (dot == std::string_view::npos || (delim != std::string_view::npos && dot < delim)) return {};
  return std::string(fileName.substr(dot));
}

std::string ChangeFileExt(std::string_view fileName, std::string_view extension) {
  const size_t delim = LastDelimiter(fileName);
  size_t dot = fileName.rfind('.');
  if (dot == std::string_view::npos || (delim != std::string_view::npos && dot < delim)) dot = fileName.size();
  std::string result(fileName.substr(0, dot));
  result += extension;
  return result;
}

bool DirectoryExists(std::string_view path) noexcept {
  if (path.empty()) return false;
  try {
    std::error_code ec;
    return std::filesystem::is_directory(PathFromUtf8(path), ec);
  } catch (...) {
    return false;
  }
}

bool FileExists(std::string_view path) noexcept {
  if (path.empty()) return false;
  try {
    std::error_code ec;
    const auto status = std::filesystem::status(PathFromUtf8(path), ec);
    return !ec && std::filesystem::exists(status) && !std::filesystem::is_directory(status);
  } catch (...) {
    return false;
  }
}

bool SameText(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (UpperChar(a[i]) != UpperChar(b[i])) return false;
  }
  return true;
}

std::string UpperCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = UpperChar(c);
  return result;
}

std::string LowerCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = LowerChar(c);
  return result;
}

std::string Trim(std::string_view text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && static_cast<unsigned char>(text[begin]) <= ' ') ++begin;
  while (end > begin && static_cast<unsigned char>(text[end - 1]) <= ' ') --end;
  return std::string(text.substr(begin, end - begin));
}

namespace {

bool ParseWholeNumber(std::string_view text, int& out) {
  size_t at = 0;
  while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
  bool negative = false;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
    negative = text[at] == '-';
    ++at;
  }
  unsigned base = 10;
  if (at < text.size() && text[at] == '$') {
    base = 16;
    ++at;
  } else if (at + 1 < text.size() && text[at] == '0' && (text[at + 1] == 'x' || text[at + 1] == 'X')) {
    base = 16;
    at += 2;
  }
  if (at >= text.size()) return false;
  std::int64_t value = 0;
  for (; at < text.size(); ++at) {
    const char c = text[at];
    unsigned digit = 0;
    if (c >= '0' && c <= '9') {
      digit = static_cast<unsigned>(c - '0');
    } else if (base == 16 && c >= 'a' && c <= 'f') {
      digit = static_cast<unsigned>(c - 'a' + 10);
    } else if (base == 16 && c >= 'A' && c <= 'F') {
      digit = static_cast<unsigned>(c - 'A' + 10);
    } else {
      return false;
    }
    value = value * base + digit;
    if (value > std::int64_t{0x80000000}) return false;
  }
  if (negative) value = -value;
  if (value > INT32_MAX || value < INT32_MIN) return false;
  out = static_cast<int>(value);
  return true;
}

}  // namespace

int StrToIntDef(std::string_view Text, int Default) {
  int value = 0;
  return ParseWholeNumber(Text, value) ? value : Default;
}

int StrToInt(std::string_view Text) {
  int value = 0;
  if (!ParseWholeNumber(Text, value)) {
    throw std::invalid_argument("'" + std::string(Text) + "' is not a valid integer value");
  }
  return value;
}

}  // namespace quillorn::foundation
