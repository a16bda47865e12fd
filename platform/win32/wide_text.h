// UTF-8 inside, UTF-16 at the Windows boundary: the one place where text changes
// form. Never fails on bad input; malformed sequences become U+FFFD, as the
// system's own conversions do.
#pragma once

#include <string>
#include <string_view>

namespace quillorn::platform {

std::wstring Utf16FromUtf8(std::string_view text);
std::string Utf8FromUtf16(std::wstring_view text);
// A zero-terminated UTF-16 string of unknown length; null reads as "".
std::string Utf8FromUtf16(const wchar_t* text);

}  // namespace quillorn::platform
