// TAddInModule: the one object a host talks to, from load to unload. It finds the
// folders, learns the host's version, fits the command surface to it, owns the
// data module and the timers, and at shutdown releases this session's cache rows.
// It holds every per-instance value itself: no globals, so two live side by side.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "addin/command_surface.h"
#include "addin/data_callbacks.h"
#include "addin/host.h"
#include "addin/pane_manager.h"
#include "foundation/context.h"
#include "foundation/reentry_flag.h"
#include "platform/main_loop.h"
#include "platform/variant.h"

namespace quillorn::data {
class Tdm;
}
namespace quillorn::workflow {
struct Workflow;
}

namespace quillorn::toolbox {
class TToolBoxForm;
}

namespace quillorn::addin {

inline constexpr char kAddInName[] = "Quillorn";
inline constexpr char kAddInDescription[] = "Integral part of the Quillorn Document Management System";

// Virtual-key code of the space bar; with Ctrl and Shift it turns tracing on.
inline constexpr std::uint16_t kVkSpace = 0x20;

class ModuleWorkflowSite;
class ModuleToolBoxSite;
class TfrmPicture;

class TAddInModule {
 public:
  // `host`'s loop, prompts and services must outlive the module.
  explicit TAddInModule(AddInHost host);
  ~TAddInModule();
  TAddInModule(const TAddInModule&) = delete;
  TAddInModule& operator=(const TAddInModule&) = delete;

  // ---- The host's callbacks, in the order of a session. As the framework does,
  // an exception out of any of them goes to AddInModuleError and no further.
  void AddInModuleCreate();
  void AddInModuleAddInInitialize();
  void AddInModuleAddInStartupComplete();
  void AddInModuleAddInBeginShutdown();
  void AddInModuleAddInFinalize();
  void AddInModuleDestroy();
  // May come at any time. Reports the exception as handled.
  void AddInModuleError(const std::exception* E, bool& handled);
  void AddInModuleKeyDown(std::uint16_t key, bool ctrl, bool shift, bool alt);

  // The data module's reachable event.
  void OnServerReachable(bool isReachable);

  // ---- Host events (event_routing.cpp), named after their component and event.
  // Cancel and SaveAsUI are the host's by-reference flags.
  void WordAppEventsDocumentOpen(const platform::Variant& doc);
  void WordAppEventsDocumentChange();
  void WordAppEventsDocumentBeforeSave(const platform::Variant& doc, bool& SaveAsUI, bool& Cancel);
  void WordAppEventsDocumentBeforeClose(const platform::Variant& doc, bool& Cancel);
  void WordAppEventsDocumentBeforePrint(const platform::Variant& doc, bool& Cancel);
  void WordAppEventsWindowActivate(const platform::Variant& doc, const platform::Variant& wn);
  void WordAppEventsWindowDeactivate(const platform::Variant& doc, const platform::Variant& wn);

  void ExcelAppEventsWorkbookOpen(const platform::Variant& wb);
  void ExcelAppEventsWorkbookActivate(const platform::Variant& wb);
  void ExcelAppEventsWorkbookBeforeSave(const platform::Variant& wb, bool SaveAsUI, bool& Cancel);
  void ExcelAppEventsWorkbookBeforeClose(const platform::Variant& wb, bool& Cancel);
  void ExcelAppEventsWorkbookBeforePrint(const platform::Variant& wb, bool& Cancel);
  void ExcelAppEventsWindowActivate(const platform::Variant& wb, const platform::Variant& wn);
  void ExcelAppEventsWindowDeactivate(const platform::Variant& wb, const platform::Variant& wn);

  void PowerPointAppEventsPresentationOpen(const platform::Variant& pres);
  void PowerPointAppEventsWindowActivate(const platform::Variant& pres, const platform::Variant& wn);
  void PowerPointAppEventsWindowDeactivate(const platform::Variant& pres, const platform::Variant& wn);
  void PowerPointAppEventsPresentationBeforeSave(const platform::Variant& pres, bool& Cancel);
  void PowerPointAppEventsPresentationBeforeClose(const platform::Variant& pres, bool& Cancel);
  void PowerPointAppEventsPresentationClose(const platform::Variant& pres);
  void PowerPointAppEventsPresentationPrint(const platform::Variant& pres);
  void PowerPointAppEventsSlideSelectionChanged(const platform::Variant& sldRange);

  void PublisherAppEventsDocumentOpen(const platform::Variant& doc);
  void PublisherAppEventsWindowActivate(const platform::Variant& wn);
  void PublisherAppEventsDocumentBeforeClose(const platform::Variant& doc, bool& Cancel);
  void PublisherAppEventsNewDocument(const platform::Variant& doc);
  void PublisherAppEventsBeforePrint(const platform::Variant& doc, bool& Cancel);

  // ---- Intercepted host commands. Cancel true stops the host's own command.
  void FileSaveCommandAction(bool& Cancel);    // ribbon "FileSave"
  void FileSaveControlActionEx(bool& Cancel);  // command bar id 3
  void FileSaveShortcutAction();               // Ctrl+S, which the add-in swallows
  void FileSaveAsCommandAction(bool& Cancel);  // ribbon "FileSaveAs"
  void SaveAsCommandActionEx(bool& Cancel);    // command bar id 748 (Publisher)

  // ---- Printing (printing_commands.cpp): the "Print Controlled" commands, the
  // File view's OnHide and the two print timers.
  void PrintControlledClick();
  void BackstageViewControls1FirstColumn0TopItems0Click(Control& sender);
  void BackstageViewHide();
  void PrintJobPollTimer();
  void PrintDelayTimer();

  // ---- The Insert tab (insert_commands.cpp): revision and custom fields, the
  // logo, the custom field dialog, the cloud edition's picture route.
  void InsertCustomFieldClick(Control& sender);
  void InsertLogoClick();
  void InsertDialogLauncherClick();
  void InsertCommandAction(bool& Cancel);  // "PictureInsertFromFile", "PictureInsertFromFilePowerPoint"
  void UploadCheckTimerTimer();
  // The picture hint while it is up; null otherwise.
  TfrmPicture* frmPicture() noexcept { return frmPicture_.get(); }

  // ---- Pane shells and window focus (panes.cpp).
  void ShowQuillornPane(std::int64_t docId);
  void HideQuillornPane();
  void ShowQuillornTabs(bool visible);
  // An empty name means the host itself.
  void BringToFront(const std::string& docName);
  void BringToFrontTimerTimer();
  void Timer1Timer();

  // Runs a handler as the framework runs an event: with this instance's context
  // current and any exception routed to AddInModuleError and no further.
  void RunEvent(const std::function<void()>& handler);

  // ---- State other parts of the add-in set while they work on documents.
  foundation::ReentryFlag mInternalClose;  // the add-in closes a document itself: before-close passes
  bool mDonePrinting = false;
  bool mInPrint = false;
  bool mPrintControlled = false;
  foundation::ReentryFlag mInternalSave;   // the add-in saves itself: before-save passes

  // ---- What a host, a simulator or a test may read.
  HostType GetHostType() const noexcept { return host_.Type; }
  const AddInHost& GetHost() const noexcept { return host_; }
  std::int32_t sessionID() const noexcept { return sessionID_; }
  std::int32_t FinalizedSessionID() const noexcept { return finalizedSessionID_; }
  bool mIsCloudPlatform() const noexcept { return isCloudPlatform_; }
  const std::string& mAppName() const noexcept { return appName_; }
  int OfficeVersion() const noexcept { return officeVersion_; }
  bool TraceEnabled() const noexcept { return context_->TraceEnabled; }
  const std::string& AppDir() const noexcept { return context_->AppDir; }
  const std::string& AppDataDir() const noexcept { return context_->AppDataDir; }
  const std::string& CacheDir() const noexcept { return cacheDir_; }
  std::vector<HostType> SupportedHosts() const { return supportedHosts_; }
  // The fields the crash reporter adds to its reports: "module" and "ver".
  const std::vector<std::pair<std::string, std::string>>& CrashReportFields() const { return crashFields_; }
  foundation::LogContext& Context() noexcept { return *context_; }

  // The data module from initialisation on; null before.
  data::Tdm* dm() noexcept { return dm_.get(); }
  // The refreshes the data module asked for; null before initialisation.
  const ModuleDataCallbacks* DataCallbacks() const noexcept { return callbacks_.get(); }
  // The server's state as the data module knows it; nullopt before there is one.
  std::optional<bool> ServerReachable() const;

  // This host's pane manager; null in Publisher, which has no pane.
  PaneManager* Panes() noexcept { return panes_; }
  // Caption of pane instance 0; nullopt while no pane item exists.
  std::optional<std::string> PaneCaption() const;
  // The form in the pane; null until the pane first showed a document.
  toolbox::TToolBoxForm* ToolBoxForm() noexcept { return toolbox_.get(); }

  CommandSurface& Surface() noexcept { return surface_; }

  // ---- The seven timers, all on the host's main loop.
  platform::Timer StartupTimer;      // Excel and Publisher: the document active at start
  platform::Timer ShutdownTimer;     // quit the host outside its events
  platform::Timer BringToFrontTimer;
  platform::Timer Timer1;            // hide the Excel pane after the current event
  platform::Timer PrintJobPoll;
  platform::Timer PrintDelay;
  platform::Timer UploadCheckTimer;

  void StartupTimerTimer();

  // The document routines, over this module as their site; null before
  // initialisation and after destruction.
  workflow::Workflow* GetWorkflow() noexcept { return workflow_.get(); }

  // Lets go of the host's application object, as after its Quit.
  void DisconnectApplication() noexcept { host_.Application.reset(); }

  // Steps the document routines reached that belong to work not built yet, in
  // the order they came; each is traced under "NotBuilt" too.
  void RecordNotBuilt(std::string_view routine);
  const std::vector<std::string>& NotBuilt() const noexcept { return notBuilt_; }

 private:
  void DoCreate();
  void DoInitialize();
  void DoStartupComplete();
  void DoBeginShutdown();
  void DoDestroy();
  void DoStartupTimer();
  void AdaptToHostVersion();
  std::string ReadHostVersion();
  // The routines, or a logic_error before initialisation (an event that came
  // too early goes to the error handler).
  workflow::Workflow& RequireWorkflow();
  void BindIntercepts();
  // Printing's commands and timers (printing_commands.cpp).
  void BindPrinting();
  // The add-in's own commands (command_bindings.cpp).
  void BindCommands();
  // Runs a built-in command of the host by its ribbon id.
  void ExecuteBuiltIn(const char* idMso);
  // Makes the pane's form on first need and has it show the document.
  void TellToolBoxForm(std::int64_t docId);
  // The Insert tab's commands and the upload timer (insert_commands.cpp).
  void BindInserting();

  AddInHost host_;
  std::unique_ptr<foundation::LogContext> ownContext_;
  foundation::LogContext* context_;
  std::unique_ptr<InMemoryPaneManager> ownPanes_;
  PaneManager* panes_ = nullptr;
  CommandSurface surface_;
  // Declared before dm_ so that it outlives the data module that points to it.
  std::unique_ptr<ModuleDataCallbacks> callbacks_;
  std::unique_ptr<data::Tdm> dm_;
  // Declared after dm_, so that the routines go before the data module they use.
  std::unique_ptr<ModuleWorkflowSite> site_;
  std::unique_ptr<workflow::Workflow> workflow_;
  // Declared after dm_: the form watches its tables until it goes.
  std::unique_ptr<ModuleToolBoxSite> toolboxSite_;
  std::unique_ptr<toolbox::TToolBoxForm> toolbox_;

  std::int32_t finalizedSessionID_ = 0;
  std::int32_t sessionID_ = 0;
  bool isCloudPlatform_ = false;
  std::string appName_;
  int officeVersion_ = 0;
  std::string cacheDir_;
  std::vector<HostType> supportedHosts_;
  std::vector<std::pair<std::string, std::string>> crashFields_;
  std::vector<std::string> notBuilt_;
  // One picture hint per process, as the form keeps it.
  std::unique_ptr<TfrmPicture> frmPicture_;
};

}  // namespace quillorn::addin
