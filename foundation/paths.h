// Small file-name and text helpers used all over the client: path pieces with
// the platform's delimiter, existence tests and ASCII case folding. None of them
// ever throws on a missing or unreadable file; they answer "no" instead.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quillorn::foundation {

#ifdef _WIN32
inline constexpr char kPathDelim = '\\';
#else
inline constexpr char kPathDelim = '/';
#endif

// File names travel as UTF-8 text; this is the one place that turns them into paths.
std::filesystem::path PathFromUtf8(std::string_view name);
std::string Utf8FromPath(const std::filesystem::path& path);

std::string IncludeTrailingPathDelimiter(std::string_view path);
// Everything up to and including the last delimiter ("" when there is none).
std::string ExtractFilePath(std::string_view fileName);
// Everything behind the last delimiter.
std::string ExtractFileName(std::string_view fileName);
// The extension with its dot, from the last dot of the name part ("" when none).
std::string ExtractFileExt(std::string_view fileName);
// Replaces (or appends) the extension; `extension` carries its dot or is empty.
std::string ChangeFileExt(std::string_view fileName, std::string_view extension);

bool DirectoryExists(std::string_view path) noexcept;
bool FileExists(std::string_view path) noexcept;

bool SameText(std::string_view a, std::string_view b) noexcept;  // ASCII case folding only
std::string UpperCase(std::string_view text);
std::string LowerCase(std::string_view text);
std::string Trim(std::string_view text);  // drops blanks and control characters at both ends

// A whole number as settings and document properties write it: leading blanks,
// a sign, decimal digits, or hexadecimal after "$" or "0x". Anything else, or a
// number out of range, gives Default.
int StrToIntDef(std::string_view Text, int Default);
// The same, but a bad value raises std::invalid_argument
// ("'<text>' is not a valid integer value").
int StrToInt(std::string_view Text);

}  // namespace quillorn::foundation
