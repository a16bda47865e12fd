// The toolbox pane as a user meets it in a scenario: typing into its controls,
// choosing from its lists, pressing its buttons and tabs, expecting what a
// control shows; and the narration of what the pane shows after each step.
#include <algorithm>

#include "addin/addin_module.h"
#include "foundation/paths.h"
#include "sim/pane_text.h"
#include "sim/runner_support.h"
#include "sim/scenario_runner.h"
#include "toolbox/toolbox_form.h"

namespace quillorn::sim {

using namespace runner;

namespace {

toolbox::TToolBoxForm& FormOf(SimInstance& instance) {
  toolbox::TToolBoxForm* form = instance.Loaded() ? instance.Module().ToolBoxForm() : nullptr;
  if (form == nullptr) Failed(instance.Name() + " shows no toolbox pane");
  return *form;
}

TextPaneRenderer Rendered(SimInstance& instance) {
  TextPaneRenderer text;
  toolbox::TToolBoxForm& form = FormOf(instance);
  instance.Loop().RunAs([&] { form.Render(text); });
  return text;
}

// A control by name or caption among those rendered; the tab in front first,
// since a caption may stand on two tabs.
const toolbox::PaneControl* FindShown(const TextPaneRenderer& text, const std::string& word) {
  const std::string want = foundation::LowerCase(word);
  const toolbox::PaneControl* found = nullptr;
  for (const toolbox::PaneControl& c : text.Controls()) {
    if (foundation::LowerCase(c.name) == want) return &c;
    if (found == nullptr && foundation::LowerCase(c.caption) == want && c.kind != toolbox::ControlKind::Label) {
      found = &c;
    }
  }
  return found;
}

// Hands the user's input to the form; returns what the narration tells of it.
std::string Input(const ScenarioStep& step, toolbox::TToolBoxForm& form, const std::string& control) {
  const char* usage =
      "pane HOST set \"CONTROL\" \"VALUE\" | choose \"CONTROL\" \"ITEM\" | press \"CONTROL\" | tab \"CAPTION\"";
  if (Is(step, 2, "set")) {
    ExpectCount(step, 5, usage);
    form.Set(control, step.words[4].text);
    return "types " + Quote(step.words[4].text) + " into " + Quote(control);
  }
  if (Is(step, 2, "choose")) {
    ExpectCount(step, 5, usage);
    form.Choose(control, step.words[4].text);
    return "chooses " + Quote(step.words[4].text) + " in " + Quote(control);
  }
  if (Is(step, 2, "press")) {
    ExpectCount(step, 4, usage);
    form.Press(control);
    return "presses " + Quote(control);
  }
  if (Is(step, 2, "tab")) {
    ExpectCount(step, 4, usage);
    form.SelectTab(control);
    return "turns to the tab " + Quote(control);
  }
  BadScript(std::string("usage: ") + usage);
}

}  // namespace

bool ScenarioRunner::PaneStep(const ScenarioStep& step) {
  if (step.words.size() < 3 || Is(step, 2, "not-ready")) return false;
  SimInstance& instance = sim_.Instance(foundation::LowerCase(step.words[1].text));
  toolbox::TToolBoxForm& form = FormOf(instance);
  DeliverAnswers(instance);
  const std::string& control = Word(step, 3, "control");
  std::string told;
  try {
    instance.Loop().RunAs([&] { told = Input(step, form, control); });
  } catch (const toolbox::PaneInputError& e) {
    Failed(instance.Name() + "'s pane does not take it: " + e.what());
  }
  sim_.Settle();
  Say("In " + instance.Name() + "'s pane the user " + told + ".");
  return true;
}

bool ScenarioRunner::ExpectPaneControl(const ScenarioStep& step) {
  if (step.words.size() < 5 || Is(step, 3, "shown") || Is(step, 3, "hidden")) return false;
  const char* usage = "expect pane HOST \"CONTROL\" = \"VALUE\" | enabled | disabled";
  const std::string name = foundation::LowerCase(step.words[2].text);
  const TextPaneRenderer text = Rendered(sim_.Instance(name));
  const std::string& word = step.words[3].text;
  const toolbox::PaneControl* c = FindShown(text, word);
  if (c == nullptr) Failed(name + "'s pane has no control " + Quote(word));
  if (Is(step, 4, "=")) {
    ExpectCount(step, 6, usage);
    const std::string& want = step.words[5].text;
    if (c->value != want) {
      Failed("expected " + name + "'s pane to show " + Quote(want) + " in " + Quote(word) + ", but it shows " +
             Quote(c->value));
    }
    Say("As expected, " + name + "'s pane shows " + Quote(want) + " in " + Quote(word) + ".");
  } else if (Is(step, 4, "enabled") || Is(step, 4, "disabled")) {
    ExpectCount(step, 5, usage);
    const bool want = Is(step, 4, "enabled");
    const bool got = c->enabled && c->visible;
    if (got != want) {
      Failed("expected " + Quote(word) + " in " + name + "'s pane to be " + (want ? "enabled" : "disabled") +
             ", but it is " + (!c->visible ? "hidden" : got ? "enabled" : "disabled"));
    }
    Say("As expected, " + Quote(word) + " in " + name + "'s pane is " + (want ? "enabled." : "disabled."));
  } else {
    BadScript(std::string("usage: ") + usage);
  }
  return true;
}

void ScenarioRunner::ReportPanes() {
  for (const std::string& name : sim_.RunningHosts()) {
    SimInstance& instance = sim_.Instance(name);
    toolbox::TToolBoxForm* form = instance.Loaded() ? instance.Module().ToolBoxForm() : nullptr;
    if (form == nullptr) continue;
    TextPaneRenderer text;
    instance.Loop().RunAs([&] { form->Render(text); });
    PaneSeen& seen = panes_seen_[&instance];
    const std::int32_t doc = form->mDoc_ID();
    if (doc != seen.doc) {
      // A new document: what it is and whether it may be edited, not every field.
      std::string line = "  " + name + "'s pane shows document " + std::to_string(doc);
      for (const char* key : {"edDocName", "lblStatus"}) {
        if (auto it = text.Lines().find(key); it != text.Lines().end()) line += ", " + it->second;
      }
      Say(line + (form->EditMode() ? "; the user may edit it." : "; read-only."));
    } else {
      std::vector<std::string> changed;
      for (const std::string& control : text.Order()) {
        const std::string& now = text.Lines().at(control);
        auto it = seen.lines.find(control);
        if (it == seen.lines.end() || it->second != now) changed.push_back(now);
      }
      for (const auto& [control, line] : seen.lines) {
        if (text.Lines().count(control) == 0) changed.push_back(control + " hidden");
      }
      if (!changed.empty()) {
        std::string line = "  " + name + "'s pane now shows ";
        for (std::size_t i = 0; i < changed.size(); ++i) line += (i == 0 ? "" : "; ") + changed[i];
        Say(line + ".");
      }
    }
    seen.doc = doc;
    seen.lines = text.Lines();
  }
}

}  // namespace quillorn::sim
