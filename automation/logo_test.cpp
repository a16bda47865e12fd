#include "automation/logo.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "automation/log_capture_for_test.h"
#include "automation/open_doc_for_test.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation {
namespace {

using platform::HostType;
using hostsim::ShapeList;
using hostsim::ShapeModel;
using testing::LogCapture;
using testing::OpenDoc;

std::shared_ptr<ShapeModel> AddShape(ShapeList& list, const std::string& name, double height = 50) {
  auto s = std::make_shared<ShapeModel>();
  s->name = name;
  s->height = height;
  s->width = 10;
  list.push_back(s);
  return s;
}

std::string Png(unsigned width, unsigned height) {
  std::string b = "\x89PNG\r\n\x1a\n";
  b += std::string("\0\0\0\x0dIHDR", 8);
  for (unsigned v : {width, height}) {
    for (int shift = 24; shift >= 0; shift -= 8) b.push_back(static_cast<char>((v >> shift) & 0xFF));
  }
  return b + std::string(5, '\0');
}

class LogoTest : public ::testing::Test {
 protected:
  std::string WriteLogo(const std::string& name, const std::string& bytes) {
    const auto path = folder.Path() / name;
    foundation::testing::WriteAll(path, bytes);
    return path.string();
  }
  hostsim::SectionModel& Section(std::size_t i) { return *word.model->sections[i]; }

  foundation::testing::TempFolder folder;
  OpenDoc word{HostType::ohaWord};
};

TEST_F(LogoTest, WithoutLogoEveryLogoShapeBecomesThePlaceholder) {
  for (const char* name : {"qllog", " qllogo", ""}) EXPECT_FALSE(IsLogoShapeName(name)) << name;
  auto header_logo = AddShape(Section(0).headers[0].story.shapes, "qllogo1", 40);
  auto footer_logo = AddShape(Section(0).footers[1].story.shapes, "qllogo_footer", 30);
  auto body_logo = AddShape(Section(0).body_shapes, "qllogo", 25);
  auto other = AddShape(Section(0).body_shapes, "QLlogo");
  // Only the first section's body is reached, but every header and footer is.
  word.doc.Get("Sections").Call("Add");
  auto later_body = AddShape(Section(1).body_shapes, "qllogo2");
  auto later_header = AddShape(Section(1).headers[0].story.shapes, "qllogo3");
  UpdateLogo(word.doc, "");
  for (const auto& s : {header_logo, footer_logo, body_logo, later_header}) {
    EXPECT_EQ(s->text, "Your Logo goes here") << s->name;
    EXPECT_DOUBLE_EQ(s->width, s->height * 2) << s->name;
    EXPECT_EQ(s->fill.fore_theme_color, 15);
    EXPECT_DOUBLE_EQ(s->fill.fore_tint, 0.8);
    EXPECT_TRUE(s->fill.solid);
    EXPECT_TRUE(s->line.visible);
    EXPECT_EQ(s->line.dash_style, 4);
    EXPECT_DOUBLE_EQ(s->line.fore_tint, 0.4);
  }
  for (const auto& s : {other, later_body}) {
    EXPECT_EQ(s->text, "") << s->name;
    EXPECT_DOUBLE_EQ(s->width, 10) << s->name;
  }
}

TEST_F(LogoTest, PictureWidthFollowsTheRatioCutNotRounded) {
  struct Case {
    unsigned picture_width;
    unsigned picture_height;
    double shape_height;
    double expected_width;
  };
  const std::vector<Case> cases = {
      {300, 100, 50, 150}, {100, 30, 50, 166},  // 166.67
      {2, 3, 100, 66},                          // 66.67
      {1, 1, 33.9, 33},                         // the shape's own height is cut too
      {70000, 1, 1, 4464},                      // only the low 16 bits of the PNG width count
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.picture_width) + "x" + std::to_string(c.picture_height));
    auto shape = AddShape(Section(0).body_shapes, "qllogo", c.shape_height);
    const std::string file = WriteLogo("logo.png", Png(c.picture_width, c.picture_height));
    UpdateLogo(word.doc, file);
    EXPECT_DOUBLE_EQ(shape->width, c.expected_width);
    EXPECT_DOUBLE_EQ(shape->height, c.shape_height);
    EXPECT_EQ(shape->fill.picture, file);
    Section(0).body_shapes.clear();
  }
}

TEST_F(LogoTest, ALogoArrivingLaterReplacesThePlaceholder) {
  LogCapture log(true);
  auto shape = AddShape(Section(0).headers[0].story.shapes, "qllogo1", 50);
  UpdateLogo(word.doc, "");
  const std::string file = WriteLogo("logo.png", Png(300, 100));
  UpdateLogo(word.doc, file);
  EXPECT_EQ(shape->text, "");
  EXPECT_FALSE(shape->line.visible);
  EXPECT_DOUBLE_EQ(shape->fill.fore_tint, 1);
  EXPECT_DOUBLE_EQ(shape->fill.back_tint, 1);
  EXPECT_DOUBLE_EQ(shape->fill.transparency, 0);
  EXPECT_TRUE(shape->fill.visible);
  EXPECT_FALSE(shape->fill.solid);
  EXPECT_EQ(shape->fill.picture, file);
  EXPECT_DOUBLE_EQ(shape->width, 150);
  const std::vector<std::string> expected = {
      "UpdateLogo file: \t",
      "Found Shape: \tqllogo1",
      "Update Logo shape: \tqllogo1",
      "UpdateLogo file: \t" + file,
      "Found Shape: \tqllogo1",
      "Update Logo shape: \tqllogo1",
      "Logo\t" + file + "\r\v      Dimensions: 300 x 100",
      "Logo\tupdated",
  };
  EXPECT_EQ(log.Traces(), expected);
}

TEST_F(LogoTest, UnreadablePicturesAndFailures) {
  struct Case {
    const char* what;
    std::string file;
    std::vector<std::string> exceptions;
  };
  const std::string real_gif = std::string("GIF89a\x2c\x01\x64\x00\x00\x00\x00", 13) + std::string(7, '\0') +
                               std::string("\x2c\0\0\0\0\x2c\x01\x64\0\0", 10);
  const std::vector<Case> cases = {
      {"a GIF logo is not supported", WriteLogo("logo.gif", real_gif), {}},
      {"a text file is no picture", WriteLogo("logo.txt", "not a picture at all, not at all"), {}},
      {"height 0 divides by zero", WriteLogo("flat.png", Png(10, 0)), {"in UpdateLogo"}},
      {"a missing file raises", (folder.Path() / "gone.png").string(), {"in UpdateLogo"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    LogCapture log;
    Section(0).body_shapes.clear();
    auto first = AddShape(Section(0).body_shapes, "qllogo1");
    auto second = AddShape(Section(0).body_shapes, "qllogo2");
    UpdateLogo(word.doc, c.file);
    EXPECT_EQ(log.ExceptionTexts(), c.exceptions);
    for (const auto& s : {first, second}) {
      EXPECT_DOUBLE_EQ(s->width, 10);
      EXPECT_TRUE(s->fill.picture.empty());
      EXPECT_TRUE(s->line.visible);
    }
  }
  // A workbook handed in by mistake.
  LogCapture log;
  OpenDoc book(HostType::ohaExcel);
  UpdateLogo(book.doc, "");
  EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{"in UpdateLogo"});
}

}  // namespace
}  // namespace quillorn::automation
