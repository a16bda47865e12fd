#include "automation/image_size.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "automation/host_for_test.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation {
namespace {

using Bytes = std::vector<int>;
using Reader = bool (*)(const std::string&, std::uint16_t&, std::uint16_t&);

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

struct Case {
  const char* what;
  Reader read;
  Bytes bytes;
  const char* size = "";  // "" when the reader does not take the file
};

// The synthetic headers take the corners; pictures from a real encoder (ImageMagick)
// show the readers on what logos really are.
TEST(ImageSizeTest, EachReaderTakesItsHeaderAsFarAsTheSize) {
  foundation::testing::TempFolder folder;
  const auto dir = folder.Path();
  // One run of the encoder: each -write takes the settings given so far.
  ASSERT_TRUE(testing::RunTool(
      "convert -size 1234x567 gradient:red-blue -write " + testing::Quoted(dir / "logo.png") +
          " -resize 640x480! -set comment \"Quality manual cover\" -write " +
          testing::Quoted(dir / "cover.jpg") + " -interlace Plane -resize 300x100! -write " +
          testing::Quoted(dir / "progressive.jpg") + " -interlace None " + testing::Quoted(dir / "logo.gif"),
      dir / "convert.log"));
  auto file = [&](const char* name) {
    const std::string data = foundation::testing::ReadAll(dir / name);
    return Bytes(data.begin(), data.end());
  };
  ASSERT_NE(foundation::testing::ReadAll(dir / "progressive.jpg").find("\xFF\xC2"), std::string::npos);

  const auto png = [](const Bytes& size) {
    return Bytes{137, 80, 78, 71, 13, 10, 26, 10, 0, 0, 0, 13, 'I', 'H', 'D', 'R'} + size;
  };
  const Bytes soi = {0xFF, 0xD8};
  // A frame header of a picture 300 by 100: marker, length, precision, height, width.
  auto frame = [](int marker) { return Bytes{0xFF, marker, 0, 17, 8, 0, 100, 1, 44} + Bytes(15, 0); };
  // "GIF" as three 16-bit units: the only signature the GIF reader takes.
  const Bytes gif = {'G', 0, 'I', 0, 'F', 0};
  // clang-format off
  const std::vector<Case> cases = {
      {.what = "real PNG", .read = ReadPngSize, .bytes = file("logo.png"), .size = "1234x567"},
      {.what = "PNG: no size", .read = ReadPngSize, .bytes = png({})},
      {.what = "a JPEG is no PNG", .read = ReadPngSize, .bytes = file("cover.jpg")},
      {.what = "real JPEG, a comment", .read = ReadJpegSize, .bytes = file("cover.jpg"), .size = "640x480"},
      {.what = "real progressive", .read = ReadJpegSize, .bytes = file("progressive.jpg"), .size = "300x100"},
      {.what = "a PNG is no JPEG", .read = ReadJpegSize, .bytes = file("logo.png")},
      {.what = "a thumbnail's frame header is skipped with its segment", .read = ReadJpegSize,
       .bytes = soi + Bytes{0xFF, 0xE1, 0, 14, 0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8, 0, 1, 0, 1, 0} + frame(0xC0),
       .size = "300x100"},
      {.what = "a Huffman table (C4) is no frame", .read = ReadJpegSize,
       .bytes = soi + Bytes{0xFF, 0xC4, 0, 4, 0, 0} + frame(0xC1), .size = "300x100"},
      {.what = "fill bytes, a restart marker, 01 standing in for a marker's 0xFF", .read = ReadJpegSize,
       .bytes = soi + Bytes{0xFF, 0xFF, 0xFF, 0xD3, 0xFF, 0x01, 0xC3, 0, 17, 8, 0, 100, 1, 44},
       .size = "300x100"},
      {.what = "no marker where one should start", .read = ReadJpegSize,
       .bytes = soi + Bytes{0xFF, 0xE0, 0, 4, 0, 0, 0x12} + frame(0xC0)},
      {.what = "frame header cut short", .read = ReadJpegSize, .bytes = soi + Bytes{0xFF, 0xC0, 0, 17, 8, 0}},
      {.what = "a real GIF is never taken", .read = ReadGifSize, .bytes = file("logo.gif")},
      {.what = "the search for ',' behind the 20 bytes", .read = ReadGifSize,
       .bytes = gif + Bytes(14, 0) + Bytes{7, 0x2C, 0, 0, 0, 0, 44, 1, 100, 0, 0, 9}, .size = "300x100"},
      {.what = "a colour table flag seeks to the absolute position 3 * 2^2", .read = ReadGifSize,
       .bytes = gif + Bytes(6, 0) + Bytes{0x2C, 0, 0, 0, 0x81, 0x20, 0x03, 0x58, 0x02, 0, 0},
       .size = "800x600"},
      {.what = "no image descriptor", .read = ReadGifSize, .bytes = gif + Bytes(30, 0)},
      {.what = "descriptor cut short", .read = ReadGifSize, .bytes = gif + Bytes(14, 0) + Bytes{0x2C, 0, 44}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto path = dir / "picture";
    foundation::testing::WriteAll(path, std::string(c.bytes.begin(), c.bytes.end()));
    std::uint16_t width = 7, height = 7;
    const bool taken = c.read(path.string(), width, height);
    EXPECT_EQ(taken ? std::to_string(width) + "x" + std::to_string(height) : "", c.size);
  }
}

TEST(ImageSizeTest, AMissingFileRaisesButForGif) {
  const std::string missing = "/nonexistent folder/logo.png";
  std::uint16_t width = 5, height = 5;
  EXPECT_ANY_THROW(ReadPngSize(missing, width, height));
  EXPECT_ANY_THROW(ReadJpegSize(missing, width, height));
  for (const std::string& name : {missing, std::string()}) {
    EXPECT_FALSE(ReadGifSize(name, width = 5, height = 5));
    EXPECT_EQ(width + height, 0);
  }
}

}  // namespace
}  // namespace quillorn::automation
