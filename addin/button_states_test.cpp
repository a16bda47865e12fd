#include "addin/button_states.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include "addin/addin_module.h"
#include "data/cache_schema.h"
#include "data/sql_database.h"
#include "data/table.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"
#include "platform/system_services.h"

namespace quillorn::addin {
namespace {

constexpr int kMe = 7;
constexpr int kSomeoneElse = 8;
constexpr int kDoc = 42;

// A document and its rights as the cache tables would give them; `failOn` makes
// the read of that right raise, as a column missing from the table would.
struct FakeSource final : ButtonStateSource {
  bool ignore = false;
  bool readOnly = false;
  bool docOpen = true;
  bool permissionsOpen = true;
  int docID = kDoc;
  int userID = kMe;
  std::string status = "E";
  std::optional<int> statusBy = kMe;
  std::string isLatest = "Y";
  // Rows of DOC_PERMISSIONS by (doc, user).
  std::map<std::pair<int, int>, std::map<std::string, std::string, std::less<>>> rows;
  std::string failOn;
  const std::map<std::string, std::string, std::less<>>* located = nullptr;

  void Grant(std::string rights, int user = kMe, int doc = kDoc) {
    auto& row = rows[{doc, user}];
    for (const char* name : {"P_APPROVE", "P_REVISE", "P_PRINT_UNCTRL", "P_EXPORT", "P_CHECKOUT"}) row[name] = "N";
    // One letter a right: Approve, Revise, Print uncontrolled, eXport, Check out;
    // in lower case the right reads "y".
    const std::pair<char, const char*> letters[] = {
        {'A', "P_APPROVE"}, {'R', "P_REVISE"}, {'P', "P_PRINT_UNCTRL"}, {'X', "P_EXPORT"}, {'C', "P_CHECKOUT"}};
    for (const auto& [letter, name] : letters) {
      if (rights.find(letter) != std::string::npos) row[name] = "Y";
      if (rights.find(static_cast<char>(letter - 'A' + 'a')) != std::string::npos) row[name] = "y";
    }
  }

  bool Ignore() override { return ignore; }
  bool ReadOnly() override { return readOnly; }
  int DocID() override { return docID; }
  int UserID() override { return userID; }
  bool DocOpen() override { return docOpen; }
  bool PermissionsOpen() override { return permissionsOpen; }
  bool LocatePermissions(int doc, int user) override {
    auto it = rows.find({doc, user});
    if (it == rows.end()) return false;
    located = &it->second;
    return true;
  }
  std::string Status() override { return status; }
  std::optional<int> StatusBy() override { return statusBy; }
  std::string IsLatest() override { return isLatest; }
  std::string Permission(std::string_view name) override {
    if (name == failOn) throw std::runtime_error("tblDocPermissions: Field '" + std::string(name) + "' not found");
    if (located == nullptr) throw std::logic_error("read of a right before the locate");
    auto it = located->find(name);
    return it == located->end() ? std::string() : it->second;
  }
};

// What the user sees of the commands the states decide.
struct Commands {
  bool approve, revise, complete, save, checkOut, exportDoc, printControlled;
  bool operator==(const Commands&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Commands& c) {
  return os << "approve " << c.approve << " revise " << c.revise << " complete " << c.complete << " save " << c.save
            << " checkOut " << c.checkOut << " export " << c.exportDoc << " print " << c.printControlled;
}

// Reads each command where both its controls are, and fails the test when the
// pair disagree: the Office menu and the backstage must never tell two stories.
Commands Read(CommandSurface& s) {
  auto pair = [](const Control& a, const Control& b, const char* what) {
    EXPECT_EQ(a.enabled, b.enabled) << what;
    return a.enabled;
  };
  const bool save = s.FindComponent("FileSaveCommand")->enabled;
  EXPECT_EQ(s.FindComponent("FileSaveShortcut")->enabled, save) << "Ctrl+S goes with Save";
  EXPECT_EQ(s.FindComponent("FileSaveAsCommand")->enabled, save) << "Save As goes with Save";
  return {s.At("HomeTab", {0, 0}).enabled,
          s.At("HomeTab", {0, 1}).enabled,
          pair(s.At("RibbonOfficeMenu", {0}), s.At("BackstageView", {0}), "Save as Complete"),
          save,
          pair(s.At("RibbonOfficeMenu", {2, 0}), s.At("BackstageView", {2, 0, 0, 0}), "Check Out"),
          pair(s.At("RibbonOfficeMenu", {2, 1}), s.At("BackstageView", {2, 0, 0, 1}), "Export"),
          pair(s.At("RibbonOfficeMenu", {1}), s.At("BackstageView", {1, 0, 0}), "Print Controlled")};
}

TEST(SetQuillornRibbonButtonStates, CommandsOfAManagedDocument) {
  struct Case {
    const char* what;
    std::string status;
    std::optional<int> statusBy;
    const char* isLatest;
    bool readOnly;
    std::string rights;
    Commands expected;
  };
  constexpr bool T = true, F = false;
  const Case cases[] = {
      // approve revise complete save checkOut export print
      {"E with the approve right, read-only", "E", kMe, "Y", T, "A", {F, F, F, F, F, F, F}},
      {"E with the approve right", "E", kSomeoneElse, "Y", F, "A", {T, F, T, T, F, F, F}},
      {"W without the approve right completes", "W", kSomeoneElse, "Y", F, "", {F, F, T, T, F, F, F}},
      {"N and P are open for work", "N", kSomeoneElse, "Y", F, "A", {T, F, T, T, F, F, F}},
      {"P", "P", kSomeoneElse, "Y", F, "A", {T, F, T, T, F, F, F}},
      {"blank status is open for work", " ", std::nullopt, "Y", F, "AC", {T, F, T, T, T, F, F}},
      {"no status at all is not", "", std::nullopt, "Y", F, "AC", {F, F, F, T, T, F, F}},
      {"C set by this user, read-only, no approve right", "C", kMe, "Y", T, "", {T, F, T, F, F, F, F}},
      {"C set by someone else", "C", kSomeoneElse, "Y", F, "A", {F, F, F, T, F, F, F}},
      {"A, latest, revise right", "A", kMe, "Y", F, "ARC", {F, T, F, F, F, F, F}},
      {"A, not latest", "A", kMe, "N", F, "R", {F, F, F, F, F, F, F}},
      {"R, latest, read-only", "R", kMe, "Y", T, "R", {F, F, F, F, F, F, F}},
      {"! is released too", "!", kMe, "Y", F, "R", {F, T, F, F, F, F, F}},
      {"E, latest, check-out right, read-only", "E", kMe, "Y", T, "C", {F, F, F, F, F, F, F}},
      {"E, latest, check-out right", "E", kMe, "Y", F, "C", {F, F, T, T, T, F, F}},
      {"E, not latest: no save, no check-out", "E", kMe, "N", F, "AC", {T, F, T, F, F, F, F}},
      {"export and print hang on their rights alone", "A", kMe, "N", T, "XP", {F, F, F, F, F, T, T}},
      {"rights count only as capital Y", "E", kSomeoneElse, "Y", F, "ax", {F, F, T, T, F, F, F}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FakeSource source;
    source.status = c.status;
    source.statusBy = c.statusBy;
    source.isLatest = c.isLatest;
    source.readOnly = c.readOnly;
    source.Grant(c.rights);
    CommandSurface s;
    foundation::LogContext context;
    SetQuillornRibbonButtonStates(s, source, context);
    EXPECT_EQ(Read(s), c.expected);
    EXPECT_EQ(context.ProcName, "");
  }
}

// The groups and menus a managed document shows, and an unmanaged one hides or
// gives back to the host.
struct Shown {
  bool printGroup, builtInSaveAs, addInSaveAs, tabAttention, taskAttention, checkOutTask, exportTask;
  bool operator==(const Shown&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Shown& v) {
  return os << "printGroup " << v.printGroup << " builtInSaveAs " << v.builtInSaveAs << " addInSaveAs "
            << v.addInSaveAs << " tabAttention " << v.tabAttention << " taskAttention " << v.taskAttention
            << " checkOutTask " << v.checkOutTask << " exportTask " << v.exportTask;
}

Shown ReadShown(CommandSurface& s) {
  return {s.At("BackstageView", {1, 0}).visible,       s.At("RibbonOfficeMenu", {3}).visible,
          s.At("RibbonOfficeMenu", {2}).visible,       s.At("BackstageView", {3, 0}).visible,
          s.At("BackstageView", {2, 0, 0, 2, 0}).visible, s.At("BackstageView", {2, 0, 0, 0}).visible,
          s.At("BackstageView", {2, 0, 0, 1}).visible};
}

TEST(SetQuillornRibbonButtonStates, UnmanagedDocumentsGetTheHostsOwnCommandsBack) {
  const Shown managed{true, false, true, true, true, true, true};
  const Shown unmanaged{false, true, false, false, false, false, false};
  struct Case {
    const char* what;
    std::function<void(FakeSource&)> change;
  };
  const Case cases[] = {
      {"IGNORE set", [](FakeSource& f) { f.ignore = true; }},
      {"rights not open", [](FakeSource& f) { f.permissionsOpen = false; }},
      {"documents not open", [](FakeSource& f) { f.docOpen = false; }},
      {"rights only for another user", [](FakeSource& f) { f.userID = kSomeoneElse + 1; }},
      {"rights only for another document", [](FakeSource& f) { f.docID = kDoc + 1; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    // Start from a managed document with every right, so each flag has to move.
    FakeSource source;
    source.Grant("ARPXC");
    CommandSurface s;
    foundation::LogContext context;
    SetQuillornRibbonButtonStates(s, source, context);
    ASSERT_EQ(ReadShown(s), managed);
    ASSERT_EQ(Read(s), (Commands{true, false, true, true, true, true, true}));
    s.FindComponent("FileSaveCommand")->enabled = false;
    s.FindComponent("FileSaveShortcut")->enabled = false;
    s.FindComponent("FileSaveAsCommand")->enabled = false;

    c.change(source);
    SetQuillornRibbonButtonStates(s, source, context);
    EXPECT_EQ(ReadShown(s), unmanaged);
    // Check out and export keep their last flags; their tasks are hidden anyway.
    const Commands after = Read(s);
    EXPECT_EQ((Commands{after.approve, after.revise, after.complete, after.save, false, false,
                        after.printControlled}),
              (Commands{false, false, false, true, false, false, false}));
    EXPECT_EQ(context.ProcName, "");
  }
}

// A failure leaves the label of the stage it stopped at, for the crash report.
TEST(SetQuillornRibbonButtonStates, AFailureLeavesTheLabelOfItsStage) {
  const std::string name = kButtonStatesProcName;
  struct Case {
    const char* what;
    std::string failOn;                               // a right whose read raises
    std::function<void(CommandSurface&)> breakSurface;  // or a control gone
    std::string label;
    std::string status = "A";
  };
  const Case cases[] = {
      {"approve right", "P_APPROVE", nullptr, name},
      {"print right", "P_PRINT_UNCTRL", nullptr, name + "1"},
      {"Save As of the host gone", "", [](CommandSurface& s) { s.Root("RibbonOfficeMenu").controls.pop_back(); },
       name + "2"},
      {"Attention! tab gone", "", [](CommandSurface& s) { s.Root("BackstageView").controls.resize(3); }, name + "3"},
      {"export right", "P_EXPORT", nullptr, name + "5"},
      // Read only where save is on: a released revision never asks for it.
      {"check-out right, saved document", "P_CHECKOUT", nullptr, name + "5", "E"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FakeSource source;
    source.status = c.status;
    source.Grant("R");
    source.failOn = c.failOn;
    CommandSurface s;
    if (c.breakSurface) c.breakSurface(s);
    foundation::LogContext context;
    context.ProcName = "dm.OpenDocPermissions";
    EXPECT_ANY_THROW(SetQuillornRibbonButtonStates(s, source, context));
    EXPECT_EQ(context.ProcName, c.label);
  }
}

// The real tables: tblFiles and tblDoc where tracking left them, the rights
// found by the locate on doc_id;user_id.
TEST(TableButtonStateSource, ReadsTheCurrentRowsAndLocatesTheRights) {
  foundation::testing::TempFolder folder;
  data::Database db("CacheDB");
  db.FileName = folder.Dir() + "cache.dat";
  db.Open(true);
  for (const data::TableStatement& t : data::CacheTableStatements()) {
    if (t.table == "DOCS" || t.table == "FILES" || t.table == "DOC_PERMISSIONS") db.Execute(t.sql);
  }
  db.Execute("insert into FILES (DOC_ID, FILENAME, IGNORE, READ_ONLY) values (41, 'a.docx', false, false)");
  db.Execute("insert into FILES (DOC_ID, FILENAME, IGNORE, READ_ONLY) values (42, 'b.docx', false, true)");
  db.Execute("insert into DOCS (DOC_ID, STATUS, STATUS_BY, IS_LATEST) values (41, 'E', NULL, 'Y')");
  db.Execute("insert into DOCS (DOC_ID, STATUS, STATUS_BY, IS_LATEST) values (42, 'C', 7, 'Y')");
  db.Execute("insert into DOC_PERMISSIONS (DOC_ID, USER_ID, P_APPROVE, P_EXPORT) values (42, 8, 'Y', 'Y')");
  db.Execute("insert into DOC_PERMISSIONS (DOC_ID, USER_ID, P_APPROVE, P_EXPORT) values (42, 7, 'N', 'Y')");
  data::Table tblFiles(db, "FILES", "FILENAME", "tblFiles");
  data::Table tblDoc(db, "DOCS", "DOC_ID", "tblDoc");
  data::Table tblDocPermissions(db, "DOC_PERMISSIONS", "DOC_ID;USER_ID", "tblDocPermissions");
  tblFiles.Open();
  tblDoc.Open();
  tblDocPermissions.Open();
  ASSERT_TRUE(tblFiles.Locate("FILENAME", platform::Variant("b.docx")));
  ASSERT_TRUE(tblDoc.Locate("DOC_ID", platform::Variant(42)));

  TableButtonStateSource source(tblFiles, tblDoc, tblDocPermissions, kMe);
  EXPECT_TRUE(source.ReadOnly());
  EXPECT_EQ(source.DocID(), 42);
  EXPECT_EQ(source.Status(), "C");
  EXPECT_EQ(source.StatusBy(), std::optional<int>(kMe));

  // Checked out by this user and open for reading: approve and complete, no save.
  CommandSurface s;
  foundation::LogContext context;
  SetQuillornRibbonButtonStates(s, source, context);
  EXPECT_EQ(Read(s), (Commands{true, false, true, false, false, true, false}));
  EXPECT_EQ(tblDocPermissions.FieldByName("USER_ID").AsInteger(), kMe) << "the locate moved to this user's row";

  ASSERT_TRUE(tblDoc.Locate("DOC_ID", platform::Variant(41)));
  EXPECT_EQ(source.StatusBy(), std::nullopt);
}

// Before initialisation the module has no data module: nothing is managed, and
// the host keeps its own Save As.
TEST(SetQuillornRibbonButtonStates, AModuleWithoutItsDataModuleManagesNothing) {
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  platform::FakeSystemServices system;
  TAddInModule module(AddInHost{.Loop = &loop, .System = &system});
  SetQuillornRibbonButtonStates(module);
  EXPECT_TRUE(module.Surface().At("RibbonOfficeMenu", {3}).visible);
  EXPECT_FALSE(module.Surface().At("RibbonOfficeMenu", {2}).visible);
}

}  // namespace
}  // namespace quillorn::addin
