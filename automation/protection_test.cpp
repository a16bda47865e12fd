#include "automation/protection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "automation/log_capture_for_test.h"
#include "automation/open_doc_for_test.h"
#include "automation/track_changes.h"

namespace quillorn::automation {
namespace {

using hostsim::DocumentModel;
using platform::HostType;
using testing::LogCapture;
using testing::OpenDoc;

void ProtectWord(OpenDoc& o, const std::string& password) {
  o.model->protection_type = 2;
  o.model->protection_password = password;
}

TEST(ProtectionTest, ProtectLocksEachHostItsWay) {
  LogCapture log(true);
  OpenDoc word(HostType::ohaWord);
  ProtectDocument(word.type, word.doc);
  EXPECT_EQ(word.model->protection_type, 2);
  EXPECT_EQ(word.model->protection_password, "ZTRshelter");

  OpenDoc book(HostType::ohaExcel);
  book.model->sheets[1]->is_chart = true;  // chart sheets are no worksheets
  ProtectDocument(book.type, book.doc);
  EXPECT_TRUE(book.model->sheets[0]->protected_);
  EXPECT_FALSE(book.model->sheets[1]->protected_);
  EXPECT_EQ(book.model->sheets[2]->password, "ZTRshelter");
  EXPECT_TRUE(book.model->protect_structure);
  EXPECT_EQ(book.model->workbook_password, "ZTRshelter");

  OpenDoc ppt(HostType::ohaPowerPoint);
  ProtectDocument(ppt.type, ppt.doc);
  EXPECT_TRUE(ppt.model->final);
  EXPECT_EQ(log.Traces(), std::vector<std::string>(3, "ProtectDocument\t"));

  // Already protected under another password, or a workbook that is gone.
  log.Clear();
  ProtectWord(word, "someone else's");
  ProtectDocument(word.type, word.doc);
  EXPECT_EQ(word.model->protection_password, "someone else's");
  book.Close();
  ProtectDocument(book.type, book.doc);
  EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>(2, "PROC: ProtectDocument"));
}

TEST(ProtectionTest, UnprotectReportsWhetherTheDocumentWasProtected) {
  struct Case {
    const char* what;
    HostType kind;
    std::function<void(OpenDoc&)> setup;
    bool read_only;
    bool expected;
    std::function<void(const DocumentModel&)> after;
  };
  auto nothing = [](OpenDoc&) {};
  auto close = [](OpenDoc& o) { o.Close(); };
  auto sheets_unprotected = [](const DocumentModel& d) {
    for (const auto& s : d.sheets) EXPECT_FALSE(s->protected_) << s->name;
  };
  const std::vector<Case> cases = {
      {"Word unprotected: Word's refusal leaves no record", HostType::ohaWord, nothing, true, false,
       [](const DocumentModel& d) { EXPECT_EQ(d.protection_type, -1); }},
      {"Word protected by us", HostType::ohaWord, [](OpenDoc& o) { ProtectWord(o, "ZTRshelter"); }, false, true,
       [](const DocumentModel& d) { EXPECT_EQ(d.protection_type, -1); }},
      {"Word protected by someone else stays protected", HostType::ohaWord,
       [](OpenDoc& o) { ProtectWord(o, "other"); }, false, true,
       [](const DocumentModel& d) { EXPECT_EQ(d.protection_type, 2); }},
      {"Word gone before ProtectionType: READ_ONLY", HostType::ohaWord, close, true, true, nullptr},
      {"Word gone, not read-only", HostType::ohaWord, close, false, false, nullptr},
      {"Excel protected workbook and sheets", HostType::ohaExcel,
       [](OpenDoc& o) { ProtectDocument(o.type, o.doc); }, false, true,
       [&](const DocumentModel& d) {
         EXPECT_FALSE(d.protect_structure);
         sheets_unprotected(d);
       }},
      {"Excel sheets only: false, and the sheets are unprotected all the same", HostType::ohaExcel,
       [](OpenDoc& o) {
         for (auto& s : o.model->sheets) s->protected_ = true, s->password = "ZTRshelter";
       },
       true, false, sheets_unprotected},
      {"Excel workbook under another password: the sheets stay", HostType::ohaExcel,
       [](OpenDoc& o) {
         o.model->protect_structure = true;
         o.model->workbook_password = "other";
         o.model->sheets[0]->protected_ = true;
         o.model->sheets[0]->password = "ZTRshelter";
       },
       false, true,
       [](const DocumentModel& d) { EXPECT_TRUE(d.protect_structure && d.sheets[0]->protected_); }},
      {"PowerPoint final but not read-only", HostType::ohaPowerPoint, [](OpenDoc& o) { o.model->final = true; },
       false, false, [](const DocumentModel& d) { EXPECT_FALSE(d.final); }},
      {"PowerPoint read-only but not final", HostType::ohaPowerPoint, nothing, true, true, nullptr},
      {"Publisher repeats READ_ONLY", HostType::ohaPublisher, nothing, true, true, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    LogCapture log(true);
    OpenDoc o(c.kind);
    c.setup(o);
    log.Clear();
    EXPECT_EQ(UnprotectDocument(o.type, o.doc, c.read_only), c.expected);
    if (c.after) c.after(*o.model);
    EXPECT_TRUE(log.ExceptionTexts().empty());
    // Only the hosts with a password trace, and only once they got past the first read.
    const auto& open = o.host->Documents();
    const bool gone = std::find(open.begin(), open.end(), o.model) == open.end();
    const bool traced = (c.kind == HostType::ohaWord || c.kind == HostType::ohaExcel) && !gone;
    EXPECT_EQ(log.Traces(), std::vector<std::string>(traced ? 1 : 0, "UnprotectDocument\t"));
  }
}

TEST(TrackChangesTest, WordSwitchesTrackingAndHidesMarks) {
  LogCapture log;
  OpenDoc word(HostType::ohaWord);
  word.model->revisions_view = 1;
  EnableTrackChanges(word.type, word.doc);
  EXPECT_TRUE(word.model->track_revisions);
  HideTrackingChanges(word.type, word.doc);
  EXPECT_FALSE(word.model->show_revisions_and_comments);
  EXPECT_EQ(word.model->revisions_view, 0);
  DisableTrackChanges(word.type, word.doc);
  EXPECT_FALSE(word.model->track_revisions);
  EXPECT_TRUE(log.Exceptions().empty());
}

TEST(TrackChangesTest, OtherHostsAreNotTouchedAndWordFailuresAreLogged) {
  using Routine = void (*)(HostType, const platform::Variant&);
  struct Case {
    Routine routine;
    const char* text;
  };
  for (const Case& c : {Case{EnableTrackChanges, "PROC: EnableTrackChanges"},
                        Case{DisableTrackChanges, "PROC: DisableTrackChanges"},
                        Case{HideTrackingChanges, "PROC: HideTrackingChanges"}}) {
    SCOPED_TRACE(c.text);
    LogCapture log(true);
    for (HostType kind : {HostType::ohaExcel, HostType::ohaPowerPoint}) {
      OpenDoc o(kind);
      o.host->ResetCallCounts();
      c.routine(o.type, o.doc);
      EXPECT_EQ(o.host->TotalCalls(), 0u);
    }
    EXPECT_TRUE(log.Traces().empty());
    OpenDoc gone(HostType::ohaWord);
    gone.Close();
    c.routine(gone.type, gone.doc);
    EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{c.text});
  }
}

}  // namespace
}  // namespace quillorn::automation
