#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "addin/addin_module.h"
#include "addin/module_fixture_for_test.h"
#include "data/tdm.h"
#include "hostsim/model.h"
#include "platform/scripted_prompts.h"

namespace quillorn::addin {
namespace {

using platform::MessageKind;
using platform::ModalResult;
using platform::Variant;
using testing::Machine;
using testing::Process;
using Kind = platform::HostType;
using Doc = std::shared_ptr<hostsim::DocumentModel>;

constexpr char kSaveAsRefused[] = "\"Save As\" is disabled for Quillorn documents!";
constexpr char kPowerPointSaveRefused[] = "\"Save\" and \"Save As\" is disabled for Approved Quillorn documents!";

// How the desktop program announced the file; INIT true, so that tracking takes it
// as known and only positions the row, with no fetch.
struct Row {
  bool ignore = false;
  bool readOnly = false;
  bool oleIgnore = false;
};

// One host with the add-in loaded and its events connected; no server anywhere.
struct Instance {
  explicit Instance(Kind kind, const char* version = "16.0", const char* clientname = "") {
    // Port 1 on the loopback: nothing listens, so any ping is refused at once.
    m.WriteAddInIni("[Debug]\nTrace=true\n[Connection Settings]\nPort=1\nLocal_Address=127.0.0.1\nLocal_Timeout=5\n");
    p = std::make_unique<Process>(m, kind, 4242, version, clientname);
    p->Load();
    p->module->StartupTimer.SetEnabled(false);  // documents arrive by their open events here
    p->Connect();
  }

  std::string Path(const std::string& name) const { return m.home.Dir() + name; }

  // Announces the file, then opens it: its open event makes its row the current one.
  Doc OpenManaged(const std::string& name, Row row = {}, int docId = 7) {
    Announce(name, row, docId);
    return p->host->Open(Path(name));
  }
  void Announce(const std::string& name, Row row, int docId) {
    const auto b = [](bool v) { return std::string(v ? "true" : "false"); };
    // The cache opens with the first table read, as the launcher's program finds it open.
    Dm().LoadFromCache(Dm().tblFiles);
    ASSERT_TRUE(Dm().cacheExecSQL(
        "insert into FILES (DOC_ID, FILENAME, INIT, IGNORE, OLE_IGNORE, SESSION_ID, READ_ONLY, CHECKED_OUT, CACHED) "
        "values (" + std::to_string(docId) + ", '" + Path(name) + "', true, " + b(row.ignore) + ", " +
        b(row.oleIgnore) + ", 4242, " + b(row.readOnly) + ", false, false)"));
    // The record an earlier first handling loaded; tracking positions it.
    ASSERT_TRUE(Dm().cacheExecSQL("insert into DOCS (DOC_ID, DOC_NO, DOC_NAME, STATUS, IS_CURRENT, IS_LATEST) values (" +
                                  std::to_string(docId) + ", 1, 'Procedure " + name + "', 'E', 'Y', 'Y')"));
    Dm().LoadFromCache(Dm().tblDoc);
  }
  int RowsFor(const std::string& name) {
    return Dm().cacheLookup("select count(*) from FILES where FILENAME='" + Path(name) + "'").AsInt();
  }

  Variant Wrap(const Doc& doc) const { return Variant(p->host->Wrap(doc)); }
  data::Tdm& Dm() { return *p->module->dm(); }
  TAddInModule& Module() { return *p->module; }
  const std::vector<platform::PromptRecord>& Shown() const { return p->prompts.Shown(); }

  Machine m;
  std::unique_ptr<Process> p;
};

// Which event runs document tracking in which host: a foreign document that
// reaches tracking gets its row.
TEST(EventRouting, EachHostTracksOnItsOwnEvents) {
  using Call = std::function<void(TAddInModule&, const Variant& doc)>;
  const Variant none;
  const struct {
    Kind kind;
    const char* event;
    Call call;
    bool tracks;
  } cases[] = {
      {Kind::ohaWord, "DocumentOpen", [](TAddInModule& m, const Variant& d) { m.WordAppEventsDocumentOpen(d); }, true},
      {Kind::ohaWord, "DocumentChange", [](TAddInModule& m, const Variant&) { m.WordAppEventsDocumentChange(); }, true},
      {Kind::ohaWord, "WindowActivate", [&](TAddInModule& m, const Variant& d) { m.WordAppEventsWindowActivate(d, none); },
       false},
      {Kind::ohaExcel, "WorkbookOpen", [](TAddInModule& m, const Variant& d) { m.ExcelAppEventsWorkbookOpen(d); }, true},
      {Kind::ohaExcel, "WorkbookActivate", [](TAddInModule& m, const Variant& d) { m.ExcelAppEventsWorkbookActivate(d); },
       true},
      {Kind::ohaExcel, "WindowActivate", [&](TAddInModule& m, const Variant& d) { m.ExcelAppEventsWindowActivate(d, none); },
       false},
      {Kind::ohaPowerPoint, "PresentationOpen",
       [](TAddInModule& m, const Variant& d) { m.PowerPointAppEventsPresentationOpen(d); }, true},
      {Kind::ohaPowerPoint, "WindowActivate",
       [&](TAddInModule& m, const Variant& d) { m.PowerPointAppEventsWindowActivate(d, none); }, true},
      {Kind::ohaPowerPoint, "WindowDeactivate",
       [&](TAddInModule& m, const Variant& d) { m.PowerPointAppEventsWindowDeactivate(d, none); }, false},
      {Kind::ohaPowerPoint, "SlideSelectionChanged",
       [](TAddInModule& m, const Variant& d) { m.PowerPointAppEventsSlideSelectionChanged(d); }, false},
      {Kind::ohaPublisher, "DocumentOpen", [](TAddInModule& m, const Variant& d) { m.PublisherAppEventsDocumentOpen(d); },
       true},
      {Kind::ohaPublisher, "WindowActivate",
       [&](TAddInModule& m, const Variant&) { m.PublisherAppEventsWindowActivate(none); }, true},
      {Kind::ohaPublisher, "NewDocument", [](TAddInModule& m, const Variant& d) { m.PublisherAppEventsNewDocument(d); },
       false},
  };
  for (const auto& c : cases) {
    Instance in(c.kind);
    in.p->Disconnect();  // only the one event under test
    const Doc doc = in.p->host->Open(in.Path("foreign"));
    c.call(in.Module(), in.Wrap(doc));
    EXPECT_EQ(in.RowsFor("foreign"), c.tracks ? 1 : 0) << static_cast<int>(c.kind) << " " << c.event;
    EXPECT_EQ(in.m.Except(), "") << c.event;
  }
}

// Before-save refuses Save As for a managed document from Word 2010 and Excel
// 2013, and any save of an editable one in PowerPoint from 2010.
TEST(EventRouting, SaveAsRefusalFollowsHostAndVersion) {
  enum class Setup { Managed, Foreign, InternalSave, IgnoredMeanwhile };
  const struct {
    Kind kind;
    const char* version;
    bool saveAsUI;
    Row row;
    Setup setup;
    const char* refusal;  // null: the host saves
  } cases[] = {
      {Kind::ohaWord, "12.0", true, {}, Setup::Managed, nullptr},
      {Kind::ohaWord, "14.0", true, {}, Setup::Managed, kSaveAsRefused},
      {Kind::ohaWord, "16.0", false, {}, Setup::Managed, nullptr},
      {Kind::ohaWord, "16.0", true, {}, Setup::Foreign, nullptr},
      {Kind::ohaWord, "16.0", true, {}, Setup::InternalSave, nullptr},
      {Kind::ohaWord, "16.0", true, {}, Setup::IgnoredMeanwhile, nullptr},
      {Kind::ohaWord, "16.0", true, {.oleIgnore = true}, Setup::Managed, nullptr},
      {Kind::ohaExcel, "14.0", true, {}, Setup::Managed, nullptr},
      {Kind::ohaExcel, "15.0", true, {}, Setup::Managed, kSaveAsRefused},
      {Kind::ohaExcel, "16.0", false, {}, Setup::Managed, nullptr},
      {Kind::ohaExcel, "16.0", true, {}, Setup::IgnoredMeanwhile, nullptr},
      {Kind::ohaPowerPoint, "12.0", false, {}, Setup::Managed, nullptr},
      {Kind::ohaPowerPoint, "14.0", false, {}, Setup::Managed, kPowerPointSaveRefused},
      {Kind::ohaPowerPoint, "16.0", false, {.readOnly = true}, Setup::Managed, nullptr},
      {Kind::ohaPowerPoint, "16.0", false, {}, Setup::InternalSave, nullptr},
  };
  for (const auto& c : cases) {
    Instance in(c.kind, c.version);
    const Doc doc = c.setup == Setup::Foreign ? in.p->host->Open(in.Path("file")) : in.OpenManaged("file", c.row);
    if (c.setup == Setup::InternalSave) in.Module().mInternalSave.Set();
    // Another process ignores the file after this one positioned its row.
    if (c.setup == Setup::IgnoredMeanwhile) {
      ASSERT_TRUE(in.Dm().cacheExecSQL("update FILES set IGNORE=true"));
    }
    if (c.refusal != nullptr) in.p->prompts.Answer({ModalResult::mrOk, c.refusal, MessageKind::Error});

    bool cancel = false;
    bool saveAsUI = c.saveAsUI;
    switch (c.kind) {
      case Kind::ohaWord: in.Module().WordAppEventsDocumentBeforeSave(in.Wrap(doc), saveAsUI, cancel); break;
      case Kind::ohaExcel: in.Module().ExcelAppEventsWorkbookBeforeSave(in.Wrap(doc), saveAsUI, cancel); break;
      case Kind::ohaPowerPoint: in.Module().PowerPointAppEventsPresentationBeforeSave(in.Wrap(doc), cancel); break;
      case Kind::ohaPublisher: break;
    }
    const std::string label = std::to_string(static_cast<int>(c.kind)) + " " + c.version;
    EXPECT_EQ(cancel, c.refusal != nullptr) << label;
    ASSERT_EQ(in.Shown().size(), c.refusal != nullptr ? 1u : 0u) << label;
    if (c.refusal != nullptr) {
      EXPECT_EQ(in.Shown()[0].buttons, platform::Buttons::OK);
    }
    EXPECT_EQ(in.m.Except(), "") << label;
  }
}

// Word counts a document as changed before it writes it: a blank in and out, for
// every document, under the protection it had. A refusal along the way is swallowed.
TEST(EventRouting, WordBeforeSaveTouchesEveryDocumentWithoutChangingIt) {
  const struct {
    const char* what;
    bool managed;
    const char* password;  // null: not protected
    bool internalSave;
    bool touched;
  } cases[] = {
      {"foreign", false, nullptr, false, true},
      {"managed", true, nullptr, false, true},
      {"managed, protected", true, "ZTRshelter", false, true},
      {"foreign, protected", false, "ZTRshelter", false, true},
      {"during the add-in's own save", true, "ZTRshelter", true, true},
      {"protected by someone else", false, "other", false, false},
  };
  for (const auto& c : cases) {
    Instance in(Kind::ohaWord);
    const Doc doc = c.managed ? in.OpenManaged("file.docx") : in.p->host->Open(in.Path("file.docx"));
    in.Wrap(doc).Get("Content").Put("Text", Variant("Body text"));
    if (c.password != nullptr) in.Wrap(doc).Call("Protect", {2, true, c.password});
    doc->saved = true;
    if (c.internalSave) in.Module().mInternalSave.Set();

    bool saveAsUI = false;
    bool cancel = false;
    in.Module().WordAppEventsDocumentBeforeSave(in.Wrap(doc), saveAsUI, cancel);
    EXPECT_FALSE(cancel) << c.what;
    EXPECT_EQ(doc->main_story.text, "Body text\r") << c.what;
    EXPECT_EQ(doc->saved, !c.touched) << c.what;
    EXPECT_EQ(doc->protection_type, c.password != nullptr ? 2 : -1) << c.what;
    EXPECT_EQ(doc->protection_password, c.password != nullptr ? c.password : "") << c.what;
    EXPECT_EQ(in.m.Except(), "") << c.what;
  }
}

// The add-in asks the save question on close itself; Word alone switches the
// toolbox off after a close that went ahead.
TEST(EventRouting, BeforeCloseAsksOnceAndOnlyWordSwitchesTheToolboxOff) {
  const struct {
    Kind kind;
    const char* version;
    Row row;
    bool internalClose;
    ModalResult answer;  // mrNone: no question
    bool cancel;
    bool toolboxOff;
  } cases[] = {
      {Kind::ohaWord, "16.0", {}, false, ModalResult::mrCancel, true, false},
      {Kind::ohaWord, "16.0", {}, false, ModalResult::mrNo, false, true},
      {Kind::ohaWord, "16.0", {.oleIgnore = true}, false, ModalResult::mrNone, false, true},
      {Kind::ohaWord, "16.0", {}, true, ModalResult::mrNone, false, false},
      {Kind::ohaExcel, "16.0", {}, false, ModalResult::mrNo, false, false},
      {Kind::ohaExcel, "16.0", {}, false, ModalResult::mrCancel, true, false},
      {Kind::ohaExcel, "16.0", {}, true, ModalResult::mrNone, false, false},
      {Kind::ohaPowerPoint, "16.0", {}, false, ModalResult::mrNo, false, false},
      {Kind::ohaPowerPoint, "16.0", {.readOnly = true}, false, ModalResult::mrNone, false, false},
      {Kind::ohaPowerPoint, "12.0", {}, false, ModalResult::mrCancel, true, false},
      {Kind::ohaPowerPoint, "16.0", {}, true, ModalResult::mrNone, false, false},
      {Kind::ohaPublisher, "16.0", {}, false, ModalResult::mrCancel, true, false},
      {Kind::ohaPublisher, "16.0", {}, true, ModalResult::mrNone, false, false},
  };
  for (const auto& c : cases) {
    Instance in(c.kind, c.version);
    in.p->host->Open(in.Path("other"));  // not the last document: no exit after the close
    const Doc doc = in.OpenManaged("file", c.row);
    doc->MarkChanged();
    in.Module().ShowQuillornTabs(true);
    if (c.internalClose) in.Module().mInternalClose.Set();
    if (c.answer != ModalResult::mrNone) {
      in.p->prompts.Answer({c.answer, "Do you want to save the changes to \"Procedure file\"?", MessageKind::Warning});
    }

    bool cancel = false;
    switch (c.kind) {
      case Kind::ohaWord: in.Module().WordAppEventsDocumentBeforeClose(in.Wrap(doc), cancel); break;
      case Kind::ohaExcel: in.Module().ExcelAppEventsWorkbookBeforeClose(in.Wrap(doc), cancel); break;
      case Kind::ohaPowerPoint: in.Module().PowerPointAppEventsPresentationBeforeClose(in.Wrap(doc), cancel); break;
      case Kind::ohaPublisher: in.Module().PublisherAppEventsDocumentBeforeClose(in.Wrap(doc), cancel); break;
    }
    const std::string label = std::to_string(static_cast<int>(c.kind)) + " " + c.version;
    EXPECT_EQ(in.Shown().size(), c.answer != ModalResult::mrNone ? 1u : 0u) << label;
    EXPECT_EQ(cancel, c.cancel) << label;
    EXPECT_EQ(!in.Module().Surface().At("HomeTab", {0}).visible, c.toolboxOff) << label;
    if (c.row.readOnly) {
      EXPECT_TRUE(doc->saved) << "a read-only presentation closes without a question";
    }
    EXPECT_EQ(in.m.Except(), "") << label;
  }
}

// Closing Excel's last managed workbook: one question, then the add-in closes it
// itself and the before-close that this raises passes without a second one.
TEST(EventRouting, ACloseDuringExitDocumentDoesNotPrompt) {
  Instance in(Kind::ohaExcel);
  const Doc doc = in.OpenManaged("book.xlsx");
  doc->MarkChanged();
  in.p->prompts.Answer({ModalResult::mrNo, "Do you want to save the changes to \"Procedure book.xlsx\"?",
                        MessageKind::Warning});
  EXPECT_TRUE(in.p->host->Close(doc));
  EXPECT_EQ(in.Shown().size(), 1u);
  EXPECT_TRUE(in.p->host->Documents().empty());
  EXPECT_TRUE(in.Module().ShutdownTimer.Enabled()) << "Excel is quit from outside its events";
  EXPECT_EQ(in.m.Except(), "");
}

// Ctrl+S that the add-in does not take for itself saves through the host's own
// call, since the shortcut has swallowed the key.
TEST(EventRouting, CtrlSFallsBackToTheHostsOwnSave) {
  const struct {
    Kind kind;
    const char* what;
    bool managed;
    Row row;
    bool connected;  // false: no event has opened the table yet
  } cases[] = {
      {Kind::ohaWord, "foreign", false, {}, true},
      {Kind::ohaExcel, "foreign", false, {}, true},
      {Kind::ohaPowerPoint, "foreign", false, {}, true},
      {Kind::ohaPublisher, "foreign", false, {}, true},
      {Kind::ohaWord, "read-only", true, {.readOnly = true}, true},
      {Kind::ohaPowerPoint, "read-only, no refusal", true, {.readOnly = true}, true},
      {Kind::ohaExcel, "before any document event", false, {}, false},
  };
  for (const auto& c : cases) {
    Instance in(c.kind);
    if (!c.connected) in.p->Disconnect();
    const Doc doc = c.managed ? in.OpenManaged("file", c.row) : in.p->host->Open(in.Path("file"));
    doc->MarkChanged();
    ASSERT_FALSE(std::filesystem::exists(in.Path("file"))) << c.what;

    in.Module().FileSaveShortcutAction();
    EXPECT_TRUE(std::filesystem::exists(in.Path("file"))) << static_cast<int>(c.kind) << " " << c.what;
    EXPECT_TRUE(doc->saved) << c.what;
    EXPECT_TRUE(in.Shown().empty()) << c.what;
    EXPECT_EQ(in.m.Except(), "") << c.what;
  }
}

// A click on an intercepted command reaches its handler through the command surface.
TEST(EventRouting, InterceptedCommandsByTheirComponents) {
  const struct {
    const char* component;
    Kind kind;
    bool managed;
    bool visible;
    bool cancel;
    const char* notBuilt;  // null: nothing recorded
  } cases[] = {
      {"FileSaveAsCommand", Kind::ohaWord, true, true, true, "DocumentSaveAs"},
      {"FileSaveAsCommand", Kind::ohaWord, false, true, false, nullptr},
      {"SaveAsCommand", Kind::ohaPublisher, true, true, true, "DocumentSaveAs"},
      {"SaveAsCommand", Kind::ohaPublisher, true, false, false, nullptr},
      {"SaveAsCommand", Kind::ohaPublisher, false, true, false, nullptr},
      {"FileSaveCommand", Kind::ohaExcel, false, true, false, nullptr},
      {"FileSaveControl", Kind::ohaExcel, false, true, false, nullptr},
      {"PrintCommand", Kind::ohaWord, true, true, false, "PrintCommandAction"},
      {"InsertCommand", Kind::ohaPowerPoint, true, true, false, "InsertCommandAction"},
      {"SendEmail3", Kind::ohaWord, true, true, false, nullptr},
  };
  for (const auto& c : cases) {
    Instance in(c.kind);
    if (c.managed) {
      in.OpenManaged("file");
    } else {
      in.p->host->Open(in.Path("file"));
    }
    in.p->host->visible = c.visible;
    Control* control = in.Module().Surface().FindComponent(c.component);
    ASSERT_NE(control, nullptr) << c.component;
    bool cancel = false;
    EXPECT_TRUE(in.Module().Surface().Click(*control, cancel)) << c.component << " is bound";
    EXPECT_EQ(cancel, c.cancel) << c.component;
    EXPECT_EQ(in.Module().NotBuilt(),
              c.notBuilt ? std::vector<std::string>{c.notBuilt} : std::vector<std::string>{})
        << c.component;
  }
}

TEST(EventRouting, CloudModeUploadTimerFollowsTheWindow) {
  const Variant none;
  const struct {
    Kind kind;
    std::function<void(TAddInModule&, bool activate)> window;
  } cases[] = {
      {Kind::ohaWord,
       [&](TAddInModule& m, bool on) { on ? m.WordAppEventsWindowActivate(none, none) : m.WordAppEventsWindowDeactivate(none, none); }},
      {Kind::ohaExcel,
       [&](TAddInModule& m, bool on) { on ? m.ExcelAppEventsWindowActivate(none, none) : m.ExcelAppEventsWindowDeactivate(none, none); }},
      {Kind::ohaPowerPoint, [&](TAddInModule& m, bool on) {
         on ? m.PowerPointAppEventsWindowActivate(none, none) : m.PowerPointAppEventsWindowDeactivate(none, none);
       }},
  };
  for (const auto& c : cases) {
    for (const char* clientname : {"quillmist", "office-pc"}) {
      Instance in(c.kind, "16.0", clientname);
      const bool cloud = in.Module().mIsCloudPlatform();
      c.window(in.Module(), true);
      EXPECT_EQ(in.Module().UploadCheckTimer.Enabled(), cloud) << clientname;
      c.window(in.Module(), false);
      EXPECT_FALSE(in.Module().UploadCheckTimer.Enabled());
    }
  }
}

// Printing is handled elsewhere; until then the events leave the print alone.
TEST(EventRouting, PrintEventsLeaveThePrintAlone) {
  const struct {
    Kind kind;
    const char* notBuilt;  // null: traced only
  } cases[] = {{Kind::ohaWord, "WordAppEventsDocumentBeforePrint"},
               {Kind::ohaExcel, "ExcelAppEventsWorkbookBeforePrint"},
               {Kind::ohaPowerPoint, "PowerPointAppEventsPresentationPrint"},
               {Kind::ohaPublisher, nullptr}};
  for (const auto& c : cases) {
    Instance in(c.kind);
    const Doc doc = in.p->host->Open(in.Path("file"));
    EXPECT_TRUE(in.p->host->Print(doc)) << "not cancelled";
    EXPECT_EQ(in.Module().NotBuilt(), c.notBuilt ? std::vector<std::string>{c.notBuilt} : std::vector<std::string>{});
    if (c.notBuilt == nullptr) {
      EXPECT_NE(in.m.Trace().find("\tPublisher\tOnBeforePrint\r\n"), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace quillorn::addin
