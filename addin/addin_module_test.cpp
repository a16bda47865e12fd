#include "addin/addin_module.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "data/cache_store.h"
#include "data/tdm.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "foundation/temp_folder_for_test.h"
#include "addin/module_fixture_for_test.h"
#include "hostsim/hosts.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"
#include "platform/real_files_for_test.h"
#include "platform/scripted_prompts.h"
#include "platform/system_services.h"

namespace quillorn::addin {
namespace {

using foundation::testing::ReadAll;
using foundation::testing::TempFolder;
using foundation::testing::WriteAll;
namespace fs = std::filesystem;

using testing::Machine;
using testing::Process;

TEST(AddInModule, CreateFindsTheFoldersAndTheSupportedHosts) {
  const struct {
    const char* ini;
    bool publisher;
  } cases[] = {
      {"", false},
      {"[Supported Office Apps]\nPublisher=yes\n", true},
      {"[Supported Office Apps]\nPublisher=YES\n", true},
      {"[Supported Office Apps]\nPublisher=no\n", false},
      {"[Supported Office Apps]\nPublisher=yes please\n", false},
  };
  for (const auto& c : cases) {
    Machine m;
    if (*c.ini != '\0') m.WriteAddInIni(c.ini);
    Process p(m, platform::HostType::ohaWord, 1);
    p.module->AddInModuleCreate();
    EXPECT_EQ(p.module->AppDir(), m.AppDir());
    EXPECT_EQ(p.module->AppDataDir(), m.AppDataDir());
    EXPECT_EQ(p.module->CacheDir(), m.CacheDir());
    EXPECT_TRUE(fs::is_directory(m.CacheDir()));
    std::vector<HostType> hosts = {HostType::ohaExcel, HostType::ohaWord, HostType::ohaPowerPoint};
    if (c.publisher) hosts.push_back(HostType::ohaPublisher);
    EXPECT_EQ(p.module->SupportedHosts(), hosts) << c.ini;
    ASSERT_EQ(p.module->CrashReportFields().size(), 2u);
    EXPECT_EQ(p.module->CrashReportFields()[0].first, "module");
    EXPECT_EQ(p.module->CrashReportFields()[0].second, "Addin");
    EXPECT_EQ(p.module->CrashReportFields()[1].first, "ver");
  }
}

TEST(AddInModule, WithoutALocalDataFolderEverythingLivesBesideTheModule) {
  Machine m;
  Process p(m, platform::HostType::ohaExcel, 1);
  p.system.local_app_data.clear();
  p.module->AddInModuleCreate();
  EXPECT_EQ(p.module->AppDataDir(), m.AppDir());
  EXPECT_EQ(p.module->CacheDir(), m.AppDir() + "Cache" + foundation::kPathDelim);
  EXPECT_TRUE(fs::is_directory(p.module->CacheDir()));
}

TEST(AddInModule, TraceSwitchAndCloudMode) {
  const struct {
    const char* trace;  // null: no ini file
    const char* clientname;
    bool traceOn;
    bool cloud;
  } cases[] = {
      {nullptr, "", false, false},
      {"true", "quillmist", true, true},
      {"TRUE", "QUILLMIST", false, true},
      {"True", "QuillMist", false, true},
      {"false", "quillmist2", false, false},
      {"true ", "quillmist-host", true, false},  // the ini reader trims values
      {"yes", "WORKSTATION7", false, false},
  };
  for (const auto& c : cases) {
    Machine m;
    if (c.trace != nullptr) m.WriteAddInIni(std::string("[Debug]\nTrace=") + c.trace + "\n");
    Process p(m, platform::HostType::ohaWord, 77, "16.0", c.clientname);
    p.Load();
    EXPECT_EQ(p.module->TraceEnabled(), c.traceOn) << (c.trace ? c.trace : "(none)");
    EXPECT_EQ(p.context.TraceEnabled, c.traceOn);
    EXPECT_EQ(p.module->mIsCloudPlatform(), c.cloud) << c.clientname;
    const std::string trace = m.Trace();
    if (c.traceOn) {
      EXPECT_NE(trace.find("\tAddInInitialize\tSession: 77\r\n"), std::string::npos) << trace;
      EXPECT_NE(trace.find(c.cloud ? "\tAddInInitialize\tRunning in cloud mode\r\n"
                                   : "\tAddInInitialize\tRunning in NON cloud mode\r\n"),
                std::string::npos)
          << trace;
    } else {
      EXPECT_EQ(trace, "");
    }
  }
}

TEST(AddInModule, KeyChordTurnsTracingOnForGood) {
  const struct {
    std::uint16_t key;
    bool ctrl, shift, alt;
    bool turnsOn;
  } cases[] = {
      {0x20, true, true, false, true},
      {0x20, true, true, true, true},  // Alt is not looked at
      {0x20, true, false, false, false},
      {0x20, false, true, false, false},
      {0x21, true, true, false, false},
      {'S', true, true, false, false},
  };
  for (const auto& c : cases) {
    Machine m;
    m.WriteAddInIni("[Debug]\nTrace=TRUE\n");
    Process p(m, platform::HostType::ohaWord, 1);
    p.Load();
    ASSERT_FALSE(p.module->TraceEnabled());
    p.module->AddInModuleKeyDown(c.key, c.ctrl, c.shift, c.alt);
    EXPECT_EQ(p.module->TraceEnabled(), c.turnsOn) << c.key << c.ctrl << c.shift << c.alt;
    p.module->AddInModuleKeyDown(0x20, false, false, false);
    EXPECT_EQ(p.module->TraceEnabled(), c.turnsOn) << "no way back";
  }
}

TEST(AddInModule, SessionNumberIsTheTickCountAsASignedNumber) {
  const struct {
    std::uint32_t tick;
    std::int32_t session;
  } cases[] = {{0, 0}, {123456, 123456}, {0x7FFFFFFF, 0x7FFFFFFF}, {0x80000000u, INT32_MIN}, {0xFFFFFF9Cu, -100}};
  for (const auto& c : cases) {
    Machine m;
    Process p(m, platform::HostType::ohaWord, c.tick);
    p.Load();
    EXPECT_EQ(p.module->sessionID(), c.session) << c.tick;
    EXPECT_EQ(p.module->dm()->sessionID, c.session) << "the delta files' traces name it";
    EXPECT_EQ(p.module->FinalizedSessionID(), 0);
  }
}

// The host's version string decides the year, the Insert group's place, PowerPoint's
// display name and which names the backstage uses, the same in every host.
TEST(AddInModule, InitialiseAdaptsToTheHostsVersion) {
  const struct {
    platform::HostType kind;
    const char* version;
    int year;
    const char* insertBefore;
    const char* appName;
  } cases[] = {
      {platform::HostType::ohaWord, "12.0", 2007, "GroupInsertPages", ""},
      {platform::HostType::ohaExcel, "", 2010, "GroupInsertTablesExcel", ""},
      {platform::HostType::ohaPowerPoint, "14.0", 2010, "GroupInsertTables", "Microsoft PowerPoint"},
      {platform::HostType::ohaPowerPoint, "15.0", 2013, "GroupSlides2", "Microsoft PowerPoint"},
      {platform::HostType::ohaPowerPoint, "16.0", 2016, "GroupSlides2", "PowerPoint"},
  };
  for (const auto& c : cases) {
    Machine m;
    m.WriteAddInIni("[Debug]\nTrace=true\n");
    Process p(m, c.kind, 1, c.version);
    p.Load();
    EXPECT_EQ(p.module->OfficeVersion(), c.year) << c.version;
    EXPECT_EQ(p.module->Surface().At("InsertTab", {0}).insertBeforeIdMso, c.insertBefore) << c.version;
    EXPECT_EQ(p.module->mAppName(), c.appName) << c.version;
    EXPECT_EQ(p.module->Surface().At("BackstageView", {2}).idMso, c.year >= 2013 ? "TabPublish" : "TabShare");
    const std::string trace = m.Trace();
    const auto switching = trace.find("\tAddInInitialize\t...Switch to Office 2007/2010 UI\r\n");
    const auto done = trace.find("\tAddInInitialize\t...Switching done\r\n");
    if (c.year < 2013) {
      ASSERT_NE(switching, std::string::npos) << trace;
      ASSERT_NE(done, std::string::npos);
      EXPECT_LT(switching, done);
    } else {
      EXPECT_EQ(switching, std::string::npos);
      EXPECT_EQ(done, std::string::npos);
    }
    ASSERT_NE(p.module->dm(), nullptr);
    EXPECT_EQ(p.module->dm()->Folders().CacheDir, m.CacheDir());
  }
}

// ---- Start-up timer --------------------------------------------------------------

// The document active at start reaches document tracking, which takes a file it
// has never heard of as foreign and keeps a row for it.
TEST(AddInModule, StartupTimerHandsTheActiveDocumentOnInExcelAndPublisher) {
  const struct {
    platform::HostType kind;
    const char* file;
    bool timer;
  } cases[] = {
      {platform::HostType::ohaExcel, "book.xlsx", true},
      {platform::HostType::ohaPublisher, "leaflet.pub", true},
      {platform::HostType::ohaWord, "letter.docx", false},
      {platform::HostType::ohaPowerPoint, "slides.pptx", false},
  };
  for (const auto& c : cases) {
    Machine m;
    Process p(m, c.kind, 1);
    p.host->Open(m.home.Dir() + c.file);
    p.Load();
    auto rows = [&] {
      return p.module->dm()->cacheLookup("select count(*) from FILES where FILENAME='" + m.home.Dir() + c.file + "'")
          .AsInt();
    };
    EXPECT_EQ(p.module->StartupTimer.Enabled(), c.timer);
    EXPECT_EQ(p.module->StartupTimer.Interval(), 1000u);
    m.loop.AdvanceAndRun(999);
    EXPECT_EQ(rows(), 0);
    m.loop.AdvanceAndRun(1);
    EXPECT_EQ(rows(), c.timer ? 1 : 0) << c.file;
    EXPECT_FALSE(p.module->StartupTimer.Enabled());
    EXPECT_EQ(m.Except(), "");
  }
}

TEST(AddInModule, AHandlersFailureGoesToTheErrorHandlerAndNoFurther) {
  Machine m;
  m.WriteAddInIni("[Debug]\nTrace=true\n");
  Process p(m, platform::HostType::ohaPublisher, 1);
  p.Load();  // no publication open: ActiveDocument raises in the timer
  EXPECT_NO_THROW(m.loop.AdvanceAndRun(1000));
  EXPECT_FALSE(p.module->StartupTimer.Enabled());
  const std::string trace = m.Trace();
  EXPECT_NE(trace.find("\tAddInModuleError\tin \r\n"), std::string::npos) << trace;
  EXPECT_NE(trace.find("no document is open"), std::string::npos) << trace;

  // Excel answers Nothing instead: tracking finds no name and stops, quietly.
  Machine quiet;
  quiet.WriteAddInIni("[Debug]\nTrace=true\n");
  Process excel(quiet, platform::HostType::ohaExcel, 1);
  excel.Load();
  quiet.loop.AdvanceAndRun(1000);
  EXPECT_NE(quiet.Trace().find("doc.FullName failed"), std::string::npos) << quiet.Trace();
  EXPECT_EQ(quiet.Trace().find("AddInModuleError"), std::string::npos) << quiet.Trace();

  bool handled = false;
  p.context.ProcName = "dm.Somewhere";
  const std::runtime_error boom("boom");
  p.module->AddInModuleError(&boom, handled);
  EXPECT_TRUE(handled);
  EXPECT_NE(m.Trace().find("\tAddInModuleError\tin dm.Somewhere\r\n"), std::string::npos);
  EXPECT_EQ(p.context.ProcName, "");
}

// ---- Reachability and the pane caption -----------------------------------------------

TEST(AddInModule, ReachabilityRenamesTheFirstPane) {
  for (auto kind : {platform::HostType::ohaWord, platform::HostType::ohaExcel, platform::HostType::ohaPowerPoint}) {
    Machine m;
    Process p(m, kind, 1);
    p.Load();
    ASSERT_NE(p.module->Panes(), nullptr);
    p.module->dm()->SetIsServerReachable(false);
    EXPECT_EQ(p.module->PaneCaption(), std::nullopt) << "no pane is made for a caption";
    EXPECT_EQ(p.module->Panes()->ItemCount(), 0);

    p.module->Panes()->AddItem("TWordTP", 4, true);
    const struct {
      bool reachable;
      const char* caption;
    } steps[] = {{false, "Quillorn Toolbox (Offline)"}, {true, "Quillorn Toolbox"}, {false, "Quillorn Toolbox (Offline)"}};
    for (const auto& s : steps) {
      p.module->dm()->SetIsServerReachable(s.reachable);
      EXPECT_EQ(p.module->PaneCaption(), s.caption);
      EXPECT_EQ(p.module->ServerReachable(), s.reachable);
    }
  }
}

// ---- Shutdown ----------------------------------------------------------------------

// Plays the desktop program: writes FILES rows into the shared cache and reads them back.
struct Launcher {
  explicit Launcher(const std::string& cacheDir) : store(cacheDir, platform::testing::RealFiles()) {
    store.CreateCacheDB();
    store.cacheLookup("select count(*) from FILES");  // opens the file
  }
  void Row(int docId, std::int32_t session, bool init, const char* ignore, bool oleIgnore, bool checkedOut,
           bool cached) {
    const std::string b[] = {"false", "true"};
    ASSERT_TRUE(store.cacheExecSQL(
        "insert into FILES (DOC_ID, FILENAME, INIT, IGNORE, OLE_IGNORE, SESSION_ID, CHECKED_OUT, CACHED) values (" +
        std::to_string(docId) + ", '" + store.CacheDir() + "doc" + std::to_string(docId) + ".docx', " + b[init] +
        ", " + ignore + ", " + b[oleIgnore] + ", " + std::to_string(session) + ", " + b[checkedOut] + ", " +
        b[cached] + ")"));
  }
  // "gone", or the row's INIT as "on" or "off".
  std::string State(int docId) {
    const platform::Variant v = store.cacheLookup("select INIT from FILES where DOC_ID=" + std::to_string(docId));
    return v.IsEmptyOrNull() ? "gone" : v.AsBool() ? "on" : "off";
  }
  data::CacheStore store;
};

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

TEST(AddInModule, ShutdownReleasesOnlyThisSessionsRows) {
  Machine m;
  m.WriteAddInIni("[Debug]\nTrace=true\n");
  Process p(m, platform::HostType::ohaWord, 0xFFFFFF9Cu);  // session -100
  p.Load();
  ASSERT_EQ(p.module->sessionID(), -100);
  p.module->ShowQuillornPane(1);

  Launcher launcher(m.CacheDir());
  launcher.Row(1, -100, true, "null", false, false, true);   // managed: stays, INIT off
  launcher.Row(2, -100, true, "null", false, true, true);    // checked out: goes
  launcher.Row(3, -100, true, "0", false, false, false);     // not cached: goes
  launcher.Row(4, -100, false, "null", false, false, true);  // never opened here: stays as it is
  launcher.Row(11, 555, true, "null", false, true, false);   // another process's rows are left alone
  launcher.Row(12, 555, true, "null", false, false, true);
  launcher.Row(13, 100, true, "null", false, false, false);

  p.module->AddInModuleAddInBeginShutdown();

  const struct {
    int docId;
    const char* state;
  } expected[] = {{1, "off"}, {2, "gone"}, {3, "gone"}, {4, "off"}, {11, "on"}, {12, "on"}, {13, "on"}};
  for (const auto& e : expected) EXPECT_EQ(launcher.State(e.docId), e.state) << "DOC_ID " << e.docId;
  EXPECT_FALSE(p.module->Panes()->Visible(0)) << "the pane goes with the session";
  EXPECT_EQ(p.context.ProcName, "AddInBeginShutdown-6");

  const std::string trace = m.Trace();
  const char* lines[] = {
      "\tAddInBeginShutdown\tBegin Shutdown of session: -100\r\n",
      "\tcacheLookup\tselect (count(doc_id) - sum(cast(coalesce(IGNORE,0) as integer) + cast(OLE_IGNORE as "
      "integer))) from FILES where INIT=true and SESSION_ID=-100\r\n",
      "\tcacheLookup RESULT:\t3\r\n",
      "\tcacheExecSQL\tupdate FILES set INIT=false where SESSION_ID=-100\r\n",
      "\tcacheExecSQL\tdelete from FILES where (CHECKED_OUT=true or CACHED=false) and SESSION_ID=-100\r\n",
      "\tHideQuillornPane\t\r\n",
      "\tAddInBeginShutdown\tShutdown of session: -100 complete\r\n",
  };
  std::size_t at = 0;
  for (const char* line : lines) {
    const std::size_t found = trace.find(line, at);
    ASSERT_NE(found, std::string::npos) << "missing or out of order: " << line << "\n" << trace;
    at = found;
  }
}

TEST(AddInModule, ASessionWithoutManagedDocumentsOnlyDropsItsLooseRows) {
  Machine m;
  m.WriteAddInIni("[Debug]\nTrace=true\n");
  Process p(m, platform::HostType::ohaExcel, 42);
  p.Load();
  p.module->ShowQuillornPane(1);

  Launcher launcher(m.CacheDir());
  launcher.Row(1, 42, true, "1", false, false, true);        // ignored: not managed
  launcher.Row(2, 42, true, "null", true, false, true);      // OLE object: not managed
  launcher.Row(3, 42, false, "null", false, true, true);     // checked out, closed: goes all the same
  launcher.Row(4, 7, true, "null", false, false, true);

  p.module->AddInModuleAddInBeginShutdown();

  EXPECT_EQ(launcher.State(1), "on") << "no INIT=false update without managed documents";
  EXPECT_EQ(launcher.State(2), "on");
  EXPECT_EQ(launcher.State(3), "gone");
  EXPECT_EQ(launcher.State(4), "on");
  EXPECT_TRUE(p.module->Timer1.Enabled()) << "Excel 2016 hides its pane after the event";
  const std::string trace = m.Trace();
  EXPECT_NE(trace.find("\tcacheLookup RESULT:\t0\r\n"), std::string::npos) << trace;
  EXPECT_EQ(trace.find("update FILES"), std::string::npos);
  EXPECT_NE(trace.find("delete from FILES where (CHECKED_OUT=true or CACHED=false) and SESSION_ID=42"),
            std::string::npos);
}

TEST(AddInModule, ShutdownAfterFinalizeOnlyTracesItsFirstLine) {
  Machine m;
  m.WriteAddInIni("[Debug]\nTrace=true\n");
  Process p(m, platform::HostType::ohaWord, 900);
  p.Load();
  Launcher launcher(m.CacheDir());
  launcher.Row(1, 900, true, "null", false, true, true);

  // Without Finalize in between, a second shutdown runs in full again.
  p.module->AddInModuleAddInBeginShutdown();
  p.module->AddInModuleAddInBeginShutdown();
  EXPECT_EQ(Count(m.Trace(), "\tHideQuillornPane\t"), 2u);
  EXPECT_EQ(launcher.State(1), "gone");

  p.module->AddInModuleAddInFinalize();
  EXPECT_EQ(p.module->FinalizedSessionID(), 900);
  launcher.Row(2, 900, true, "null", false, true, true);
  const std::size_t before = m.Trace().size();
  p.module->AddInModuleAddInBeginShutdown();
  EXPECT_EQ(launcher.State(2), "on");
  EXPECT_EQ(Count(m.Trace(), "\tHideQuillornPane\t"), 2u);
  const std::string tail = m.Trace().substr(before);
  EXPECT_NE(tail.find("\tAddInBeginShutdown\tBegin Shutdown of session: 900\r\n"), std::string::npos) << tail;
  EXPECT_NE(tail.find("\tAddInBeginShutdown\tSession: 900 has already shutdown.\r\n"), std::string::npos);
  EXPECT_EQ(tail.find("cacheLookup"), std::string::npos);
  EXPECT_EQ(tail.find("cacheExecSQL"), std::string::npos);

  // A second Finalize changes nothing and says nothing.
  const std::size_t size = m.Trace().size();
  p.module->AddInModuleAddInFinalize();
  EXPECT_EQ(m.Trace().size(), size);

  p.module->AddInModuleDestroy();
  EXPECT_NE(m.Trace().find("\tAddInModuleDestroy\t\r\n"), std::string::npos);
}

// Two host processes of one user, as one process: one cache folder, one FILES
// table, each its own session, trace switch and pane.
TEST(AddInModule, WordAndExcelSideBySideOverOneCache) {
  Machine m;
  Process word(m, platform::HostType::ohaWord, 1000, "16.0");
  Process excel(m, platform::HostType::ohaExcel, 2000, "14.0");
  excel.host->Open(m.home.Dir() + "book.xlsx");
  word.Load();
  excel.Load();
  word.module->AddInModuleKeyDown(kVkSpace, true, true, false);

  EXPECT_EQ(word.module->CacheDir(), excel.module->CacheDir());
  EXPECT_EQ(word.module->dm()->Cache.CacheFileName(), excel.module->dm()->Cache.CacheFileName());
  EXPECT_TRUE(word.module->TraceEnabled());
  EXPECT_FALSE(excel.module->TraceEnabled());

  Launcher launcher(m.CacheDir());
  launcher.Row(1, 1000, true, "null", false, false, false);
  launcher.Row(2, 2000, true, "null", false, false, false);

  word.module->Panes()->AddItem("TWordTP", 4, true);
  excel.module->Panes()->AddItem("TExcelTP", 4, true);
  word.module->dm()->SetIsServerReachable(false);
  EXPECT_EQ(word.module->PaneCaption(), "Quillorn Toolbox (Offline)");
  EXPECT_EQ(excel.module->PaneCaption(), "Quillorn Toolbox");

  m.loop.AdvanceAndRun(1000);  // Excel's start-up timer only: its workbook is foreign
  EXPECT_EQ(excel.module->dm()->cacheLookup("select count(*) from FILES where DOC_ID=0 and SESSION_ID=2000").AsInt(), 1);
  EXPECT_EQ(word.module->dm()->cacheLookup("select count(*) from FILES where DOC_ID=0 and SESSION_ID=1000").AsInt(), 0);

  word.module->AddInModuleAddInBeginShutdown();
  word.module->AddInModuleAddInFinalize();
  EXPECT_EQ(launcher.State(1), "gone");
  EXPECT_EQ(launcher.State(2), "on");
  excel.module->AddInModuleAddInBeginShutdown();
  EXPECT_EQ(launcher.State(2), "gone");

  // Only the instance with tracing on wrote to the shared trace file.
  const std::string trace = m.Trace();
  EXPECT_NE(trace.find("Begin Shutdown of session: 1000"), std::string::npos);
  EXPECT_EQ(trace.find("Begin Shutdown of session: 2000"), std::string::npos);
  EXPECT_EQ(trace.find("Session: 2000"), std::string::npos);

}

// Rows fetched by the data module reach the add-in's menu, ribbon, documents and
// pane; what the pane cannot refresh yet is kept in the module's list.
TEST(AddInModule, FetchedRowsRefreshTheMenuAndTheRibbon) {
  Machine m;
  Process p(m, platform::HostType::ohaWord, 77);
  p.Load();
  data::Tdm& dm = *p.module->dm();
  ASSERT_NE(dm.AddIn, nullptr);

  dm.LoadFromCache(dm.tblDocFields);
  ASSERT_TRUE(dm.cacheExecSQL("insert into DOCFIELDS (CODE, VAL) values ('Department', 'Sales')"));
  dm.tblDocFields.Refresh();
  dm.AddIn->PopulateCustomFields();
  const Control* menu = p.module->Surface().FindById("qlCustomField");
  ASSERT_EQ(menu->controls.size(), 1u);
  EXPECT_EQ(menu->controls[0].caption, "Department");

  dm.AddIn->SetQuillornRibbonButtonStates();
  EXPECT_FALSE(p.module->Surface().At("RibbonOfficeMenu", {2}).visible) << "no document: unmanaged";

  dm.AddIn->RefreshDocFields();
  dm.AddIn->RefreshTemplateQuery();
  EXPECT_TRUE(p.module->NotBuilt().empty()) << "no pane: no template list to refresh";
  p.module->ShowQuillornPane(1);
  dm.AddIn->RefreshTemplateQuery();
  EXPECT_EQ(p.module->NotBuilt(), (std::vector<std::string>{"RefreshPaneTemplates"}));
  EXPECT_EQ(m.Except(), "");

  dm.tblDocFields.Close();
  EXPECT_NO_THROW(dm.AddIn->PopulateCustomFields());
  EXPECT_TRUE(p.module->Surface().FindById("qlCustomField")->controls.empty()) << "a closed list empties it";
}

}  // namespace
}  // namespace quillorn::addin
