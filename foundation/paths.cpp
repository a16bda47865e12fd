#include "foundation/paths.h"

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

}  // namespace quillorn::foundation
