// What the scenario runner's files share: how a step fails, how its words are
// read. Internal to the runner; nothing else includes it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "foundation/paths.h"
#include "hostsim/model.h"
#include "sim/scenario_runner.h"
#include "sim/scenario_script.h"

namespace quillorn::sim::runner {

// What stops a run: a step that does not hold or cannot be done.
struct StepFailure {
  int status;
  std::string message;
};

[[noreturn]] inline void BadScript(const std::string& message) { throw StepFailure{kScenarioBadScript, message}; }
[[noreturn]] inline void Failed(const std::string& message) { throw StepFailure{kScenarioFailed, message}; }

inline const std::string& Word(const ScenarioStep& step, std::size_t index, const char* what) {
  if (index >= step.words.size()) BadScript(std::string("missing ") + what);
  return step.words[index].text;
}

// A keyword: written without quotes, compared without regard to case.
inline bool Is(const ScenarioStep& step, std::size_t index, std::string_view keyword) {
  return index < step.words.size() && !step.words[index].quoted &&
         foundation::SameText(step.words[index].text, keyword);
}

inline void ExpectCount(const ScenarioStep& step, std::size_t count, const char* usage) {
  if (step.words.size() != count) BadScript(std::string("usage: ") + usage);
}

inline std::string Quote(const std::string& text) { return "\"" + text + "\""; }

inline std::string HostTitle(platform::HostType kind) {
  switch (kind) {
    case platform::HostType::ohaWord: return "Word";
    case platform::HostType::ohaExcel: return "Excel";
    case platform::HostType::ohaPowerPoint: return "PowerPoint";
    case platform::HostType::ohaPublisher: return "Publisher";
  }
  return "host";
}

}  // namespace quillorn::sim::runner
