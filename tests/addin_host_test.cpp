// What the add-in does inside a simulated host that no scenario step can say:
// requests from other processes, routines the module does not wire up yet,
// and the state of host documents a user never sees. Each runs a desktop of
// its own with sim::Simulation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "addin/addin_module.h"
#include "addin/module_site.h"
#include "addin/tdm_record_source.h"
#include "data/tdm.h"
#include "foundation/paths.h"
#include "foundation/temp_folder_for_test.h"
#include "hostsim/doc_file.h"
#include "hostsim/model.h"
#include "platform/scripted_prompts.h"
#include "platform/system_services.h"
#include "sim/launcher.h"
#include "sim/simulation.h"
#include "transport/rpc_result.h"
#include "workflow/workflow.h"

namespace quillorn {
namespace {

using platform::HostType;
using Doc = std::shared_ptr<hostsim::DocumentModel>;

// One user's desktop in a folder of its own.
struct Desk {
  foundation::testing::TempFolder home;
  sim::Simulation sim{home.Path().string()};

  // The desktop program places the document in the cache for user 1 and
  // announces it; its records come from the server when one runs.
  std::string Announce(std::int32_t id, const std::string& name, bool readOnly = false) {
    const std::string path = sim.AppDataDir() + "Cache/" + name;
    sim::SimLauncher(sim).Announce({.DocId = id, .FileName = path, .UserId = 1, .ReadOnly = readOnly});
    return path;
  }
  std::string Log(const std::string& host) { return sim.Logs().TextOf(host); }
  // The file as another program left it before the host opens it.
  static void Rewrite(const std::string& path, HostType kind, const std::function<void(hostsim::DocumentModel&)>& change) {
    const Doc model = hostsim::LoadDocumentFile(path, kind);
    change(*model);
    hostsim::SaveDocumentFile(*model, path);
  }
  static workflow::Workflow& Routines(sim::SimInstance& in) { return *in.Module().GetWorkflow(); }
};

// Another process asks the host to bring a document (or, with no name, itself)
// to the front. A host still starting waits, by the timer, until it is visible.
TEST(BringToFront, TheNamedDocumentComesToTheFront) {
  constexpr int kItself = -1, kUnknown = 9;
  const struct {
    HostType kind;
    int ask;  // the document asked for, by index
    bool visible;
    bool startTimer;  // only Word's request starts it; the others' tick is tried by hand
    int active;       // the document in front afterwards
    int activations;  // of the application, once visible
  } cases[] = {
      {.kind = HostType::ohaWord, .ask = 0, .visible = true, .active = 0, .activations = 1},
      {.kind = HostType::ohaWord, .ask = kItself, .visible = false, .active = 1, .activations = 1},
      {.kind = HostType::ohaPowerPoint, .ask = 0, .visible = true, .active = 0, .activations = 0},
      // Excel asks for window 0 of several workbooks, which the host refuses.
      {.kind = HostType::ohaExcel, .ask = 0, .visible = false, .startTimer = true, .active = 1, .activations = 0},
      {.kind = HostType::ohaExcel, .ask = kItself, .visible = true, .active = 1, .activations = 0},
      {.kind = HostType::ohaExcel, .ask = kUnknown, .visible = true, .active = 1, .activations = 0},
      {.kind = HostType::ohaPublisher, .ask = 0, .visible = true, .active = 1, .activations = 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(static_cast<int>(c.kind)) + " asks " + std::to_string(c.ask));
    Desk d;
    sim::SimInstance& in = d.sim.StartHost(c.kind, "16.0");
    const Doc docs[] = {in.Open(d.home.Dir() + "Report", false), in.Open(d.home.Dir() + "letter", false)};
    in.Host().visible = c.visible;
    const std::string name = c.ask == kItself    ? ""
                             : c.ask == kUnknown ? d.home.Dir() + "other"
                                                 : foundation::UpperCase(docs[c.ask]->full_name);
    in.Module().BringToFront(name);
    if (c.startTimer) in.Module().BringToFrontTimer.SetEnabled(true);
    d.sim.Tick(3000);
    EXPECT_EQ(in.Host().app_activations, c.visible ? c.activations : 0);
    in.Host().visible = true;
    d.sim.Tick(1000);
    EXPECT_EQ(in.Host().Active(), docs[c.active]);
    EXPECT_EQ(in.Host().app_activations, c.activations);
    EXPECT_FALSE(in.Module().BringToFrontTimer.Enabled());
  }
}

// A host may call shutdown again after finalize; the rows then belong to
// nobody this add-in may release.
TEST(Shutdown, AfterFinalizeASecondShutdownLeavesTheRowsAlone) {
  Desk d;
  d.sim.WriteSetting("Debug", "Trace", "true");
  sim::SimInstance& word = d.sim.StartHost(HostType::ohaWord, "16.0");
  const std::string session = std::to_string(word.SessionId());
  d.sim.CacheExec("insert into FILES (DOC_ID, FILENAME, SESSION_ID, INIT, CACHED, CHECKED_OUT) values (1, 'a', " +
                  session + ", true, true, true)");
  word.Loop().RunAs([&] {
    word.Module().AddInModuleAddInFinalize();
    word.Module().AddInModuleAddInBeginShutdown();
  });
  EXPECT_EQ(d.sim.CacheValue("select count(*) from FILES").AsInt(), 1);
  EXPECT_NE(d.Log("word").find("Session: " + session + " has already shutdown."), std::string::npos);
}

// The close of the last document exits by the host's own way. Only a direct
// call reaches the branches for more documents and Publisher's; the shutdown
// timer's routine is run by hand too, also where the timer was not started
// (Excel quitting through the timer itself is shown by a scenario).
TEST(ExitDocument, EachHostLeavesTheDocumentOrQuits) {
  const struct {
    HostType kind;
    int count;
    bool quits;
    bool timer;  // the shutdown timer that quits the host from outside its events
    std::size_t openAfter;
    bool closeFlagKept;
  } cases[] = {
      {HostType::ohaWord, 1, true, false, 0, true},
      {HostType::ohaWord, 2, false, false, 1, false},
      {HostType::ohaExcel, 1, false, true, 0, false},
      {HostType::ohaExcel, 2, false, false, 1, false},
      {HostType::ohaPowerPoint, 1, false, true, 0, false},
      // No more close prompts in this process until the last presentation goes.
      {HostType::ohaPowerPoint, 2, false, false, 1, true},
      {HostType::ohaPublisher, 1, true, false, 0, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(static_cast<int>(c.kind)) + " with " + std::to_string(c.count));
    Desk d;
    sim::SimInstance& in = d.sim.StartHost(c.kind, "16.0");
    for (int i = 0; i < c.count; ++i) in.Open(d.home.Dir() + "doc" + std::to_string(i), false);
    const Doc first = in.Host().Documents().front();
    workflow::Workflow& routines = Desk::Routines(in);
    in.Loop().RunAs([&] { routines.Closing.ExitDocument(); });
    EXPECT_EQ(in.Host().HasQuit(), c.quits);
    EXPECT_EQ(in.Module().ShutdownTimer.Enabled(), c.timer);
    ASSERT_EQ(in.Host().Documents().size(), c.openAfter);
    if (c.openAfter == 1) {
      EXPECT_EQ(in.Host().Documents()[0], first) << "the active one went";
    }
    EXPECT_EQ(in.Module().mInternalClose.IsSet(), c.closeFlagKept);
    // The timer quits Excel and PowerPoint only.
    in.Loop().RunAs([&] { routines.Closing.ShutdownTimerTimer(); });
    EXPECT_EQ(in.Host().HasQuit(), c.quits || c.kind == HostType::ohaExcel || c.kind == HostType::ohaPowerPoint);
    EXPECT_FALSE(in.Module().ShutdownTimer.Enabled());
  }
}

// Every command the surface offers, in every host, has its handler: a click
// that nothing answers would do nothing and say nothing.
TEST(CommandSurface, EveryCommandHasItsHandlerInEveryHost) {
  Desk d;
  for (const HostType kind : {HostType::ohaWord, HostType::ohaExcel, HostType::ohaPowerPoint, HostType::ohaPublisher}) {
    sim::SimInstance& host = d.sim.StartHost(kind, "16.0");
    EXPECT_EQ(host.Module().Surface().MissingHandlers(), std::vector<std::string>{}) << host.Name();
  }
}

constexpr char kWaitQuestion[] =
    "Your document is being saved to Quillorn.\rResponse from the server is slow or the document is quite large.\r"
    "If you do not want to wait now, Office will save the document to Quillorn next time\ryou use it.\r\r"
    "Wait a bit longer?";

// Before the host goes, a call still under way is waited for as long as the user says Yes.
TEST(DoWaitForCompletion, AsksWhileACallIsUnderWayAndStopsOnNo) {
  Desk d;
  sim::SimInstance& word = d.sim.StartHost(HostType::ohaWord, "16.0");
  data::Tdm& dm = word.DataModule();
  dm.Connection.mIsServerReachable = true;
  dm.Settings.RetryTimeOut = 0;
  dm.Connection.ClientModule.Prepare("youthere");
  dm.Connection.ClientModule.Call(std::make_shared<transport::TRpcResult>());
  word.Prompts().Answer(platform::MessageAnswer{.answer = platform::ModalResult::mrYes, .text = kWaitQuestion,
                         .kind = platform::MessageKind::Confirmation});
  word.Prompts().Answer(platform::MessageAnswer{.answer = platform::ModalResult::mrNo, .text = kWaitQuestion});
  word.Loop().RunAs([&] { Desk::Routines(word).Saving.DoWaitForCompletion(); });
  EXPECT_EQ(word.Prompts().Shown().size(), 2u);
  EXPECT_EQ(word.Prompts().Shown()[0].buttons, platform::Buttons::YesNo);
  EXPECT_EQ(word.Prompts().Unanswered(), 0u);
  dm.Connection.ClientModule.CancelCalls();
}

// The module's own site, with the pane's page-format box that the toolbox
// form does not hold yet.
class PageFormatSite final : public workflow::ModuleSite {
 public:
  PageFormatSite(addin::TAddInModule& module, std::optional<workflow::PageFormatSetting> box)
      : inner_(module), box_(box) {}
  std::optional<workflow::PageFormatSetting> PageFormat() const override { return box_; }

  HostType Host() const override { return inner_.Host(); }
  int OfficeVersion() const override { return inner_.OfficeVersion(); }
  bool IsCloudPlatform() const override { return inner_.IsCloudPlatform(); }
  std::int32_t SessionID() const override { return inner_.SessionID(); }
  platform::Variant Application() override { return inner_.Application(); }
  void DisconnectApplication() override { inner_.DisconnectApplication(); }
  data::DocumentRecords& Records() override { return inner_.Records(); }
  data::DataFetcher& Fetcher() override { return inner_.Fetcher(); }
  platform::Prompts& Prompts() override { return inner_.Prompts(); }
  platform::SystemServices& System() override { return inner_.System(); }
  platform::WindowMessages* Messages() override { return inner_.Messages(); }
  automation::DocFieldsContext& FieldsContext() override { return inner_.FieldsContext(); }
  foundation::ReentryFlag& mInternalSave() override { return inner_.mInternalSave(); }
  foundation::ReentryFlag& mInternalClose() override { return inner_.mInternalClose(); }
  platform::Timer& ShutdownTimer() override { return inner_.ShutdownTimer(); }
  platform::Timer& UploadCheckTimer() override { return inner_.UploadCheckTimer(); }
  bool& mPrintControlled() override { return inner_.mPrintControlled(); }
  bool& mDonePrinting() override { return inner_.mDonePrinting(); }
  platform::Timer& PrintJobPoll() override { return inner_.PrintJobPoll(); }
  platform::Timer& PrintDelay() override { return inner_.PrintDelay(); }
  void ShowQuillornPane(std::int64_t docId) override { inner_.ShowQuillornPane(docId); }
  void HideQuillornPane() override { inner_.HideQuillornPane(); }
  void ShowQuillornTabs(bool visible) override { inner_.ShowQuillornTabs(visible); }
  void SetQuillornRibbonButtonStates() override { inner_.SetQuillornRibbonButtonStates(); }
  void PopulateCustomFields() override { inner_.PopulateCustomFields(); }
  bool PaneExists() const override { return inner_.PaneExists(); }
  void RefreshPaneTemplates() override { inner_.RefreshPaneTemplates(); }
  void NotBuilt(std::string_view routine) override { inner_.NotBuilt(routine); }

 private:
  addin::ModuleWorkflowSite inner_;
  std::optional<workflow::PageFormatSetting> box_;
};

// A Word save tells the server the template setting when the user changed the box.
TEST(DocumentSave, AChangedPageFormatBoxGoesToTheServer) {
  const std::string statement = "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:";
  const struct {
    HostType kind;
    std::optional<workflow::PageFormatSetting> box;
    const char* sent;  // null: nothing
  } cases[] = {
      {HostType::ohaWord, workflow::PageFormatSetting{.loaded = false, .checked = true}, "1001', 'Y') matching (D_TYPE,CODE)"},
      {HostType::ohaWord, workflow::PageFormatSetting{.loaded = true, .checked = false}, "1001', 'N') matching (D_TYPE,CODE)"},
      {HostType::ohaWord, workflow::PageFormatSetting{.loaded = true, .checked = true}, nullptr},
      {HostType::ohaExcel, workflow::PageFormatSetting{.loaded = false, .checked = true}, nullptr},
  };
  for (const auto& c : cases) {
    Desk d;
    d.sim.WriteSetting("Debug", "Trace", "true");
    d.sim.StartServer();
    const std::string path = d.Announce(1001, c.kind == HostType::ohaWord ? "Policy.docx" : "Policy.xlsx");
    sim::SimInstance& in = d.sim.StartHost(c.kind, "16.0");
    in.Open(path, false);  // first sight puts the tables on the document's rows
    d.sim.Settle();
    PageFormatSite site(in.Module(), c.box);
    workflow::Workflow routines(site);
    in.Loop().RunAs([&] { EXPECT_TRUE(routines.Saving.DocumentSave()); });
    d.sim.Settle();
    const std::string log = d.Log(c.kind == HostType::ohaWord ? "word" : "excel");
    EXPECT_EQ(log.find(statement) != std::string::npos, c.sent != nullptr);
    if (c.sent != nullptr) {
      EXPECT_NE(log.find(statement + c.sent), std::string::npos) << log;
    }
  }
}

// Word documents under revision: a read-only one is opened with its revisions
// accepted before the lock; a save leaves text and lock as they were; a refresh
// of the fields rewrites every handled document and gives back its lock and
// its tracking.
TEST(DocumentTracking, RevisionsAndLocksOfWordDocumentsSurviveTheirHandling) {
  Desk d;
  d.sim.StartServer();
  const std::string editable = d.Announce(1001, "Policy.docx");
  const std::string locked = d.Announce(1005, "Instruction.docx", true);
  Desk::Rewrite(editable, HostType::ohaWord, [](hostsim::DocumentModel& m) { m.track_revisions = true; });
  Desk::Rewrite(locked, HostType::ohaWord, [](hostsim::DocumentModel& m) {
    m.revisions = 2;
    m.track_revisions = true;
  });
  sim::SimInstance& word = d.sim.StartHost(HostType::ohaWord, "16.0");
  // Reading the document's identity before any record is open changes nothing.
  word.Loop().RunAs([&] { Desk::Routines(word).Tracking.ResetCmsID(); });
  EXPECT_NE(d.Log("word").find("ResetCmsID: tblDoc not Open!"), std::string::npos);

  const Doc policy = word.Open(editable, false);
  const Doc instruction = word.Open(locked, false);
  d.sim.Settle();
  EXPECT_EQ(instruction->revisions, 0);
  EXPECT_FALSE(instruction->track_revisions);
  ASSERT_NE(instruction->protection_type, -1);
  // Word's save touches the text to make it count as changed, and leaves it as it was.
  const std::string text = instruction->main_story.text;
  word.SaveShortcut();
  EXPECT_EQ(instruction->main_story.text, text);
  EXPECT_NE(instruction->protection_type, -1);
  // One locked by somebody else refuses the touch and is saved as it stands.
  const Doc theirs = word.Open(d.home.Dir() + "Theirs.docx", false);
  theirs->protection_type = 2;
  theirs->protection_password = "theirs";
  theirs->MarkChanged();
  word.SaveShortcut();
  EXPECT_TRUE(theirs->saved);
  EXPECT_EQ(theirs->protection_password, "theirs");

  d.sim.CacheExec("update DOCS set DOC_NAME=DOC_NAME || ' (new)'");
  word.Loop().RunAs([&] {
    word.DataModule().tblDoc.Refresh();
    Desk::Routines(word).Tracking.RefreshDocFields(0);
  });
  for (const Doc& doc : {policy, instruction}) {
    const auto name = std::find_if(doc->custom_properties.begin(), doc->custom_properties.end(),
                                   [](const auto& p) { return p.name == "cmsDocName"; });
    ASSERT_NE(name, doc->custom_properties.end());
    EXPECT_NE(name->value.find(" (new)"), std::string::npos) << doc->full_name;
  }
  EXPECT_TRUE(policy->track_revisions);
  EXPECT_NE(instruction->protection_type, -1);
}

// A publication whose tag went missing gets its identity back on first sight.
TEST(DocumentTracking, APublicationWithoutItsTagIsGivenOne) {
  Desk d;
  d.sim.StartServer();
  const std::string path = d.Announce(1013, "Leaflet.pub");
  Desk::Rewrite(path, HostType::ohaPublisher, [](hostsim::DocumentModel& m) { m.tags.clear(); });
  sim::SimInstance& publisher = d.sim.StartHost(HostType::ohaPublisher, "16.0");
  const Doc doc = publisher.Open(path, false);
  d.sim.Settle();
  ASSERT_EQ(doc->tags.size(), 1u);
  EXPECT_EQ(doc->tags[0].name, "cmsID");
  EXPECT_EQ(doc->tags[0].value, "1013");
}

// An approved document whose PDF cannot be written: the failure is logged, the
// office file is still published and the save goes on.
TEST(DocumentSave, APdfThatCannotBeWrittenIsLoggedAndTheSaveGoesOn) {
  const struct {
    HostType kind;
    const char* host;
    const char* name;
    const char* logged;
  } cases[] = {
      {HostType::ohaWord, "word", "Chemicals.docx", "Publishing as wdFormatPDF failed for: "},
      // Excel does not look whether the file came; reading it fails instead.
      {HostType::ohaExcel, "excel", "Chemicals.xlsx", "in SavePublishedDoc with FileName: \""},
  };
  for (const auto& c : cases) {
    Desk d;
    d.sim.StartServer();
    const std::string path = d.Announce(1011, c.name);
    std::filesystem::create_directories(path + ".pdf");  // in the way of the PDF
    sim::SimInstance& in = d.sim.StartHost(c.kind, "16.0");
    const Doc doc = in.Open(path, false);
    doc->MarkChanged();
    in.Save(doc);
    d.sim.Settle();
    EXPECT_TRUE(doc->saved);
    EXPECT_EQ(d.sim.ServerValue("select group_concat(SOURCE_TYPE) from PUBLISHED_DOCS where DOC_ID=1011").AsString(), "O");
    EXPECT_NE(d.Log(c.host).find(c.logged + path + ".pdf"), std::string::npos) << d.Log(c.host);
  }
}

// What reaches the add-in from its data module besides document tracking: the
// template routines' reads (the pane that runs them is not built yet), and
// rights that a fetch brings, which set the ribbon.
TEST(ModuleData, TemplateReadsAndArrivingRightsReachTheAddIn) {
  Desk d;
  d.sim.StartServer();
  const std::string path = d.Announce(1001, "Policy.docx");
  sim::SimInstance& word = d.sim.StartHost(HostType::ohaWord, "16.0");
  word.Open(path, false);
  d.sim.Settle();
  platform::FakeSystemServices system;
  addin::TdmRecordSource source(word.DataModule(), system);
  const addin::Control& approve = word.Module().Surface().At("HomeTab", {0, 0});
  ASSERT_TRUE(approve.enabled);
  word.Loop().RunAs([&] {
    EXPECT_EQ(source.CodeVal("TEMPLATE_SETTNG", "KEEP_PG_FORMAT:1014"), "N");
    EXPECT_EQ(source.CodeVal("template_settng", "KEEP_PG_FORMAT:1014"), "") << "code types are matched as stored";
    EXPECT_EQ(source.CacheLookup("select DOC_NAME from DOCS where DOC_ID=1001").AsString(), "Quality Policy");
    EXPECT_TRUE(source.IsServerReachable());
    source.SetDocTemplateID(1014);
    EXPECT_EQ(source.DocValue("TEMPLATE_ID").AsInt(), 1014);

    data::Tdm& dm = word.DataModule();
    ASSERT_TRUE(dm.cacheExecSQL("update DOC_PERMISSIONS set P_APPROVE='N' where DOC_ID=1001"));
    dm.tblDocPermissions.Refresh();
    dm.AddIn->SetQuillornRibbonButtonStates();
  });
  EXPECT_FALSE(approve.enabled);
}

}  // namespace
}  // namespace quillorn
