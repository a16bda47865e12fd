#include "platform/win32/wide_text.h"

#include <windows.h>

#include <cwchar>

namespace quillorn::platform {

std::wstring Utf16FromUtf8(std::string_view text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  const int n = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring out(static_cast<std::size_t>(n), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, out.data(), n);
  return out;
}

std::string Utf8FromUtf16(std::wstring_view text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  const int n = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(n), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, out.data(), n, nullptr, nullptr);
  return out;
}

std::string Utf8FromUtf16(const wchar_t* text) {
  return text == nullptr ? std::string() : Utf8FromUtf16(std::wstring_view(text, std::wcslen(text)));
}

}  // namespace quillorn::platform
