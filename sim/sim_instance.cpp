#include "sim/sim_instance.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "addin/addin_module.h"
#include "addin/command_surface.h"
#include "addin/pane_manager.h"
#include "data/tdm.h"
#include "foundation/paths.h"
#include "hostsim/hosts.h"
#include "hostsim/printing.h"
#include "platform/scripted_prompts.h"
#include "sim/builtin_dialog.h"
#include "sim/host_sinks.h"

namespace quillorn::sim {
namespace {

std::string ExecutableOf(platform::HostType kind) {
  switch (kind) {
    case platform::HostType::ohaWord: return "WINWORD.EXE";
    case platform::HostType::ohaExcel: return "EXCEL.EXE";
    case platform::HostType::ohaPowerPoint: return "POWERPNT.EXE";
    case platform::HostType::ohaPublisher: return "MSPUB.EXE";
  }
  return "HOST.EXE";
}

// The framework's panes, which refuse while the host still builds a pane's window.
class SimPanes final : public addin::PaneManager {
 public:
  int ItemCount() const override { return panes_.ItemCount(); }
  int AddItem(std::string_view className, int position, bool enabled) override {
    return panes_.AddItem(className, position, enabled);
  }
  std::string Caption(int item) const override { return panes_.Caption(item); }
  void SetCaption(int item, std::string_view caption) override { panes_.SetCaption(item, caption); }
  bool Visible(int item) const override { return panes_.Visible(item); }
  void ShowTaskPane(int item) override {
    RefuseWhileNotReady();
    panes_.ShowTaskPane(item);
  }
  void Hide(int item) override { panes_.Hide(item); }
  void SetDocId(int item, std::int64_t docId) override {
    RefuseWhileNotReady();
    panes_.SetDocId(item, docId);
  }
  std::int64_t DocId(int item) const override { return panes_.DocId(item); }

  int refusals = 0;

 private:
  void RefuseWhileNotReady() {
    if (refusals == 0) return;
    --refusals;
    throw std::runtime_error("the pane's window is not ready");
  }
  addin::InMemoryPaneManager panes_;
};

}  // namespace

// What the framework gives the module in a host process: no prompt is scripted,
// so one that comes stops the step with its text.
struct SimInstance::AddIn {
  platform::ScriptedPrompts prompts;
  SimPanes panes;
  std::unique_ptr<addin::TAddInModule> module;
  // Declared after the module: disconnected before it goes.
  std::unique_ptr<HostSinks> sinks;
};

SimInstance::SimInstance(Setup setup, platform::MainLoop& shared, const platform::Clock& clock, LogWatch& logs)
    : setup_(std::move(setup)),
      loop_(shared, context_, logs, setup_.name),
      services_(setup_.home, clock, ExecutableOf(setup_.kind), setup_.process_id, setup_.environment),
      host_(hostsim::CreateHost(setup_.kind)) {
  host_->version = setup_.version;
}

SimInstance::~SimInstance() {
  if (addin_) loop_.RunAs([this] { addin_.reset(); });
}

void SimInstance::Load() {
  if (addin_) throw std::logic_error(setup_.name + " has its add-in loaded already");
  auto addIn = std::make_unique<AddIn>();
  addin::AddInHost host;
  host.Type = setup_.kind;
  host.Application = host_->Application();
  host.Loop = &loop_;
  host.Prompts = &addIn->prompts;
  host.System = &services_;
  host.Context = &context_;
  host.Panes = &addIn->panes;
  loop_.RunAs([&] {
    addIn->module = std::make_unique<addin::TAddInModule>(std::move(host));
    addin::TAddInModule& module = *addIn->module;
    module.AddInModuleCreate();
    module.AddInModuleAddInInitialize();
    // The framework connects the host's events once the module is initialised.
    addIn->sinks = ConnectHostSinks(*host_, module);
    module.AddInModuleAddInStartupComplete();
  });
  // The host's own dialogs are answered like the add-in's, from the script.
  host_->show_dialog = [prompts = &addIn->prompts](int dialog) {
    BuiltInDialog model(hostsim::BuiltInDialogName(dialog));
    return ShowResult(prompts->ShowDialog(model));
  };
  addin_ = std::move(addIn);
}

void SimInstance::Unload() {
  host_->show_dialog = nullptr;
  if (addin_) {
    loop_.RunAs([this] {
      addin::TAddInModule& module = *addin_->module;
      module.AddInModuleAddInBeginShutdown();
      addin_->sinks.reset();
      module.AddInModuleAddInFinalize();
      module.AddInModuleDestroy();
      addin_.reset();
    });
  }
  host_->Quit();
}

void SimInstance::Kill() {
  host_->show_dialog = nullptr;
  loop_.Kill();
  if (addin_) addin_->sinks.reset();
  // The documents vanish with the process: no event tells anyone.
  host_->Quit();
}

bool SimInstance::Loaded() const { return addin_ != nullptr; }

addin::TAddInModule& SimInstance::Module() {
  if (!addin_) throw std::logic_error(setup_.name + " has no add-in loaded");
  return *addin_->module;
}

data::Tdm& SimInstance::DataModule() {
  data::Tdm* dm = Module().dm();
  if (dm == nullptr) throw std::runtime_error(setup_.name + "'s add-in has no data module");
  return *dm;
}

void SimInstance::KeyDown(std::uint16_t key, bool ctrl, bool shift, bool alt) {
  addin::TAddInModule& module = Module();
  loop_.RunAs([&] { module.AddInModuleKeyDown(key, ctrl, shift, alt); });
}

std::shared_ptr<hostsim::DocumentModel> SimInstance::Open(const std::string& path, bool readOnly) {
  std::shared_ptr<hostsim::DocumentModel> doc;
  loop_.RunAs([&] { doc = host_->Open(path, readOnly); });
  return doc;
}

std::shared_ptr<hostsim::DocumentModel> SimInstance::Find(const std::string& path) const {
  for (const auto& doc : host_->Documents()) {
    if (foundation::SameText(doc->full_name, path)) return doc;
  }
  return nullptr;
}

std::shared_ptr<hostsim::DocumentModel> SimInstance::New() {
  std::shared_ptr<hostsim::DocumentModel> doc;
  loop_.RunAs([&] { doc = host_->Add(); });
  return doc;
}

void SimInstance::Activate(const std::shared_ptr<hostsim::DocumentModel>& doc) {
  loop_.RunAs([&] { host_->Activate(doc); });
}

void SimInstance::Save(const std::shared_ptr<hostsim::DocumentModel>& doc) {
  addin::TAddInModule& module = Module();
  loop_.RunAs([&] {
    bool cancel = false;
    module.RunEvent([&] { module.FileSaveCommandAction(cancel); });
    if (!cancel) host_->Save(doc);
  });
}

void SimInstance::SaveShortcut() {
  addin::TAddInModule& module = Module();
  loop_.RunAs([&] { module.RunEvent([&] { module.FileSaveShortcutAction(); }); });
}

bool SimInstance::SaveAs(const std::shared_ptr<hostsim::DocumentModel>& doc, const std::string& path) {
  bool saved = false;
  loop_.RunAs([&] { saved = host_->SaveAs(doc, path); });
  return saved;
}

bool SimInstance::Print(const std::shared_ptr<hostsim::DocumentModel>& doc) {
  bool printed = false;
  loop_.RunAs([&] {
    if (addin_) {
      addin::CommandSurface& surface = addin_->module->Surface();
      bool cancel = false;
      if (addin::Control* command = surface.FindComponent("PrintCommand")) surface.Click(*command, cancel);
      if (cancel) return;
    }
    printed = host_->Print(doc);
  });
  return printed;
}

void SimInstance::LeaveBackstage() {
  host_->print_page_shown = false;
  if (!addin_) return;
  addin::CommandSurface& surface = addin_->module->Surface();
  loop_.RunAs([&] {
    bool cancel = false;
    surface.Click(surface.Root("BackstageView"), cancel);
  });
}

bool SimInstance::Click(addin::Control& control, bool& cancel) {
  addin::TAddInModule& module = Module();
  bool bound = false;
  if (control.type == addin::ControlType::CheckBox) control.checked = !control.checked;
  loop_.RunAs([&] { bound = module.Surface().Click(control, cancel); });
  return bound;
}

bool SimInstance::Close(const std::shared_ptr<hostsim::DocumentModel>& doc) {
  bool closed = false;
  loop_.RunAs([&] { closed = host_->Close(doc, false); });
  return closed;
}

void SimInstance::PaneNotReady(int refusals) {
  if (!addin_) throw std::logic_error(setup_.name + " has no add-in loaded");
  addin_->panes.refusals = refusals;
}

platform::ScriptedPrompts& SimInstance::Prompts() {
  if (!addin_) throw std::logic_error(setup_.name + " has no add-in loaded");
  return addin_->prompts;
}

bool SimInstance::CacheExecSQL(const std::string& sql) {
  data::Tdm& dm = DataModule();
  bool done = false;
  loop_.RunAs([&] {
    // The add-in opens the cache on its first read of a table, as tracking does
    // with tblFiles; nothing is sent to the cache before that.
    dm.LoadFromCache(dm.tblFiles);
    done = dm.cacheExecSQL(sql);
  });
  return done;
}

bool SimInstance::Busy() const {
  if (!addin_ || loop_.Killed()) return false;
  data::Tdm* dm = addin_->module->dm();
  return dm != nullptr && dm->Connection.HttpClient.HasRequests(&dm->Connection.ClientModule);
}

bool SimInstance::WaitForCalls(int seconds) {
  if (!addin_ || loop_.Killed()) return true;
  data::Tdm* dm = addin_->module->dm();
  if (dm == nullptr) return true;
  return dm->Connection.ClientModule.WaitForCompletion(seconds);
}

std::int32_t SimInstance::SessionId() const { return addin_ ? addin_->module->sessionID() : 0; }

int SimInstance::OfficeVersion() const { return addin_ ? addin_->module->OfficeVersion() : 0; }

std::optional<bool> SimInstance::ServerReachable() const {
  if (!addin_) return std::nullopt;
  data::Tdm* dm = addin_->module->dm();
  // Until the first answer or failure the add-in does not know either way.
  if (dm == nullptr || dm->Connection.mStartUp) return std::nullopt;
  return addin_->module->ServerReachable();
}

std::optional<std::string> SimInstance::PaneCaption() const {
  if (!addin_) return std::nullopt;
  return addin_->module->PaneCaption();
}

}  // namespace quillorn::sim
