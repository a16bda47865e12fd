#include "automation/protection.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "automation/log_capture_for_test.h"
#include "automation/open_doc_for_test.h"
#include "automation/track_changes.h"

namespace quillorn::automation {
namespace {

using hostsim::DocumentModel;
using hostsim::HostKind;
using testing::LogCapture;
using testing::OpenDoc;

void ProtectWord(DocumentModel& d, const std::string& password) {
  d.protection_type = 2;
  d.protection_password = password;
}

TEST(ProtectionTest, ProtectLocksEachHostItsWay) {
  LogCapture log(true);
  OpenDoc word(HostKind::Word);
  ProtectDocument(word.type, word.doc);
  EXPECT_EQ(word.model->protection_type, 2);
  EXPECT_EQ(word.model->protection_password, "ZTRshelter");

  OpenDoc book(HostKind::Excel);
  book.model->sheets[1]->is_chart = true;  // chart sheets are no worksheets
  ProtectDocument(book.type, book.doc);
  EXPECT_TRUE(book.model->sheets[0]->protected_);
  EXPECT_FALSE(book.model->sheets[1]->protected_);
  EXPECT_EQ(book.model->sheets[2]->password, "ZTRshelter");
  EXPECT_TRUE(book.model->protect_structure);
  EXPECT_EQ(book.model->workbook_password, "ZTRshelter");

  OpenDoc ppt(HostKind::PowerPoint);
  ProtectDocument(ppt.type, ppt.doc);
  EXPECT_TRUE(ppt.model->final);

  OpenDoc pub(HostKind::Publisher);
  pub.host->ResetCallCounts();
  ProtectDocument(pub.type, pub.doc);
  EXPECT_EQ(pub.host->TotalCalls(), 0u);

  EXPECT_EQ(log.Traces(), std::vector<std::string>(4, "ProtectDocument\t"));
}

TEST(ProtectionTest, ProtectFailuresAreLoggedAndLeaveWhatWasDone) {
  LogCapture log;
  OpenDoc word(HostKind::Word);
  ProtectWord(*word.model, "someone else's");
  ProtectDocument(word.type, word.doc);
  EXPECT_EQ(word.model->protection_password, "someone else's");
  OpenDoc gone(HostKind::Excel);
  gone.Close();
  ProtectDocument(gone.type, gone.doc);
  EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>(2, "PROC: ProtectDocument"));
}

TEST(ProtectionTest, UnprotectReportsWhetherTheDocumentWasProtected) {
  struct Case {
    const char* what;
    HostKind kind;
    std::function<void(OpenDoc&)> setup;
    bool read_only;
    bool expected;
    std::function<void(const DocumentModel&)> after;
  };
  const std::vector<Case> cases = {
      {"Word unprotected: Word's refusal leaves no record", HostKind::Word, [](OpenDoc&) {}, true, false,
       [](const DocumentModel& d) { EXPECT_EQ(d.protection_type, -1); }},
      {"Word protected by us", HostKind::Word, [](OpenDoc& o) { ProtectWord(*o.model, "ZTRshelter"); }, false, true,
       [](const DocumentModel& d) { EXPECT_EQ(d.protection_type, -1); }},
      {"Word protected by someone else stays protected", HostKind::Word,
       [](OpenDoc& o) { ProtectWord(*o.model, "other"); }, false, true,
       [](const DocumentModel& d) { EXPECT_EQ(d.protection_type, 2); }},
      {"Word gone before ProtectionType: READ_ONLY", HostKind::Word, [](OpenDoc& o) { o.Close(); }, true, true,
       [](const DocumentModel&) {}},
      {"Word gone, not read-only", HostKind::Word, [](OpenDoc& o) { o.Close(); }, false, false,
       [](const DocumentModel&) {}},
      {"Excel protected workbook and sheets", HostKind::Excel,
       [](OpenDoc& o) { ProtectDocument(o.type, o.doc); }, false, true,
       [](const DocumentModel& d) {
         EXPECT_FALSE(d.protect_structure);
         for (const auto& s : d.sheets) EXPECT_FALSE(s->protected_) << s->name;
       }},
      {"Excel sheets only: false, and the sheets are unprotected all the same", HostKind::Excel,
       [](OpenDoc& o) {
         for (auto& s : o.model->sheets) {
           s->protected_ = true;
           s->password = "ZTRshelter";
         }
       },
       true, false,
       [](const DocumentModel& d) {
         for (const auto& s : d.sheets) EXPECT_FALSE(s->protected_) << s->name;
       }},
      {"Excel workbook under another password: the sheets stay", HostKind::Excel,
       [](OpenDoc& o) {
         o.model->protect_structure = true;
         o.model->workbook_password = "other";
         o.model->sheets[0]->protected_ = true;
         o.model->sheets[0]->password = "ZTRshelter";
       },
       false, true,
       [](const DocumentModel& d) {
         EXPECT_TRUE(d.protect_structure);
         EXPECT_TRUE(d.sheets[0]->protected_);
       }},
      {"Excel gone: READ_ONLY", HostKind::Excel, [](OpenDoc& o) { o.Close(); }, true, true,
       [](const DocumentModel&) {}},
      {"PowerPoint final but not read-only", HostKind::PowerPoint, [](OpenDoc& o) { o.model->final = true; }, false,
       false, [](const DocumentModel& d) { EXPECT_FALSE(d.final); }},
      {"PowerPoint read-only but not final", HostKind::PowerPoint, [](OpenDoc&) {}, true, true,
       [](const DocumentModel& d) { EXPECT_FALSE(d.final); }},
      {"Publisher repeats READ_ONLY", HostKind::Publisher, [](OpenDoc&) {}, true, true, [](const DocumentModel&) {}},
  };
  for (const auto& c : cases) {
    LogCapture log;
    OpenDoc o(c.kind);
    c.setup(o);
    EXPECT_EQ(UnprotectDocument(o.type, o.doc, c.read_only), c.expected) << c.what;
    c.after(*o.model);
    EXPECT_TRUE(log.Exceptions().empty()) << c.what;
  }
}

TEST(ProtectionTest, UnprotectTracesOnlyWhereTheHostHasAPassword) {
  struct Case {
    HostKind kind;
    std::size_t traces;
  };
  for (const Case& c : {Case{HostKind::Word, 1}, Case{HostKind::Excel, 1}, Case{HostKind::PowerPoint, 0},
                        Case{HostKind::Publisher, 0}}) {
    LogCapture log(true);
    OpenDoc o(c.kind);
    UnprotectDocument(o.type, o.doc, false);
    const auto traces = log.Traces();
    EXPECT_EQ(traces.size(), c.traces);
    for (const auto& t : traces) EXPECT_EQ(t, "UnprotectDocument\t");
  }
}

TEST(TrackChangesTest, WordSwitchesTrackingAndHidesMarks) {
  LogCapture log;
  OpenDoc word(HostKind::Word);
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
  const std::vector<Case> cases = {{EnableTrackChanges, "PROC: EnableTrackChanges"},
                                   {DisableTrackChanges, "PROC: DisableTrackChanges"},
                                   {HideTrackingChanges, "PROC: HideTrackingChanges"}};
  for (const auto& c : cases) {
    LogCapture log(true);
    for (HostKind kind : {HostKind::Excel, HostKind::PowerPoint}) {
      OpenDoc o(kind);
      o.host->ResetCallCounts();
      c.routine(o.type, o.doc);
      EXPECT_EQ(o.host->TotalCalls(), 0u) << c.text;
    }
    EXPECT_TRUE(log.Traces().empty()) << c.text;
    OpenDoc gone(HostKind::Word);
    gone.Close();
    c.routine(gone.type, gone.doc);
    EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{c.text});
  }
}

}  // namespace
}  // namespace quillorn::automation
