// Runs the steps of a scenario against a Simulation and says in plain words
// what happens at each. The first failed expectation, or a step that cannot be
// done, stops the run with a message that names the line. Never goes on after
// a failure and never hides one.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "hostsim/model.h"
#include "platform/prompts.h"
#include "platform/scripted_prompts.h"
#include "sim/scenario_script.h"
#include "sim/simulation.h"

namespace quillorn::sim {

// Exit status of `quillorn sim run`.
inline constexpr int kScenarioPassed = 0;
inline constexpr int kScenarioFailed = 1;     // an expectation did not hold, or a step failed
inline constexpr int kScenarioBadScript = 2;  // the file cannot be read or a line is not understood

struct ScenarioResult {
  int status = kScenarioPassed;
  int line = 0;  // of the step that stopped the run
  std::string message;
};

class ScenarioRunner {
 public:
  // `label` names the scenario in messages ("demo.scn").
  ScenarioRunner(Simulation& sim, std::ostream& out, std::string label, bool verbose = false);

  ScenarioResult Run(const std::vector<ScenarioStep>& steps);

 private:
  void Execute(const ScenarioStep& step);
  void Server(const ScenarioStep& step);
  void Host(const ScenarioStep& step);
  void Quit(const ScenarioStep& step);
  void Tick(const ScenarioStep& step);
  void Key(const ScenarioStep& step);
  void Sql(const ScenarioStep& step);
  void Expect(const ScenarioStep& step);
  void ReportAfterStep();

  // Documents and the desktop program (document_steps.cpp).
  void Launcher(const ScenarioStep& step);
  void Open(const ScenarioStep& step);
  void Activate(const ScenarioStep& step);
  void Edit(const ScenarioStep& step);
  void Save(const ScenarioStep& step);
  void SaveAs(const ScenarioStep& step);
  void Print(const ScenarioStep& step);
  void Click(const ScenarioStep& step);
  void Close(const ScenarioStep& step);
  void Kill(const ScenarioStep& step);
  void Answer(const ScenarioStep& step);
  void Login(const ScenarioStep& step);
  void Dialog(const ScenarioStep& step);
  // The expectations on documents, the ribbon, the pane, prompts and the
  // server (document_expects.cpp); false when the step is none of them.
  bool ExpectMore(const ScenarioStep& step);
  // Printing (print_steps.cpp): Word's background print held busy and let go,
  // the user leaving the File view; false when the step is none of them.
  bool PrintStep(const ScenarioStep& step);
  // What was printed, whether a document is still open, the host's window and
  // print page; false when the step is none of them.
  bool ExpectPrinting(const ScenarioStep& step);
  // Files outside any host and documents open in a host (file_expects.cpp).
  bool ExpectFiles(const ScenarioStep& step);
  // The toolbox pane (pane_steps.cpp): a user's input into it, false for a
  // step that is none; what a control shows, false for an expectation on the
  // pane as a whole; and the narration of what changed in it.
  bool PaneStep(const ScenarioStep& step);
  bool ExpectPaneControl(const ScenarioStep& step);
  void ReportPanes();
  // The Insert tab (insert_steps.cpp): where Word's insertion point stands, and
  // the fields, logos and pictures a document holds; false when the step is
  // none of them.
  bool InsertStep(const ScenarioStep& step);
  bool ExpectInserted(const ScenarioStep& step);
  // Prints what the server holds of a document: its record and its file.
  void ShowServerDocument(const std::string& docId);

  // A file of a step: a full path as it stands; a path with a folder below the
  // user's folder; a plain name in the cache folder, or else in Documents/.
  std::string FilePath(const std::string& word) const;
  // The running host that has the file open, and the document; fails when none has.
  struct OpenDocument {
    SimInstance* instance;
    std::shared_ptr<hostsim::DocumentModel> doc;
  };
  OpenDocument FindOpen(const std::string& word);
  // Hands the answers queued for the next prompt to the host about to act.
  void DeliverAnswers(SimInstance& instance);
  // Tells the prompts shown since the last step, and fails on one nobody
  // answered or an answer no prompt took.
  void CheckPrompts();
  // Hosts that quit by themselves (after their last document) unload their add-in.
  void ReapQuitHosts();
  // What the add-in made of the document: the stamp, the pane and the ribbon.
  void TellDocument(SimInstance& instance, const hostsim::DocumentModel& doc);

  // What a user could see of each running host, to tell what a step changed.
  struct HostState {
    std::optional<bool> reachable;
    std::optional<std::string> caption;
  };
  using Snapshot = std::map<std::string, HostState>;
  Snapshot TakeSnapshot();
  void ReportChanges(const Snapshot& before);
  // ${HOST.session} becomes that host's session number.
  std::string Expand(const std::string& text);
  // The name of a host that runs or ran; raises for one never started.
  std::string KnownHost(const std::string& word);

  void Say(const std::string& text);

  Simulation& sim_;
  std::ostream& out_;
  std::string label_;
  bool trace_;
  std::map<std::string, std::int32_t> sessions_;  // by host name, the latest start
  // Answers for prompts still to come, with the host they are meant for ("" any).
  // What the user will do at the next prompt: answer a message box, or fill a
  // dialog's fields and press one of its buttons.
  struct PendingAnswer {
    std::string host;
    platform::ModalResult answer = platform::ModalResult::mrNone;
    std::optional<platform::DialogAnswer> dialog;
  };
  std::vector<PendingAnswer> pending_;
  // By instance: a host started again under the same name starts afresh.
  std::map<const SimInstance*, std::size_t> prompts_told_;
  // Every prompt told so far, by host name, kept after its host has gone.
  std::vector<std::pair<std::string, std::string>> prompts_seen_;
  // What each instance's pane showed after the last step.
  struct PaneSeen {
    std::int32_t doc = 0;
    std::map<std::string, std::string> lines;
  };
  std::map<const SimInstance*, PaneSeen> panes_seen_;
};

// The time stamp of the narration: simulated seconds since the run began.
std::string ElapsedText(std::uint64_t ms);

}  // namespace quillorn::sim
