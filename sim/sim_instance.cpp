#include "sim/sim_instance.h"

#include <stdexcept>
#include <utility>

#include "addin/addin_module.h"
#include "addin/pane_manager.h"
#include "data/tdm.h"
#include "foundation/paths.h"
#include "hostsim/hosts.h"
#include "platform/scripted_prompts.h"

namespace quillorn::sim {
namespace {

std::string ExecutableOf(hostsim::HostKind kind) {
  switch (kind) {
    case hostsim::HostKind::Word: return "WINWORD.EXE";
    case hostsim::HostKind::Excel: return "EXCEL.EXE";
    case hostsim::HostKind::PowerPoint: return "POWERPNT.EXE";
    case hostsim::HostKind::Publisher: return "MSPUB.EXE";
  }
  return "HOST.EXE";
}

addin::HostType HostTypeOf(hostsim::HostKind kind) {
  switch (kind) {
    case hostsim::HostKind::Word: return addin::ohaWord;
    case hostsim::HostKind::Excel: return addin::ohaExcel;
    case hostsim::HostKind::PowerPoint: return addin::ohaPowerPoint;
    case hostsim::HostKind::Publisher: return addin::ohaPublisher;
  }
  return addin::ohaWord;
}

// The pane shell class each host's pane item is made with.
const char* PaneClassOf(hostsim::HostKind kind) {
  switch (kind) {
    case hostsim::HostKind::Word: return "TWordTP";
    case hostsim::HostKind::Excel: return "TExcelTP";
    case hostsim::HostKind::PowerPoint: return "TPowerPointTP";
    case hostsim::HostKind::Publisher: break;
  }
  return nullptr;
}

// Where the framework docks a pane shell: the right edge.
constexpr int kPanePositionRight = 4;

}  // namespace

// What the framework gives the module in a host process: no prompt is scripted,
// so one that comes stops the step with its text.
struct SimInstance::AddIn {
  platform::ScriptedPrompts prompts;
  addin::InMemoryPaneManager panes;
  std::unique_ptr<addin::TAddInModule> module;
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
  host.Type = HostTypeOf(setup_.kind);
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
    module.AddInModuleAddInStartupComplete();
  });
  addin_ = std::move(addIn);
}

void SimInstance::Unload() {
  if (addin_) {
    loop_.RunAs([this] {
      addin::TAddInModule& module = *addin_->module;
      module.AddInModuleAddInBeginShutdown();
      module.AddInModuleAddInFinalize();
      module.AddInModuleDestroy();
      addin_.reset();
    });
  }
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

void SimInstance::Ping() {
  data::Tdm& dm = DataModule();
  loop_.RunAs([&] { dm.ConnectToServer(false); });
}

bool SimInstance::ShowPane() {
  const char* className = PaneClassOf(setup_.kind);
  if (className == nullptr) return false;
  addin::PaneManager* panes = Module().Panes();
  if (panes == nullptr) return false;
  loop_.RunAs([&] {
    if (panes->ItemCount() == 0) panes->AddItem(className, kPanePositionRight, true);
    panes->ShowTaskPane(0);
  });
  return true;
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
  if (!addin_) return false;
  data::Tdm* dm = addin_->module->dm();
  return dm != nullptr && dm->Connection.HttpClient.HasRequests(&dm->Connection.ClientModule);
}

bool SimInstance::WaitForCalls(int seconds) {
  if (!addin_) return true;
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
