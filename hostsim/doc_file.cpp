// Every field of the model is written; reading tolerates missing keys so that a
// hand-written file needs only what its test cares about.
#include "hostsim/doc_file.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "hostsim/json.h"

namespace quillorn::hostsim {
namespace {

Json FieldsToJson(const std::vector<FieldModel>& fields) {
  Json arr = Json::MakeArray();
  for (const auto& f : fields) {
    Json j = Json::MakeObject();
    j.Set("type", f.type);
    j.Set("code", f.code);
    j.Set("result", f.result);
    arr.Push(std::move(j));
  }
  return arr;
}

std::vector<FieldModel> FieldsFromJson(const Json& arr) {
  std::vector<FieldModel> out;
  for (const auto& j : arr.Items()) {
    FieldModel f;
    f.type = j["type"].AsInt(85);
    f.code = j["code"].AsString();
    f.result = j["result"].AsString();
    out.push_back(std::move(f));
  }
  return out;
}

Json ShapesToJson(const ShapeList& shapes) {
  Json arr = Json::MakeArray();
  for (const auto& s : shapes) {
    if (s->deleted) continue;
    Json j = Json::MakeObject();
    j.Set("name", s->name);
    j.Set("type", s->type);
    j.Set("left", s->left);
    j.Set("top", s->top);
    j.Set("width", s->width);
    j.Set("height", s->height);
    j.Set("orientation", s->orientation);
    j.Set("hasTextFrame", s->has_text_frame);
    j.Set("text", s->text);
    j.Set("alignment", s->alignment);
    Json font = Json::MakeObject();
    font.Set("color", s->font.color);
    font.Set("size", s->font.size);
    font.Set("bold", s->font.bold);
    j.Set("font", std::move(font));
    Json line = Json::MakeObject();
    line.Set("visible", s->line.visible);
    line.Set("dashStyle", s->line.dash_style);
    line.Set("foreTint", s->line.fore_tint);
    j.Set("line", std::move(line));
    Json fill = Json::MakeObject();
    fill.Set("visible", s->fill.visible);
    fill.Set("foreThemeColor", s->fill.fore_theme_color);
    fill.Set("foreTint", s->fill.fore_tint);
    fill.Set("backTint", s->fill.back_tint);
    fill.Set("transparency", s->fill.transparency);
    fill.Set("solid", s->fill.solid);
    fill.Set("picture", s->fill.picture);
    j.Set("fill", std::move(fill));
    j.Set("fields", FieldsToJson(s->fields));
    arr.Push(std::move(j));
  }
  return arr;
}

ShapeList ShapesFromJson(const Json& arr) {
  ShapeList out;
  for (const auto& j : arr.Items()) {
    auto s = std::make_shared<ShapeModel>();
    s->name = j["name"].AsString();
    s->type = j["type"].AsInt(17);
    s->left = j["left"].AsNumber(0);
    s->top = j["top"].AsNumber(0);
    s->width = j["width"].AsNumber(100);
    s->height = j["height"].AsNumber(50);
    s->orientation = j["orientation"].AsInt(1);
    s->has_text_frame = j["hasTextFrame"].AsBool(true);
    s->text = j["text"].AsString();
    s->alignment = j["alignment"].AsInt(0);
    const Json& font = j["font"];
    s->font.color = font["color"].AsInt(0);
    s->font.size = font["size"].AsNumber(11);
    s->font.bold = font["bold"].AsBool(false);
    const Json& line = j["line"];
    s->line.visible = line["visible"].AsBool(true);
    s->line.dash_style = line["dashStyle"].AsInt(1);
    s->line.fore_tint = line["foreTint"].AsNumber(0);
    const Json& fill = j["fill"];
    s->fill.visible = fill["visible"].AsBool(true);
    s->fill.fore_theme_color = fill["foreThemeColor"].AsInt(0);
    s->fill.fore_tint = fill["foreTint"].AsNumber(0);
    s->fill.back_tint = fill["backTint"].AsNumber(0);
    s->fill.transparency = fill["transparency"].AsNumber(0);
    s->fill.solid = fill["solid"].AsBool(false);
    s->fill.picture = fill["picture"].AsString();
    s->fields = FieldsFromJson(j["fields"]);
    out.push_back(std::move(s));
  }
  return out;
}

Json StoryToJson(const StoryModel& story) {
  Json j = Json::MakeObject();
  j.Set("text", story.text);
  j.Set("fields", FieldsToJson(story.fields));
  j.Set("shapes", ShapesToJson(story.shapes));
  return j;
}

void StoryFromJson(const Json& j, StoryModel& story) {
  if (j.type() != Json::Type::Object) return;
  story.text = j["text"].AsString("\r");
  if (story.text.empty() || story.text.back() != '\r') story.text += '\r';
  story.fields = FieldsFromJson(j["fields"]);
  story.shapes = ShapesFromJson(j["shapes"]);
}

Json HeaderFootersToJson(const std::array<HeaderFooterModel, 3>& list) {
  Json arr = Json::MakeArray();
  for (const auto& hf : list) {
    Json j = StoryToJson(hf.story);
    j.Set("linkToPrevious", hf.link_to_previous);
    j.Set("created", hf.created);
    arr.Push(std::move(j));
  }
  return arr;
}

void HeaderFootersFromJson(const Json& arr, std::array<HeaderFooterModel, 3>& list) {
  for (std::size_t i = 0; i < arr.Items().size() && i < list.size(); ++i) {
    const Json& j = arr.Items()[i];
    StoryFromJson(j, list[i].story);
    list[i].link_to_previous = j["linkToPrevious"].AsBool(false);
    list[i].created = j["created"].AsBool(list[i].story.text != "\r" || !list[i].story.shapes.empty());
  }
}

Json PropertiesToJson(const std::vector<PropertyModel>& props) {
  Json arr = Json::MakeArray();
  for (const auto& p : props) {
    Json j = Json::MakeObject();
    j.Set("name", p.name);
    j.Set("type", p.type);
    j.Set("value", p.value);
    j.Set("linkToContent", p.link_to_content);
    arr.Push(std::move(j));
  }
  return arr;
}

HostType HostFromName(const std::string& name) {
  if (name == "word") return HostType::ohaWord;
  if (name == "excel") return HostType::ohaExcel;
  if (name == "powerpoint") return HostType::ohaPowerPoint;
  if (name == "publisher") return HostType::ohaPublisher;
  throw std::runtime_error("not a simulated document: unknown host \"" + name + "\"");
}

}  // namespace

const char* HostKindName(HostType kind) noexcept {
  switch (kind) {
    case HostType::ohaWord: return "word";
    case HostType::ohaExcel: return "excel";
    case HostType::ohaPowerPoint: return "powerpoint";
    case HostType::ohaPublisher: return "publisher";
  }
  return "word";
}

std::string DocumentToJson(const DocumentModel& doc) {
  Json root = Json::MakeObject();
  root.Set("host", HostKindName(doc.host));
  root.Set("customProperties", PropertiesToJson(doc.custom_properties));
  Json builtin = Json::MakeObject();
  for (const auto& p : doc.builtin_properties) {
    if (!p.value.empty()) builtin.Set(p.name, p.value);
  }
  root.Set("builtInProperties", std::move(builtin));
  Json tags = Json::MakeArray();
  for (const auto& t : doc.tags) {
    Json j = Json::MakeObject();
    j.Set("name", t.name);
    j.Set("value", t.value);
    tags.Push(std::move(j));
  }
  root.Set("tags", std::move(tags));

  Json protection = Json::MakeObject();
  protection.Set("type", doc.protection_type);
  protection.Set("password", doc.protection_password);
  protection.Set("structure", doc.protect_structure);
  protection.Set("workbookPassword", doc.workbook_password);
  protection.Set("final", doc.final);
  root.Set("protection", std::move(protection));

  root.Set("mainStory", StoryToJson(doc.main_story));
  Json sections = Json::MakeArray();
  for (const auto& s : doc.sections) {
    Json j = Json::MakeObject();
    j.Set("headers", HeaderFootersToJson(s->headers));
    j.Set("footers", HeaderFootersToJson(s->footers));
    Json ps = Json::MakeObject();
    ps.Set("topMargin", s->page_setup.top_margin);
    ps.Set("bottomMargin", s->page_setup.bottom_margin);
    ps.Set("leftMargin", s->page_setup.left_margin);
    ps.Set("rightMargin", s->page_setup.right_margin);
    ps.Set("headerDistance", s->page_setup.header_distance);
    ps.Set("footerDistance", s->page_setup.footer_distance);
    ps.Set("pageHeight", s->page_setup.page_height);
    ps.Set("pageWidth", s->page_setup.page_width);
    ps.Set("differentFirstPage", s->page_setup.different_first_page);
    j.Set("pageSetup", std::move(ps));
    j.Set("shapes", ShapesToJson(s->body_shapes));
    sections.Push(std::move(j));
  }
  root.Set("sections", std::move(sections));
  root.Set("trackRevisions", doc.track_revisions);
  root.Set("revisions", doc.revisions);
  root.Set("tablesOfContents", static_cast<int>(doc.tables_of_contents.size()));
  Json styles = Json::MakeArray();
  for (const auto& s : doc.style_templates) styles.Push(s);
  root.Set("styleTemplates", std::move(styles));

  Json sheets = Json::MakeArray();
  for (const auto& s : doc.sheets) {
    Json j = Json::MakeObject();
    j.Set("name", s->name);
    j.Set("centerHeader", s->center_header);
    j.Set("centerHeaderPicture", s->center_header_picture);
    j.Set("isChart", s->is_chart);
    j.Set("protected", s->protected_);
    j.Set("password", s->password);
    j.Set("shapes", ShapesToJson(s->shapes));
    sheets.Push(std::move(j));
  }
  root.Set("sheets", std::move(sheets));
  Json names = Json::MakeArray();
  for (const auto& n : doc.names) {
    Json j = Json::MakeObject();
    j.Set("name", n.name);
    j.Set("refersTo", n.refers_to);
    j.Set("visible", n.visible);
    j.Set("value", n.value);
    names.Push(std::move(j));
  }
  root.Set("names", std::move(names));

  Json slides = Json::MakeArray();
  for (const auto& s : doc.slides) {
    Json j = Json::MakeObject();
    j.Set("layout", s->layout);
    j.Set("followMasterBackground", s->follow_master_background);
    j.Set("backgroundPicture", s->background_picture);
    j.Set("shapes", ShapesToJson(s->shapes));
    slides.Push(std::move(j));
  }
  root.Set("slides", std::move(slides));
  root.Set("hasTitleMaster", doc.has_title_master);
  root.Set("titleMaster", ShapesToJson(doc.title_master_shapes));
  root.Set("slideMaster", ShapesToJson(doc.slide_master_shapes));
  root.Set("slideHeight", doc.slide_height);
  root.Set("slideWidth", doc.slide_width);
  root.Set("appliedTemplate", doc.applied_template);
  root.Set("pageShapes", ShapesToJson(doc.page_shapes));
  return root.Dump();
}

std::shared_ptr<DocumentModel> DocumentFromJson(const std::string& text, HostType expected) {
  Json root = Json::Parse(text);
  if (root.type() != Json::Type::Object || !root.Has("host")) {
    throw std::runtime_error("not a simulated document");
  }
  HostType kind = HostFromName(root["host"].AsString());
  if (kind != expected) {
    throw std::runtime_error(std::string("a ") + HostKindName(kind) + " document cannot be opened by " +
                             HostKindName(expected));
  }
  auto doc = NewDocumentModel(kind);
  for (const auto& j : root["customProperties"].Items()) {
    doc->custom_properties.push_back(
        {j["name"].AsString(), j["type"].AsInt(4), j["value"].AsString(), j["linkToContent"].AsBool(false)});
  }
  for (auto& p : doc->builtin_properties) p.value = root["builtInProperties"][p.name].AsString();
  for (const auto& j : root["tags"].Items()) doc->tags.push_back({j["name"].AsString(), j["value"].AsString()});

  const Json& protection = root["protection"];
  doc->protection_type = protection["type"].AsInt(-1);
  doc->protection_password = protection["password"].AsString();
  doc->protect_structure = protection["structure"].AsBool(false);
  doc->workbook_password = protection["workbookPassword"].AsString();
  doc->final = protection["final"].AsBool(false);

  StoryFromJson(root["mainStory"], doc->main_story);
  if (!root["sections"].Items().empty()) doc->sections.clear();
  for (const auto& j : root["sections"].Items()) {
    auto s = std::make_shared<SectionModel>();
    HeaderFootersFromJson(j["headers"], s->headers);
    HeaderFootersFromJson(j["footers"], s->footers);
    const Json& ps = j["pageSetup"];
    PageSetupModel d;
    s->page_setup.top_margin = ps["topMargin"].AsNumber(d.top_margin);
    s->page_setup.bottom_margin = ps["bottomMargin"].AsNumber(d.bottom_margin);
    s->page_setup.left_margin = ps["leftMargin"].AsNumber(d.left_margin);
    s->page_setup.right_margin = ps["rightMargin"].AsNumber(d.right_margin);
    s->page_setup.header_distance = ps["headerDistance"].AsNumber(d.header_distance);
    s->page_setup.footer_distance = ps["footerDistance"].AsNumber(d.footer_distance);
    s->page_setup.page_height = ps["pageHeight"].AsNumber(d.page_height);
    s->page_setup.page_width = ps["pageWidth"].AsNumber(d.page_width);
    s->page_setup.different_first_page = ps["differentFirstPage"].AsBool(false);
    s->body_shapes = ShapesFromJson(j["shapes"]);
    doc->sections.push_back(std::move(s));
  }
  doc->track_revisions = root["trackRevisions"].AsBool(false);
  doc->revisions = root["revisions"].AsInt(0);
  doc->tables_of_contents.resize(static_cast<std::size_t>(root["tablesOfContents"].AsInt(0)));
  for (const auto& s : root["styleTemplates"].Items()) doc->style_templates.push_back(s.AsString());

  if (!root["sheets"].Items().empty()) doc->sheets.clear();
  for (const auto& j : root["sheets"].Items()) {
    auto s = std::make_shared<SheetModel>();
    s->name = j["name"].AsString();
    s->center_header = j["centerHeader"].AsString();
    s->center_header_picture = j["centerHeaderPicture"].AsString();
    s->is_chart = j["isChart"].AsBool(false);
    s->protected_ = j["protected"].AsBool(false);
    s->password = j["password"].AsString();
    s->shapes = ShapesFromJson(j["shapes"]);
    doc->sheets.push_back(std::move(s));
  }
  for (const auto& j : root["names"].Items()) {
    doc->names.push_back(
        {j["name"].AsString(), j["refersTo"].AsString(), j["visible"].AsBool(true), j["value"].AsString()});
  }
  if (!root["slides"].Items().empty()) doc->slides.clear();
  for (const auto& j : root["slides"].Items()) {
    auto s = std::make_shared<SlideModel>();
    s->layout = j["layout"].AsInt(1);
    s->follow_master_background = j["followMasterBackground"].AsBool(true);
    s->background_picture = j["backgroundPicture"].AsString();
    s->shapes = ShapesFromJson(j["shapes"]);
    doc->slides.push_back(std::move(s));
  }
  doc->has_title_master = root["hasTitleMaster"].AsBool(false);
  doc->title_master_shapes = ShapesFromJson(root["titleMaster"]);
  doc->slide_master_shapes = ShapesFromJson(root["slideMaster"]);
  doc->slide_height = root["slideHeight"].AsNumber(540);
  doc->slide_width = root["slideWidth"].AsNumber(720);
  doc->applied_template = root["appliedTemplate"].AsString();
  doc->page_shapes = ShapesFromJson(root["pageShapes"]);
  return doc;
}

std::shared_ptr<DocumentModel> LoadDocumentFile(const std::string& path, HostType host) {
  std::error_code ec;
  if (!std::filesystem::exists(path, ec) || std::filesystem::file_size(path, ec) == 0) {
    auto doc = NewDocumentModel(host);
    doc->full_name = path;
    return doc;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::ostringstream text;
  text << in.rdbuf();
  std::shared_ptr<DocumentModel> doc;
  try {
    doc = DocumentFromJson(text.str(), host);
  } catch (const std::exception& e) {
    throw std::runtime_error(path + ": " + e.what());
  }
  doc->full_name = path;
  doc->ever_saved = true;
  return doc;
}

void SaveDocumentFile(const DocumentModel& doc, const std::string& path) {
  const std::string tmp = path + ".tmp";
  {
    std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
    if (!out) throw std::runtime_error("cannot write " + path);
    out << DocumentToJson(doc);
    if (!out.flush()) throw std::runtime_error("cannot write " + path);
  }
  std::error_code ec;
  std::filesystem::rename(tmp, path, ec);
  if (ec) {
    std::filesystem::remove(tmp, ec);
    throw std::runtime_error("cannot write " + path);
  }
}

}  // namespace quillorn::hostsim
