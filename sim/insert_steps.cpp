// Scenario steps around the Insert tab: the user puts Word's insertion point
// into a story, and what a document holds of what was inserted (a field's
// value as it shows, a logo shape, a picture).
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "data/settings.h"
#include "foundation/ini_file.h"
#include "hostsim/model.h"
#include "sim/runner_support.h"
#include "sim/scenario_runner.h"

namespace quillorn::sim {

using namespace runner;

namespace {

struct StoryPlace {
  const char* word;
  int story_type;
};

constexpr StoryPlace kPlaces[] = {
    {"body", 1},        {"footnote", 2}, {"even-header", 6},        {"header", 7},
    {"even-footer", 8}, {"footer", 9},   {"first-page-header", 10}, {"first-page-footer", 11},
};

// Every story of a Word document with its place's word.
std::vector<std::pair<std::string, const hostsim::StoryModel*>> Stories(const hostsim::DocumentModel& doc) {
  std::vector<std::pair<std::string, const hostsim::StoryModel*>> out{{"body", &doc.main_story},
                                                                      {"footnote", &doc.footnotes}};
  static const char* kHeaders[] = {"header", "first-page-header", "even-header"};
  static const char* kFooters[] = {"footer", "first-page-footer", "even-footer"};
  for (const auto& section : doc.sections) {
    for (std::size_t i = 0; i < 3; ++i) {
      out.emplace_back(kHeaders[i], &section->headers[i].story);
      out.emplace_back(kFooters[i], &section->footers[i].story);
    }
  }
  return out;
}

std::string PropertyOfField(const std::string& code) {
  std::string rest = code;
  const auto pos = foundation::LowerCase(rest).find("docproperty");
  if (pos == std::string::npos) return {};
  rest = rest.substr(pos + 11);
  rest.erase(0, rest.find_first_not_of(' '));
  if (!rest.empty() && rest[0] == '"') return rest.substr(1, rest.find('"', 1) - 1);
  return rest.substr(0, rest.find(' '));
}

// What a field of that name shows: Word's property field, PowerPoint's text box
// of that name, the formula of Excel's cell that refers to the name.
std::optional<std::string> FieldShown(const hostsim::DocumentModel& doc, const std::string& name) {
  switch (doc.host) {
    case platform::HostType::ohaWord:
      for (const auto& [place, story] : Stories(doc)) {
        for (const auto& field : story->fields) {
          if (field.type == 85 && foundation::SameText(PropertyOfField(field.code), name))
            return field.result;
        }
      }
      return std::nullopt;
    case platform::HostType::ohaPowerPoint:
      for (const auto& slide : doc.slides) {
        for (const auto& shape : slide->shapes) {
          if (shape->name == name) return shape->text;
        }
      }
      return std::nullopt;
    case platform::HostType::ohaExcel:
      for (const auto& sheet : doc.sheets) {
        for (const auto& [address, cell] : sheet->cells) {
          if (cell.formula.find(name) != std::string::npos) return cell.formula;
        }
      }
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool ScenarioRunner::InsertStep(const ScenarioStep& step) {
  if (Is(step, 0, "import-folder")) {
    ExpectCount(step, 2, "import-folder \"FOLDER\"");
    const std::string folder = sim_.AppDataDir() + step.words[1].text + "/";
    std::error_code ec;
    std::filesystem::create_directories(foundation::PathFromUtf8(folder), ec);
    foundation::TIniFile(sim_.AppDataDir() + data::kUserIniName).WriteString("Cloud", "ImportFolder", folder);
    Say("user.ini: [Cloud] ImportFolder=" + folder +
        " (for add-ins of the cloud edition that start from now on).");
    return true;
  }
  if (Is(step, 0, "upload")) {
    const char* usage = "upload \"NAME\" picture|file";
    ExpectCount(step, 3, usage);
    if (!Is(step, 2, "picture") && !Is(step, 2, "file")) BadScript(std::string("usage: ") + usage);
    const std::string& name = step.words[1].text;
    foundation::TIniFile ini(sim_.AppDataDir() + data::kUserIniName);
    const std::string folder = ini.ReadString("Cloud", "ImportFolder", "");
    if (folder.empty()) BadScript("upload needs an import-folder step first");
    std::ofstream(foundation::PathFromUtf8(folder + name), std::ios::binary) << "uploaded " << name << "\n";
    // Written ten seconds ago, so the upload has settled; each later upload a
    // millisecond newer than the one before, whatever the clock's resolution.
    sim_.CacheExec("insert into UPLOADS (FILENAME, ISIMAGE, TSTAMP, LASTCHANGE, DONE) values ('" + name +
                   "', " + (Is(step, 2, "picture") ? "true" : "false") +
                   ", now-0.0001157+(select count(*) from UPLOADS)*0.0000000116, now-0.0001157, false)");
    Say("The user uploads " + Quote(name) +
        " from another device: the file lies in the import folder and the "
        "uploads table holds it.");
    return true;
  }
  if (!Is(step, 0, "cursor")) return false;
  std::string places;
  for (const StoryPlace& p : kPlaces) places += std::string(places.empty() ? "" : "|") + p.word;
  const std::string usage = "cursor FILE " + places;
  ExpectCount(step, 3, usage.c_str());
  const OpenDocument open = FindOpen(step.words[1].text);
  if (open.doc->host != platform::HostType::ohaWord)
    Failed("only Word documents have stories to move between");
  for (const StoryPlace& p : kPlaces) {
    if (!Is(step, 2, p.word)) continue;
    open.doc->selection.story_type = p.story_type;
    Say("The user puts the insertion point into " + step.words[1].text + "'s " + p.word + " (story " +
        std::to_string(p.story_type) + ").");
    return true;
  }
  BadScript("usage: " + usage);
}

bool ScenarioRunner::ExpectInserted(const ScenarioStep& step) {
  if (Is(step, 1, "field")) {
    ExpectCount(step, 5, "expect field FILE \"NAME\" \"VALUE\"|none");
    const OpenDocument open = FindOpen(step.words[2].text);
    const std::string& name = step.words[3].text;
    const auto got = FieldShown(*open.doc, name);
    const bool wantNone = Is(step, 4, "none") && !step.words[4].quoted;
    if (wantNone ? got.has_value() : got != step.words[4].text) {
      Failed("expected " + step.words[2].text + "'s field " + Quote(name) + " to " +
             (wantNone ? std::string("be absent") : "show " + Quote(step.words[4].text)) + ", but it " +
             (got ? "shows " + Quote(*got) : std::string("is absent")));
    }
    Say("As expected, " + step.words[2].text + "'s field " + Quote(name) + " " +
        (wantNone ? std::string("is absent.") : "shows " + Quote(step.words[4].text) + "."));
    return true;
  }
  if (Is(step, 1, "logo")) {
    const char* usage = "expect logo FILE PLACE placeholder|picture|none";
    ExpectCount(step, 5, usage);
    const OpenDocument open = FindOpen(step.words[2].text);
    const std::string& place = step.words[3].text;
    std::string got = "none";
    for (const auto& [where, story] : Stories(*open.doc)) {
      if (where != place) continue;
      const hostsim::ShapeList* shapes = &story->shapes;
      if (where == "body") shapes = &open.doc->sections.front()->body_shapes;
      for (const auto& shape : *shapes) {
        if (shape->name.rfind("qllogo", 0) != 0) continue;
        got = !shape->fill.picture.empty()           ? "picture"
              : shape->text == "Your Logo goes here" ? "placeholder"
                                                     : "empty";
      }
    }
    if (!Is(step, 4, got.c_str())) {
      Failed("expected a logo shape in " + step.words[2].text + "'s " + place + " showing " +
             step.words[4].text + ", but there is " +
             (got == "none" ? std::string("none") : "one showing " + got));
    }
    Say("As expected, " + step.words[2].text + "'s " + place + " has " +
        (got == "none" ? std::string("no logo shape.") : "a logo shape showing the " + got + "."));
    return true;
  }
  if (Is(step, 1, "picture")) {
    ExpectCount(step, 4, "expect picture FILE \"NAME\"");
    const OpenDocument open = FindOpen(step.words[2].text);
    const std::string& name = step.words[3].text;
    auto ends = [&name](const std::string& file) {
      return file.size() >= name.size() && file.compare(file.size() - name.size(), name.size(), name) == 0;
    };
    bool found = false;
    for (const auto& [where, story] : Stories(*open.doc)) {
      for (const auto& file : story->inline_pictures) found = found || ends(file);
    }
    for (const auto& sheet : open.doc->sheets) {
      for (const auto& shape : sheet->shapes) found = found || (shape->type == 13 && ends(shape->picture));
    }
    for (const auto& slide : open.doc->slides) {
      for (const auto& shape : slide->shapes) found = found || (shape->type == 13 && ends(shape->picture));
    }
    if (!found)
      Failed("expected the picture " + Quote(name) + " in " + step.words[2].text + ", but it is not there");
    Say("As expected, " + step.words[2].text + " holds the picture " + Quote(name) + ".");
    return true;
  }
  return false;
}

}  // namespace quillorn::sim
