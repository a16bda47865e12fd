#include "sim/scenario_runner.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <utility>

#include "foundation/paths.h"
#include "hostsim/hosts.h"
#include "sim/runner_support.h"

namespace quillorn::sim {

using namespace runner;

namespace {

// "1", "20", "0.5": seconds to the millisecond, no sign, no exponent.
std::uint64_t ParseSeconds(const std::string& text) {
  const auto dot = text.find('.');
  const std::string whole = text.substr(0, dot);
  std::string fraction = dot == std::string::npos ? "" : text.substr(dot + 1);
  auto digits = [](const std::string& s) { return s.find_first_not_of("0123456789") == std::string::npos; };
  if ((whole.empty() && fraction.empty()) || !digits(whole) || !digits(fraction) || fraction.size() > 3 ||
      whole.size() > 9) {
    BadScript("seconds must be a number such as 20 or 0.5, with at most three decimals: " + text);
  }
  fraction.resize(3, '0');
  return (whole.empty() ? 0 : std::stoull(whole)) * 1000 + std::stoull(fraction);
}

// Virtual key codes of the keys a scenario may press.
std::uint16_t KeyCode(const std::string& name) {
  static const std::map<std::string, std::uint16_t, std::less<>> kNamed{
      {"space", 0x20}, {"enter", 0x0D}, {"return", 0x0D}, {"tab", 0x09}, {"escape", 0x1B},
      {"esc", 0x1B},   {"delete", 0x2E}, {"backspace", 0x08}};
  const std::string lower = foundation::LowerCase(name);
  if (auto it = kNamed.find(lower); it != kNamed.end()) return it->second;
  if (lower.size() == 1 && ((lower[0] >= 'a' && lower[0] <= 'z') || (lower[0] >= '0' && lower[0] <= '9'))) {
    return static_cast<std::uint16_t>(foundation::UpperCase(lower)[0]);
  }
  if (lower.size() >= 2 && lower[0] == 'f') {
    int n = 0;
    const auto [end, ec] = std::from_chars(lower.data() + 1, lower.data() + lower.size(), n);
    if (ec == std::errc() && end == lower.data() + lower.size() && n >= 1 && n <= 12) {
      return static_cast<std::uint16_t>(0x70 + n - 1);
    }
  }
  BadScript("unknown key " + name);
}

}  // namespace

std::string ElapsedText(std::uint64_t ms) {
  char text[32];
  std::snprintf(text, sizeof text, "%7llu.%03llus", static_cast<unsigned long long>(ms / 1000),
                static_cast<unsigned long long>(ms % 1000));
  return text;
}

ScenarioRunner::ScenarioRunner(Simulation& sim, std::ostream& out, std::string label, bool verbose)
    : sim_(sim), out_(out), label_(std::move(label)), trace_(verbose) {}

void ScenarioRunner::Say(const std::string& text) {
  // Flushed per line: someone watching a demo sees each step as it happens.
  out_ << "[" << ElapsedText(sim_.ElapsedMs()) << "] " << text << std::endl;
}

ScenarioResult ScenarioRunner::Run(const std::vector<ScenarioStep>& steps) {
  out_ << "Scenario " << label_ << ", in the user's folder " << sim_.Home() << "\n";
  for (const ScenarioStep& step : steps) {
    try {
      Execute(step);
      CheckPrompts();
      ReapQuitHosts();
      ReportPanes();
      ReportAfterStep();
    } catch (const StepFailure& failure) {
      ReportAfterStep();
      ScenarioResult result{failure.status, step.line,
                            label_ + ":" + std::to_string(step.line) + ": " + failure.message};
      out_ << "FAILED at line " << step.line << ": " << step.source << "\n  " << failure.message << "\n";
      out_.flush();
      return result;
    } catch (const std::exception& e) {
      ReportAfterStep();
      const std::string message = label_ + ":" + std::to_string(step.line) + ": " + e.what();
      out_ << "FAILED at line " << step.line << ": " << step.source << "\n  " << e.what() << "\n";
      out_.flush();
      return {kScenarioFailed, step.line, message};
    }
  }
  if (!pending_.empty()) {
    out_ << "FAILED at the end: " << pending_.size() << " answer(s) for prompts that never came\n";
    out_.flush();
    return {kScenarioFailed, steps.empty() ? 0 : steps.back().line,
            label_ + ": answers were queued for prompts that never came"};
  }
  out_ << "Scenario " << label_ << " passed: " << steps.size() << " steps in "
       << ElapsedText(sim_.ElapsedMs()).substr(ElapsedText(sim_.ElapsedMs()).find_first_not_of(' '))
       << " of simulated time.\n";
  out_.flush();
  return {};
}

void ScenarioRunner::ReportAfterStep() {
  for (const std::string& name : sim_.RunningHosts()) {
    for (const std::string& failure : sim_.Instance(name).Loop().TakeFailures()) {
      Say("  " + name + ": a task of the add-in failed: " + failure);
    }
  }
  const std::vector<LogRecord> records = sim_.Logs().TakeNewRecords();
  if (!trace_) return;
  for (const LogRecord& record : records) {
    std::string what = record.what;
    for (char& c : what) {
      if (c == '\r' || c == '\n') c = ' ';
    }
    out_ << "            " << (record.owner.empty() ? std::string("(no add-in)") : record.owner)
         << (record.except ? " except: " : " trace: ") << record.where << (record.where.empty() ? "" : " | ")
         << what << "\n";
  }
}

void ScenarioRunner::Execute(const ScenarioStep& step) {
  const std::string& verb = step.words[0].text;
  if (step.words[0].quoted) BadScript("a step begins with a command, not with quoted text");
  const std::string command = foundation::LowerCase(verb);
  if (command == "say") {
    ExpectCount(step, 2, "say \"TEXT\"");
    out_ << "\n" << step.words[1].text << "\n";
  } else if (command == "server") {
    Server(step);
  } else if (command == "host") {
    Host(step);
  } else if (command == "quit") {
    Quit(step);
  } else if (command == "tick") {
    Tick(step);
  } else if (command == "key") {
    Key(step);
  } else if (command == "sql") {
    Sql(step);
  } else if (command == "launcher") {
    Launcher(step);
  } else if (command == "open") {
    Open(step);
  } else if (command == "activate") {
    Activate(step);
  } else if (command == "edit") {
    Edit(step);
  } else if (command == "save") {
    Save(step);
  } else if (command == "save-as") {
    SaveAs(step);
  } else if (command == "print") {
    Print(step);
  } else if (command == "click") {
    Click(step);
  } else if (command == "new") {
    ExpectCount(step, 2, "new HOST");
    SimInstance& instance = sim_.Instance(foundation::LowerCase(step.words[1].text));
    DeliverAnswers(instance);
    const auto doc = instance.New();
    sim_.Settle();
    Say("The user starts a new document in " + instance.Name() + ": " + Quote(doc->untitled_name) + ".");
  } else if (command == "pane" && PaneStep(step)) {
  } else if (command == "pane") {
    ExpectCount(step, 3, "pane HOST not-ready");
    if (!Is(step, 2, "not-ready")) BadScript("usage: pane HOST not-ready");
    SimInstance& instance = sim_.Instance(foundation::LowerCase(step.words[1].text));
    instance.PaneNotReady(2);
    Say(instance.Name() + "'s pane window is still being built: the next show and the document it is told are refused.");
  } else if (command == "close") {
    Close(step);
  } else if (command == "kill") {
    Kill(step);
  } else if (command == "answer") {
    Answer(step);
  } else if (command == "login") {
    Login(step);
  } else if (command == "dialog") {
    Dialog(step);
  } else if (command == "trace") {
    ExpectCount(step, 2, "trace on|off");
    if (Is(step, 1, "on")) {
      trace_ = true;
    } else if (Is(step, 1, "off")) {
      trace_ = false;
    } else {
      BadScript("usage: trace on|off");
    }
  } else if (command == "setting") {
    ExpectCount(step, 4, "setting \"SECTION\" \"KEY\" \"VALUE\"");
    sim_.WriteSetting(step.words[1].text, step.words[2].text, step.words[3].text);
    Say("QuillornAddIn.ini: [" + step.words[1].text + "] " + step.words[2].text + "=" + step.words[3].text +
        " (for add-ins that start from now on).");
  } else if (command == "env") {
    ExpectCount(step, 3, "env NAME \"VALUE\"");
    sim_.SetEnvironment(step.words[1].text, step.words[2].text);
    Say("Environment of hosts that start from now on: " + step.words[1].text + "=" + step.words[2].text + ".");
  } else if (command == "damage") {
    const std::string usage = "usage: damage cache empty|truncated|overwritten";
    ExpectCount(step, 3, usage.c_str() + 7);
    if (!Is(step, 1, "cache")) BadScript(usage);
    Simulation::CacheDamage damage = Simulation::CacheDamage::Empty;
    if (Is(step, 2, "truncated")) {
      damage = Simulation::CacheDamage::Truncated;
    } else if (Is(step, 2, "overwritten")) {
      damage = Simulation::CacheDamage::Overwritten;
    } else if (!Is(step, 2, "empty")) {
      BadScript(usage);
    }
    sim_.DamageCache(damage);
    Say("The cache file is " + foundation::LowerCase(step.words[2].text) + ".");
  } else if (command == "expect") {
    Expect(step);
  } else if (PrintStep(step)) {
  } else if (InsertStep(step)) {
  } else {
    BadScript("unknown command " + verb);
  }
}

void ScenarioRunner::Server(const ScenarioStep& step) {
  if (Is(step, 1, "show")) {
    ExpectCount(step, 3, "server show DOC_ID");
    ShowServerDocument(step.words[2].text);
    return;
  }
  ExpectCount(step, 2, "server start|stop|show DOC_ID");
  if (Is(step, 1, "start")) {
    const int port = sim_.StartServer();
    Say("The server starts and listens on 127.0.0.1 port " + std::to_string(port) + ".");
  } else if (Is(step, 1, "stop")) {
    if (!sim_.ServerRunning()) Failed("the server is not running");
    sim_.StopServer();
    Say("The server stops; nothing answers on port " + std::to_string(sim_.Port()) +
        " now. The add-ins notice at their next call.");
    sim_.Settle();
  } else {
    BadScript("usage: server start|stop");
  }
}

void ScenarioRunner::Host(const ScenarioStep& step) {
  const char* usage = "host word|excel|powerpoint|publisher [version V] [with FILE]";
  if (step.words.size() < 2) BadScript(std::string("usage: ") + usage);
  const auto kind = hostsim::HostKindFromName(Word(step, 1, "host kind"));
  if (!kind || step.words[1].quoted) BadScript("unknown host " + step.words[1].text + "; " + usage);
  std::string version = "16.0";
  std::string startFile;
  for (std::size_t i = 2; i < step.words.size(); i += 2) {
    if (i + 1 >= step.words.size()) BadScript(std::string("usage: ") + usage);
    if (Is(step, i, "version")) {
      version = step.words[i + 1].text;
    } else if (Is(step, i, "with")) {
      startFile = FilePath(step.words[i + 1].text);
    } else {
      BadScript(std::string("usage: ") + usage);
    }
  }
  SimInstance& instance = sim_.StartHost(*kind, version, startFile);
  if (instance.Loaded()) sessions_[instance.Name()] = instance.SessionId();
  std::string text = HostTitle(*kind) + " " + version + " starts as '" + instance.Name() + "'" +
                     (startFile.empty() ? "" : " with " + Quote(hostsim::FileNameOf(startFile)) + " open") +
                     " and loads the add-in";
  if (instance.Loaded()) {
    text += ": session " + std::to_string(instance.SessionId()) + ", Office " +
            std::to_string(instance.OfficeVersion());
  } else {
    text += ", which failed to load";
  }
  Say(text + ".");
  if (const auto caption = instance.PaneCaption()) Say("  " + instance.Name() + "'s task pane: " + Quote(*caption));
}

void ScenarioRunner::Quit(const ScenarioStep& step) {
  ExpectCount(step, 2, "quit HOST");
  const std::string name = foundation::LowerCase(step.words[1].text);
  const std::string title = HostTitle(sim_.Instance(name).Kind());
  sim_.QuitHost(name);
  Say(title + " '" + name + "' shuts the add-in down and quits.");
}

ScenarioRunner::Snapshot ScenarioRunner::TakeSnapshot() {
  Snapshot snapshot;
  for (const std::string& name : sim_.RunningHosts()) {
    SimInstance& instance = sim_.Instance(name);
    snapshot[name] = {instance.ServerReachable(), instance.PaneCaption()};
  }
  return snapshot;
}

void ScenarioRunner::ReportChanges(const Snapshot& before) {
  for (const auto& [name, now] : TakeSnapshot()) {
    auto it = before.find(name);
    if (it == before.end()) continue;
    const HostState& then = it->second;
    if (now.reachable && now.reachable != then.reachable) {
      // The first report after start-up says where it stands, later ones what changed.
      if (!then.reachable) {
        Say("  " + name + (*now.reachable ? " reaches the server." : " finds no server."));
      } else {
        Say("  " + name + (*now.reachable ? " finds the server again." : " loses the server."));
      }
    }
    if (now.caption && now.caption != then.caption) {
      Say("  " + name + "'s task pane now reads " + Quote(*now.caption) + ".");
    }
  }
}

void ScenarioRunner::Tick(const ScenarioStep& step) {
  ExpectCount(step, 2, "tick SECONDS");
  const std::uint64_t ms = ParseSeconds(step.words[1].text);
  const Snapshot before = TakeSnapshot();
  sim_.Tick(ms);
  Say(step.words[1].text + " s pass.");
  ReportChanges(before);
}

void ScenarioRunner::Key(const ScenarioStep& step) {
  ExpectCount(step, 3, "key HOST CHORD, such as key word ctrl+shift+space");
  SimInstance& instance = sim_.Instance(foundation::LowerCase(step.words[1].text));
  bool ctrl = false, shift = false, alt = false;
  std::string chord = step.words[2].text;
  std::size_t start = 0;
  std::uint16_t key = 0;
  while (true) {
    const std::size_t plus = chord.find('+', start);
    const std::string part = chord.substr(start, plus == std::string::npos ? std::string::npos : plus - start);
    if (plus == std::string::npos) {
      key = KeyCode(part);
      break;
    }
    const std::string modifier = foundation::LowerCase(part);
    if (modifier == "ctrl" || modifier == "control") {
      ctrl = true;
    } else if (modifier == "shift") {
      shift = true;
    } else if (modifier == "alt") {
      alt = true;
    } else {
      BadScript("unknown modifier " + part + " in " + chord);
    }
    start = plus + 1;
  }
  const bool tracing = instance.TraceEnabled();
  DeliverAnswers(instance);
  instance.KeyDown(key, ctrl, shift, alt);
  // Ctrl+S is the add-in's own shortcut: the key never reaches the host.
  if (ctrl && !shift && !alt && key == 'S') instance.SaveShortcut();
  sim_.Settle();
  std::string text = "The user presses " + chord + " in " + instance.Name();
  if (!tracing && instance.TraceEnabled()) text += ": the add-in's tracing is on from now";
  Say(text + ".");
}

std::string ScenarioRunner::KnownHost(const std::string& word) {
  // A host that has quit still has its log: what it wrote on the way out is
  // just what a scenario wants to see. An unknown one fails here, not as a
  // missing line.
  const std::string name = foundation::LowerCase(word);
  if (!sessions_.contains(name)) sim_.Instance(name);
  return name;
}

std::string ScenarioRunner::Expand(const std::string& text) {
  std::string out;
  std::size_t start = 0;
  while (true) {
    const std::size_t open = text.find("${", start);
    if (open == std::string::npos) break;
    const std::size_t close = text.find('}', open);
    if (close == std::string::npos) BadScript("${ without its closing }");
    out += text.substr(start, open - start);
    const std::string name = text.substr(open + 2, close - open - 2);
    const std::size_t dot = name.find('.');
    if (dot == std::string::npos || !foundation::SameText(name.substr(dot + 1), "session")) {
      BadScript("unknown value ${" + name + "}; known is ${HOST.session}");
    }
    // A host that has quit keeps its number here: its rows outlive it.
    const std::string host = foundation::LowerCase(name.substr(0, dot));
    auto it = sessions_.find(host);
    if (it == sessions_.end()) Failed("no host named " + host + " has started, so ${" + name + "} has no value");
    out += std::to_string(it->second);
    start = close + 1;
  }
  return out + text.substr(start);
}

void ScenarioRunner::Sql(const ScenarioStep& step) {
  if (step.words.size() == 3 && !step.words[1].quoted) {
    SimInstance& instance = sim_.Instance(foundation::LowerCase(step.words[1].text));
    const std::string sql = Expand(step.words[2].text);
    if (!instance.CacheExecSQL(sql)) {
      sim_.Settle();
      Failed(instance.Name() + "'s add-in could not run " + Quote(sql) + " on the cache (its except log says why)");
    }
    sim_.Settle();
    Say(instance.Name() + "'s add-in runs " + Quote(sql) + " on the shared cache.");
    return;
  }
  ExpectCount(step, 2, "sql [HOST] \"STATEMENT\"");
  const std::string sql = Expand(step.words[1].text);
  try {
    const int changed = sim_.CacheExec(sql);
    Say("The desktop program runs " + Quote(sql) + " on the cache: " + std::to_string(changed) + " row" +
        (changed == 1 ? "" : "s") + " changed.");
  } catch (const SimulationError&) {
    throw;
  } catch (const std::exception& e) {
    Failed("the cache refused " + Quote(sql) + ": " + e.what());
  }
}

void ScenarioRunner::Expect(const ScenarioStep& step) {
  if (Is(step, 1, "no") && Is(step, 2, "log")) {
    ExpectCount(step, 5, "expect no log HOST \"TEXT\"");
    const std::string name = KnownHost(step.words[3].text);
    const std::string text = Expand(step.words[4].text);
    if (sim_.Logs().Contains(name, text)) {
      Failed("expected no log line of " + name + " containing " + Quote(text) + ", but there is one");
    }
    Say("As expected, " + name + "'s log has no " + Quote(text) + ".");
  } else if (Is(step, 1, "log")) {
    ExpectCount(step, 4, "expect log HOST \"TEXT\"");
    const std::string name = KnownHost(step.words[2].text);
    const std::string text = Expand(step.words[3].text);
    if (!sim_.Logs().Contains(name, text)) {
      Failed("expected a log line of " + name + " containing " + Quote(text) + ", but there is none");
    }
    Say("As expected, " + name + "'s log has " + Quote(text) + ".");
  } else if (Is(step, 1, "sql")) {
    if (step.words.size() != 5 || !Is(step, 3, "=")) BadScript("usage: expect sql \"SELECT ...\" = VALUE");
    const std::string sql = Expand(step.words[2].text);
    const ScenarioWord& expected = step.words[4];
    platform::Variant value;
    try {
      value = sim_.CacheValue(sql);
    } catch (const SimulationError&) {
      throw;
    } catch (const std::exception& e) {
      Failed("the cache refused " + Quote(sql) + ": " + e.what());
    }
    const std::string actual = ValueText(value);
    // An unquoted null asks for no value at all; a quoted "null" for the text.
    const bool matches = !expected.quoted && foundation::SameText(expected.text, "null")
                             ? value.IsEmptyOrNull()
                             : !value.IsEmptyOrNull() && actual == Expand(expected.text);
    if (!matches) {
      Failed("expected " + Quote(sql) + " to give " + expected.text + ", but it gives " + actual);
    }
    Say("As expected, " + Quote(sql) + " gives " + actual + ".");
  } else if (Is(step, 1, "reachable")) {
    ExpectCount(step, 4, "expect reachable HOST true|false");
    if (!Is(step, 3, "true") && !Is(step, 3, "false")) BadScript("usage: expect reachable HOST true|false");
    const bool want = Is(step, 3, "true");
    const std::string name = foundation::LowerCase(step.words[2].text);
    const auto reachable = sim_.Instance(name).ServerReachable();
    if (!reachable) Failed(name + "'s add-in has not yet learnt whether the server answers");
    if (*reachable != want) {
      Failed(std::string("expected ") + name + " to " + (want ? "reach" : "miss") + " the server, but it " +
             (*reachable ? "reaches it" : "does not reach it"));
    }
    Say(std::string("As expected, ") + name + (want ? " reaches the server." : " does not reach the server."));
  } else if (Is(step, 1, "caption")) {
    ExpectCount(step, 4, "expect caption HOST \"CAPTION\"");
    const std::string name = foundation::LowerCase(step.words[2].text);
    const auto caption = sim_.Instance(name).PaneCaption();
    const std::string& want = step.words[3].text;
    if (!caption) Failed("expected " + name + "'s task pane to read " + Quote(want) + ", but it has no task pane");
    if (*caption != want) {
      Failed("expected " + name + "'s task pane to read " + Quote(want) + ", but it reads " + Quote(*caption));
    }
    Say("As expected, " + name + "'s task pane reads " + Quote(want) + ".");
  } else if (!ExpectMore(step) && !ExpectPrinting(step) && !ExpectInserted(step)) {
    BadScript("usage: expect log|no log|sql|server|reachable|caption|pane|ribbon|stamp|property|protected|saved|"
              "prompt|running|printed|open|window|print-page|field|logo|picture ...");
  }
}

}  // namespace quillorn::sim
