#include "foundation/ini_file.h"

#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>

#include "foundation/paths.h"

namespace quillorn::foundation {
namespace {

constexpr size_t kNone = std::string::npos;
constexpr std::string_view kBom = "\xEF\xBB\xBF";

bool IsComment(std::string_view trimmed) { return !trimmed.empty() && trimmed.front() == ';'; }

// The section name of a "[name]" line, or false for any other line.
bool SectionName(std::string_view line, std::string& name) {
  const std::string trimmed = Trim(line);
  if (trimmed.empty() || trimmed.front() != '[') return false;
  const size_t close = trimmed.find(']');
  name = Trim(std::string_view(trimmed).substr(1, close == kNone ? kNone : close - 1));
  return true;
}

// Splits "key = value"; false for lines that hold no key.
bool KeyValue(std::string_view line, std::string& key, std::string& value) {
  const std::string trimmed = Trim(line);
  if (trimmed.empty() || IsComment(trimmed) || trimmed.front() == '[') return false;
  const size_t eq = trimmed.find('=');
  if (eq == kNone) return false;
  key = Trim(std::string_view(trimmed).substr(0, eq));
  value = Trim(std::string_view(trimmed).substr(eq + 1));
  // One pair of matching quotes around the value is dropped, blanks inside kept.
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
    value = value.substr(1, value.size() - 2);
  }
  return true;
}

bool ParseInteger(std::string_view text, int& out) {
  std::string s = Trim(text);
  bool negative = false;
  size_t at = 0;
  if (at < s.size() && (s[at] == '-' || s[at] == '+')) negative = s[at++] == '-';
  int base = 10;
  if (at < s.size() && s[at] == '$') {
    base = 16;
    ++at;
  } else if (s.size() - at > 2 && s[at] == '0' && (s[at + 1] == 'x' || s[at + 1] == 'X')) {
    base = 16;
    at += 2;
  }
  if (at >= s.size()) return false;
  long long value = 0;
  for (; at < s.size(); ++at) {
    const char c = s[at];
    int digit = 0;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (base == 16 && c >= 'a' && c <= 'f') {
      digit = c - 'a' + 10;
    } else if (base == 16 && c >= 'A' && c <= 'F') {
      digit = c - 'A' + 10;
    } else {
      return false;
    }
    value = value * base + digit;
    if (value > 0xFFFFFFFFLL) return false;
  }
  if (negative) value = -value;
  // Hexadecimal may spell a negative number by its bit pattern, as "$FFFFFFFF".
  if (base == 16 && value > std::numeric_limits<int>::max()) value -= 0x100000000LL;
  if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) return false;
  out = static_cast<int>(value);
  return true;
}

}  // namespace

TIniFile::TIniFile(std::string FileName) : fileName_(std::move(FileName)) {
  std::string text;
  try {
    std::ifstream in(PathFromUtf8(fileName_), std::ios::binary);
    if (!in) return;
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  } catch (...) {
    return;  // unreadable reads as empty, like a missing file
  }
  if (text.compare(0, kBom.size(), kBom) == 0) {
    bom_ = true;
    text.erase(0, kBom.size());
  }
  const size_t firstLf = text.find('\n');
  if (firstLf != kNone && (firstLf == 0 || text[firstLf - 1] != '\r')) lineEnd_ = "\n";
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == kNone) end = text.size();
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines_.push_back(std::move(line));
    start = end + 1;
  }
}

TIniFile::Range TIniFile::FindSection(std::string_view Section) const {
  std::string name;
  for (size_t i = 0; i < lines_.size(); ++i) {
    if (!SectionName(lines_[i], name) || !SameText(name, Section)) continue;
    size_t end = i + 1;
    while (end < lines_.size() && !SectionName(lines_[end], name)) ++end;
    return {i, end};
  }
  return {kNone, kNone};
}

size_t TIniFile::FindKey(const Range& range, std::string_view Ident) const {
  if (range.header == kNone) return kNone;
  std::string key, value;
  for (size_t i = range.header + 1; i < range.end; ++i) {
    if (KeyValue(lines_[i], key, value) && SameText(key, Ident)) return i;
  }
  return kNone;
}

std::string TIniFile::ReadString(std::string_view Section, std::string_view Ident,
                                 std::string_view Default) const {
  const size_t at = FindKey(FindSection(Section), Ident);
  if (at == kNone) return std::string(Default);
  std::string key, value;
  KeyValue(lines_[at], key, value);
  return value;
}

int TIniFile::ReadInteger(std::string_view Section, std::string_view Ident, int Default) const {
  int value = 0;
  return ParseInteger(ReadString(Section, Ident, ""), value) ? value : Default;
}

bool TIniFile::ReadBool(std::string_view Section, std::string_view Ident, bool Default) const {
  const std::string text = ReadString(Section, Ident, "");
  int number = 0;
  if (ParseInteger(text, number)) return number != 0;
  if (SameText(text, "true") || SameText(text, "yes")) return true;
  if (SameText(text, "false") || SameText(text, "no")) return false;
  return Default;
}

bool TIniFile::SectionExists(std::string_view Section) const { return FindSection(Section).header != kNone; }

bool TIniFile::ValueExists(std::string_view Section, std::string_view Ident) const {
  return FindKey(FindSection(Section), Ident) != kNone;
}

std::vector<std::string> TIniFile::ReadSection(std::string_view Section) const {
  std::vector<std::string> keys;
  const Range range = FindSection(Section);
  if (range.header == kNone) return keys;
  std::string key, value;
  for (size_t i = range.header + 1; i < range.end; ++i) {
    if (!KeyValue(lines_[i], key, value)) continue;
    bool seen = false;
    for (const std::string& k : keys) seen = seen || SameText(k, key);
    if (!seen) keys.push_back(key);
  }
  return keys;
}

std::vector<std::string> TIniFile::ReadSections() const {
  std::vector<std::string> sections;
  std::string name;
  for (const std::string& line : lines_) {
    if (!SectionName(line, name)) continue;
    bool seen = false;
    for (const std::string& s : sections) seen = seen || SameText(s, name);
    if (!seen) sections.push_back(name);
  }
  return sections;
}

void TIniFile::WriteString(std::string_view Section, std::string_view Ident, std::string_view Value) {
  std::string line(Ident);
  line += '=';
  line += Value;
  const Range range = FindSection(Section);
  if (range.header == kNone) {
    if (!lines_.empty() && !Trim(lines_.back()).empty()) lines_.emplace_back();
    std::string header(1, '[');
    header.append(Section);
    header += ']';
    lines_.push_back(std::move(header));
    lines_.push_back(std::move(line));
  } else if (const size_t at = FindKey(range, Ident); at != kNone) {
    lines_[at] = std::move(line);
  } else {
    // Behind the section's last non-blank line, so the blank line before the next section stays.
    size_t insert = range.end;
    while (insert > range.header + 1 && Trim(lines_[insert - 1]).empty()) --insert;
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(insert), std::move(line));
  }
  Save();
}

void TIniFile::WriteInteger(std::string_view Section, std::string_view Ident, int Value) {
  WriteString(Section, Ident, std::to_string(Value));
}

void TIniFile::WriteBool(std::string_view Section, std::string_view Ident, bool Value) {
  WriteString(Section, Ident, Value ? "1" : "0");
}

void TIniFile::Save() const {
  std::string text;
  if (bom_) text += kBom;
  for (const std::string& line : lines_) {
    text += line;
    text += lineEnd_;
  }
  std::ofstream out(PathFromUtf8(fileName_), std::ios::binary | std::ios::trunc);
  if (!out) throw std::runtime_error("Cannot write settings file " + fileName_);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.flush();
  if (!out) throw std::runtime_error("Cannot write settings file " + fileName_);
}

}  // namespace quillorn::foundation
