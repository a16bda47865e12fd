// The runner's expectations on what a user sees (a document's stamp, its
// properties and protection, whether it counts as saved, the pane, the ribbon,
// the prompts shown, whether a host still runs) and on the server's tables.
#include "addin/addin_module.h"
#include "addin/command_surface.h"
#include "addin/pane_manager.h"
#include "platform/scripted_prompts.h"
#include <charconv>
#include <filesystem>

#include "server/store.h"
#include "server/submit_functions.h"
#include "sim/document_view.h"
#include "sim/runner_support.h"
#include "sim/scenario_runner.h"

namespace quillorn::sim {

using namespace runner;

namespace {

bool Flag(const ScenarioStep& step, std::size_t index, const char* yes, const char* no, const char* usage) {
  if (Is(step, index, yes)) return true;
  if (Is(step, index, no)) return false;
  BadScript(std::string("usage: ") + usage);
}

}  // namespace

bool ScenarioRunner::ExpectMore(const ScenarioStep& step) {
  if (Is(step, 1, "server") && Is(step, 2, "file")) {
    const char* usage = "expect server file DOC_ID true|false";
    ExpectCount(step, 5, usage);
    const bool want = Flag(step, 4, "true", "false", usage);
    std::int32_t id = 0;
    const std::string& text = step.words[3].text;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (ec != std::errc() || end != text.data() + text.size()) BadScript("DOC_ID must be a number: " + text);
    std::error_code fs;
    const bool got = std::filesystem::is_regular_file(
        server::SentFilePath(foundation::PathFromUtf8(sim_.ServerFolder()), id), fs);
    if (got != want) {
      Failed("expected the server " + std::string(want ? "to hold" : "not to hold") + " a file of document " + text +
             ", but it " + (got ? "does" : "does not"));
    }
    Say("As expected, the server " + std::string(want ? "holds" : "holds no") + " file of document " + text + ".");
  } else if (Is(step, 1, "server")) {
    if (step.words.size() != 5 || !Is(step, 3, "=")) BadScript("usage: expect server \"SELECT ...\" = VALUE");
    const std::string sql = Expand(step.words[2].text);
    const ScenarioWord& expected = step.words[4];
    platform::Variant value;
    try {
      value = sim_.ServerValue(sql);
    } catch (const server::StoreError& e) {
      Failed("the server's database refused " + Quote(sql) + ": " + e.what());
    }
    const std::string actual = ValueText(value);
    const bool matches = !expected.quoted && foundation::SameText(expected.text, "null")
                             ? value.IsEmptyOrNull()
                             : !value.IsEmptyOrNull() && actual == Expand(expected.text);
    if (!matches) Failed("expected the server's " + Quote(sql) + " to give " + expected.text + ", but it gives " + actual);
    Say("As expected, the server's " + Quote(sql) + " gives " + actual + ".");
  } else if (Is(step, 1, "stamp")) {
    ExpectCount(step, 4, "expect stamp FILE \"WORD\"|none");
    const OpenDocument open = FindOpen(step.words[2].text);
    const std::string want = Is(step, 3, "none") ? std::string() : step.words[3].text;
    const std::string got = StampWord(*open.doc);
    if (got != want) {
      Failed("expected " + step.words[2].text + " to be " + (want.empty() ? "without a stamp" : "stamped " + Quote(want)) +
             ", but it is " + (got.empty() ? "without one" : "stamped " + Quote(got)));
    }
    Say("As expected, " + step.words[2].text + (want.empty() ? " has no stamp." : " is stamped " + Quote(want) + "."));
  } else if (Is(step, 1, "property")) {
    ExpectCount(step, 5, "expect property FILE NAME \"VALUE\"|none");
    const OpenDocument open = FindOpen(step.words[2].text);
    const std::string& name = step.words[3].text;
    const auto got = PropertyValue(*open.doc, name);
    const bool wantNone = Is(step, 4, "none");
    if (wantNone ? got.has_value() : got != step.words[4].text) {
      Failed("expected " + step.words[2].text + "'s property " + name + " to be " +
             (wantNone ? std::string("absent") : Quote(step.words[4].text)) + ", but it is " +
             (got ? Quote(*got) : std::string("absent")));
    }
    Say("As expected, " + step.words[2].text + "'s property " + name + " is " +
        (wantNone ? std::string("absent.") : Quote(step.words[4].text) + "."));
  } else if (Is(step, 1, "protected") || Is(step, 1, "saved")) {
    const bool protection = Is(step, 1, "protected");
    const char* usage = protection ? "expect protected FILE true|false" : "expect saved FILE true|false";
    ExpectCount(step, 4, usage);
    const bool want = Flag(step, 3, "true", "false", usage);
    const OpenDocument open = FindOpen(step.words[2].text);
    const bool got = protection ? IsProtected(*open.doc) : open.doc->saved;
    const std::string what = protection ? (want ? "protected" : "unprotected") : (want ? "saved" : "unsaved");
    if (got != want) Failed("expected " + step.words[2].text + " to be " + what + ", but it is not");
    Say("As expected, " + step.words[2].text + " is " + what + ".");
  } else if (Is(step, 1, "pane") && ExpectPaneControl(step)) {
  } else if (Is(step, 1, "pane")) {
    const char* usage = "expect pane HOST shown [DOC_ID]|hidden";
    if (step.words.size() != 4 && step.words.size() != 5) BadScript(std::string("usage: ") + usage);
    const bool want = Flag(step, 3, "shown", "hidden", usage);
    if (step.words.size() == 5 && !want) BadScript(std::string("usage: ") + usage);
    const std::string name = foundation::LowerCase(step.words[2].text);
    SimInstance& instance = sim_.Instance(name);
    const auto shown = PaneShown(instance);
    if (shown.value_or(false) != want) {
      Failed("expected " + name + "'s Quillorn pane to be " + (want ? "shown" : "hidden") + ", but it " +
             (shown ? (*shown ? "is shown" : "is hidden") : "was never made"));
    }
    std::string docText;
    if (step.words.size() == 5) {
      // The document the pane's toolbox shows.
      docText = std::to_string(instance.Module().Panes()->DocId(0));
      if (docText != step.words[4].text) {
        Failed("expected " + name + "'s Quillorn pane to show document " + step.words[4].text + ", but it shows " + docText);
      }
      docText = " for document " + docText;
    }
    Say("As expected, " + name + "'s Quillorn pane is " + (want ? "shown" + docText + "." : "hidden."));
  } else if (Is(step, 1, "ribbon")) {
    const char* usage = "expect ribbon HOST CONTROL enabled|disabled|visible|hidden";
    ExpectCount(step, 5, usage);
    const std::string name = foundation::LowerCase(step.words[2].text);
    SimInstance& instance = sim_.Instance(name);
    addin::Control* control = FindControl(instance.Module().Surface(), step.words[3].text, instance.OfficeVersion());
    if (control == nullptr) Failed(name + "'s ribbon has no control " + Quote(step.words[3].text));
    const bool enabledForm = Is(step, 4, "enabled") || Is(step, 4, "disabled");
    const bool want = enabledForm ? Flag(step, 4, "enabled", "disabled", usage) : Flag(step, 4, "visible", "hidden", usage);
    const bool got = enabledForm ? control->enabled : control->visible;
    const std::string what = step.words[4].text;
    if (got != want) Failed("expected " + name + "'s " + Quote(step.words[3].text) + " to be " + what + ", but it is not");
    Say("As expected, " + name + "'s " + Quote(step.words[3].text) + " is " + what + ".");
  } else if (Is(step, 1, "prompt")) {
    if (step.words.size() != 3 && step.words.size() != 4) BadScript("usage: expect prompt [HOST] \"TEXT\"");
    const std::string& text = step.words.back().text;
    const std::string host = step.words.size() == 4 ? foundation::LowerCase(step.words[2].text) : std::string();
    for (const auto& [name, shown] : prompts_seen_) {
      if ((host.empty() || host == name) && shown.find(text) != std::string::npos) {
        Say("As expected, " + name + " showed " + Quote(text) + ".");
        return true;
      }
    }
    Failed("expected a prompt containing " + Quote(text) + ", but none was shown");
  } else if (Is(step, 1, "running")) {
    ExpectCount(step, 4, "expect running HOST true|false");
    const bool want = Flag(step, 3, "true", "false", "expect running HOST true|false");
    const std::string name = foundation::LowerCase(step.words[2].text);
    bool got = false;
    for (const std::string& running : sim_.RunningHosts()) got = got || running == name;
    if (got != want) Failed("expected " + name + (want ? " to run, but it does not" : " to have quit, but it runs"));
    Say("As expected, " + name + (want ? " runs." : " no longer runs."));
  } else {
    return ExpectFiles(step);
  }
  return true;
}

void ScenarioRunner::ShowServerDocument(const std::string& docId) {
  std::int32_t id = 0;
  const auto [end, ec] = std::from_chars(docId.data(), docId.data() + docId.size(), id);
  if (ec != std::errc() || end != docId.data() + docId.size()) BadScript("DOC_ID must be a number: " + docId);
  const std::string where = " from DOCS where DOC_ID=" + docId;
  if (sim_.ServerValue("select count(*)" + where).AsInt64() == 0) Failed("the server has no document " + docId);
  Say("The server holds document " + docId + ":");
  for (const char* column : {"DOC_NAME", "DOC_NO_EXT", "VER", "STATUS", "IS_CURRENT", "IS_LATEST"}) {
    Say(std::string("  ") + column + " = " + ValueText(sim_.ServerValue(std::string("select ") + column + where)));
  }
  std::error_code fs;
  const auto file = server::SentFilePath(foundation::PathFromUtf8(sim_.ServerFolder()), id);
  if (std::filesystem::is_regular_file(file, fs)) {
    Say("  its file: " + std::to_string(std::filesystem::file_size(file, fs)) + " bytes, sent by the add-in.");
  } else {
    Say("  no file: nothing was sent for it.");
  }
  Say("  published forms: " +
      ValueText(sim_.ServerValue("select count(*) from PUBLISHED_DOCS where DOC_ID=" + docId)) + ".");
}

}  // namespace quillorn::sim
