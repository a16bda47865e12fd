// The runner's steps on documents: the desktop program announcing and placing
// files, and what a user does in a host (open, switch to, type, save, close),
// with the answers a user gives to the prompts that follow.
#include <algorithm>
#include <charconv>
#include <filesystem>

#include "addin/addin_module.h"
#include "addin/command_surface.h"
#include "addin/pane_manager.h"
#include "foundation/paths.h"
#include "hostsim/hosts.h"
#include "hostsim/sim_object.h"
#include "platform/scripted_prompts.h"
#include "sim/document_view.h"
#include "sim/launcher.h"
#include "sim/runner_support.h"
#include "sim/scenario_runner.h"

namespace quillorn::sim {

using namespace runner;

namespace {

std::int32_t Number(const std::string& text, const char* what) {
  std::int32_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) BadScript(std::string(what) + " must be a number: " + text);
  return value;
}

std::string NameOf(const std::string& path) { return hostsim::FileNameOf(path); }

const char* AnswerWord(platform::ModalResult answer) {
  switch (answer) {
    case platform::ModalResult::mrYes: return "Yes";
    case platform::ModalResult::mrNo: return "No";
    case platform::ModalResult::mrCancel: return "Cancel";
    case platform::ModalResult::mrOk: return "OK";
    default: return "nothing";
  }
}

// "VERB edLogin to "jsmith", edPwd to (hidden)": a password is never printed.
std::string FieldsFilled(const std::vector<std::pair<std::string, std::string>>& fields, const char* verb) {
  std::string text;
  for (const auto& [field, value] : fields) {
    const bool secret = foundation::LowerCase(field).find("pwd") != std::string::npos;
    text += (text.empty() ? verb : ", ") + field + " to " + (secret ? std::string("(hidden)") : Quote(value));
  }
  return text;
}

}  // namespace

std::string ScenarioRunner::FilePath(const std::string& word) const {
  std::string path = word;
  std::replace(path.begin(), path.end(), '\\', '/');
  if (!path.empty() && path.front() == '/') return path;
  if (path.find('/') != std::string::npos) return sim_.Home() + "/" + path;
  const std::string cached = sim_.AppDataDir() + "Cache/" + path;
  std::error_code ec;
  if (std::filesystem::exists(foundation::PathFromUtf8(cached), ec)) return cached;
  const std::string documents = sim_.Home() + "/Documents/" + path;
  if (std::filesystem::exists(foundation::PathFromUtf8(documents), ec)) return documents;
  return cached;
}

ScenarioRunner::OpenDocument ScenarioRunner::FindOpen(const std::string& word) {
  const std::string path = FilePath(word);
  for (const std::string& name : sim_.RunningHosts()) {
    SimInstance& instance = sim_.Instance(name);
    if (auto doc = instance.Find(path)) return {&instance, doc};
  }
  Failed(word + " is not open in any running host");
}

void ScenarioRunner::DeliverAnswers(SimInstance& instance) {
  if (!instance.Loaded()) return;
  auto it = pending_.begin();
  while (it != pending_.end()) {
    if (!it->host.empty() && it->host != instance.Name()) {
      ++it;
      continue;
    }
    if (it->dialog) {
      instance.Prompts().AnswerDialog(*it->dialog);
    } else {
      instance.Prompts().Answer(it->answer);
    }
    it = pending_.erase(it);
  }
}

void ScenarioRunner::CheckPrompts() {
  for (const std::string& name : sim_.RunningHosts()) {
    SimInstance& instance = sim_.Instance(name);
    if (!instance.Loaded() || instance.Killed()) continue;
    const auto& shown = instance.Prompts().Shown();
    std::size_t& told = prompts_told_[&instance];
    for (; told < shown.size(); ++told) {
      const platform::PromptRecord& prompt = shown[told];
      prompts_seen_.emplace_back(name, prompt.text);
      std::string text = prompt.text;
      std::replace(text.begin(), text.end(), '\r', ' ');
      if (prompt.type == platform::PromptRecord::Type::Dialog) {
        const std::string filled = FieldsFilled(prompt.fields, " sets ");
        Say("  " + name + " shows the dialog " + prompt.text + "; the user" + filled + (filled.empty() ? "" : " and") +
            " presses " + Quote(prompt.pressed) + ".");
      } else {
        Say("  " + name + " asks: " + Quote(text) + " The user answers " + AnswerWord(prompt.answer) + ".");
      }
      if (prompt.answer == platform::ModalResult::mrNone) {
        Failed(name + " showed " + Quote(text) + " and the scenario had no answer for it (queue one with answer, login or dialog)");
      }
    }
    if (instance.Prompts().Unanswered() != 0) {
      Failed("an answer was queued for " + name + " but no prompt came to take it");
    }
  }
}

void ScenarioRunner::ReapQuitHosts() {
  for (const std::string& name : sim_.RunningHosts()) {
    SimInstance& instance = sim_.Instance(name);
    if (instance.Killed() || !instance.Host().HasQuit()) continue;
    const std::string title = HostTitle(instance.Kind());
    sim_.QuitHost(name);
    Say("  " + title + " '" + name + "' has quit by itself; its add-in shut down with it.");
  }
}

void ScenarioRunner::TellDocument(SimInstance& instance, const hostsim::DocumentModel& doc) {
  if (doc.closed) {
    Say("  " + NameOf(doc.full_name) + " is closed again.");
    return;
  }
  const std::string stamp = StampWord(doc);
  std::string text = "  " + NameOf(doc.full_name) + ": ";
  text += stamp.empty() ? "no stamp" : "stamped " + Quote(stamp);
  if (const auto id = PropertyValue(doc, "cmsID")) text += ", cmsID " + *id;
  if (IsProtected(doc)) text += ", protected";
  const auto pane = PaneShown(instance);
  text += pane.value_or(false) ? "; the Quillorn pane is shown" : "; no Quillorn pane";
  Say(text + ".");
}

void ScenarioRunner::Launcher(const ScenarioStep& step) {
  const char* usage =
      "launcher announce DOC_ID FILE [user U] [read-only] [print] [print-controlled] [checked-out] | "
      "launcher copy DOC_ID FILE [user U] [records]";
  if (step.words.size() < 4) BadScript(std::string("usage: ") + usage);
  const bool announce = Is(step, 1, "announce");
  if (!announce && !Is(step, 1, "copy")) BadScript(std::string("usage: ") + usage);
  Announcement a;
  a.DocId = Number(step.words[2].text, "DOC_ID");
  a.UserId = announce ? 1 : 0;
  bool records = false;
  for (std::size_t i = 4; i < step.words.size(); ++i) {
    if (Is(step, i, "user") && i + 1 < step.words.size()) {
      a.UserId = Number(step.words[++i].text, "the user");
    } else if (announce && Is(step, i, "read-only")) {
      a.ReadOnly = true;
    } else if (announce && Is(step, i, "print")) {
      a.Print = true;
    } else if (announce && Is(step, i, "print-controlled")) {
      a.PrintControlled = true;
    } else if (announce && Is(step, i, "checked-out")) {
      a.CheckedOut = true;
    } else if (!announce && Is(step, i, "records")) {
      records = true;
    } else {
      BadScript("unknown option " + step.words[i].text + "; " + usage);
    }
  }
  SimLauncher launcher(sim_);
  std::string file = step.words[3].text;
  if (announce) {
    a.FileName = file.find_first_of("/\\") == std::string::npos ? sim_.AppDataDir() + "Cache/" + file : FilePath(file);
    const Placement placed = launcher.Announce(a);
    std::string flags;
    for (const auto& [on, word] : {std::pair{a.ReadOnly, "read-only"}, std::pair{a.Print, "to print"},
                                   std::pair{a.PrintControlled, "controlled"}, std::pair{a.CheckedOut, "checked out"}}) {
      if (on) flags += std::string(flags.empty() ? " (" : ", ") + word;
    }
    if (!flags.empty()) flags += ")";
    Say("The desktop program announces document " + std::to_string(a.DocId) + " as " + Quote(NameOf(a.FileName)) +
        " for user " + std::to_string(a.UserId) + flags + ": " +
        (placed.FromServer ? "the server's stored revision" : "a new document carrying cmsID " + placed.CmsId) +
        " goes into the cache folder, " +
        (placed.RecordsCached ? "its records into the cache, " : "no records (no server to fetch them from), ") +
        "and a FILES row with INIT false.");
  } else {
    const std::string path =
        file.find_first_of("/\\") == std::string::npos ? sim_.Home() + "/Documents/" + file : FilePath(file);
    const Placement placed = launcher.PlaceCopy(a.DocId, a.UserId, path, records);
    Say("The desktop program puts a copy of document " + std::to_string(a.DocId) + " outside the cache as " +
        Quote(NameOf(path)) + ", carrying cmsID " + placed.CmsId + (placed.FromServer ? " (the server's revision)" : "") +
        (placed.RecordsCached ? "; its records go into the cache" : "") + "; no FILES row is written.");
  }
}

void ScenarioRunner::Open(const ScenarioStep& step) {
  const char* usage = "open FILE [in HOST] [read-only]";
  if (step.words.size() < 2) BadScript(std::string("usage: ") + usage);
  const std::string path = FilePath(step.words[1].text);
  std::string hostName;
  bool readOnly = false;
  for (std::size_t i = 2; i < step.words.size(); ++i) {
    if (Is(step, i, "in") && i + 1 < step.words.size()) {
      hostName = foundation::LowerCase(step.words[++i].text);
    } else if (Is(step, i, "read-only")) {
      readOnly = true;
    } else {
      BadScript(std::string("usage: ") + usage);
    }
  }
  SimInstance* instance = nullptr;
  if (!hostName.empty()) {
    instance = &sim_.Instance(hostName);
  } else {
    const auto kind = hostsim::HostKindForFile(path);
    if (!kind) Failed("no host opens a file like " + path);
    for (const std::string& name : sim_.RunningHosts()) {
      if (sim_.Instance(name).Kind() == *kind) {
        instance = &sim_.Instance(name);
        break;
      }
    }
    if (instance == nullptr) {
      instance = &sim_.StartHost(*kind, "16.0");
      if (instance->Loaded()) sessions_[instance->Name()] = instance->SessionId();
      Say(HostTitle(*kind) + " starts as '" + instance->Name() + "' to open it and loads the add-in: session " +
          std::to_string(instance->SessionId()) + ".");
    }
  }
  DeliverAnswers(*instance);
  const Snapshot before = TakeSnapshot();
  std::shared_ptr<hostsim::DocumentModel> doc;
  try {
    doc = instance->Open(path, readOnly);
  } catch (const hostsim::HostError& e) {
    Failed(instance->Name() + " cannot open " + path + ": " + e.what());
  }
  sim_.Settle();
  Say(instance->Name() + " opens " + Quote(NameOf(path)) + (readOnly ? " read-only" : "") + ".");
  ReportChanges(before);
  if (doc) TellDocument(*instance, *doc);
}

void ScenarioRunner::Activate(const ScenarioStep& step) {
  ExpectCount(step, 2, "activate FILE");
  const OpenDocument open = FindOpen(step.words[1].text);
  DeliverAnswers(*open.instance);
  open.instance->Activate(open.doc);
  sim_.Settle();
  Say("The user switches to " + Quote(NameOf(open.doc->full_name)) + " in " + open.instance->Name() + ".");
  TellDocument(*open.instance, *open.doc);
}

void ScenarioRunner::Edit(const ScenarioStep& step) {
  ExpectCount(step, 3, "edit FILE \"TEXT\"");
  const OpenDocument open = FindOpen(step.words[1].text);
  const std::string name = NameOf(open.doc->full_name);
  if (open.instance->Host().Active() != open.doc) Failed(name + " is not the active document; activate it first");
  if (IsProtected(*open.doc)) Failed(name + " is protected: the user cannot type in it");
  TypeText(*open.doc, step.words[2].text);
  Say("The user types " + Quote(step.words[2].text) + " into " + Quote(name) + ".");
}

void ScenarioRunner::Save(const ScenarioStep& step) {
  ExpectCount(step, 2, "save FILE");
  const OpenDocument open = FindOpen(step.words[1].text);
  const std::string name = NameOf(open.doc->full_name);
  if (open.instance->Host().Active() != open.doc) Failed(name + " is not the active document; activate it first");
  DeliverAnswers(*open.instance);
  const Snapshot before = TakeSnapshot();
  Say("The user presses Save in " + open.instance->Name() + " with " + Quote(name) + " in front.");
  try {
    open.instance->Save(open.doc);
  } catch (const hostsim::HostError& e) {
    Say("  " + open.instance->Name() + " refuses the save: " + e.what());
  }
  sim_.Settle();
  ReportChanges(before);
  Say(std::string("  ") + name + (open.doc->saved ? " counts as saved." : " still has unsaved changes."));
}

void ScenarioRunner::SaveAs(const ScenarioStep& step) {
  ExpectCount(step, 3, "save-as FILE \"NAME\"");
  const OpenDocument open = FindOpen(step.words[1].text);
  const std::string name = NameOf(open.doc->full_name);
  if (open.instance->Host().Active() != open.doc) Failed(name + " is not the active document; activate it first");
  // A plain name lands beside the document, as the host's dialog offers.
  const std::string& given = step.words[2].text;
  const std::string target =
      given.find_first_of("/\\") == std::string::npos ? hostsim::FolderOf(open.doc->full_name) + "/" + given : FilePath(given);
  DeliverAnswers(*open.instance);
  Say("The user saves " + Quote(name) + " as " + Quote(NameOf(target)) + " with " + open.instance->Name() +
      "'s own Save As.");
  bool saved = false;
  try {
    saved = open.instance->SaveAs(open.doc, target);
  } catch (const hostsim::HostError& e) {
    Say("  " + open.instance->Name() + " refuses the save: " + e.what());
  }
  sim_.Settle();
  Say(saved ? "  It is saved as " + Quote(NameOf(target)) + "." : "  The Save As is cancelled: " + Quote(name) + " keeps its name.");
}

void ScenarioRunner::Click(const ScenarioStep& step) {
  const char* usage = "click HOST CONTROL [refused]";
  const bool refusalWanted = step.words.size() == 4 && Is(step, 3, "refused");
  if (step.words.size() != 3 && !refusalWanted) BadScript(std::string("usage: ") + usage);
  SimInstance& instance = sim_.Instance(foundation::LowerCase(step.words[1].text));
  addin::CommandSurface& surface = instance.Module().Surface();
  bool offered = true;
  addin::Control* control = surface.FindComponent(step.words[2].text);
  if (control != nullptr) offered = control->enabled;
  if (control == nullptr) control = FindClickable(surface, step.words[2].text, offered, instance.OfficeVersion());
  if (control == nullptr) Failed(instance.Name() + " has no command " + Quote(step.words[2].text));
  // A greyed or hidden command cannot be clicked; nothing happens.
  const std::string why = control->enabled ? "hidden" : "disabled";
  if (!offered && !refusalWanted) {
    Failed("the user cannot click " + Quote(step.words[2].text) + " in " + instance.Name() + ": it is " + why);
  }
  if (refusalWanted) {
    if (offered) Failed("expected " + Quote(step.words[2].text) + " in " + instance.Name() + " to be out of reach, but it can be clicked");
    Say("The user cannot click " + Quote(step.words[2].text) + " in " + instance.Name() + ": it is " + why +
        "; nothing happens.");
    return;
  }
  DeliverAnswers(instance);
  bool cancel = false;
  const bool bound = instance.Click(*control, cancel);
  sim_.Settle();
  // The host's own command that follows is not simulated.
  const bool intercept = control->type == addin::ControlType::Intercept || control->type == addin::ControlType::Shortcut;
  Say("The user clicks " + Quote(step.words[2].text) + " in " + instance.Name() + ": " +
      (!bound       ? "the add-in has no handler for it."
       : !intercept ? "the add-in's command runs."
       : cancel     ? "the add-in takes the command over."
                    : "the add-in lets the host's own command go on."));
}

void ScenarioRunner::Close(const ScenarioStep& step) {
  ExpectCount(step, 2, "close FILE");
  const OpenDocument open = FindOpen(step.words[1].text);
  const std::string name = NameOf(open.doc->full_name);
  DeliverAnswers(*open.instance);
  const bool unsaved = !open.doc->saved;
  Say("The user closes " + Quote(name) + " in " + open.instance->Name() + (unsaved ? ", which has unsaved changes." : "."));
  bool closed = false;
  try {
    closed = open.instance->Close(open.doc);
  } catch (const hostsim::HostError& e) {
    Failed(open.instance->Name() + " failed to close " + name + ": " + e.what());
  }
  sim_.Settle();
  if (!closed) {
    Say("  The close is cancelled: " + Quote(name) + " stays open.");
  } else if (!open.doc->saved) {
    Say("  " + name + " closes; the host would ask its own save question here, and the changes are dropped.");
  } else {
    Say("  " + name + " closes.");
  }
}

void ScenarioRunner::Kill(const ScenarioStep& step) {
  ExpectCount(step, 2, "kill HOST");
  const std::string name = foundation::LowerCase(step.words[1].text);
  const std::string title = HostTitle(sim_.Instance(name).Kind());
  sim_.KillHost(name);
  Say(title + " '" + name + "' is killed: the process ends at once, with no shutdown of its add-in.");
}

void ScenarioRunner::Answer(const ScenarioStep& step) {
  const char* usage = "answer [HOST] yes|no|cancel|ok";
  if (step.words.size() != 2 && step.words.size() != 3) BadScript(std::string("usage: ") + usage);
  PendingAnswer pending;
  if (step.words.size() == 3) pending.host = foundation::LowerCase(step.words[1].text);
  const std::size_t at = step.words.size() - 1;
  if (Is(step, at, "yes")) {
    pending.answer = platform::ModalResult::mrYes;
  } else if (Is(step, at, "no")) {
    pending.answer = platform::ModalResult::mrNo;
  } else if (Is(step, at, "cancel")) {
    pending.answer = platform::ModalResult::mrCancel;
  } else if (Is(step, at, "ok")) {
    pending.answer = platform::ModalResult::mrOk;
  } else {
    BadScript(std::string("usage: ") + usage);
  }
  pending_.push_back(pending);
  Say("The user will answer " + std::string(AnswerWord(pending.answer)) + " to the next question" +
      (pending.host.empty() ? "" : " in " + pending.host) + ".");
}

void ScenarioRunner::Login(const ScenarioStep& step) {
  const char* usage = "login [HOST] USER PASSWORD | login [HOST] cancel";
  PendingAnswer pending;
  platform::DialogAnswer& dialog = pending.dialog.emplace();
  dialog.dialog = "TdlgLogin";
  std::size_t at = 1;
  const std::size_t count = step.words.size();
  if (count == 2 || (count == 3 && Is(step, 2, "cancel"))) {
    if (count == 3) pending.host = foundation::LowerCase(step.words[1].text);
    if (!Is(step, count - 1, "cancel")) BadScript(std::string("usage: ") + usage);
    dialog.press = "Cancel";
  } else if (count == 3 || count == 4) {
    if (count == 4) pending.host = foundation::LowerCase(step.words[at++].text);
    dialog.fields = {{"edLogin", step.words[at].text}, {"edPwd", step.words[at + 1].text}};
    dialog.press = "Ok";
  } else {
    BadScript(std::string("usage: ") + usage);
  }
  Say(dialog.fields.empty() ? std::string("The user will cancel the next log-in.")
                            : "The user will log in as " + dialog.fields[0].second + " at the next log-in.");
  pending_.push_back(std::move(pending));
}

void ScenarioRunner::Dialog(const ScenarioStep& step) {
  const std::string usage = "usage: dialog [HOST] [set FIELD \"VALUE\"]... press BUTTON";
  PendingAnswer pending;
  platform::DialogAnswer& dialog = pending.dialog.emplace();
  std::size_t at = 1;
  if (at < step.words.size() && !Is(step, at, "set") && !Is(step, at, "press"))
    pending.host = foundation::LowerCase(step.words[at++].text);
  while (at < step.words.size() && Is(step, at, "set")) {
    if (at + 2 >= step.words.size()) BadScript(usage);
    dialog.fields.emplace_back(step.words[at + 1].text, step.words[at + 2].text);
    at += 3;
  }
  if (at + 2 != step.words.size() || !Is(step, at, "press")) BadScript(usage);
  dialog.press = step.words[at + 1].text;
  const std::string filled = FieldsFilled(dialog.fields, " set ");
  Say("In the next dialog" + (pending.host.empty() ? "" : " of " + pending.host) + " the user will" + filled +
      (filled.empty() ? "" : " and") + " press " + Quote(dialog.press) + ".");
  pending_.push_back(std::move(pending));
}

}  // namespace quillorn::sim
