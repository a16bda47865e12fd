#include "automation/protection.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "automation/host_for_test.h"
#include "automation/track_changes.h"

namespace quillorn::automation {
namespace {

using hostsim::DocumentModel;
using testing::OpenDoc;
using testing::Texts;

constexpr char kPassword[] = "ZTRshelter";

// How the document is locked: Word's protection type and password, each sheet's
// password, the workbook's, and PowerPoint's Final.
std::string Lock(const DocumentModel& d) {
  std::string out =
      d.protection_type == -1 ? "" : std::to_string(d.protection_type) + " " + d.protection_password;
  for (const auto& s : d.sheets) out += s->protected_ ? s->password + " " : "- ";
  return out + (d.protect_structure ? "workbook " + d.workbook_password : "") + (d.final ? "final" : "");
}

TEST(ProtectionTest, ProtectThenUnprotect) {
  struct Case {
    const char* what;
    HostType kind;
    std::function<void(OpenDoc&)> setup;  // in place of ProtectDocument
    std::string locked;                   // after ProtectDocument or the setup
    bool read_only = false, was_protected;
    std::string unlocked;
  };
  auto nothing = [](OpenDoc&) {};
  // clang-format off
  const std::vector<Case> cases = {
      {.what = "Word", .kind = HostType::ohaWord, .locked = "2 ZTRshelter", .was_protected = true},
      {.what = "Word unprotected: its refusal leaves no record", .kind = HostType::ohaWord, .setup = nothing,
       .read_only = true, .was_protected = false},
      {.what = "Word gone: READ_ONLY", .kind = HostType::ohaWord, .setup = [](OpenDoc& o) { o.Close(); },
       .read_only = true, .was_protected = true},
      {.what = "Excel: worksheets, then the workbook; unprotected the other way round",
       .kind = HostType::ohaExcel,
       .setup = [](OpenDoc& o) {
         o.model->sheets[1]->is_chart = true;  // no worksheet
         ProtectDocument(o.model->host, o.doc);
       },
       .locked = "ZTRshelter - ZTRshelter workbook ZTRshelter", .was_protected = true, .unlocked = "- - - "},
      {.what = "Excel sheets only: false, the sheets unprotected all the same", .kind = HostType::ohaExcel,
       .setup = [](OpenDoc& o) {
         for (auto& s : o.model->sheets) s->protected_ = true, s->password = kPassword;
       },
       .locked = "ZTRshelter ZTRshelter ZTRshelter ", .read_only = true, .was_protected = false,
       .unlocked = "- - - "},
      {.what = "Excel workbook under another password: the sheets, taken after it, stay",
       .kind = HostType::ohaExcel,
       .setup = [](OpenDoc& o) { ProtectDocument(o.host->Kind(), o.doc), o.model->workbook_password = "x"; },
       .locked = "ZTRshelter ZTRshelter ZTRshelter workbook x", .was_protected = true,
       .unlocked = "ZTRshelter ZTRshelter ZTRshelter workbook x"},
      {.what = "PowerPoint: Final, which says nothing of READ_ONLY", .kind = HostType::ohaPowerPoint,
       .locked = "final", .was_protected = false},
      {.what = "Publisher: READ_ONLY", .kind = HostType::ohaPublisher, .read_only = true,
       .was_protected = true},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    OpenDoc o(c.kind);
    c.setup ? c.setup(o) : ProtectDocument(c.kind, o.doc);
    EXPECT_EQ(Lock(*o.model), c.locked);
    EXPECT_EQ(UnprotectDocument(c.kind, o.doc, c.read_only), c.was_protected);
    EXPECT_EQ(Lock(*o.model), c.unlocked);
    EXPECT_EQ(o.ExceptionTexts(), Texts{});
  }
  OpenDoc gone(HostType::ohaWord);
  gone.Close();
  ProtectDocument(HostType::ohaWord, gone.doc);
  EXPECT_EQ(gone.ExceptionTexts(), Texts{"PROC: ProtectDocument"});
}

TEST(TrackChangesTest, WordOnlyAndItsFailuresLogged) {
  OpenDoc word(HostType::ohaWord);
  auto& m = *word.model;
  m.revisions_view = 1;
  EnableTrackChanges(HostType::ohaWord, word.doc);
  const bool enabled = m.track_revisions;
  HideTrackingChanges(HostType::ohaWord, word.doc);
  DisableTrackChanges(HostType::ohaWord, word.doc);
  EXPECT_EQ(std::tie(enabled, m.track_revisions, m.show_revisions_and_comments, m.revisions_view),
            std::make_tuple(true, false, false, 0));
  word.Close();
  for (auto routine : {EnableTrackChanges, DisableTrackChanges, HideTrackingChanges}) {
    routine(HostType::ohaExcel, word.doc);  // no call at all in other hosts; any would raise now
    routine(HostType::ohaWord, word.doc);
  }
  EXPECT_EQ(word.ExceptionTexts(),
            (Texts{"PROC: EnableTrackChanges", "PROC: DisableTrackChanges", "PROC: HideTrackingChanges"}));
}

}  // namespace
}  // namespace quillorn::automation
