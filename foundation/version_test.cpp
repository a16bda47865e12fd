#include "foundation/version.h"

#include <gtest/gtest.h>

#include <string>

namespace quillorn::foundation {
namespace {

class VersionTest : public ::testing::Test {
 protected:
  ~VersionTest() override { SetVersionResourceReader(nullptr); }
};

TEST_F(VersionTest, OwnFileHasTheBuildVersionOtherFilesHaveNone) {
  const TFileVersion own = GetFileVersion("");
  EXPECT_EQ(own.Major, QUILLORN_TEST_VERSION_MAJOR);
  EXPECT_EQ(own.Minor, QUILLORN_TEST_VERSION_MINOR);
  EXPECT_EQ(own.Release, QUILLORN_TEST_VERSION_PATCH);
  EXPECT_EQ(GetVersionString(""), QUILLORN_TEST_VERSION_STRING);
  EXPECT_EQ(GetVersionString("/bin/sh"), "0.0.0.0");
  EXPECT_EQ(GetVersionString("no such file.dll"), "0.0.0.0");
}

TEST_F(VersionTest, InstalledReaderDecidesAndMayLeaveTheRecord) {
  SetVersionResourceReader([](const std::string& name, TFileVersion& v) {
    if (name == "QuillornAddIn.dll") v = {12, 3, 456, 7890};
  });
  EXPECT_EQ(GetVersionString("QuillornAddIn.dll"), "12.3.456.7890");
  EXPECT_EQ(GetVersionString(""), "0.0.0.0");  // the reader found no resource
  SetVersionResourceReader([](const std::string&, TFileVersion& v) { v = {-1, 0, 65535, 2147483647}; });
  EXPECT_EQ(GetVersionString("x"), "-1.0.65535.2147483647");
}

}  // namespace
}  // namespace quillorn::foundation
