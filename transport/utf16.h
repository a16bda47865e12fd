// UTF-8 and UTF-16 conversions for wide string values and their diagnostics.
// Never fails: what can't be converted becomes U+FFFD.
#pragma once

#include <string>
#include <string_view>

namespace quillorn::transport {

std::string Utf16ToUtf8(std::u16string_view text);
std::u16string Utf8ToUtf16(std::string_view text);

}  // namespace quillorn::transport
