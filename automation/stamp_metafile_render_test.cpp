// The stamp picture drawn by a metafile reader of its own (libwmf's wmf2gd), so
// that the file is shown to be one a real reader takes, of the right size, with
// the word in red at the bottom centre.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "automation/external_tools_for_test.h"
#include "automation/image_size.h"
#include "automation/stamp_metafile.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation {
namespace {

namespace fs = std::filesystem;
using testing::Box;
using testing::BoxOf;
using testing::Pixmap;
using testing::Quoted;
using testing::RunTool;

using Bytes = std::vector<std::uint8_t>;

// wmf2gd draws at 72 pixels per inch.
constexpr int kReaderPixelsPerInch = 72;

std::uint16_t U16At(const Bytes& b, std::size_t at) { return static_cast<std::uint16_t>(b[at] | (b[at + 1] << 8)); }
std::uint32_t U32At(const Bytes& b, std::size_t at) { return U16At(b, at) | (std::uint32_t{U16At(b, at + 2)} << 16); }
void PutU32(Bytes& b, std::size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
}

// libwmf fits whatever is drawn to the picture it makes, and the stamp draws
// nothing but its word, so on its own the word fills the picture. A copy with a
// rectangle over the whole window, drawn before the word, pins the frame: the
// word is then placed as a host that honours the placeable box places it.
Bytes WithFrame(const Bytes& wmf) {
  std::size_t at = 22 + 18;
  while (at + 6 <= wmf.size()) {
    const std::uint32_t words = U32At(wmf, at);
    const std::uint16_t function = U16At(wmf, at + 4);
    if (words < 3 || function == 0x0000) break;
    at += words * 2;
    if (function != 0x020C) continue;  // SetWindowExt: y, x
    const auto height = static_cast<std::int16_t>(U16At(wmf, at - 4));
    const auto width = static_cast<std::int16_t>(U16At(wmf, at - 2));
    Bytes rectangle = {7, 0, 0, 0, 0x1B, 0x04};  // Rectangle: bottom, right, top, left
    for (std::int16_t v : {height, width, std::int16_t{0}, std::int16_t{0}}) {
      rectangle.push_back(static_cast<std::uint8_t>(v & 0xFF));
      rectangle.push_back(static_cast<std::uint8_t>((v >> 8) & 0xFF));
    }
    Bytes out(wmf.begin(), wmf.begin() + static_cast<std::ptrdiff_t>(at));
    out.insert(out.end(), rectangle.begin(), rectangle.end());
    out.insert(out.end(), wmf.begin() + static_cast<std::ptrdiff_t>(at), wmf.end());
    PutU32(out, 22 + 6, U32At(wmf, 22 + 6) + 7);
    return out;
  }
  ADD_FAILURE() << "no window extent record";
  return wmf;
}

bool Red(const std::uint8_t* p) { return p[0] >= 200 && p[1] <= 80 && p[2] <= 80; }
bool PureRed(const std::uint8_t* p) { return p[0] == 255 && p[1] == 0 && p[2] == 0; }
bool Dark(const std::uint8_t* p) { return p[0] <= 80 && p[1] <= 80 && p[2] <= 80; }
bool Bluish(const std::uint8_t* p) { return p[2] >= 128 && p[0] <= 80; }

// Renders every metafile with wmf2gd, then turns all the PNGs into PPMs with one
// run of convert (each start of it costs more than the drawing).
struct Rendered {
  std::uint16_t png_width = 0;
  std::uint16_t png_height = 0;
  Pixmap pixmap;
};

std::vector<Rendered> Render(const fs::path& folder, const std::vector<std::pair<std::string, Bytes>>& files) {
  const fs::path log = folder / "tool.log";
  std::vector<Rendered> out(files.size());
  std::string pngs;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const fs::path wmf = folder / files[i].first;
    {
      std::ofstream f(wmf, std::ios::binary | std::ios::trunc);
      f.write(reinterpret_cast<const char*>(files[i].second.data()),
              static_cast<std::streamsize>(files[i].second.size()));
    }
    const fs::path png = folder / ("picture" + std::to_string(i) + ".png");
    EXPECT_TRUE(RunTool("wmf2gd -t png -o " + Quoted(png) + " " + Quoted(wmf), log)) << files[i].first;
    EXPECT_TRUE(fs::exists(png) && ReadPngSize(png.string(), out[i].png_width, out[i].png_height))
        << "wmf2gd wrote no PNG for " << files[i].first;
    pngs += Quoted(png) + " ";
  }
  EXPECT_TRUE(RunTool("convert " + pngs + "-background white -alpha remove -depth 8 +adjoin " +
                          Quoted(folder / "picture%d.ppm"),
                      log));
  for (std::size_t i = 0; i < files.size(); ++i) {
    auto pixmap = testing::ReadPpm(folder / ("picture" + std::to_string(i) + ".ppm"));
    EXPECT_TRUE(pixmap.has_value()) << "no readable PPM for " << files[i].first;
    if (pixmap) out[i].pixmap = std::move(*pixmap);
  }
  return out;
}

TEST(StampMetafileRenderTest, ARealReaderDrawsEveryWordRedAtTheBottomCentre) {
  foundation::testing::TempFolder folder;
  const fs::path plain = folder.Path() / "Budget.wmf";
  CreateStampMetafile("DRAFT", plain.string());
  std::ifstream in(plain, std::ios::binary);
  const Bytes written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

  const std::vector<const char*> words = {"DRAFT", "UNCONTROLLED", "SUPERSEDED", "OUT OF DATE", "NOT APPROVED",
                                          "DELETED"};
  std::vector<std::pair<std::string, Bytes>> files = {{"Budget.wmf", written}};
  for (std::size_t i = 0; i < words.size(); ++i) {
    files.push_back({"framed" + std::to_string(i) + ".wmf", WithFrame(BuildStampMetafile(words[i]))});
  }
  const std::vector<Rendered> pictures = Render(folder.Path(), files);
  ASSERT_FALSE(::testing::Test::HasFailure());

  // As written: the reader accepts the file and makes a picture of 120 by 100
  // mm, that is the placeable box of 453 by 377 units at 96 an inch, cut to
  // whole pixels at the reader's 72 an inch.
  const Rendered& as_written = pictures[0];
  const int width_units = StampPixels(kStampWidthHundredthsMm);
  const int height_units = StampPixels(kStampHeightHundredthsMm);
  EXPECT_EQ(as_written.png_width, width_units * kReaderPixelsPerInch / kStampPixelsPerInch);
  EXPECT_EQ(as_written.png_height, height_units * kReaderPixelsPerInch / kStampPixelsPerInch);
  EXPECT_EQ(as_written.pixmap.width, as_written.png_width);
  EXPECT_EQ(as_written.pixmap.height, as_written.png_height);
  EXPECT_GT(BoxOf(as_written.pixmap, PureRed).count, 100) << "the word is drawn in pure red";
  EXPECT_TRUE(BoxOf(as_written.pixmap, Bluish).Empty()) << "255 is red as blue-green-red, never blue";

  // Framed: where each word stands in the picture.
  for (std::size_t i = 0; i < words.size(); ++i) {
    SCOPED_TRACE(words[i]);
    const Pixmap& picture = pictures[i + 1].pixmap;
    const Box frame = BoxOf(picture, Dark);
    const Box word = BoxOf(picture, Red);
    ASSERT_FALSE(frame.Empty());
    ASSERT_FALSE(word.Empty());
    const int frame_height = frame.bottom - frame.top;
    const int frame_width = frame.right - frame.left;
    EXPECT_GE(frame_width, picture.width - 2) << "the frame spans the picture's width";
    // 32 points at 96 an inch are 43 units of the window: the em in pixels here.
    const double em = 43.0 * frame_height / height_units;

    EXPECT_NEAR(word.CentreX(), (frame.left + frame.right) / 2.0, 2.0) << "centred across the picture";
    EXPECT_GT(word.left, frame.left) << "the longest word still fits the width";
    EXPECT_LT(word.right, frame.right);
    EXPECT_LE(word.bottom, frame.bottom + 1) << "inside the picture";
    EXPECT_GE(word.bottom, frame.bottom - 0.3 * em) << "standing on the bottom edge";
    EXPECT_GT(word.top, frame.top + frame_height / 2) << "the blank area is above the word";
    const int cap_height = word.bottom - word.top + 1;
    EXPECT_GE(cap_height, 0.55 * em) << "32 points, not smaller";
    EXPECT_LE(cap_height, 0.95 * em) << "32 points, not larger";
  }
  const Box draft = BoxOf(pictures[1].pixmap, Red);
  EXPECT_LT(draft.right - draft.left, (pictures[1].pixmap.width) / 2) << "five letters of 32 points";
}

}  // namespace
}  // namespace quillorn::automation
