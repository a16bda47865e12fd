#include "addin/addin_module.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "addin/backstage_adaptation.h"
#include "addin/module_site.h"
#include "addin/office_version.h"
#include "addin/small_dialogs.h"
#include "addin/toolbox_pane.h"
#include "data/settings.h"
#include "data/tdm.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "foundation/version.h"
#include "toolbox/toolbox_form.h"
#include "workflow/workflow.h"

namespace quillorn::addin {
namespace {

using foundation::LogTrace;

platform::MainLoop& RequireLoop(const AddInHost& host) {
  if (host.Loop == nullptr) throw std::invalid_argument("The add-in module needs the host's main loop");
  return *host.Loop;
}

}  // namespace

TAddInModule::TAddInModule(AddInHost host)
    : StartupTimer(RequireLoop(host), 1000, {}),
      ShutdownTimer(RequireLoop(host), 500, {}),
      BringToFrontTimer(RequireLoop(host), 1000, {}),
      Timer1(RequireLoop(host), 500, {}),
      PrintJobPoll(RequireLoop(host), 500, {}),
      PrintDelay(RequireLoop(host), 1000, {}),
      UploadCheckTimer(RequireLoop(host), 1000, {}),
      host_(std::move(host)) {
  if (host_.System == nullptr) throw std::invalid_argument("The add-in module needs the system services");
  if (host_.Context == nullptr) {
    ownContext_ = std::make_unique<foundation::LogContext>();
    context_ = ownContext_.get();
  } else {
    context_ = host_.Context;
  }
  if (host_.Type != HostType::ohaPublisher) {
    if (host_.Panes == nullptr) {
      ownPanes_ = std::make_unique<InMemoryPaneManager>();
      panes_ = ownPanes_.get();
    } else {
      panes_ = host_.Panes;
    }
  }
  StartupTimer.SetOnTimer([this] { StartupTimerTimer(); });
  BringToFrontTimer.SetOnTimer([this] { BringToFrontTimerTimer(); });
  Timer1.SetOnTimer([this] { Timer1Timer(); });
  ShutdownTimer.SetOnTimer([this] { RunEvent([this] { RequireWorkflow().Closing.ShutdownTimerTimer(); }); });
  BindIntercepts();
  BindPrinting();
  BindCommands();
  surface_.SetUnboundClick([this](std::string_view handler) { RecordNotBuilt(handler); });
  BindInserting();
}

TAddInModule::~TAddInModule() {
  // The data module's tables may trace on the way out, as this instance.
  foundation::ContextScope scope(*context_);
  toolbox_.reset();
  toolboxSite_.reset();
  frmPicture_.reset();
  workflow_.reset();
  site_.reset();
  dm_.reset();
}

void TAddInModule::RunEvent(const std::function<void()>& handler) {
  foundation::ContextScope scope(*context_);
  try {
    handler();
  } catch (const std::exception& e) {
    bool handled = false;
    AddInModuleError(&e, handled);
  } catch (...) {
    bool handled = false;
    AddInModuleError(nullptr, handled);
  }
}

// ---- Create ---------------------------------------------------------------------

void TAddInModule::AddInModuleCreate() { RunEvent([this] { DoCreate(); }); }

void TAddInModule::DoCreate() {
  const std::string modulePath = host_.ModulePath.empty() ? host_.System->ModulePath() : host_.ModulePath;
  context_->AppDir = foundation::ExtractFilePath(modulePath);

  crashFields_ = {{"module", "Addin"}, {"ver", foundation::GetVersionString(modulePath)}};
  LogTrace("AddInCreate", "");

  const std::string localAppData = host_.System->LocalAppDataFolder();
  context_->AppDataDir = localAppData.empty()
                             ? context_->AppDir
                             : foundation::IncludeTrailingPathDelimiter(localAppData) + "Quillorn" +
                                   foundation::kPathDelim;
  cacheDir_ = context_->AppDataDir + "Cache" + foundation::kPathDelim;
  // A cache folder that cannot be made shows up as the data module's own failure later.
  if (!foundation::DirectoryExists(cacheDir_)) host_.System->CreateFolders(cacheDir_);
  LogTrace("AppDir", context_->AppDir);
  LogTrace("AppDataDir", context_->AppDataDir);
  LogTrace("CacheDir", cacheDir_);

  std::string publisher = "no";
  data::TdmSettings(context_->AppDir, context_->AppDataDir)
      .loadSetting("Supported Office Apps", "Publisher", publisher, "no");
  supportedHosts_ = {HostType::ohaExcel, HostType::ohaWord, HostType::ohaPowerPoint};
  if (foundation::LowerCase(publisher) == "yes") supportedHosts_.push_back(HostType::ohaPublisher);
}

// ---- Initialise -----------------------------------------------------------------

void TAddInModule::AddInModuleAddInInitialize() { RunEvent([this] { DoInitialize(); }); }

void TAddInModule::DoInitialize() {
  // Only the exact word counts here, unlike the connection settings' reading of it.
  std::string trace = "false";
  data::TdmSettings(context_->AppDir, context_->AppDataDir).loadSetting("Debug", "Trace", trace, "false");
  context_->TraceEnabled = trace == "true";

  isCloudPlatform_ = foundation::LowerCase(host_.System->GetEnvironmentVariable("clientname")) == "quillmist";

  sessionID_ = static_cast<std::int32_t>(host_.System->TickCount());
  finalizedSessionID_ = 0;
  LogTrace("AddInInitialize", "Session: " + std::to_string(sessionID_));
  LogTrace("AddInInitialize", isCloudPlatform_ ? "Running in cloud mode" : "Running in NON cloud mode");

  mDonePrinting = false;
  mPrintControlled = false;
  mInPrint = false;

  AdaptToHostVersion();

  dm_ = std::make_unique<data::Tdm>(data::TdmFolders{context_->AppDir, context_->AppDataDir, cacheDir_},
                                    isCloudPlatform_, *host_.Loop, *host_.System, *context_);
  dm_->FReachableEvent = [this](data::Tdm&, bool reachable) { OnServerReachable(reachable); };
  callbacks_ = std::make_unique<ModuleDataCallbacks>(*this);
  dm_->AddIn = callbacks_.get();
  dm_->sessionID = sessionID_;
  dm_->Messages = host_.Messages;
  site_ = std::make_unique<ModuleWorkflowSite>(*this);
  workflow_ = std::make_unique<workflow::Workflow>(*site_);
}

std::string TAddInModule::ReadHostVersion() {
  if (!host_.Application) return {};
  try {
    return platform::Variant(host_.Application).Get("Version").AsString();
  } catch (const platform::HostError&) {
    return {};  // read as unreadable: 2010
  }
}

void TAddInModule::AdaptToHostVersion() {
  officeVersion_ = OfficeVersionFromString(ReadHostVersion());

  if (auto position = InsertGroupPosition(host_.Type, officeVersion_)) {
    surface_.At("InsertTab", {0}).insertBeforeIdMso = *position;
  }
  if (host_.Type == HostType::ohaPowerPoint) appName_ = PowerPointAppName(officeVersion_);

  const bool oldUserInterface = officeVersion_ < 2013;
  if (oldUserInterface) LogTrace("AddInInitialize", "...Switch to Office 2007/2010 UI");
  AdaptBackstage(surface_, officeVersion_);
  if (oldUserInterface) LogTrace("AddInInitialize", "...Switching done");
}

// ---- Start-up complete ----------------------------------------------------------

void TAddInModule::AddInModuleAddInStartupComplete() { RunEvent([this] { DoStartupComplete(); }); }

void TAddInModule::DoStartupComplete() {
  LogTrace("StartupComplete", "");
  if (dm_) dm_->CommitCache();
  // Word and PowerPoint fire their open events for the document given at start;
  // Excel and Publisher do not, so the active one is picked up a moment later.
  if (host_.Type == HostType::ohaExcel || host_.Type == HostType::ohaPublisher) StartupTimer.SetEnabled(true);
}

void TAddInModule::StartupTimerTimer() { RunEvent([this] { DoStartupTimer(); }); }

void TAddInModule::DoStartupTimer() {
  StartupTimer.SetEnabled(false);
  platform::Variant doc;
  const platform::Variant app(host_.Application);
  switch (host_.Type) {
    case HostType::ohaExcel: doc = app.Get("ActiveWorkbook"); break;
    // Start-up never runs the timer in PowerPoint; the branch is kept all the same.
    case HostType::ohaPowerPoint: doc = app.Get("ActivePresentation"); break;
    case HostType::ohaPublisher: doc = app.Get("ActiveDocument"); break;
    case HostType::ohaWord: break;
  }
  RequireWorkflow().Tracking.DocumentChangedEvent(doc);
}

// ---- Shutdown -------------------------------------------------------------------

void TAddInModule::AddInModuleAddInBeginShutdown() { RunEvent([this] { DoBeginShutdown(); }); }

void TAddInModule::DoBeginShutdown() {
  // Each step leaves its label in ProcName, so that a crash report tells how far
  // shutdown came. There is no step 5; the labels keep the gap.
  std::string& procName = context_->ProcName;
  const std::string session = std::to_string(sessionID_);

  procName = "AddInBeginShutdown-0";
  LogTrace("AddInBeginShutdown", "Begin Shutdown of session: " + session);
  if (finalizedSessionID_ == sessionID_) {
    LogTrace("AddInBeginShutdown", "Session: " + session + " has already shutdown.");
    return;
  }
  if (!dm_) throw std::logic_error("Shutdown without a data module");

  // Tracked documents this session holds that count as managed.
  const std::string managed = data::Tdm::MyVarToStrDef(
      dm_->cacheLookup("select (count(doc_id) - sum(cast(coalesce(IGNORE,0) as integer) + "
                       "cast(OLE_IGNORE as integer))) from FILES where INIT=true and SESSION_ID=" +
                       session),
      "0");

  procName = "AddInBeginShutdown-1";
  if (managed != "0") {
    RequireWorkflow().Saving.DoWaitForCompletion();
    procName = "AddInBeginShutdown-2";
    dm_->cacheExecSQL("update FILES set INIT=false where SESSION_ID=" + session);
    dm_->ClearOldCache();
    procName = "AddInBeginShutdown-3";
  }
  dm_->cacheExecSQL("delete from FILES where (CHECKED_OUT=true or CACHED=false) and SESSION_ID=" + session);

  procName = "AddInBeginShutdown-4";
  HideQuillornPane();

  procName = "AddInBeginShutdown-6";
  LogTrace("AddInBeginShutdown", "Shutdown of session: " + session + " complete");
}

void TAddInModule::AddInModuleAddInFinalize() {
  RunEvent([this] {
    if (finalizedSessionID_ != sessionID_) {
      finalizedSessionID_ = sessionID_;
      LogTrace("AddInFinalize", "");
    }
  });
}

void TAddInModule::AddInModuleDestroy() { RunEvent([this] { DoDestroy(); }); }

void TAddInModule::DoDestroy() {
  LogTrace("AddInModuleDestroy", "");
  if (dm_) dm_->ShutDown();
}

// ---- At any time ----------------------------------------------------------------

void TAddInModule::AddInModuleError(const std::exception* E, bool& handled) {
  foundation::ContextScope scope(*context_);
  LogTrace("AddInModuleError", "in " + context_->ProcName);
  foundation::LogException(E, E == nullptr ? "Unknown exception" : "");
  handled = true;
}

void TAddInModule::AddInModuleKeyDown(std::uint16_t key, bool ctrl, bool shift, bool /*alt*/) {
  // No way back to off short of a restart: support asks a user to press it and
  // then reproduce the problem.
  if (ctrl && shift && key == kVkSpace) context_->TraceEnabled = true;
}

void TAddInModule::OnServerReachable(bool isReachable) {
  RunEvent([this, isReachable] {
    context_->ProcName = "TAddInModule.OnServerReachable";
    if (panes_ == nullptr || panes_->ItemCount() < 1) return;
    panes_->SetCaption(0, isReachable ? kPaneCaptionOnline : kPaneCaptionOffline);
  });
}

workflow::Workflow& TAddInModule::RequireWorkflow() {
  if (!workflow_) throw std::logic_error("The document routines are not there before initialisation");
  return *workflow_;
}

void TAddInModule::RecordNotBuilt(std::string_view routine) {
  foundation::ContextScope scope(*context_);
  notBuilt_.emplace_back(routine);
  LogTrace("NotBuilt", routine);
}

std::optional<bool> TAddInModule::ServerReachable() const {
  if (!dm_) return std::nullopt;
  return dm_->mIsServerReachable();
}

std::optional<std::string> TAddInModule::PaneCaption() const {
  if (panes_ == nullptr || panes_->ItemCount() < 1) return std::nullopt;
  return panes_->Caption(0);
}

}  // namespace quillorn::addin
