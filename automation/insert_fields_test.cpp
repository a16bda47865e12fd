#include "automation/insert_fields.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "automation/host_for_test.h"

namespace quillorn::automation {
namespace {

using hostsim::ShapeList;
using platform::HostType;
using testing::OpenDoc;

// The logo goes where the insertion point stands: a header at 20, 20, a footer
// 70 points above the page's bottom, the text at the insertion point and
// inline; any other story takes none.
TEST(InsertLogoShape, PlacesTheShapeByTheStoryOfTheSelection) {
  struct Case {
    int story;
    ShapeList* (*list)(hostsim::DocumentModel&);
    double left, top;
    int wrap;
  };
  const std::vector<Case> cases = {
      {.story = 7,
       .list = [](hostsim::DocumentModel& d) { return &d.sections[0]->headers[0].story.shapes; },
       .left = 20,
       .top = 20,
       .wrap = 3},
      {.story = 10,
       .list = [](hostsim::DocumentModel& d) { return &d.sections[0]->headers[1].story.shapes; },
       .left = 20,
       .top = 20,
       .wrap = 3},
      {.story = 6,
       .list = [](hostsim::DocumentModel& d) { return &d.sections[0]->headers[2].story.shapes; },
       .left = 20,
       .top = 20,
       .wrap = 3},
      {.story = 9,
       .list = [](hostsim::DocumentModel& d) { return &d.sections[0]->footers[0].story.shapes; },
       .left = 20,
       .top = 792 - 70,
       .wrap = 3},
      {.story = 11,
       .list = [](hostsim::DocumentModel& d) { return &d.sections[0]->footers[1].story.shapes; },
       .left = 20,
       .top = 792 - 70,
       .wrap = 3},
      {.story = 8,
       .list = [](hostsim::DocumentModel& d) { return &d.sections[0]->footers[2].story.shapes; },
       .left = 20,
       .top = 792 - 70,
       .wrap = 3},
      {.story = 1,
       .list = [](hostsim::DocumentModel& d) { return &d.sections[0]->body_shapes; },
       .left = 72,
       .top = 72,
       .wrap = 7},
      {.story = 2, .list = nullptr},  // a footnote
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.story);
    OpenDoc word(HostType::ohaWord);
    word.model->selection.story_type = c.story;
    foundation::ContextScope scope(word.context);
    const bool placed = InsertLogoShape(word.app, "", "qllogo05_09");
    EXPECT_EQ(placed, c.list != nullptr);
    if (c.list == nullptr) {
      for (const auto& s : word.model->sections) EXPECT_TRUE(s->body_shapes.empty());
      continue;
    }
    const ShapeList& shapes = *c.list(*word.model);
    ASSERT_EQ(shapes.size(), 1u);
    const hostsim::ShapeModel& shape = *shapes[0];
    EXPECT_EQ(shape.name, "qllogo05_09");
    EXPECT_EQ(shape.left, c.left);
    EXPECT_EQ(shape.top, c.top);
    EXPECT_EQ(shape.width, 100);
    EXPECT_EQ(shape.height, 50);
    EXPECT_EQ(shape.wrap_type, c.wrap);
    EXPECT_EQ(shape.text, "Your Logo goes here");
    EXPECT_EQ(shape.line.dash_style, 4);
  }
}

// With a logo the shape keeps a height of 50 and the picture's proportions.
TEST(InsertLogoShape, TakesTheLogoPictureWithItsProportions) {
  OpenDoc word(HostType::ohaWord);
  foundation::ContextScope scope(word.context);
  const std::string file = (word.folder.Path() / "logo.png").string();
  std::string png = "\x89PNG\r\n\x1a\n" + std::string("\0\0\0\x0dIHDR", 8);
  for (unsigned v : {100u, 60u}) {
    for (int shift = 24; shift >= 0; shift -= 8) png.push_back(static_cast<char>((v >> shift) & 0xFF));
  }
  foundation::testing::WriteAll(file, png + std::string(5, '\0'));
  ASSERT_TRUE(InsertLogoShape(word.app, file, LogoShapeName(5, 9)));
  const hostsim::ShapeModel& shape = *word.model->sections[0]->body_shapes.at(0);
  EXPECT_EQ(shape.name, "qllogo05_09");
  EXPECT_EQ(shape.width, 83);
  EXPECT_EQ(shape.height, 50);
  EXPECT_EQ(shape.fill.picture, file);
  EXPECT_FALSE(shape.line.visible);
  EXPECT_EQ(shape.wrap_type, 7);
}

}  // namespace
}  // namespace quillorn::automation
