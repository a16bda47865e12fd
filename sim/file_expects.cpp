// The runner's expectations on files outside any host (a copy taken out of
// the system: is it there, what cmsID does it carry) and on whether a host has
// a document open.
#include <filesystem>

#include "automation/doc_properties.h"
#include "foundation/paths.h"
#include "hostsim/doc_file.h"
#include "hostsim/hosts.h"
#include "hostsim/model.h"
#include "sim/runner_support.h"
#include "sim/scenario_runner.h"

namespace quillorn::sim {

using namespace runner;

namespace {

// The cmsID the document file carries (Publisher: its tag); nullopt for none.
std::optional<std::string> FileCmsId(const std::string& path) {
  const auto kind = hostsim::HostKindForFile(path);
  if (!kind) return std::nullopt;
  const auto doc = hostsim::LoadDocumentFile(path, *kind);
  for (const auto& p : doc->custom_properties) {
    if (foundation::SameText(p.name, automation::kCmsIdProperty)) return p.value;
  }
  for (const auto& t : doc->tags) {
    if (foundation::SameText(t.name, automation::kCmsIdProperty)) return t.value;
  }
  return std::nullopt;
}

}  // namespace

bool ScenarioRunner::ExpectFiles(const ScenarioStep& step) {
  if (Is(step, 1, "file")) {
    const char* usage = "expect file \"PATH\" exists|missing | expect file \"PATH\" cmsid \"X\"|none";
    if (step.words.size() < 4) BadScript(std::string("usage: ") + usage);
    const std::string path = FilePath(step.words[2].text);
    std::error_code ec;
    const bool exists = std::filesystem::is_regular_file(foundation::PathFromUtf8(path), ec);
    const std::string name = Quote(step.words[2].text);
    if (step.words.size() == 4 && (Is(step, 3, "exists") || Is(step, 3, "missing"))) {
      const bool want = Is(step, 3, "exists");
      if (exists != want) Failed("expected " + name + (want ? " to exist, but it does not" : " to be missing, but it is there"));
      Say("As expected, " + name + (want ? " is there." : " is not there."));
      return true;
    }
    if (step.words.size() != 5 || !Is(step, 3, "cmsid")) BadScript(std::string("usage: ") + usage);
    if (!exists) Failed(name + " does not exist");
    const ScenarioWord& want = step.words[4];
    const bool none = !want.quoted && foundation::SameText(want.text, "none");
    std::optional<std::string> got;
    try {
      got = FileCmsId(path);
    } catch (const std::exception& e) {
      Failed(name + " is no document file: " + e.what());
    }
    if (none ? got.has_value() : got != want.text) {
      Failed("expected " + name + " to carry " + (none ? std::string("no cmsID") : "cmsID " + Quote(want.text)) +
             ", but it carries " + (got ? "cmsID " + Quote(*got) : std::string("none")));
    }
    Say("As expected, the file " + name + " carries " + (none ? std::string("no cmsID.") : "cmsID " + Quote(want.text) + "."));
    return true;
  }
  if (step.words.size() == 4 && (Is(step, 2, "open") || Is(step, 2, "closed"))) {
    const std::string host = KnownHost(step.words[1].text);
    const bool want = Is(step, 2, "open");
    const std::string path = FilePath(step.words[3].text);
    bool got = false;
    for (const std::string& running : sim_.RunningHosts()) {
      if (running == host) got = sim_.Instance(host).Find(path) != nullptr;
    }
    const std::string name = Quote(step.words[3].text);
    if (got != want) Failed("expected " + name + " to be " + step.words[2].text + " in " + host + ", but it is " + (got ? "open" : "not open"));
    Say("As expected, " + name + (want ? " is open in " : " is not open in ") + host + ".");
    return true;
  }
  return false;
}

}  // namespace quillorn::sim
