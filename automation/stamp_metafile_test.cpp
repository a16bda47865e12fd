#include "automation/stamp_metafile.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

std::uint32_t U32At(const Bytes& b, std::size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<std::uint32_t>(b[at + 3]) << 24);
}
std::uint16_t U16At(const Bytes& b, std::size_t at) { return static_cast<std::uint16_t>(b[at] | (b[at + 1] << 8)); }

TEST(StampMetafileTest, SizeIsCutFromMillimetresAtTheScreensResolution) {
  struct Case {
    int hundredths_mm;
    int ppi;
    int pixels;
  };
  for (const Case& c : {Case{12000, 96, 453}, Case{10000, 96, 377}, Case{12000, 120, 566}, Case{10000, 120, 472},
                        Case{12000, 144, 680}, Case{10000, 144, 566}}) {
    EXPECT_EQ(StampPixels(c.hundredths_mm, c.ppi), c.pixels) << c.hundredths_mm << " at " << c.ppi;
  }
}

// Every byte of the stamp "DRAFT" at 96 pixels per inch, worked out by hand from
// the published record layouts.
TEST(StampMetafileTest, DraftStampByteForByte) {
  const Bytes placeable = {0xD7, 0xCD, 0xC6, 0x9A,  // key
                           0x00, 0x00,              // no handle on disk
                           0x00, 0x00, 0x00, 0x00,  // left, top
                           0xC5, 0x01, 0x79, 0x01,  // right 453, bottom 377
                           0x60, 0x00,              // 96 units per inch
                           0x00, 0x00, 0x00, 0x00,  // reserved
                           // XOR of the ten words before it:
                           // CDD7 ^ 9AC6 ^ 01C5 ^ 0179 ^ 0060 = 57CD
                           0xCD, 0x57};
  const Bytes header = {0x01, 0x00, 0x09, 0x00, 0x00, 0x03,
                        0x4C, 0x00, 0x00, 0x00,  // 76 words: 9 of header, 67 of records
                        0x01, 0x00,              // one object, the font
                        0x1C, 0x00, 0x00, 0x00,  // largest record: the font's 28 words
                        0x00, 0x00};
  const Bytes window_org = {0x05, 0, 0, 0, 0x0B, 0x02, 0, 0, 0, 0};
  const Bytes window_ext = {0x05, 0, 0, 0, 0x0C, 0x02, 0x79, 0x01, 0xC5, 0x01};  // y 377, x 453
  const Bytes bk_mode = {0x04, 0, 0, 0, 0x02, 0x01, 0x01, 0x00};                  // transparent
  Bytes font = {0x1C, 0, 0, 0, 0xFB, 0x02,
                0xD5, 0xFF,  // height -43: 32 points at 96 per inch, as a character height
                0, 0, 0, 0, 0, 0,  // width, escapement, orientation
                0xBC, 0x02,        // weight 700, bold
                0, 0, 0, 0x01, 0, 0, 0, 0,  // italic, underline, strike out, default charset, ...
                'A', 'r', 'i', 'a', 'l'};
  font.resize(font.size() + 27, 0);  // the face name fills 32 bytes
  const Bytes select = {0x04, 0, 0, 0, 0x2D, 0x01, 0x00, 0x00};
  const Bytes text_color = {0x05, 0, 0, 0, 0x09, 0x02, 0xFF, 0x00, 0x00, 0x00};
  const Bytes text_align = {0x04, 0, 0, 0, 0x2E, 0x01, 0x0E, 0x00};  // centre | bottom
  const Bytes text_out = {0x09, 0, 0, 0, 0x21, 0x05, 0x05, 0x00, 'D', 'R', 'A', 'F', 'T', 0x00,
                          0x79, 0x01,   // y 377: the bottom edge
                          0xE2, 0x00};  // x 226: the middle
  const Bytes eof = {0x03, 0, 0, 0, 0x00, 0x00};

  const Bytes expected =
      Concat({placeable, header, window_org, window_ext, bk_mode, font, select, text_color, text_align, text_out, eof});
  ASSERT_EQ(font.size(), 56u);
  EXPECT_EQ(BuildStampMetafile("DRAFT"), expected);
}

TEST(StampMetafileTest, RecordsWalkToTheEndForEveryStampWord) {
  for (const char* word : {"UNCONTROLLED", "SUPERSEDED", "OUT OF DATE", "DRAFT", "NOT APPROVED", "DELETED", "X"}) {
    const Bytes wmf = BuildStampMetafile(word);
    const std::size_t text_length = std::string(word).size();
    ASSERT_EQ(U32At(wmf, 0), 0x9AC6CDD7u) << word;
    EXPECT_EQ(U32At(wmf, 22 + 6) * 2 + 22, wmf.size()) << word << ": header size in words";
    std::size_t at = 22 + 18;
    std::uint32_t largest = 0;
    bool saw_text = false;
    int records = 0;
    while (at + 6 <= wmf.size() && records++ < 100) {
      const std::uint32_t words = U32At(wmf, at);
      const std::uint16_t function = U16At(wmf, at + 4);
      largest = std::max(largest, words);
      if (function == 0x0521) {
        saw_text = true;
        EXPECT_EQ(U16At(wmf, at + 6), text_length) << word;
        EXPECT_EQ(std::string(wmf.begin() + static_cast<long>(at) + 8,
                              wmf.begin() + static_cast<long>(at + 8 + text_length)),
                  word);
        EXPECT_EQ(words, 3 + 1 + (text_length + 1) / 2 + 2) << word << ": odd lengths are padded";
      }
      if (function == 0x0000) {
        EXPECT_EQ(at + words * 2, wmf.size()) << word << ": the end record is the last";
        break;
      }
      at += words * 2;
    }
    EXPECT_TRUE(saw_text) << word;
    EXPECT_EQ(U32At(wmf, 22 + 12), largest) << word;
  }
}

TEST(StampMetafileTest, WritesTheFileAndRaisesWhereItCannot) {
  foundation::testing::TempFolder folder;
  const auto path = folder.Path() / "Budget.wmf";
  CreateStampMetafile("SUPERSEDED", path.string());
  const std::string written = foundation::testing::ReadAll(path);
  const Bytes expected = BuildStampMetafile("SUPERSEDED");
  EXPECT_EQ(Bytes(written.begin(), written.end()), expected);
  EXPECT_ANY_THROW(CreateStampMetafile("DRAFT", (folder.Path() / "no folder" / "x.wmf").string()));
}

TEST(StampMetafileTest, TextBeyondLatin1BecomesQuestionMarks) {
  const Bytes wmf = BuildStampMetafile("\xC3\xA9t\xE2\x82\xAC");  // é, t, the euro sign
  const std::size_t text_record = wmf.size() - 6 - 16;            // 8 words before the end record
  ASSERT_EQ(U16At(wmf, text_record + 4), 0x0521);
  EXPECT_EQ(U16At(wmf, text_record + 6), 3);
  EXPECT_EQ(wmf[text_record + 8], 0xE9);
  EXPECT_EQ(wmf[text_record + 9], 't');
  EXPECT_EQ(wmf[text_record + 10], '?');
}

}  // namespace
}  // namespace quillorn::automation
