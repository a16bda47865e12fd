// The logo size readers on pictures written by a real encoder (ImageMagick):
// PNG, baseline JPEG with a comment, progressive JPEG, and a GIF, which the GIF
// reader never recognises.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
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
using Reader = std::function<bool(const std::string&, std::uint16_t&, std::uint16_t&)>;

TEST(ImageSizeRealFilesTest, EachReaderOnPicturesFromARealEncoder) {
  foundation::testing::TempFolder folder;
  const fs::path dir = folder.Path();
  // One run of the encoder: each -write takes the settings given so far.
  ASSERT_TRUE(RunTool("convert -size 1234x567 gradient:red-blue -write " + Quoted(dir / "logo.png") +
                          " -resize 640x480! -set comment \"Quality manual cover\" -write " +
                          Quoted(dir / "baseline.jpg") + " -interlace Plane -resize 300x100! -write " +
                          Quoted(dir / "progressive.jpg") + " -interlace None -resize 200x80! " +
                          Quoted(dir / "logo.gif"),
                      dir / "convert.log"));
  // The progressive file really has a progressive frame header (0xFF 0xC2), and no baseline one.
  const std::string progressive = foundation::testing::ReadAll(dir / "progressive.jpg");
  ASSERT_NE(progressive.find("\xFF\xC2"), std::string::npos);
  ASSERT_EQ(progressive.find("\xFF\xC0"), std::string::npos);

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
  // A real GIF: its bytes never match the 16-bit signature, so no reader takes it.
  const std::vector<Case> cases = {{"logo.png", {true, 1234, 567}, no, no},
                                   {"baseline.jpg", no, {true, 640, 480}, no},
                                   {"progressive.jpg", no, {true, 300, 100}, no},
                                   {"logo.gif", no, no, no}};
  struct Named {
    const char* name;
    Reader read;
    Expect Case::*expect;
  };
  const std::vector<Named> readers = {{"ReadPngSize", ReadPngSize, &Case::png},
                                      {"ReadJpegSize", ReadJpegSize, &Case::jpeg},
                                      {"ReadGifSize", ReadGifSize, &Case::gif}};
  for (const Case& c : cases) {
    for (const Named& r : readers) {
      SCOPED_TRACE(std::string(r.name) + " on " + c.file);
      const Expect& e = c.*(r.expect);
      std::uint16_t width = 9;
      std::uint16_t height = 9;
      EXPECT_EQ(r.read((dir / c.file).string(), width, height), e.ok);
      if (e.ok || r.expect == &Case::gif) {  // the GIF reader clears its outputs first
        EXPECT_EQ(width, e.width);
        EXPECT_EQ(height, e.height);
      }
    }
  }
}

}  // namespace
}  // namespace quillorn::automation
