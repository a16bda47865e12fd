#include "automation/stamping.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "automation/host_for_test.h"

namespace quillorn::automation {
namespace {

using hostsim::ShapeModel;
using testing::OpenDoc;
using testing::Texts;

TEST(StampTextTest, FirstRuleThatAppliesDecides) {
  struct Case {
    const char* status;
    bool current = true, latest = true, checked_out = false, controlled = false, printing = false;
    const char* expected;
  };
  // clang-format off
  const std::vector<Case> cases = {
      // The approved current revision: only a print that is not controlled is stamped.
      {.status = "A", .expected = ""}, {.status = "A", .printing = true, .expected = "UNCONTROLLED"},
      {.status = "A", .controlled = true, .printing = true, .expected = ""},
      {.status = "R", .latest = false, .printing = true, .expected = "UNCONTROLLED"},
      // Approved but replaced, or neither current nor latest: superseded, ahead of the draft rule.
      {.status = "A", .current = false, .controlled = true, .printing = true, .expected = "SUPERSEDED"},
      {.status = "N", .current = false, .latest = false, .expected = "SUPERSEDED"},
      {.status = "N", .current = false, .expected = "DRAFT"}, {.status = "P", .expected = "DRAFT"},
      {.status = "W", .expected = "NOT APPROVED"}, {.status = "D", .expected = "DELETED"},
      {.status = "!", .expected = "OUT OF DATE"}, {.status = "", .expected = ""},  // "" is not in "ECNP"
      // Checked out is a draft whatever the record says; a controlled call that is no print takes
      // any stamp off.
      {.status = "D", .current = false, .latest = false, .checked_out = true, .expected = "DRAFT"},
      {.status = "W", .current = false, .checked_out = true, .controlled = true, .expected = ""},
  };
  // clang-format on
  for (const auto& c : cases) {
    const StampRecord record{.CHECKED_OUT = c.checked_out,
                             .status = c.status,
                             .is_current = c.current ? "Y" : "N",
                             .is_latest = c.latest ? "Y" : "N"};
    EXPECT_EQ(StampTextFor(record, c.controlled, c.printing), c.expected) << "row " << &c - cases.data();
  }
  // Excel's picture: the first occurrence of the extension, case counting, becomes ".wmf".
  EXPECT_EQ(StampPicturePath("C:\\old.xlsx\\Budget.xlsx"), "C:\\old.wmf\\Budget.xlsx");
  EXPECT_EQ(StampPicturePath("C:\\xlsx.d\\Budget.XLSX"), "C:\\xlsx.d\\Budget.wmf");
  EXPECT_EQ(StampPicturePath("Book1"), "Book1.wmf");
}

const StampRecord kDraft{.status = "E", .is_current = "N", .is_latest = "Y"};
const StampRecord kApproved{.status = "A", .is_current = "Y", .is_latest = "Y"};

// A band across the page, centred on its height, in bold red.
void ExpectBand(const ShapeModel& s, const std::string& name, const std::string& text, double page_height,
                double page_width, int alignment, double size) {
  EXPECT_EQ(std::tie(s.name, s.text, s.orientation, s.left, s.top, s.width, s.height, s.alignment,
                     s.line.visible, s.font.color, s.font.size, s.font.bold),
            std::make_tuple(name, text, 1, 0.0, page_height / 2 - 100, page_width, 200.0, alignment, false,
                            255, size, true));
}

TEST(StampDocumentTest, WordFooterBandIsReplacedThenTakenOff) {
  OpenDoc word(HostType::ohaWord);
  auto& footer = word.model->sections[0]->footers[0].story.shapes;
  footer.push_back(std::make_shared<ShapeModel>(ShapeModel{.name = "Footer note"}));
  StampDocument(HostType::ohaWord, kDraft, 17, word.doc, false, false);
  StampDocument(HostType::ohaWord, kApproved, 17, word.doc, false, true);
  ASSERT_EQ(footer.size(), 2u) << "the old stamp goes before the new one comes";
  ExpectBand(*footer[1], "CMSstamp", "UNCONTROLLED", 792, 612, 1, 64);
  StampDocument(HostType::ohaWord, kApproved, 17, word.doc, true, false);
  EXPECT_TRUE(footer.size() == 1 && footer[0]->name == "Footer note");
  EXPECT_EQ(word.ExceptionTexts(), Texts{});
}

TEST(StampDocumentTest, PowerPointMastersGetBothBoxesAndKeepTheAddedTitleMaster) {
  OpenDoc ppt(HostType::ohaPowerPoint);
  auto& m = *ppt.model;
  // Taking a stamp off adds no title master, but the slide master's stamp goes.
  m.slide_master_shapes = {std::make_shared<ShapeModel>(ShapeModel{.name = "CMSstamp2"})};
  StampDocument(HostType::ohaPowerPoint, kApproved, 0, ppt.doc, false, false);
  EXPECT_FALSE(m.has_title_master || !m.slide_master_shapes.empty());
  StampDocument(HostType::ohaPowerPoint, kDraft, 0, ppt.doc, false, true);
  StampDocument(HostType::ohaPowerPoint, kDraft, 0, ppt.doc, false, true);
  ASSERT_TRUE(m.has_title_master && m.title_master_shapes.size() == 1 && m.slide_master_shapes.size() == 1);
  ExpectBand(*m.title_master_shapes[0], "CMSstamp", "DRAFT", 540, 720, 2, 72);
  ExpectBand(*m.slide_master_shapes[0], "CMSstamp2", "DRAFT", 540, 720, 2, 72);
  StampDocument(HostType::ohaPowerPoint, kDraft, 0, ppt.doc, true, false);
  EXPECT_TRUE(m.title_master_shapes.empty() && m.slide_master_shapes.empty());
  EXPECT_TRUE(m.has_title_master) << "the title master is a lasting effect";
  EXPECT_EQ(ppt.ExceptionTexts(), Texts{});
}

TEST(StampDocumentTest, ExcelCentreHeadersGetThePictureAndTakingItOffBlanksThem) {
  OpenDoc book(HostType::ohaExcel, "Budget.xlsx");
  auto& sheets = book.model->sheets;
  const std::string picture = (book.folder.Path() / "Budget.wmf").string();
  sheets[2]->is_chart = true;  // chart sheets count as sheets here
  sheets[1]->center_header = "Page &P";
  StampDocument(HostType::ohaExcel, kDraft, 0, book.doc, false, true);
  for (const auto& sheet : sheets) EXPECT_EQ(sheet->center_header_picture, picture) << sheet->name;
  EXPECT_EQ(sheets[1]->center_header, "Page &P\r&G");
  EXPECT_FALSE(std::filesystem::exists(picture)) << "the picture file is deleted after use";
  StampDocument(HostType::ohaExcel, kDraft, 0, book.doc, false, true);
  EXPECT_EQ(sheets[0]->center_header, "\r&G\r&G") << "appended on every stamp";
  sheets.push_back(std::make_shared<hostsim::SheetModel>(hostsim::SheetModel{.center_header = "Page &P"}));
  StampDocument(HostType::ohaExcel, kDraft, 0, book.doc, true, false);
  for (const auto& sheet : sheets) EXPECT_EQ(sheet->center_header, sheet == sheets[3] ? "Page &P" : " ");
  EXPECT_EQ(book.ExceptionTexts(), Texts{});
}

TEST(StampDocumentTest, EachHostsFailureIsLoggedUnderItsOwnText) {
  // A folder that can't take Excel's picture: no sheet is stamped. Publisher: no call at all.
  // clang-format off
  for (const auto& [kind, file, logged] : std::vector<std::tuple<HostType, std::string, Texts>>{
           {HostType::ohaWord, "", {"PROC: StampDocument {for WORD}"}},
           {HostType::ohaPowerPoint, "", {"PROC: StampDocument {for POWERPOINT}"}},
           {HostType::ohaExcel, "no folder/Budget.xlsx", {"PROC: StampDocument {for EXCEL}"}},
           {HostType::ohaPublisher, "", {}}}) {
    // clang-format on
    OpenDoc o(kind, file);
    if (kind != HostType::ohaExcel) o.Close();
    StampDocument(kind, kDraft, 0, o.doc, false, true);
    EXPECT_EQ(o.ExceptionTexts(), logged);
    for (const auto& sheet : o.model->sheets) EXPECT_EQ(sheet->center_header, "") << sheet->name;
  }
}

}  // namespace
}  // namespace quillorn::automation
