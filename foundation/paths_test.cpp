#include "foundation/paths.h"

#include <gtest/gtest.h>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::foundation {
namespace {

TEST(Paths, FileNamePieces) {
  const std::string d(1, kPathDelim);
  struct Case {
    std::string name, path, file, ext, changed;
  };
  const Case cases[] = {
      {d + "a" + d + "b.c" + d + "file.txt", d + "a" + d + "b.c" + d, "file.txt", ".txt",
       d + "a" + d + "b.c" + d + "file.bak"},
      {d + "a" + d + "b.c" + d + "noext", d + "a" + d + "b.c" + d, "noext", "", d + "a" + d + "b.c" + d + "noext.bak"},
      {"archive.tar.gz", "", "archive.tar.gz", ".gz", "archive.tar.bak"},
      {"dir" + d, "dir" + d, "", "", "dir" + d + ".bak"},
      {"", "", "", "", ".bak"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ExtractFilePath(c.name), c.path);
    EXPECT_EQ(ExtractFileName(c.name), c.file);
    EXPECT_EQ(ExtractFileExt(c.name), c.ext);
    EXPECT_EQ(ChangeFileExt(c.name, ".bak"), c.changed);
  }
  EXPECT_EQ(ChangeFileExt("a.txt", ""), "a");
  EXPECT_EQ(IncludeTrailingPathDelimiter("x" + d), "x" + d);
  EXPECT_EQ(IncludeTrailingPathDelimiter(""), d);
}

TEST(Paths, TextHelpers) {
  EXPECT_TRUE(SameText("Connection Settings", "CONNECTION settings"));
  EXPECT_FALSE(SameText("abc", "abcd"));
  EXPECT_FALSE(SameText("\xC3\xA4", "\xC3\x84"));  // only ASCII folds
  EXPECT_EQ(UpperCase("quillmist-1 \xC3\xA4"), "QUILLMIST-1 \xC3\xA4");
  EXPECT_EQ(LowerCase("TRUE"), "true");
  EXPECT_EQ(Trim(" \t value \r\n"), "value");
  EXPECT_EQ(Trim("   "), "");
}

TEST(Paths, ExistenceNeverThrows) {
  testing::TempFolder folder;
  const std::string dir = folder.Dir();
  testing::WriteAll(folder.Path() / "f.txt", "x");
  const std::string file = (folder.Path() / "f.txt").string();
  EXPECT_TRUE(DirectoryExists(dir));
  EXPECT_FALSE(DirectoryExists(file));
  EXPECT_TRUE(FileExists(file));
  EXPECT_FALSE(FileExists(dir));
  EXPECT_FALSE(FileExists(""));
  EXPECT_FALSE(DirectoryExists(""));
  EXPECT_FALSE(FileExists(file + std::string(1, kPathDelim) + "below a file"));
  EXPECT_FALSE(DirectoryExists(std::string(5000, 'x')));
  const std::string utf8 = (folder.Path() / "").string() + "\xC3\xA4rger.txt";
  testing::WriteAll(PathFromUtf8(utf8), "y");
  EXPECT_TRUE(FileExists(utf8));
  EXPECT_EQ(Utf8FromPath(PathFromUtf8(utf8)), utf8);
}

}  // namespace
}  // namespace quillorn::foundation
