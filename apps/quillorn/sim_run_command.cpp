// `quillorn sim run SCENARIO`: plays a scenario file on a simulated desktop and
// narrates it. Exit status 0 when every step held, 1 when an expectation failed
// or a step could not be done, 2 when the file is not understood.
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "apps/quillorn/commands.h"
#include "foundation/paths.h"
#include "sim/scenario_runner.h"
#include "sim/scenario_script.h"
#include "sim/simulation.h"

namespace quillorn::apps {
namespace {

struct RunOptions {
  std::string scenario;
  std::string home;
  bool verbose = false;
};

// A fresh folder under the system's temp folder, removed when the run ends.
class FreshHome {
 public:
  FreshHome() {
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = std::filesystem::temp_directory_path() / ("quillorn-sim-" + std::to_string(stamp));
    std::filesystem::create_directories(path_);
  }
  ~FreshHome() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  FreshHome(const FreshHome&) = delete;
  FreshHome& operator=(const FreshHome&) = delete;
  std::string Text() const { return foundation::Utf8FromPath(path_); }

 private:
  std::filesystem::path path_;
};

int RunScenario(const RunOptions& options) {
  std::vector<sim::ScenarioStep> steps;
  try {
    steps = sim::ReadScenarioFile(options.scenario);
  } catch (const sim::ScenarioSyntaxError& e) {
    std::cerr << options.scenario << ":" << e.Line() << ": " << e.what() << "\n";
    return sim::kScenarioBadScript;
  } catch (const std::exception& e) {
    std::cerr << "quillorn sim run: " << e.what() << "\n";
    return sim::kScenarioBadScript;
  }
  std::optional<FreshHome> fresh;
  std::string home = options.home;
  if (home.empty()) {
    fresh.emplace();
    home = fresh->Text();
  }
  sim::ScenarioResult result;
  {
    sim::Simulation simulation(home);
    sim::ScenarioRunner runner(simulation, std::cout, foundation::ExtractFileName(options.scenario),
                               options.verbose);
    result = runner.Run(steps);
  }
  if (result.status != sim::kScenarioPassed) std::cerr << result.message << "\n";
  return result.status;
}

}  // namespace

void RegisterSimRunCommand(CLI::App& sim) {
  auto options = std::make_shared<RunOptions>();
  auto* run = sim.add_subcommand("run", "play a scenario file on simulated hosts and a manual clock");
  run->add_option("SCENARIO", options->scenario, "the scenario file (language: docs/scenarios.md)")->required();
  run->add_option("--home", options->home, "the user's folder (default: a fresh temporary one, removed afterwards)");
  run->add_flag("--verbose", options->verbose, "show the add-ins' log records as they are written");
  run->callback([options] {
    const int status = RunScenario(*options);
    if (status != 0) throw CLI::RuntimeError(status);
  });
}

}  // namespace quillorn::apps
