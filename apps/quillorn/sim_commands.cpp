// `quillorn sim ...`: the simulated Office hosts from the command line.
// `sim open FILE` starts a host, opens (or creates) the file and shows what the
// add-in would find in it: custom properties or tags, and named shapes.
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "apps/quillorn/commands.h"
#include "hostsim/hosts.h"
#include "platform/variant.h"

namespace quillorn::apps {
namespace {

using hostsim::DocumentModel;
using platform::HostType;
using hostsim::ShapeList;

std::string Quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '\r' || c == '\n') {
      out += "\\r";
    } else if (c == '"') {
      out += "\\\"";
    } else {
      out += c;
    }
  }
  return out + "\"";
}

void PrintShapes(std::ostream& out, const std::string& where, const ShapeList& shapes, bool& any) {
  for (const auto& s : shapes) {
    if (s->deleted) continue;
    out << "  " << where << ": " << s->name << " = " << Quoted(s->text) << "\n";
    any = true;
  }
}

void PrintDocument(std::ostream& out, const DocumentModel& doc) {
  if (doc.host == HostType::ohaPublisher) {
    out << "Tags:\n";
    for (const auto& t : doc.tags) out << "  " << t.name << " = " << t.value << "\n";
    if (doc.tags.empty()) out << "  (none)\n";
  } else {
    out << "Custom properties:\n";
    for (const auto& p : doc.custom_properties) out << "  " << p.name << " = " << p.value << "\n";
    if (doc.custom_properties.empty()) out << "  (none)\n";
  }
  out << "Shapes:\n";
  bool any = false;
  static const char* kKinds[] = {"primary", "first page", "even pages"};
  switch (doc.host) {
    case HostType::ohaWord:
      for (std::size_t i = 0; i < doc.sections.size(); ++i) {
        const auto& s = *doc.sections[i];
        const std::string sec = "section " + std::to_string(i + 1);
        PrintShapes(out, sec + " body", s.body_shapes, any);
        for (std::size_t k = 0; k < 3; ++k) {
          PrintShapes(out, sec + " " + kKinds[k] + " header", s.headers[k].story.shapes, any);
          PrintShapes(out, sec + " " + kKinds[k] + " footer", s.footers[k].story.shapes, any);
        }
      }
      break;
    case HostType::ohaExcel:
      for (const auto& s : doc.sheets) PrintShapes(out, "sheet " + s->name, s->shapes, any);
      break;
    case HostType::ohaPowerPoint:
      if (doc.has_title_master) PrintShapes(out, "title master", doc.title_master_shapes, any);
      PrintShapes(out, "slide master", doc.slide_master_shapes, any);
      for (std::size_t i = 0; i < doc.slides.size(); ++i) {
        PrintShapes(out, "slide " + std::to_string(i + 1), doc.slides[i]->shapes, any);
      }
      break;
    case HostType::ohaPublisher:
      PrintShapes(out, "page 1", doc.page_shapes, any);
      break;
  }
  if (!any) out << "  (none)\n";
}

struct OpenOptions {
  std::string file;
  std::string host;
};

void RunOpen(const OpenOptions& opts) {
  std::optional<HostType> kind =
      opts.host.empty() ? hostsim::HostKindForFile(opts.file) : hostsim::HostKindFromName(opts.host);
  if (!kind) {
    if (opts.host.empty()) {
      std::cerr << "quillorn sim open: no host opens \"" << opts.file
                << "\"; name one with --host word|excel|powerpoint|publisher\n";
    } else {
      std::cerr << "quillorn sim open: unknown host \"" << opts.host << "\" (word, excel, powerpoint, publisher)\n";
    }
    throw CLI::RuntimeError(2);
  }
  auto host = hostsim::CreateHost(*kind);
  try {
    platform::Variant app(host->Application());
    const char* collection = *kind == HostType::ohaExcel        ? "Workbooks"
                             : *kind == HostType::ohaPowerPoint ? "Presentations"
                                                             : "Documents";
    platform::Variant doc = app.Get(collection).Call("Open", {platform::Variant(opts.file)});
    const bool is_new = !host->Active()->ever_saved;
    std::cout << app.Get("Name").AsString() << " " << app.Get("Version").AsString() << ": "
              << doc.Get("FullName").AsString() << (is_new ? " (new document)" : "") << "\n";
    PrintDocument(std::cout, *host->Active());
    if (is_new) doc.Call("Save");
    doc.Call("Close");
  } catch (const platform::HostError& e) {
    std::cerr << "quillorn sim open: " << e.what() << "\n";
    throw CLI::RuntimeError(1);
  }
}

}  // namespace

void RegisterSimCommands(CLI::App& app) {
  auto* sim = app.add_subcommand("sim", "simulated Office hosts");
  sim->require_subcommand(1);
  auto opts = std::make_shared<OpenOptions>();
  auto* open = sim->add_subcommand("open", "open or create FILE in a simulated host and show its properties and shapes");
  open->add_option("FILE", opts->file, "document file; a missing file is created empty")->required();
  open->add_option("--host", opts->host, "word, excel, powerpoint or publisher (default: by the file's extension)");
  open->callback([opts] { RunOpen(*opts); });
  RegisterSimRunCommand(*sim);
}

}  // namespace quillorn::apps
