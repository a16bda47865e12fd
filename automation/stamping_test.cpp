#include "automation/stamping.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "automation/log_capture_for_test.h"
#include "automation/open_doc_for_test.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation {
namespace {

using platform::HostType;
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
        << "status \"" << c.record.status << "\" current " << c.record.is_current << " latest "
        << c.record.is_latest << " checked out " << c.record.CHECKED_OUT << " controlled " << c.controlled
        << " printing " << c.printing;
  }
}

TEST(StampTextTest, PicturePathReplacesTheFirstOccurrenceOfTheExtension) {
  struct Case {
    const char* full_name;
    const char* expected;
  };
  for (const Case& c :
       {Case{"C:\\Cache\\Budget.xlsx", "C:\\Cache\\Budget.wmf"},
        Case{"/home/u/Cache/Budget.xlsx", "/home/u/Cache/Budget.wmf"},
        Case{"C:\\old.xlsx\\Budget.xlsx", "C:\\old.wmf\\Budget.xlsx"},
        Case{"C:\\Cache\\a.xlsx.xlsx", "C:\\Cache\\a.wmf.xlsx"},
        Case{"C:\\xlsx.d\\Budget.XLSX", "C:\\xlsx.d\\Budget.wmf"}, Case{"Book1", "Book1.wmf"}}) {
    EXPECT_EQ(StampPicturePath(c.full_name), c.expected) << c.full_name;
  }
}

const StampRecord kDraft{false, "E", "N", "Y"};
const StampRecord kApprovedCurrent{false, "A", "Y", "Y"};

void ExpectBand(const ShapeModel& s, const char* name, const char* text, double page_height,
                double page_width, int alignment, double size) {
  EXPECT_EQ(s.name, name);
  EXPECT_EQ(s.text, text);
  EXPECT_EQ(s.orientation, 1);
  EXPECT_DOUBLE_EQ(s.left, 0);
  EXPECT_DOUBLE_EQ(s.top, page_height / 2 - 100);
  EXPECT_DOUBLE_EQ(s.width, page_width);
  EXPECT_DOUBLE_EQ(s.height, 200);
  EXPECT_EQ(s.alignment, alignment);
  EXPECT_FALSE(s.line.visible);
  EXPECT_EQ(s.font.color, 255);
  EXPECT_DOUBLE_EQ(s.font.size, size);
  EXPECT_TRUE(s.font.bold);
}

TEST(StampDocumentTest, WordFooterBandIsReplacedAndRemoved) {
  LogCapture log(true);
  OpenDoc word(HostType::ohaWord);
  auto& footer = word.model->sections[0]->footers[0].story.shapes;
  footer.push_back(std::make_shared<ShapeModel>());
  footer[0]->name = "Footer note";

  StampDocument(word.type, kDraft, 17, word.doc, false, false);
  StampDocument(word.type, kApprovedCurrent, 17, word.doc, false, true);
  ASSERT_EQ(footer.size(), 2u) << "the old stamp goes before the new one comes";
  ExpectBand(*footer[1], "CMSstamp", "UNCONTROLLED", 792, 612, 1, 64);

  StampDocument(word.type, kApprovedCurrent, 17, word.doc, true, false);
  StampDocument(word.type, kApprovedCurrent, 17, word.doc, true, false);  // nothing left to remove
  ASSERT_EQ(footer.size(), 1u);
  EXPECT_EQ(footer[0]->name, "Footer note");
  EXPECT_TRUE(log.ExceptionTexts().empty());
  EXPECT_EQ(log.Traces(),
            std::vector<std::string>({"Stamp\tstampText: DRAFT", "Stamp\tstampText: UNCONTROLLED",
                                      "Stamp\tstampText: ", "Stamp\tstampText: "}));
}

TEST(StampDocumentTest, PowerPointMastersGetBothBoxesAndKeepTheAddedTitleMaster) {
  LogCapture log;
  OpenDoc ppt(HostType::ohaPowerPoint);
  // Taking a stamp off adds no title master, but the slide master's stamp goes.
  ppt.model->slide_master_shapes.push_back(std::make_shared<ShapeModel>());
  ppt.model->slide_master_shapes[0]->name = "CMSstamp2";
  StampDocument(ppt.type, kApprovedCurrent, 0, ppt.doc, false, false);
  EXPECT_FALSE(ppt.model->has_title_master);
  EXPECT_TRUE(ppt.model->slide_master_shapes.empty());

  StampDocument(ppt.type, kDraft, 0, ppt.doc, false, true);
  StampDocument(ppt.type, kDraft, 0, ppt.doc, false, true);
  ASSERT_TRUE(ppt.model->has_title_master);
  ASSERT_EQ(ppt.model->title_master_shapes.size(), 1u);
  ASSERT_EQ(ppt.model->slide_master_shapes.size(), 1u);
  ExpectBand(*ppt.model->title_master_shapes[0], "CMSstamp", "DRAFT", 540, 720, 2, 72);
  ExpectBand(*ppt.model->slide_master_shapes[0], "CMSstamp2", "DRAFT", 540, 720, 2, 72);

  StampDocument(ppt.type, kDraft, 0, ppt.doc, true, false);
  EXPECT_TRUE(ppt.model->title_master_shapes.empty());
  EXPECT_TRUE(ppt.model->slide_master_shapes.empty());
  EXPECT_TRUE(ppt.model->has_title_master) << "the title master is a lasting effect";
  EXPECT_TRUE(log.ExceptionTexts().empty());
}

TEST(StampDocumentTest, ExcelCentreHeadersGetThePictureAndRemovalBlanksThem) {
  LogCapture log;
  foundation::testing::TempFolder folder;
  OpenDoc book(HostType::ohaExcel, (folder.Path() / "Budget.xlsx").string());
  const std::string picture = (folder.Path() / "Budget.wmf").string();
  book.model->sheets[2]->is_chart = true;  // chart sheets count as sheets
  book.model->sheets[1]->center_header = "Page &P";
  book.model->saved = true;
  StampDocument(book.type, kApprovedCurrent, 0, book.doc, false, false);
  EXPECT_TRUE(book.model->saved) << "an unstamped workbook is not written to";

  StampDocument(book.type, kDraft, 0, book.doc, false, true);
  for (const auto& sheet : book.model->sheets)
    EXPECT_EQ(sheet->center_header_picture, picture) << sheet->name;
  EXPECT_EQ(book.model->sheets[1]->center_header, "Page &P\r&G");
  EXPECT_FALSE(std::filesystem::exists(picture)) << "the picture file is deleted after use";
  StampDocument(book.type, kDraft, 0, book.doc, false, true);
  EXPECT_EQ(book.model->sheets[0]->center_header, "\r&G\r&G") << "appended on every stamp";

  auto plain = std::make_shared<hostsim::SheetModel>();
  plain->center_header = "Page &P";
  book.model->sheets.push_back(plain);
  StampDocument(book.type, kDraft, 0, book.doc, true, false);
  for (int i : {0, 1, 2}) EXPECT_EQ(book.model->sheets[i]->center_header, " ") << "the whole header goes";
  EXPECT_EQ(plain->center_header, "Page &P");
  EXPECT_TRUE(log.ExceptionTexts().empty());

  // A folder that can't take the picture: no sheet is stamped.
  OpenDoc nowhere(HostType::ohaExcel, (folder.Path() / "missing folder" / "Budget.xlsx").string());
  StampDocument(nowhere.type, kDraft, 0, nowhere.doc, false, true);
  EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{"PROC: StampDocument {for EXCEL}"});
  for (const auto& sheet : nowhere.model->sheets) EXPECT_EQ(sheet->center_header, "") << sheet->name;
}

TEST(StampDocumentTest, EachHostsFailureIsLoggedUnderItsOwnText) {
  struct Case {
    HostType kind;
    const char* expected;
  };
  for (const Case& c : {Case{HostType::ohaWord, "PROC: StampDocument {for WORD}"},
                        Case{HostType::ohaPowerPoint, "PROC: StampDocument {for POWERPOINT}"},
                        Case{HostType::ohaExcel, "PROC: StampDocument {for EXCEL}"}}) {
    SCOPED_TRACE(c.expected);
    LogCapture log;
    OpenDoc gone(c.kind);
    gone.Close();
    StampDocument(gone.type, kDraft, 0, gone.doc, false, true);
    EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{c.expected});
    // Taking a stamp off a document that is gone: the absent stamp is no failure.
    if (c.kind != HostType::ohaExcel) {
      log.Clear();
      StampDocument(gone.type, kDraft, 0, gone.doc, true, false);
      EXPECT_TRUE(log.ExceptionTexts().empty());
    }
  }
  // A workbook while the host is Word fails in the Word branch; Publisher does nothing.
  LogCapture log;
  OpenDoc book(HostType::ohaExcel);
  StampDocument(HostType::ohaWord, kDraft, 0, book.doc, false, true);
  EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{"PROC: StampDocument {for WORD}"});
  OpenDoc pub(HostType::ohaPublisher);
  pub.host->ResetCallCounts();
  StampDocument(pub.type, kDraft, 0, pub.doc, false, true);
  EXPECT_EQ(pub.host->TotalCalls(), 0u);
}

}  // namespace
}  // namespace quillorn::automation
