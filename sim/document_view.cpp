#include "sim/document_view.h"

#include <vector>

#include "addin/addin_module.h"
#include "addin/command_surface.h"
#include "addin/pane_manager.h"
#include "sim/sim_instance.h"

namespace quillorn::sim {
namespace {

const hostsim::ShapeModel* Named(const hostsim::ShapeList& shapes, std::string_view name) {
  for (const auto& shape : shapes) {
    if (!shape->deleted && shape->name == name) return shape.get();
  }
  return nullptr;
}

}  // namespace

std::string StampWord(const hostsim::DocumentModel& doc) {
  switch (doc.host) {
    case platform::HostType::ohaWord:
      if (doc.sections.empty()) return {};
      if (const auto* stamp = Named(doc.sections[0]->footers[0].story.shapes, "CMSstamp")) return stamp->text;
      return {};
    case platform::HostType::ohaPowerPoint:
      if (const auto* stamp = Named(doc.slide_master_shapes, "CMSstamp2")) return stamp->text;
      if (const auto* stamp = Named(doc.title_master_shapes, "CMSstamp")) return stamp->text;
      return {};
    case platform::HostType::ohaExcel:
      // The picture shows only while the header asks for it with "&G".
      for (const auto& sheet : doc.sheets) {
        if (sheet->center_header_picture.empty() || sheet->center_header.find("&G") == std::string::npos) continue;
        return sheet->center_header_picture_word.empty() ? "(picture)" : sheet->center_header_picture_word;
      }
      return {};
    case platform::HostType::ohaPublisher: return {};
  }
  return {};
}

std::optional<std::string> PropertyValue(const hostsim::DocumentModel& doc, std::string_view name) {
  if (doc.host == platform::HostType::ohaPublisher) {
    for (const auto& tag : doc.tags) {
      if (tag.name == name) return tag.value;
    }
    return std::nullopt;
  }
  for (const auto& property : doc.custom_properties) {
    if (property.name == name) return property.value;
  }
  return std::nullopt;
}

bool IsProtected(const hostsim::DocumentModel& doc) {
  switch (doc.host) {
    case platform::HostType::ohaWord: return doc.protection_type != -1;
    case platform::HostType::ohaExcel:
      if (doc.protect_structure) return true;
      for (const auto& sheet : doc.sheets) {
        if (sheet->protected_) return true;
      }
      return false;
    case platform::HostType::ohaPowerPoint: return doc.final;
    case platform::HostType::ohaPublisher: return false;
  }
  return false;
}

void TypeText(hostsim::DocumentModel& doc, const std::string& text) {
  if (doc.host == platform::HostType::ohaWord) {
    // Word keeps its final paragraph mark last.
    std::string& body = doc.main_story.text;
    body.insert(body.empty() ? 0 : body.size() - 1, text);
  } else if (doc.host == platform::HostType::ohaPowerPoint && !doc.slides.empty()) {
    auto box = std::make_shared<hostsim::ShapeModel>();
    box->name = "Text " + std::to_string(doc.slides[0]->shapes.size() + 1);
    box->text = text;
    doc.slides[0]->shapes.push_back(box);
  } else if (doc.host == platform::HostType::ohaPublisher) {
    auto box = std::make_shared<hostsim::ShapeModel>();
    box->text = text;
    doc.page_shapes.push_back(box);
  }
  doc.MarkChanged();
}

std::optional<bool> PaneShown(SimInstance& instance) {
  if (!instance.Loaded()) return std::nullopt;
  addin::PaneManager* panes = instance.Module().Panes();
  if (panes == nullptr || panes->ItemCount() == 0) return std::nullopt;
  return panes->Visible(0);
}

addin::Control* FindControl(addin::CommandSurface& surface, std::string_view name, int officeVersion) {
  bool offered = false;
  return FindClickable(surface, name, offered, officeVersion);
}

namespace {

bool SearchTrail(addin::Control& control, std::string_view name, bool withHandler,
                 std::vector<addin::Control*>& trail) {
  trail.push_back(&control);
  const bool named = control.name == name || control.id == name || control.caption == name;
  if (named && (!withHandler || !control.handler.empty())) return true;
  for (addin::Control& child : control.controls) {
    if (SearchTrail(child, name, withHandler, trail)) return true;
  }
  trail.pop_back();
  return false;
}

// What a version of Office shows of the File commands: the Office menu in 2007,
// the File view (backstage) from 2010.
bool ShownInVersion(const std::string& rootName, int officeVersion) {
  if (officeVersion == 2007 && rootName == "BackstageView") return false;
  if (officeVersion > 2007 && rootName == "RibbonOfficeMenu") return false;
  return true;
}

}  // namespace

addin::Control* FindClickable(addin::CommandSurface& surface, std::string_view name, bool& offered,
                              int officeVersion) {
  std::string_view root;
  if (const auto slash = name.find('/'); slash != std::string_view::npos) {
    root = name.substr(0, slash);
    name = name.substr(slash + 1);
  }
  // A caption shared by a task and its button means the button.
  std::vector<addin::Control*> trail;
  for (const bool withHandler : {true, false}) {
    for (const addin::SurfaceRoot& r : surface.Roots()) {
      if (!root.empty() && r.control.name != root) continue;
      if (root.empty() && !ShownInVersion(r.control.name, officeVersion)) continue;
      trail.clear();
      if (SearchTrail(surface.Root(r.control.name), name, withHandler, trail)) break;
      trail.clear();
    }
    if (!trail.empty()) break;
  }
  if (trail.empty()) return nullptr;
  offered = trail.back()->enabled;
  for (const addin::Control* c : trail) offered = offered && c->visible;
  return trail.back();
}

}  // namespace quillorn::sim
