#include "automation/logo.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "automation/host_for_test.h"

namespace quillorn::automation {
namespace {

using hostsim::ShapeModel;
using platform::HostType;
using testing::OpenDoc;

std::shared_ptr<ShapeModel> AddShape(hostsim::ShapeList& list, const std::string& name, double height = 50) {
  list.push_back(std::make_shared<ShapeModel>(ShapeModel{.name = name, .width = 10, .height = height}));
  return list.back();
}

// As far as the size reader looks: the signature and the IHDR chunk.
std::string Png(unsigned width, unsigned height) {
  std::string b = "\x89PNG\r\n\x1a\n" + std::string("\0\0\0\x0dIHDR", 8);
  for (unsigned v : {width, height}) {
    for (int shift = 24; shift >= 0; shift -= 8) b.push_back(static_cast<char>((v >> shift) & 0xFF));
  }
  return b + std::string(5, '\0');
}

TEST(LogoTest, LogoShapesTakeThePlaceholderThenThePicture) {
  OpenDoc word(HostType::ohaWord);
  auto& first = *word.model->sections[0];
  auto header_logo = AddShape(first.headers[0].story.shapes, "qllogo1", 40);
  auto footer_logo = AddShape(first.footers[1].story.shapes, "qllogo_footer", 30);
  auto body_logo = AddShape(first.body_shapes, "qllogo", 25);
  auto upper_case = AddShape(first.body_shapes, "QLlogo");
  auto blank_first = AddShape(first.body_shapes, " qllogo");
  // Only the first section's body is reached, but every header and footer is.
  word.doc.Get("Sections").Call("Add");
  auto later_body = AddShape(word.model->sections[1]->body_shapes, "qllogo2");
  auto later_header = AddShape(word.model->sections[1]->headers[0].story.shapes, "qllogo3");
  UpdateLogo(word.doc, "");
  for (const auto& s : {header_logo, footer_logo, body_logo, later_header}) {
    EXPECT_EQ(s->text, "Your Logo goes here") << s->name;
    EXPECT_DOUBLE_EQ(s->width, s->height * 2) << s->name;
  }
  for (const auto& s : {upper_case, blank_first, later_body}) EXPECT_EQ(s->width, 10) << s->name;
  const ShapeModel& p = *header_logo;
  EXPECT_EQ(std::tie(p.fill.fore_theme_color, p.fill.fore_tint, p.fill.solid, p.line.visible,
                     p.line.dash_style, p.line.fore_tint),
            std::make_tuple(15, 0.8, true, true, 4, 0.4));

  // A logo 100 by 60 arrives: the height stands, the width follows, cut (66.7), not rounded.
  const std::string file = (word.folder.Path() / "logo.png").string();
  foundation::testing::WriteAll(file, Png(100, 60));
  UpdateLogo(word.doc, file);
  EXPECT_EQ(std::tie(p.text, p.width, p.height, p.line.visible, p.fill.fore_tint, p.fill.back_tint,
                     p.fill.transparency, p.fill.picture),
            std::make_tuple(std::string(), 66.0, 40.0, false, 1.0, 1.0, 0.0, file));
  EXPECT_EQ(body_logo->width, 41);
  EXPECT_EQ(word.ExceptionTexts(), testing::Texts{});
}

TEST(LogoTest, APictureOfNoKnownKindOrAFailureLeavesTheShapes) {
  for (const auto& [bytes, logged] : std::vector<std::pair<std::string, testing::Texts>>{
           {"not a picture at all, not at all", {}}, {Png(10, 0), {"in UpdateLogo"}}}) {
    OpenDoc word(HostType::ohaWord);
    auto& body = word.model->sections[0]->body_shapes;
    const auto first = AddShape(body, "qllogo1"), second = AddShape(body, "qllogo2");
    foundation::testing::WriteAll(word.folder.Path() / "logo", bytes);
    UpdateLogo(word.doc, (word.folder.Path() / "logo").string());
    EXPECT_EQ(word.ExceptionTexts(), logged);
    for (const auto& s : {first, second})
      EXPECT_TRUE(s->width == 10 && s->fill.picture.empty() && s->line.visible);
  }
}

}  // namespace
}  // namespace quillorn::automation
