// The logo size readers on pictures written by a real encoder (ImageMagick):
// PNG, baseline and progressive JPEG carrying a comment and an EXIF segment with
// a thumbnail of its own, and a GIF, which the GIF reader never recognises.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "automation/external_tools_for_test.h"
#include "automation/image_size.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation {
namespace {

namespace fs = std::filesystem;
using testing::Quoted;
using testing::RunTool;
using Bytes = std::string;

Bytes ReadFile(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void WriteFile(const fs::path& p, const Bytes& b) {
  std::ofstream out(p, std::ios::binary | std::ios::trunc);
  out.write(b.data(), static_cast<std::streamsize>(b.size()));
}

void Le16(Bytes& b, unsigned v) {
  b += static_cast<char>(v & 0xFF);
  b += static_cast<char>((v >> 8) & 0xFF);
}
void Le32(Bytes& b, unsigned v) {
  Le16(b, v & 0xFFFF);
  Le16(b, v >> 16);
}

// An APP1 segment as cameras write it: "Exif", a little-endian TIFF block with
// the orientation in IFD0 and, in IFD1, a JPEG thumbnail that has a frame header
// of its own. A reader that doesn't skip the segment by its length takes the
// thumbnail's size.
Bytes ExifSegment(const Bytes& thumbnail) {
  Bytes tiff = "II";
  Le16(tiff, 42);
  Le32(tiff, 8);
  Le16(tiff, 1);  // IFD0: orientation, normal
  Le16(tiff, 0x0112);
  Le16(tiff, 3);
  Le32(tiff, 1);
  Le32(tiff, 1);
  Le32(tiff, 26);  // IFD1 follows
  Le16(tiff, 2);   // IFD1: where the thumbnail is and how long
  Le16(tiff, 0x0201);
  Le16(tiff, 4);
  Le32(tiff, 1);
  Le32(tiff, 56);
  Le16(tiff, 0x0202);
  Le16(tiff, 4);
  Le32(tiff, 1);
  Le32(tiff, static_cast<unsigned>(thumbnail.size()));
  Le32(tiff, 0);
  tiff += thumbnail;
  const Bytes body = Bytes("Exif\0\0", 6) + tiff;
  Bytes segment = "\xFF\xE1";
  const unsigned length = static_cast<unsigned>(body.size() + 2);
  segment += static_cast<char>(length >> 8);
  segment += static_cast<char>(length & 0xFF);
  return segment + body;
}

// The JPEG with the EXIF segment behind its JFIF segment, where cameras and
// editors that keep JFIF put it.
Bytes WithExif(const Bytes& jpeg, const Bytes& exif) {
  EXPECT_EQ(jpeg.substr(0, 4), "\xFF\xD8\xFF\xE0");
  const std::size_t app0_end = 4 + ((static_cast<unsigned char>(jpeg[4]) << 8) | static_cast<unsigned char>(jpeg[5]));
  return jpeg.substr(0, app0_end) + exif + jpeg.substr(app0_end);
}

bool HasMarker(const Bytes& b, unsigned char marker) {
  return b.find(std::string{'\xFF', static_cast<char>(marker)}) != std::string::npos;
}

using Reader = std::function<bool(const std::string&, std::uint16_t&, std::uint16_t&)>;

TEST(ImageSizeRealFilesTest, EachReaderOnPicturesFromARealEncoder) {
  foundation::testing::TempFolder folder;
  const fs::path dir = folder.Path();
  // One run of the encoder: each -write takes the settings given so far.
  ASSERT_TRUE(RunTool("convert -size 1234x567 gradient:red-blue -write " + Quoted(dir / "logo.png") +
                          " -resize 640x480! -set comment \"Quality manual cover\" -write " +
                          Quoted(dir / "baseline.jpg") + " -interlace Plane -resize 300x100! -write " +
                          Quoted(dir / "progressive.jpg") + " -interlace None -resize 48x16! -write " +
                          Quoted(dir / "thumbnail.jpg") + " -resize 200x80! " + Quoted(dir / "logo.gif"),
                      dir / "convert.log"));

  const Bytes thumbnail = ReadFile(dir / "thumbnail.jpg");
  const Bytes exif = ExifSegment(thumbnail);
  Bytes baseline = ReadFile(dir / "baseline.jpg");
  Bytes progressive = ReadFile(dir / "progressive.jpg");
  // The files are what the cases say they are.
  ASSERT_TRUE(HasMarker(baseline, 0xC0) && !HasMarker(baseline, 0xC2)) << "baseline frame";
  ASSERT_TRUE(HasMarker(progressive, 0xC2) && !HasMarker(progressive, 0xC0)) << "progressive frame";
  ASSERT_TRUE(HasMarker(baseline, 0xFE) && HasMarker(progressive, 0xFE)) << "comment segments";
  ASSERT_NE(baseline.find("Quality manual cover"), std::string::npos);
  ASSERT_TRUE(HasMarker(thumbnail, 0xC0));
  WriteFile(dir / "baseline_exif.jpg", WithExif(baseline, exif));
  WriteFile(dir / "progressive_exif.jpg", WithExif(progressive, exif));
  // The encoder's own reader takes the spliced files, EXIF segment included.
  ASSERT_TRUE(RunTool("identify -format \"%w %h %[EXIF:Orientation];\" " + Quoted(dir / "baseline_exif.jpg") + " " +
                          Quoted(dir / "progressive_exif.jpg"),
                      dir / "identify.log"));
  EXPECT_EQ(ReadFile(dir / "identify.log"), "640 480 1;300 100 1;");
  const Bytes gif = ReadFile(dir / "logo.gif");
  ASSERT_EQ(gif.substr(0, 6), "GIF89a");
  ASSERT_EQ(gif.substr(6, 4), Bytes("\xC8\x00\x50\x00", 4)) << "a real GIF of 200 by 80";

  struct Expect {
    bool ok;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
  };
  struct Case {
    const char* file;
    Expect png, jpeg, gif;
  };
  const Expect no{false};
  const std::vector<Case> cases = {
      {"logo.png", {true, 1234, 567}, no, no},
      {"baseline.jpg", no, {true, 640, 480}, no},
      {"baseline_exif.jpg", no, {true, 640, 480}, no},
      {"progressive.jpg", no, {true, 300, 100}, no},
      {"progressive_exif.jpg", no, {true, 300, 100}, no},
      {"thumbnail.jpg", no, {true, 48, 16}, no},
      // A real GIF: its bytes never match the 16-bit signature, so no reader takes it.
      {"logo.gif", no, no, no},
  };
  struct Named {
    const char* name;
    Reader read;
    Expect Case::*expect;
  };
  const std::vector<Named> readers = {
      {"ReadPngSize", ReadPngSize, &Case::png},
      {"ReadJpegSize", ReadJpegSize, &Case::jpeg},
      {"ReadGifSize", ReadGifSize, &Case::gif},
  };
  for (const Case& c : cases) {
    for (const Named& r : readers) {
      SCOPED_TRACE(std::string(r.name) + " on " + c.file);
      const Expect& e = c.*(r.expect);
      std::uint16_t width = 9;
      std::uint16_t height = 9;
      EXPECT_EQ(r.read((dir / c.file).string(), width, height), e.ok);
      if (e.ok) {
        EXPECT_EQ(width, e.width);
        EXPECT_EQ(height, e.height);
      }
    }
  }
  // The GIF reader clears its outputs before it gives up on a real GIF.
  std::uint16_t width = 9;
  std::uint16_t height = 9;
  EXPECT_FALSE(ReadGifSize((dir / "logo.gif").string(), width, height));
  EXPECT_EQ(width, 0);
  EXPECT_EQ(height, 0);
}

}  // namespace
}  // namespace quillorn::automation
