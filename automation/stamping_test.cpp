#include "automation/stamping.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "automation/log_capture_for_test.h"
#include "automation/open_doc_for_test.h"

namespace quillorn::automation {
namespace {

using hostsim::HostKind;
using hostsim::ShapeModel;
using testing::LogCapture;
using testing::OpenDoc;

TEST(StampTextTest, FirstRuleThatAppliesDecides) {
  struct Case {
    StampRecord record;
    bool controlled;
    bool printing;
    const char* expected;
  };
  const std::vector<Case> cases = {
      // Approved current revision: only an ordinary print is stamped.
      {{false, "A", "Y", "Y"}, false, false, ""},
      {{false, "A", "Y", "Y"}, false, true, "UNCONTROLLED"},
      {{false, "A", "Y", "Y"}, true, true, ""},
      {{false, "R", "Y", "N"}, false, true, "UNCONTROLLED"},
      // Approved but replaced: superseded, on a controlled print too.
      {{false, "A", "N", "Y"}, true, true, "SUPERSEDED"},
      {{false, "R", "N", "N"}, false, false, "SUPERSEDED"},
      // Neither current nor latest outranks the draft rule.
      {{false, "N", "N", "N"}, false, false, "SUPERSEDED"},
      {{false, "N", "N", "Y"}, false, false, "DRAFT"},
      {{false, "!", "Y", "Y"}, false, true, "OUT OF DATE"},
      {{false, "E", "N", "Y"}, false, false, "DRAFT"},
      {{false, "C", "Y", "Y"}, false, false, "DRAFT"},
      {{false, "P", "Y", "N"}, true, true, "DRAFT"},
      {{false, "W", "N", "Y"}, false, true, "NOT APPROVED"},
      {{false, "D", "Y", "Y"}, false, false, "DELETED"},
      {{false, "U", "Y", "Y"}, false, false, ""},
      {{false, "e", "Y", "Y"}, false, false, ""},
      // The empty status is no letter of "ECNP".
      {{false, "", "Y", "Y"}, false, false, ""},
      {{false, "", "N", "N"}, false, false, "SUPERSEDED"},
      // A checked-out file is a draft, whatever the record says.
      {{true, "A", "Y", "Y"}, false, true, "DRAFT"},
      {{true, "D", "N", "N"}, false, false, "DRAFT"},
      // A controlled call that is no print takes every stamp away.
      {{false, "W", "N", "Y"}, true, false, ""},
      {{true, "E", "N", "N"}, true, false, ""},
      {{false, "A", "N", "N"}, true, false, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(StampTextFor(c.record, c.controlled, c.printing), c.expected)
        << "status \"" << c.record.status << "\" current " << c.record.is_current << " latest " << c.record.is_latest
        << " checked out " << c.record.CHECKED_OUT << " controlled " << c.controlled << " printing " << c.printing;
  }
}

TEST(StampTextTest, PicturePathReplacesTheFirstOccurrenceOfTheExtension) {
  struct Case {
    const char* full_name;
    const char* expected;
  };
  const std::vector<Case> cases = {
      {"C:\\Cache\\Budget.xlsx", "C:\\Cache\\Budget.wmf"},
      {"/home/u/Cache/Budget.xlsx", "/home/u/Cache/Budget.wmf"},
      {"C:\\old.xlsx\\Budget.xlsx", "C:\\old.wmf\\Budget.xlsx"},
      {"C:\\Cache\\a.xlsx.xlsx", "C:\\Cache\\a.wmf.xlsx"},
      {"C:\\Cache\\Budget.XLSX", "C:\\Cache\\Budget.wmf"},
      {"C:\\xlsx.d\\Budget.XLSX", "C:\\xlsx.d\\Budget.wmf"},
      {"Book1", "Book1.wmf"},
  };
  for (const auto& c : cases) EXPECT_EQ(StampPicturePath(c.full_name), c.expected) << c.full_name;
}

const StampRecord kDraft{false, "E", "N", "Y"};
const StampRecord kApprovedCurrent{false, "A", "Y", "Y"};

ShapeModel* FindShape(hostsim::ShapeList& shapes, const std::string& name) {
  for (auto& s : shapes) {
    if (s->name == name) return s.get();
  }
  return nullptr;
}

TEST(StampDocumentTest, WordFooterBandIsReplacedAndRemoved) {
  LogCapture log(true);
  OpenDoc word(HostKind::Word);
  auto& footer = word.model->sections[0]->footers[0].story.shapes;
  auto other = std::make_shared<ShapeModel>();
  other->name = "Footer note";
  footer.push_back(other);

  StampDocument(word.type, kDraft, 17, word.doc, false, false);
  StampDocument(word.type, kApprovedCurrent, 17, word.doc, false, true);
  ASSERT_EQ(footer.size(), 2u) << "the old stamp goes before the new one comes";
  const ShapeModel* stamp = FindShape(footer, kStampShapeName);
  ASSERT_NE(stamp, nullptr);
  EXPECT_EQ(stamp->text, "UNCONTROLLED");
  EXPECT_EQ(stamp->orientation, 1);
  EXPECT_DOUBLE_EQ(stamp->left, 0);
  EXPECT_DOUBLE_EQ(stamp->top, 792.0 / 2 - 100);
  EXPECT_DOUBLE_EQ(stamp->width, 612);
  EXPECT_DOUBLE_EQ(stamp->height, 200);
  EXPECT_EQ(stamp->alignment, 1);
  EXPECT_FALSE(stamp->line.visible);
  EXPECT_EQ(stamp->font.color, 255);
  EXPECT_DOUBLE_EQ(stamp->font.size, 64);
  EXPECT_TRUE(stamp->font.bold);

  StampDocument(word.type, kApprovedCurrent, 17, word.doc, true, false);
  EXPECT_EQ(FindShape(footer, kStampShapeName), nullptr);
  EXPECT_EQ(footer.size(), 1u);
  StampDocument(word.type, kApprovedCurrent, 17, word.doc, true, false);  // nothing left to remove
  EXPECT_TRUE(log.ExceptionTexts().empty());
  const std::vector<std::string> traces = log.Traces();
  ASSERT_EQ(traces.size(), 4u);
  EXPECT_EQ(traces[0], "Stamp\tstampText: DRAFT");
  EXPECT_EQ(traces[1], "Stamp\tstampText: UNCONTROLLED");
  EXPECT_EQ(traces[2], "Stamp\tstampText: ");
}

TEST(StampDocumentTest, PowerPointMastersGetBothBoxesAndKeepTheAddedTitleMaster) {
  LogCapture log;
  OpenDoc ppt(HostKind::PowerPoint);
  ASSERT_FALSE(ppt.model->has_title_master);
  StampDocument(ppt.type, kDraft, 0, ppt.doc, false, true);
  ASSERT_TRUE(ppt.model->has_title_master);
  struct Box {
    hostsim::ShapeList* shapes;
    const char* name;
  };
  for (const Box& box : {Box{&ppt.model->title_master_shapes, kStampShapeName},
                         Box{&ppt.model->slide_master_shapes, kStampShapeName2}}) {
    ASSERT_EQ(box.shapes->size(), 1u) << box.name;
    const ShapeModel& s = *box.shapes->front();
    EXPECT_EQ(s.name, box.name);
    EXPECT_EQ(s.text, "DRAFT");
    EXPECT_DOUBLE_EQ(s.top, 540.0 / 2 - 100);
    EXPECT_DOUBLE_EQ(s.width, 720);
    EXPECT_DOUBLE_EQ(s.height, 200);
    EXPECT_EQ(s.alignment, 2);
    EXPECT_FALSE(s.line.visible);
    EXPECT_EQ(s.font.color, 255);
    EXPECT_DOUBLE_EQ(s.font.size, 72);
    EXPECT_TRUE(s.font.bold);
  }
  StampDocument(ppt.type, kDraft, 0, ppt.doc, false, true);
  EXPECT_EQ(ppt.model->title_master_shapes.size(), 1u);
  EXPECT_EQ(ppt.model->slide_master_shapes.size(), 1u);

  StampDocument(ppt.type, kDraft, 0, ppt.doc, true, false);
  EXPECT_TRUE(ppt.model->title_master_shapes.empty());
  EXPECT_TRUE(ppt.model->slide_master_shapes.empty());
  EXPECT_TRUE(ppt.model->has_title_master) << "the title master is a lasting effect";
  EXPECT_TRUE(log.ExceptionTexts().empty());
}

TEST(StampDocumentTest, PowerPointRemovalWithoutTitleMasterAddsNothing) {
  LogCapture log;
  OpenDoc ppt(HostKind::PowerPoint);
  auto foreign = std::make_shared<ShapeModel>();
  foreign->name = kStampShapeName2;
  ppt.model->slide_master_shapes.push_back(foreign);
  StampDocument(ppt.type, kApprovedCurrent, 0, ppt.doc, false, false);
  EXPECT_FALSE(ppt.model->has_title_master);
  EXPECT_TRUE(ppt.model->slide_master_shapes.empty()) << "the slide master's stamp goes though the title master is absent";
  EXPECT_TRUE(log.ExceptionTexts().empty());
}

class ExcelStampTest : public ::testing::Test {
 protected:
  ExcelStampTest() : book(HostKind::Excel, (folder.Path() / "Budget.xlsx").string()) {}
  std::string PicturePath() const { return (folder.Path() / "Budget.wmf").string(); }

  foundation::testing::TempFolder folder;
  OpenDoc book;
};

TEST_F(ExcelStampTest, EveryCentreHeaderGetsThePictureAndRemovalBlanksIt) {
  LogCapture log;
  book.model->sheets[2]->is_chart = true;  // chart sheets count as sheets
  book.model->sheets[1]->center_header = "Page &P";
  StampDocument(book.type, kDraft, 0, book.doc, false, true);
  for (const auto& sheet : book.model->sheets) {
    EXPECT_EQ(sheet->center_header_picture, PicturePath()) << sheet->name;
  }
  EXPECT_EQ(book.model->sheets[0]->center_header, "\r&G");
  EXPECT_EQ(book.model->sheets[1]->center_header, "Page &P\r&G");
  EXPECT_FALSE(std::filesystem::exists(PicturePath())) << "the picture file is deleted after use";

  StampDocument(book.type, kDraft, 0, book.doc, false, true);
  EXPECT_EQ(book.model->sheets[0]->center_header, "\r&G\r&G") << "appended on every stamp";

  auto plain = std::make_shared<hostsim::SheetModel>();
  plain->name = "Unstamped";
  plain->center_header = "Page &P";
  book.model->sheets.push_back(plain);
  StampDocument(book.type, kDraft, 0, book.doc, true, false);
  EXPECT_EQ(book.model->sheets[0]->center_header, " ");
  EXPECT_EQ(book.model->sheets[1]->center_header, " ") << "the whole header goes with the picture";
  EXPECT_EQ(book.model->sheets[2]->center_header, " ");
  EXPECT_EQ(plain->center_header, "Page &P");
  EXPECT_TRUE(log.ExceptionTexts().empty());
}

TEST_F(ExcelStampTest, RemovalFromAnUnstampedWorkbookWritesNothing) {
  book.model->saved = true;
  StampDocument(book.type, kApprovedCurrent, 0, book.doc, false, false);
  EXPECT_TRUE(book.model->saved);
  // One read of the collection, then three calls a sheet: Item, PageSetup, CenterHeader.
  book.host->ResetCallCounts();
  StampDocument(book.type, kApprovedCurrent, 0, book.doc, false, false);
  const auto three_sheets = book.host->TotalCalls();
  book.model->sheets.resize(1);
  book.host->ResetCallCounts();
  StampDocument(book.type, kApprovedCurrent, 0, book.doc, false, false);
  EXPECT_EQ(three_sheets - book.host->TotalCalls(), 2u * 3u);
}

TEST(StampDocumentTest, EachHostsFailureIsLoggedUnderItsOwnText) {
  struct Case {
    HostKind kind;
    const char* expected;
  };
  const std::vector<Case> cases = {
      {HostKind::Word, "PROC: StampDocument {for WORD}"},
      {HostKind::PowerPoint, "PROC: StampDocument {for POWERPOINT}"},
      {HostKind::Excel, "PROC: StampDocument {for EXCEL}"},
  };
  for (const auto& c : cases) {
    LogCapture log;
    OpenDoc gone(c.kind);
    gone.Close();
    StampDocument(gone.type, kDraft, 0, gone.doc, false, true);
    EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{c.expected});
    // Taking a stamp off a document that is gone: the absent stamp is no failure.
    log.Clear();
    if (c.kind != HostKind::Excel) {
      StampDocument(gone.type, kDraft, 0, gone.doc, true, false);
      EXPECT_TRUE(log.ExceptionTexts().empty()) << c.expected;
    }
  }
}

TEST(StampDocumentTest, WrongKindOfDocumentOrHostIsLoggedOrIgnored) {
  LogCapture log;
  OpenDoc book(HostKind::Excel);
  StampDocument(HostType::ohaWord, kDraft, 0, book.doc, false, true);
  EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{"PROC: StampDocument {for WORD}"});
  log.Clear();
  OpenDoc pub(HostKind::Publisher);
  pub.host->ResetCallCounts();
  StampDocument(pub.type, kDraft, 0, pub.doc, false, true);
  EXPECT_EQ(pub.host->TotalCalls(), 0u);
  EXPECT_TRUE(log.ExceptionTexts().empty());
}

TEST(StampDocumentTest, UnwritablePictureFolderStampsNoSheet) {
  LogCapture log;
  foundation::testing::TempFolder folder;
  OpenDoc book(HostKind::Excel, (folder.Path() / "missing folder" / "Budget.xlsx").string());
  StampDocument(book.type, kDraft, 0, book.doc, false, true);
  EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{"PROC: StampDocument {for EXCEL}"});
  for (const auto& sheet : book.model->sheets) EXPECT_EQ(sheet->center_header, "") << sheet->name;
}

}  // namespace
}  // namespace quillorn::automation
