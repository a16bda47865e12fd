#include "foundation/ini_file.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::foundation {
namespace {

using testing::ReadAll;
using testing::TempFolder;
using testing::WriteAll;

const char kSample[] =
    "\xEF\xBB\xBF; settings of the add-in\r\n"
    "[Connection Settings]\r\n"
    "Port = 8080 \r\n"
    "Local_Address=\"  quoted host  \"\r\n"
    "Remote_Address=\r\n"
    "Mixed='single\"\r\n"
    "port=9999\r\n"
    ";Use_Proxy=true\r\n"
    "no equals sign here\r\n"
    "\r\n"
    "[debug]\r\n"
    "Trace=TRUE\r\n"
    "Hex=0x1F\r\n"
    "Dollar=$10\r\n"
    "Neg=-42\r\n"
    "Bad=12abc\r\n"
    "Yes=yes\r\n"
    "\r\n"
    "[DEBUG]\r\n"
    "Late=ignored, the first section of a name wins\r\n";

class IniTest : public ::testing::Test {
 protected:
  std::string File(const char* name) const { return (folder_.Path() / name).string(); }
  TempFolder folder_;
};

TEST_F(IniTest, ReadsLikeTheProfileFunctions) {
  WriteAll(File("QuillornAddIn.ini"), kSample);
  const TIniFile ini(File("QuillornAddIn.ini"));
  struct Case {
    const char* section;
    const char* key;
    const char* expected;
  };
  const Case cases[] = {
      {"CONNECTION SETTINGS", "PORT", "8080"},  // trimmed; the first of two keys wins
      {"connection settings", "Local_Address", "  quoted host  "},
      {"Connection Settings", "Remote_Address", ""},  // present but empty: not the default
      {"Connection Settings", "Mixed", "'single\""},  // quotes that don't match stay
      {"Connection Settings", "Use_Proxy", "default"},  // commented out
      {"Connection Settings", "no equals sign here", "default"},
      {"Debug", "trace", "TRUE"},
      {"Debug", "Late", "default"},
      {"Missing", "Port", "default"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ini.ReadString(c.section, c.key, "default"), c.expected) << c.section << "/" << c.key;
  }
  EXPECT_EQ(ini.ReadInteger("Debug", "Hex", 0), 31);
  EXPECT_EQ(ini.ReadInteger("Debug", "Dollar", 0), 16);
  EXPECT_EQ(ini.ReadInteger("Debug", "Neg", 0), -42);
  EXPECT_EQ(ini.ReadInteger("Debug", "Bad", 7), 7);
  EXPECT_EQ(ini.ReadInteger("Connection Settings", "Remote_Address", 5), 5);
  EXPECT_TRUE(ini.ReadBool("Debug", "Trace", false));
  EXPECT_TRUE(ini.ReadBool("Debug", "Yes", false));
  EXPECT_TRUE(ini.ReadBool("Debug", "Bad", true));

  EXPECT_TRUE(ini.SectionExists("DEBUG"));
  EXPECT_FALSE(ini.SectionExists("Supported Office Apps"));
  EXPECT_TRUE(ini.ValueExists("Connection Settings", "remote_address"));
  EXPECT_FALSE(ini.ValueExists("Connection Settings", "Use_Proxy"));
  EXPECT_EQ(ini.ReadSection("connection settings"),
            (std::vector<std::string>{"Port", "Local_Address", "Remote_Address", "Mixed"}));
  EXPECT_EQ(ini.ReadSections(), (std::vector<std::string>{"Connection Settings", "debug"}));
  EXPECT_TRUE(TIniFile(File("absent.ini")).ReadSections().empty());
}

TEST_F(IniTest, WritingKeepsEveryOtherLine) {
  const std::string name = File("user.ini");
  WriteAll(name, "; user settings\n[Cloud]\nImportFolder=old\n\n[Other]\nKey=1\n");
  {
    TIniFile ini(name);
    ini.WriteString("cloud", "IMPORTFOLDER", "C:\\Import");
    ini.WriteString("Cloud", "Second", " spaced ");
    ini.WriteString("New Section", "Key", "v");
    ini.WriteInteger("Other", "Count", -3);
  }
  EXPECT_EQ(ReadAll(name),
            "; user settings\n[Cloud]\nIMPORTFOLDER=C:\\Import\nSecond= spaced \n\n[Other]\nKey=1\nCount=-3\n"
            "\n[New Section]\nKey=v\n");
  const TIniFile again(name);
  EXPECT_EQ(again.ReadString("Cloud", "ImportFolder", ""), "C:\\Import");
  EXPECT_EQ(again.ReadInteger("Other", "Count", 0), -3);

  const std::string fresh = File("fresh.ini");
  TIniFile created(fresh);
  created.WriteBool("Debug", "Trace", true);
  EXPECT_EQ(ReadAll(fresh), "[Debug]\r\nTrace=1\r\n");

  WriteAll(File("bom.ini"), "\xEF\xBB\xBF[A]\r\nx=1\r\n");
  TIniFile bom(File("bom.ini"));
  bom.WriteString("A", "y", "2");
  EXPECT_EQ(ReadAll(File("bom.ini")), "\xEF\xBB\xBF[A]\r\nx=1\r\ny=2\r\n");

  TIniFile nowhere(File("missing folder/x.ini"));
  EXPECT_THROW(nowhere.WriteString("A", "b", "c"), std::runtime_error);
}

}  // namespace
}  // namespace quillorn::foundation
