#include "automation/image_size.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation {
namespace {

using Bytes = std::vector<int>;
using Reader = std::function<bool(const std::string&, std::uint16_t&, std::uint16_t&)>;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes Zeros(std::size_t n) { return Bytes(n, 0); }

struct Case {
  const char* what;
  Bytes bytes;
  bool ok;
  std::uint16_t width = 0;
  std::uint16_t height = 0;
};

class ImageSizeTest : public ::testing::Test {
 protected:
  std::string Write(const Bytes& bytes) {
    std::string data;
    for (int b : bytes) data.push_back(static_cast<char>(b));
    const auto path = folder_.Path() / ("picture" + std::to_string(files_++));
    foundation::testing::WriteAll(path, data);
    return path.string();
  }

  void Check(const Reader& read, const std::vector<Case>& cases) {
    for (const auto& c : cases) {
      std::uint16_t width = 7;
      std::uint16_t height = 7;
      const bool ok = read(Write(c.bytes), width, height);
      EXPECT_EQ(ok, c.ok) << c.what;
      if (ok && c.ok) {
        EXPECT_EQ(width, c.width) << c.what;
        EXPECT_EQ(height, c.height) << c.what;
      }
    }
  }

  foundation::testing::TempFolder folder_;
  int files_ = 0;
};

const Bytes kPngSignature = {137, 80, 78, 71, 13, 10, 26, 10};
const Bytes kIhdr = {0, 0, 0, 13, 'I', 'H', 'D', 'R'};

TEST_F(ImageSizeTest, PngTakesTheLowHalfOfItsBigEndianFields) {
  Check(ReadPngSize, {
      {"300 by 100", kPngSignature + kIhdr + Bytes{0, 0, 1, 44, 0, 0, 0, 100} + Zeros(5), true, 300, 100},
      {"70000 wide keeps only its low 16 bits", kPngSignature + kIhdr + Bytes{0, 1, 0x11, 0x70, 0, 0, 0, 1}, true,
       0x1170, 1},
      {"height 0 is read as it stands", kPngSignature + kIhdr + Bytes{0, 0, 0, 5, 0, 0, 0, 0}, true, 5, 0},
      {"one signature byte differs", Bytes{137, 80, 78, 71, 13, 10, 26, 11} + kIhdr + Bytes{0, 0, 1, 44, 0, 0, 0, 100},
       false},
      {"a JPEG is no PNG", Bytes{0xFF, 0xD8, 0xFF, 0xC0} + Zeros(20), false},
      {"shorter than the signature", Bytes{137, 80, 78}, false},
      {"signature without header", kPngSignature, false},
  });
}

const Bytes kSoi = {0xFF, 0xD8};
// A baseline frame header of a 300 by 100 picture: length, precision, height, width.
Bytes Frame(int marker = 0xC0) { return Bytes{0xFF, marker, 0, 17, 8, 0, 100, 1, 44} + Zeros(15); }

TEST_F(ImageSizeTest, JpegWalksSegmentsToTheFirstFrameHeader) {
  const Bytes app0 = Bytes{0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0} + Zeros(9);
  // A thumbnail inside APP1 holds a frame header of its own; it must be skipped
  // by the segment's length, not read.
  const Bytes app1_thumbnail = Bytes{0xFF, 0xE1, 0, 14} + kSoi + Bytes{0xFF, 0xC0, 0, 11, 8, 0, 1, 0, 1, 0};
  const Bytes comment = Bytes{0xFF, 0xFE, 0, 7, 'h', 'e', 'l', 'l', 'o'};
  const Bytes huffman = Bytes{0xFF, 0xC4, 0, 4, 0, 0};
  Check(ReadJpegSize, {
      {"frame straight after the start", kSoi + Frame(), true, 300, 100},
      {"APP0, comment, then frame", kSoi + app0 + comment + Frame(), true, 300, 100},
      {"thumbnail segment skipped by its length", kSoi + app1_thumbnail + Frame(), true, 300, 100},
      {"progressive frame", kSoi + app0 + Frame(0xC2), true, 300, 100},
      {"last frame kind", kSoi + Frame(0xCF), true, 300, 100},
      {"huffman table C4 is no frame", kSoi + huffman + Frame(0xC1), true, 300, 100},
      {"fill bytes before a marker", kSoi + Bytes{0xFF, 0xFF, 0xFF} + Frame(0xC0), true, 300, 100},
      {"restart marker without length", kSoi + Bytes{0xFF, 0xD3} + Frame(), true, 300, 100},
      {"stand-alone marker counts as the next 0xFF", kSoi + Bytes{0xFF, 0x01} + Bytes{0xC3, 0, 17, 8, 0, 100, 1, 44},
       true, 300, 100},
      {"not a JPEG", Bytes{0xFF, 0xD9} + Frame(), false},
      {"no marker where one should start", kSoi + Bytes{0xFF, 0xE0, 0, 4, 0, 0, 0x12} + Frame(), false},
      {"ends inside a segment", kSoi + Bytes{0xFF, 0xE0, 0, 16, 'J', 'F'}, false},
      {"ends after the start", kSoi, false},
      {"a zero length does not loop", kSoi + Bytes{0xFF, 0xE0, 0, 0} + Frame(), false},
      {"frame header cut short", kSoi + Bytes{0xFF, 0xC0, 0, 17, 8, 0}, false},
  });
}

// A header that passes the 16-bit signature test: "G", "I", "F" as 16-bit units.
const Bytes kWideGif = {'G', 0, 'I', 0, 'F', 0};

TEST_F(ImageSizeTest, GifMatchesOnlySixteenBitSignatures) {
  const Bytes real_gif = Bytes{'G', 'I', 'F', '8', '9', 'a', 44, 1, 100, 0, 0x80, 0, 0} + Zeros(6) +
                         Bytes{0x2C, 0, 0, 0, 0, 44, 1, 100, 0, 0} + Zeros(4);
  // Bit 7 clear at offset 16: the search for ',' starts behind the 20 bytes.
  const Bytes plain = kWideGif + Zeros(14) + Bytes{7, 0x2C, 0, 0, 0, 0, 44, 1, 100, 0, 0, 9};
  // Bit 7 set and (flags & 7) = 1: the search starts at the absolute position
  // 3 * 2^2 = 12, where a ',' stands; the descriptor is bytes 13..22.
  Bytes seek = kWideGif + Zeros(14) + Zeros(3);
  seek[12] = 0x2C;
  seek[16] = 0x81;
  seek[17] = 0x20;  // width, low byte at descriptor offset 4
  seek[18] = 0x03;
  seek[19] = 0x58;  // height
  seek[20] = 0x02;
  Check(ReadGifSize, {
      {"a real GIF file is never recognised", real_gif, false},
      {"sixteen-bit signature", plain, true, 300, 100},
      {"colour table flag seeks to an absolute position", seek, true, 0x0320, 0x0258},
      {"fewer than 20 bytes", kWideGif + Zeros(10), false},
      {"no image descriptor", kWideGif + Zeros(30), false},
      {"descriptor cut short", kWideGif + Zeros(14) + Bytes{0x2C, 0, 0, 0, 0, 44}, false},
  });
}

TEST_F(ImageSizeTest, MissingFilesRaiseForPngAndJpegOnly) {
  const std::string missing = (folder_.Path() / "nothing.png").string();
  std::uint16_t width = 5;
  std::uint16_t height = 5;
  EXPECT_ANY_THROW(ReadPngSize(missing, width, height));
  EXPECT_ANY_THROW(ReadJpegSize(missing, width, height));
  EXPECT_FALSE(ReadGifSize(missing, width, height));
  EXPECT_EQ(width, 0);
  EXPECT_EQ(height, 0);
  width = height = 5;
  EXPECT_FALSE(ReadGifSize("", width, height));
  EXPECT_EQ(width + height, 0);
}

}  // namespace
}  // namespace quillorn::automation
