// One simulated host process: the host application, the add-in instance loaded
// into it, and what a process of its own would give that instance (its log
// context, its view of the main loop, its system services). Drives the add-in
// only through the callbacks a host makes; never reaches into its state except
// to read what a user could see or a test must check.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "foundation/context.h"
#include "hostsim/host.h"
#include "hostsim/model.h"
#include "platform/clock.h"
#include "platform/main_loop.h"
#include "sim/instance_loop.h"
#include "sim/log_watch.h"
#include "sim/sim_system_services.h"

namespace quillorn::addin {
class TAddInModule;
struct Control;
}
namespace quillorn::data {
class Tdm;
}
namespace quillorn::platform {
class ScriptedPrompts;
}

namespace quillorn::sim {

class SimInstance {
 public:
  struct Setup {
    std::string name;  // how the scenario calls it: "word", "excel2"
    platform::HostType kind;
    std::string version;  // the host's Application.Version
    std::string home;     // the user's folder, without a trailing delimiter
    std::map<std::string, std::string, std::less<>> environment;
    std::uint32_t process_id;
  };

  // `shared`, `clock` and `logs` must outlive the instance.
  SimInstance(Setup setup, platform::MainLoop& shared, const platform::Clock& clock, LogWatch& logs);
  ~SimInstance();
  SimInstance(const SimInstance&) = delete;
  SimInstance& operator=(const SimInstance&) = delete;

  const std::string& Name() const { return setup_.name; }
  platform::HostType Kind() const { return setup_.kind; }
  hostsim::SimHost& Host() { return *host_; }
  InstanceLoop& Loop() { return loop_; }
  foundation::LogContext& Context() { return context_; }

  // The host's callbacks in the order of a session: create, initialise,
  // start-up complete; and at the end begin shutdown, finalize, destroy, after
  // which the host quits.
  void Load();
  void Unload();
  bool Loaded() const;
  // The process ends at once (killed): no callback of the add-in runs, its
  // timers and queued work die with it, and the host's documents are gone.
  // The module itself is kept, unreachable, until the instance is destroyed.
  void Kill();
  bool Killed() const { return loop_.Killed(); }

  // The loaded module and its data module; each raises when there is none.
  addin::TAddInModule& Module();
  data::Tdm& DataModule();

  // A key stroke in the host's window, as the framework hands it to the add-in.
  void KeyDown(std::uint16_t key, bool ctrl, bool shift, bool alt);

  // What a user does with documents. Each runs as this process, so the host's
  // events reach the add-in with its context current. `Open` gives null when
  // the host refused; `Save` presses the ribbon's Save ("FileSave"): the add-in's
  // intercept first and, unless it cancelled, the host's own save.
  std::shared_ptr<hostsim::DocumentModel> Open(const std::string& path, bool readOnly);
  std::shared_ptr<hostsim::DocumentModel> Find(const std::string& path) const;
  // A new, untitled document (the host's File, New).
  std::shared_ptr<hostsim::DocumentModel> New();
  void Activate(const std::shared_ptr<hostsim::DocumentModel>& doc);
  void Save(const std::shared_ptr<hostsim::DocumentModel>& doc);
  // Ctrl+S, which the add-in's shortcut swallows and handles itself.
  void SaveShortcut();
  // The host's own Save As (F12): its before-save event with SaveAsUI, which the
  // add-in may cancel; true when the file was written under `path`.
  bool SaveAs(const std::shared_ptr<hostsim::DocumentModel>& doc, const std::string& path);
  bool Close(const std::shared_ptr<hostsim::DocumentModel>& doc);
  // The user's print: the host's print command, which the add-in watches, then
  // the host's print, its print events first; false when cancelled.
  bool Print(const std::shared_ptr<hostsim::DocumentModel>& doc);
  // The user leaves the File view: the print page goes and the add-in's OnHide runs.
  void LeaveBackstage();
  // A click on a command of the add-in's surface, as the framework hands it on:
  // false when the add-in has no handler for it; `cancel` true when the add-in
  // took the command over and the host's own must not run. A click on a check
  // box turns it over first, as the framework hands the handler its new state.
  bool Click(addin::Control& control, bool& cancel);

  // The host's pane window is still being built: the next `refusals` calls that
  // show a pane or tell it its document are refused, as Excel's may be.
  void PaneNotReady(int refusals);

  // The prompts of this process: answers are queued here, what was shown is read here.
  platform::ScriptedPrompts& Prompts();

  // A statement through the add-in's own connection to the shared cache, opened
  // as the add-in opens it; false when the cache refused it (the add-in logs why).
  bool CacheExecSQL(const std::string& sql);

  // Remote calls of the add-in queued or on the wire.
  bool Busy() const;
  // Pumps the shared loop until none is left; false when the time ran out.
  bool WaitForCalls(int seconds);

  // What the add-in shows or holds; empty when it has no such thing. Whether
  // the server is reachable is empty until the add-in first learnt it.
  std::int32_t SessionId() const;
  int OfficeVersion() const;
  bool TraceEnabled() const { return context_.TraceEnabled; }
  std::optional<bool> ServerReachable() const;
  std::optional<std::string> PaneCaption() const;

 private:
  struct AddIn;

  Setup setup_;
  foundation::LogContext context_;
  InstanceLoop loop_;
  SimSystemServices services_;
  std::shared_ptr<hostsim::SimHost> host_;
  std::unique_ptr<AddIn> addin_;
};

}  // namespace quillorn::sim
