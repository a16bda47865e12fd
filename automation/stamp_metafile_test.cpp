#include "automation/stamp_metafile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
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

// ImageMagick's answer on a picture, `args` being what comes before "info:".
std::string Magick(const fs::path& png, const std::string& args) {
  const fs::path answer = png.string() + ".txt";
  EXPECT_TRUE(RunTool("convert " + Quoted(png) + " " + args + " info:", answer));
  return foundation::testing::ReadAll(answer);
}

// The box around the pixels near one colour: every other pixel turned white, then the trim box.
struct Box {
  int width = 0, height = 0, left = 0, top = 0;
  int Bottom() const { return top + height - 1; }
  double Centre() const { return left + (width - 1) / 2.0; }
};
Box BoxOf(const fs::path& png, const std::string& colour) {
  Box b;
  const std::string trim =
      Magick(png, "-background white -alpha remove -fuzz 30% -fill white +opaque " + colour + " -format %@");
  std::sscanf(trim.c_str(), "%dx%d+%d+%d", &b.width, &b.height, &b.left, &b.top);
  return b;
}

// libwmf fits what is drawn to the picture it makes, and the stamp draws only its
// word, so alone the word fills the picture. A rectangle over the whole window,
// drawn first, pins the frame: the word then stands where a host that honours the
// placeable box puts it.
Bytes WithFrame(Bytes wmf) {
  const auto extent = wmf.begin() + 22 + 18 + 10 + 6;  // y and x of the window extent
  Bytes rectangle = {7, 0, 0, 0, 0x1B, 0x04};          // Rectangle: bottom, right, then top and left 0
  rectangle.insert(rectangle.end(), extent, extent + 4);
  rectangle.resize(14);
  wmf.insert(extent + 4, rectangle.begin(), rectangle.end());
  wmf[22 + 6] += 7;  // the size in words
  return wmf;
}

// Drawn by a metafile reader of its own (libwmf's wmf2gd): the file is one a real
// reader takes, of the right size, with the word in red at the bottom centre.
TEST(StampMetafileTest, ARealReaderDrawsTheWordRedAtTheBottomCentre) {
  foundation::testing::TempFolder folder;
  const fs::path dir = folder.Path();
  auto draw = [&](const std::string& name) {
    EXPECT_TRUE(
        RunTool("wmf2gd -t png -o " + Quoted(dir / (name + ".png")) + " " + Quoted(dir / (name + ".wmf")),
                dir / "wmf2gd.log"));
    return dir / (name + ".png");
  };
  // As written: 120 by 100 mm, the box of 453 by 377 units at 96 an inch, cut to
  // whole pixels at the reader's 72 an inch.
  CreateStampMetafile("DRAFT", (dir / "Budget.wmf").string());
  EXPECT_EQ(Magick(draw("Budget"), "-format \"%w %h\""), "339 282");

  for (const std::string word : {"DRAFT", "UNCONTROLLED"}) {
    SCOPED_TRACE(word);
    const Bytes wmf = WithFrame(BuildStampMetafile(word));
    foundation::testing::WriteAll(dir / (word + ".wmf"), std::string(wmf.begin(), wmf.end()));
    const fs::path png = draw(word);
    const Box frame = BoxOf(png, "black"), text = BoxOf(png, "red");
    ASSERT_TRUE(frame.width > 300 && text.width > 0) << "a frame and a word in red (255 as blue-green-red)";
    // 32 points at 96 an inch are 43 of the window's 377 units.
    const double em = 43.0 * frame.height / 377;
    EXPECT_NEAR(text.Centre(), frame.Centre(), 2.0) << "centred across";
    EXPECT_TRUE(text.left > frame.left && text.left + text.width < frame.left + frame.width) << "it fits";
    EXPECT_LE(text.Bottom(), frame.Bottom() + 1) << "inside the picture";
    EXPECT_GE(text.Bottom(), frame.Bottom() - 0.3 * em) << "standing on the bottom edge";
    EXPECT_GT(text.top, frame.top + frame.height / 2) << "the blank area is above the word";
    EXPECT_TRUE(text.height >= 0.55 * em && text.height <= 0.95 * em)
        << text.height << " for 32 points of " << em;
  }
}

}  // namespace
}  // namespace quillorn::automation
