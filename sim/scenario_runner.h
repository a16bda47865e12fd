// Runs the steps of a scenario against a Simulation and says in plain words
// what happens at each. The first failed expectation, or a step that cannot be
// done, stops the run with a message that names the line. Never goes on after
// a failure and never hides one.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

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
  void Ping(const ScenarioStep& step);
  void Pane(const ScenarioStep& step);
  void Expect(const ScenarioStep& step);
  void ReportAfterStep();

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
};

// The time stamp of the narration: simulated seconds since the run began.
std::string ElapsedText(std::uint64_t ms);

}  // namespace quillorn::sim
