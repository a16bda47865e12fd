#include "automation/stamp_metafile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "automation/host_for_test.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;
using testing::Quoted;
using testing::RunTool;

// Every byte of the stamp "DRAFT" at 96 pixels per inch, worked out by hand from
// the published record layouts.
TEST(StampMetafileTest, DraftStampByteForByte) {
  Bytes expected = {
      // Placeable header: key, no handle, box 0,0 to 453,377, 96 units an inch, reserved, and
      // the XOR of the ten words before it: CDD7 ^ 9AC6 ^ 01C5 ^ 0179 ^ 0060 = 57CD.
      0xD7, 0xCD, 0xC6, 0x9A, 0, 0, 0, 0, 0, 0, 0xC5, 0x01, 0x79, 0x01, 0x60, 0, 0, 0, 0, 0, 0xCD, 0x57,
      // In memory, 9 words of header, version 3; 76 words in all; one object; the largest record 28 words.
      1, 0, 9, 0, 0, 3, 0x4C, 0, 0, 0, 1, 0, 0x1C, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0x0B, 0x02, 0, 0, 0,
      0,                                               // window origin 0, 0
      5, 0, 0, 0, 0x0C, 0x02, 0x79, 0x01, 0xC5, 0x01,  // window extent: y 377, x 453
      4, 0, 0, 0, 0x02, 0x01, 1, 0,                    // transparent background
      // The font: height -43 (32 points at 96 an inch, as a character height), weight 700,
      // the default charset, and "Arial" filling 32 bytes.
      0x1C, 0, 0, 0, 0xFB, 0x02, 0xD5, 0xFF, 0, 0, 0, 0, 0, 0, 0xBC, 0x02, 0, 0, 0, 1, 0, 0, 0, 0, 'A', 'r',
      'i', 'a', 'l'};
  expected.resize(expected.size() + 27);
  const Bytes rest = {
      4, 0, 0, 0, 0x2D, 0x01, 0, 0,           // select the font
      5, 0, 0, 0, 0x09, 0x02, 0xFF, 0, 0, 0,  // text colour red, as blue-green-red
      4, 0, 0, 0, 0x2E, 0x01, 0x0E, 0,        // text alignment centre | bottom
      // Five characters padded to whole words, drawn at y 377 (the bottom edge) and x 226 (the middle).
      9, 0, 0, 0, 0x21, 0x05, 5, 0, 'D', 'R', 'A', 'F', 'T', 0, 0x79, 0x01, 0xE2, 0x00, 3, 0, 0, 0, 0,
      0};  // end
  expected.insert(expected.end(), rest.begin(), rest.end());
  ASSERT_EQ(expected.size(), 174u);
  EXPECT_EQ(BuildStampMetafile("DRAFT"), expected);
}

TEST(StampMetafileTest, TextBeyondLatin1BecomesQuestionMarks) {
  Bytes expected = BuildStampMetafile("Xt?");
  std::replace(expected.begin(), expected.end(), std::uint8_t{'X'}, std::uint8_t{0xE9});
  EXPECT_EQ(BuildStampMetafile("\xC3\xA9t\xE2\x82\xAC"), expected);  // é, t, the euro sign
}

// Drawn by a metafile reader of its own (libwmf's wmf2gd): the file is one a real
// reader takes, 120 by 100 mm, the box of 453 by 377 units at 96 an inch cut to
// whole pixels at the reader's 72 an inch. Where the word stands is the bytes'.
TEST(StampMetafileTest, ARealReaderDrawsItAtItsSize) {
  foundation::testing::TempFolder folder;
  const fs::path dir = folder.Path();
  CreateStampMetafile("DRAFT", (dir / "Budget.wmf").string());
  ASSERT_TRUE(RunTool("wmf2gd -t png -o " + Quoted(dir / "Budget.png") + " " + Quoted(dir / "Budget.wmf"),
                      dir / "wmf2gd.log"));
  ASSERT_TRUE(RunTool("convert " + Quoted(dir / "Budget.png") + " -format \"%w %h\" info:", dir / "size.txt"));
  EXPECT_EQ(foundation::testing::ReadAll(dir / "size.txt"), "339 282");
}

}  // namespace
}  // namespace quillorn::automation
