// Settings files read and written the way the Windows profile functions treat
// them: case-insensitive sections and keys, the first of a duplicate key wins,
// a missing file or key gives the caller's default. Never loses the file's other lines.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillorn::foundation {

class TIniFile {
 public:
  // Reads the file now; a missing or unreadable file reads as empty.
  explicit TIniFile(std::string FileName);

  const std::string& FileName() const { return fileName_; }

  std::string ReadString(std::string_view Section, std::string_view Ident, std::string_view Default) const;
  // Decimal, or hexadecimal after "0x" or "$"; anything else gives Default.
  int ReadInteger(std::string_view Section, std::string_view Ident, int Default) const;
  // A number (not 0 is true) or true/false, yes/no in any case; anything else gives Default.
  bool ReadBool(std::string_view Section, std::string_view Ident, bool Default) const;
  bool SectionExists(std::string_view Section) const;
  bool ValueExists(std::string_view Section, std::string_view Ident) const;
  // The keys of a section in file order, each once.
  std::vector<std::string> ReadSection(std::string_view Section) const;
  std::vector<std::string> ReadSections() const;

  // Sets the value and writes the file at once, as the profile functions do.
  // Throws std::runtime_error when the file can't be written.
  void WriteString(std::string_view Section, std::string_view Ident, std::string_view Value);
  void WriteInteger(std::string_view Section, std::string_view Ident, int Value);
  void WriteBool(std::string_view Section, std::string_view Ident, bool Value);

 private:
  struct Range {
    size_t header;  // index of the "[section]" line, or npos
    size_t end;     // one past the section's last line
  };
  Range FindSection(std::string_view Section) const;
  // Index of the key's line inside the range, or npos.
  size_t FindKey(const Range& range, std::string_view Ident) const;
  void Save() const;

  std::string fileName_;
  std::vector<std::string> lines_;  // without line ends
  bool bom_ = false;
  std::string_view lineEnd_ = "\r\n";  // the file's own line end, kept on saving
};

}  // namespace quillorn::foundation
