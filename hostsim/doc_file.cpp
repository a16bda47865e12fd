// Every field of the model is written; reading tolerates missing keys and
// values of the wrong kind (they read as the model's default), so that a
// hand-written file needs only what its test cares about. Keys keep the order
// they are written in and whole numbers carry no fraction, so that a file saved
// today reads, and diffs, like the ones saved before.
#include "hostsim/doc_file.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace quillorn::hostsim {
namespace {

using Json = nlohmann::ordered_json;

const Json& NullJson() {
  static const Json kNull;
  return kNull;
}

// A missing key, or a key asked of something that is no object, reads as null.
const Json& At(const Json& j, const std::string& key) {
  if (!j.is_object()) return NullJson();
  const auto it = j.find(key);
  return it == j.end() ? NullJson() : *it;
}

// The elements of an array; anything else has none.
const Json& Items(const Json& j) {
  static const Json kEmpty = Json::array();
  return j.is_array() ? j : kEmpty;
}

double Number(const Json& j, const std::string& key, double fallback) {
  const Json& v = At(j, key);
  return v.is_number() ? v.get<double>() : fallback;
}

int Int(const Json& j, const std::string& key, int fallback) {
  return static_cast<int>(Number(j, key, fallback));
}

bool Bool(const Json& j, const std::string& key, bool fallback) {
  const Json& v = At(j, key);
  return v.is_boolean() ? v.get<bool>() : fallback;
}

std::string String(const Json& j, const std::string& key, std::string fallback = {}) {
  const Json& v = At(j, key);
  return v.is_string() ? v.get<std::string>() : fallback;
}

// Whole numbers go out as integers: the library would write 72.0 for a double.
Json Num(double d) {
  if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 9007199254740992.0) {
    return static_cast<std::int64_t>(d);
  }
  return d;
}

Json FieldsToJson(const std::vector<FieldModel>& fields) {
  Json arr = Json::array();
  for (const auto& f : fields) {
    Json j = Json::object();
    j["type"] = f.type;
    j["code"] = f.code;
    j["result"] = f.result;
    arr.push_back(std::move(j));
  }
  return arr;
}

std::vector<FieldModel> FieldsFromJson(const Json& arr) {
  std::vector<FieldModel> out;
  for (const auto& j : Items(arr)) {
    FieldModel f;
    f.type = Int(j, "type", 85);
    f.code = String(j, "code");
    f.result = String(j, "result");
    out.push_back(std::move(f));
  }
  return out;
}

Json ShapesToJson(const ShapeList& shapes) {
  Json arr = Json::array();
  for (const auto& s : shapes) {
    if (s->deleted) continue;
    Json j = Json::object();
    j["name"] = s->name;
    j["type"] = s->type;
    j["left"] = Num(s->left);
    j["top"] = Num(s->top);
    j["width"] = Num(s->width);
    j["height"] = Num(s->height);
    j["orientation"] = s->orientation;
    j["hasTextFrame"] = s->has_text_frame;
    j["text"] = s->text;
    j["alignment"] = s->alignment;
    Json font = Json::object();
    font["color"] = s->font.color;
    font["size"] = Num(s->font.size);
    font["bold"] = s->font.bold;
    j["font"] = std::move(font);
    Json line = Json::object();
    line["visible"] = s->line.visible;
    line["dashStyle"] = s->line.dash_style;
    line["foreTint"] = Num(s->line.fore_tint);
    j["line"] = std::move(line);
    Json fill = Json::object();
    fill["visible"] = s->fill.visible;
    fill["foreThemeColor"] = s->fill.fore_theme_color;
    fill["foreTint"] = Num(s->fill.fore_tint);
    fill["backTint"] = Num(s->fill.back_tint);
    fill["transparency"] = Num(s->fill.transparency);
    fill["solid"] = s->fill.solid;
    fill["picture"] = s->fill.picture;
    j["fill"] = std::move(fill);
    j["fields"] = FieldsToJson(s->fields);
    arr.push_back(std::move(j));
  }
  return arr;
}

ShapeList ShapesFromJson(const Json& arr) {
  ShapeList out;
  for (const auto& j : Items(arr)) {
    auto s = std::make_shared<ShapeModel>();
    s->name = String(j, "name");
    s->type = Int(j, "type", 17);
    s->left = Number(j, "left", 0);
    s->top = Number(j, "top", 0);
    s->width = Number(j, "width", 100);
    s->height = Number(j, "height", 50);
    s->orientation = Int(j, "orientation", 1);
    s->has_text_frame = Bool(j, "hasTextFrame", true);
    s->text = String(j, "text");
    s->alignment = Int(j, "alignment", 0);
    const Json& font = At(j, "font");
    s->font.color = Int(font, "color", 0);
    s->font.size = Number(font, "size", 11);
    s->font.bold = Bool(font, "bold", false);
    const Json& line = At(j, "line");
    s->line.visible = Bool(line, "visible", true);
    s->line.dash_style = Int(line, "dashStyle", 1);
    s->line.fore_tint = Number(line, "foreTint", 0);
    const Json& fill = At(j, "fill");
    s->fill.visible = Bool(fill, "visible", true);
    s->fill.fore_theme_color = Int(fill, "foreThemeColor", 0);
    s->fill.fore_tint = Number(fill, "foreTint", 0);
    s->fill.back_tint = Number(fill, "backTint", 0);
    s->fill.transparency = Number(fill, "transparency", 0);
    s->fill.solid = Bool(fill, "solid", false);
    s->fill.picture = String(fill, "picture");
    s->fields = FieldsFromJson(At(j, "fields"));
    out.push_back(std::move(s));
  }
  return out;
}

Json StoryToJson(const StoryModel& story) {
  Json j = Json::object();
  j["text"] = story.text;
  j["fields"] = FieldsToJson(story.fields);
  j["shapes"] = ShapesToJson(story.shapes);
  return j;
}

void StoryFromJson(const Json& j, StoryModel& story) {
  if (!j.is_object()) return;
  story.text = String(j, "text", "\r");
  if (story.text.empty() || story.text.back() != '\r') story.text += '\r';
  story.fields = FieldsFromJson(At(j, "fields"));
  story.shapes = ShapesFromJson(At(j, "shapes"));
}

Json HeaderFootersToJson(const std::array<HeaderFooterModel, 3>& list) {
  Json arr = Json::array();
  for (const auto& hf : list) {
    Json j = StoryToJson(hf.story);
    j["linkToPrevious"] = hf.link_to_previous;
    j["created"] = hf.created;
    arr.push_back(std::move(j));
  }
  return arr;
}

void HeaderFootersFromJson(const Json& arr, std::array<HeaderFooterModel, 3>& list) {
  const Json& items = Items(arr);
  for (std::size_t i = 0; i < items.size() && i < list.size(); ++i) {
    const Json& j = items[i];
    StoryFromJson(j, list[i].story);
    list[i].link_to_previous = Bool(j, "linkToPrevious", false);
    list[i].created = Bool(j, "created", list[i].story.text != "\r" || !list[i].story.shapes.empty());
  }
}

Json PropertiesToJson(const std::vector<PropertyModel>& props) {
  Json arr = Json::array();
  for (const auto& p : props) {
    Json j = Json::object();
    j["name"] = p.name;
    j["type"] = p.type;
    j["value"] = p.value;
    j["linkToContent"] = p.link_to_content;
    arr.push_back(std::move(j));
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
  Json root = Json::object();
  root["host"] = HostKindName(doc.host);
  root["customProperties"] = PropertiesToJson(doc.custom_properties);
  Json builtin = Json::object();
  for (const auto& p : doc.builtin_properties) {
    if (!p.value.empty()) builtin[p.name] = p.value;
  }
  root["builtInProperties"] = std::move(builtin);
  Json tags = Json::array();
  for (const auto& t : doc.tags) {
    Json j = Json::object();
    j["name"] = t.name;
    j["value"] = t.value;
    tags.push_back(std::move(j));
  }
  root["tags"] = std::move(tags);

  Json protection = Json::object();
  protection["type"] = doc.protection_type;
  protection["password"] = doc.protection_password;
  protection["structure"] = doc.protect_structure;
  protection["workbookPassword"] = doc.workbook_password;
  protection["final"] = doc.final;
  root["protection"] = std::move(protection);

  root["mainStory"] = StoryToJson(doc.main_story);
  Json sections = Json::array();
  for (const auto& s : doc.sections) {
    Json j = Json::object();
    j["headers"] = HeaderFootersToJson(s->headers);
    j["footers"] = HeaderFootersToJson(s->footers);
    Json ps = Json::object();
    ps["topMargin"] = Num(s->page_setup.top_margin);
    ps["bottomMargin"] = Num(s->page_setup.bottom_margin);
    ps["leftMargin"] = Num(s->page_setup.left_margin);
    ps["rightMargin"] = Num(s->page_setup.right_margin);
    ps["headerDistance"] = Num(s->page_setup.header_distance);
    ps["footerDistance"] = Num(s->page_setup.footer_distance);
    ps["pageHeight"] = Num(s->page_setup.page_height);
    ps["pageWidth"] = Num(s->page_setup.page_width);
    ps["differentFirstPage"] = s->page_setup.different_first_page;
    j["pageSetup"] = std::move(ps);
    j["shapes"] = ShapesToJson(s->body_shapes);
    sections.push_back(std::move(j));
  }
  root["sections"] = std::move(sections);
  root["trackRevisions"] = doc.track_revisions;
  root["revisions"] = doc.revisions;
  root["tablesOfContents"] = static_cast<int>(doc.tables_of_contents.size());
  Json styles = Json::array();
  for (const auto& s : doc.style_templates) styles.push_back(s);
  root["styleTemplates"] = std::move(styles);

  Json sheets = Json::array();
  for (const auto& s : doc.sheets) {
    Json j = Json::object();
    j["name"] = s->name;
    j["centerHeader"] = s->center_header;
    j["centerHeaderPicture"] = s->center_header_picture;
    j["centerHeaderPictureWord"] = s->center_header_picture_word;
    j["isChart"] = s->is_chart;
    j["protected"] = s->protected_;
    j["password"] = s->password;
    j["shapes"] = ShapesToJson(s->shapes);
    sheets.push_back(std::move(j));
  }
  root["sheets"] = std::move(sheets);
  Json names = Json::array();
  for (const auto& n : doc.names) {
    Json j = Json::object();
    j["name"] = n.name;
    j["refersTo"] = n.refers_to;
    j["visible"] = n.visible;
    j["value"] = n.value;
    names.push_back(std::move(j));
  }
  root["names"] = std::move(names);

  Json slides = Json::array();
  for (const auto& s : doc.slides) {
    Json j = Json::object();
    j["layout"] = s->layout;
    j["followMasterBackground"] = s->follow_master_background;
    j["backgroundPicture"] = s->background_picture;
    j["shapes"] = ShapesToJson(s->shapes);
    slides.push_back(std::move(j));
  }
  root["slides"] = std::move(slides);
  root["hasTitleMaster"] = doc.has_title_master;
  root["titleMaster"] = ShapesToJson(doc.title_master_shapes);
  root["slideMaster"] = ShapesToJson(doc.slide_master_shapes);
  root["slideHeight"] = Num(doc.slide_height);
  root["slideWidth"] = Num(doc.slide_width);
  root["appliedTemplate"] = doc.applied_template;
  root["pageShapes"] = ShapesToJson(doc.page_shapes);
  try {
    return root.dump(2) + "\n";
  } catch (const Json::exception&) {
    // The library writes UTF-8 only; a host's text is always UTF-8, so this is a fault of the caller.
    throw std::runtime_error("a simulated document holds text that is not UTF-8");
  }
}

std::shared_ptr<DocumentModel> DocumentFromJson(const std::string& text, HostType expected) {
  Json root;
  try {
    root = Json::parse(text);
  } catch (const Json::parse_error& e) {
    // what() leads with the library's own tag; the line and column that follow are what a reader needs.
    const std::string what = e.what();
    const auto tag = what.find("] ");
    throw std::runtime_error("not a simulated document: " + (tag == std::string::npos ? what : what.substr(tag + 2)));
  }
  if (!root.is_object() || !root.contains("host")) {
    throw std::runtime_error("not a simulated document");
  }
  HostType kind = HostFromName(String(root, "host"));
  if (kind != expected) {
    throw std::runtime_error(std::string("a ") + HostKindName(kind) + " document cannot be opened by " +
                             HostKindName(expected));
  }
  auto doc = NewDocumentModel(kind);
  for (const auto& j : Items(At(root, "customProperties"))) {
    doc->custom_properties.push_back(
        {String(j, "name"), Int(j, "type", 4), String(j, "value"), Bool(j, "linkToContent", false)});
  }
  for (auto& p : doc->builtin_properties) p.value = String(At(root, "builtInProperties"), p.name);
  for (const auto& j : Items(At(root, "tags"))) doc->tags.push_back({String(j, "name"), String(j, "value")});

  const Json& protection = At(root, "protection");
  doc->protection_type = Int(protection, "type", -1);
  doc->protection_password = String(protection, "password");
  doc->protect_structure = Bool(protection, "structure", false);
  doc->workbook_password = String(protection, "workbookPassword");
  doc->final = Bool(protection, "final", false);

  StoryFromJson(At(root, "mainStory"), doc->main_story);
  if (!Items(At(root, "sections")).empty()) doc->sections.clear();
  for (const auto& j : Items(At(root, "sections"))) {
    auto s = std::make_shared<SectionModel>();
    HeaderFootersFromJson(At(j, "headers"), s->headers);
    HeaderFootersFromJson(At(j, "footers"), s->footers);
    const Json& ps = At(j, "pageSetup");
    PageSetupModel d;
    s->page_setup.top_margin = Number(ps, "topMargin", d.top_margin);
    s->page_setup.bottom_margin = Number(ps, "bottomMargin", d.bottom_margin);
    s->page_setup.left_margin = Number(ps, "leftMargin", d.left_margin);
    s->page_setup.right_margin = Number(ps, "rightMargin", d.right_margin);
    s->page_setup.header_distance = Number(ps, "headerDistance", d.header_distance);
    s->page_setup.footer_distance = Number(ps, "footerDistance", d.footer_distance);
    s->page_setup.page_height = Number(ps, "pageHeight", d.page_height);
    s->page_setup.page_width = Number(ps, "pageWidth", d.page_width);
    s->page_setup.different_first_page = Bool(ps, "differentFirstPage", false);
    s->body_shapes = ShapesFromJson(At(j, "shapes"));
    doc->sections.push_back(std::move(s));
  }
  doc->track_revisions = Bool(root, "trackRevisions", false);
  doc->revisions = Int(root, "revisions", 0);
  doc->tables_of_contents.resize(static_cast<std::size_t>(Int(root, "tablesOfContents", 0)));
  for (const auto& s : Items(At(root, "styleTemplates"))) doc->style_templates.push_back(s.is_string() ? s.get<std::string>() : std::string());

  if (!Items(At(root, "sheets")).empty()) doc->sheets.clear();
  for (const auto& j : Items(At(root, "sheets"))) {
    auto s = std::make_shared<SheetModel>();
    s->name = String(j, "name");
    s->center_header = String(j, "centerHeader");
    s->center_header_picture = String(j, "centerHeaderPicture");
    s->center_header_picture_word = String(j, "centerHeaderPictureWord");
    s->is_chart = Bool(j, "isChart", false);
    s->protected_ = Bool(j, "protected", false);
    s->password = String(j, "password");
    s->shapes = ShapesFromJson(At(j, "shapes"));
    doc->sheets.push_back(std::move(s));
  }
  for (const auto& j : Items(At(root, "names"))) {
    doc->names.push_back(
        {String(j, "name"), String(j, "refersTo"), Bool(j, "visible", true), String(j, "value")});
  }
  if (!Items(At(root, "slides")).empty()) doc->slides.clear();
  for (const auto& j : Items(At(root, "slides"))) {
    auto s = std::make_shared<SlideModel>();
    s->layout = Int(j, "layout", 1);
    s->follow_master_background = Bool(j, "followMasterBackground", true);
    s->background_picture = String(j, "backgroundPicture");
    s->shapes = ShapesFromJson(At(j, "shapes"));
    doc->slides.push_back(std::move(s));
  }
  doc->has_title_master = Bool(root, "hasTitleMaster", false);
  doc->title_master_shapes = ShapesFromJson(At(root, "titleMaster"));
  doc->slide_master_shapes = ShapesFromJson(At(root, "slideMaster"));
  doc->slide_height = Number(root, "slideHeight", 540);
  doc->slide_width = Number(root, "slideWidth", 720);
  doc->applied_template = String(root, "appliedTemplate");
  doc->page_shapes = ShapesFromJson(At(root, "pageShapes"));
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
