// The plain data of a simulated Office document: sections, stories, shapes,
// fields, properties, sheets, slides. Knows nothing of automation or files;
// the wrappers and the file form are built on top of it.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/host_type.h"

namespace quillorn::hostsim {

// The simulated hosts are told apart by the add-in framework's own numbering.
using platform::HostType;

struct FieldModel {
  int type = 85;             // 85: a document property field
  std::string code;          // e.g. DOCPROPERTY "cmsRevision"
  std::string result;        // what the field shows
  int updates = 0;           // how often Update ran
};

struct FontModel {
  int color = 0;
  double size = 11;
  bool bold = false;
};

struct LineModel {
  bool visible = true;
  int dash_style = 1;
  double fore_tint = 0;
};

struct FillModel {
  bool visible = true;
  int fore_theme_color = 0;
  double fore_tint = 0;
  double back_tint = 0;
  double transparency = 0;
  bool solid = false;
  std::string picture;  // file of UserPicture
};

struct ShapeModel {
  std::string name;
  int type = 17;  // 17 text box, 1 auto shape, 13 picture
  double left = 0, top = 0, width = 100, height = 50;
  int orientation = 1;
  bool has_text_frame = true;
  std::string text;
  int alignment = 0;
  FontModel font;
  LineModel line;
  FillModel fill;
  std::vector<FieldModel> fields;
  int wrap_type = 3;  // WrapFormat.Type: 7 inline, 3 in front of the text
  std::string picture;  // file of a picture shape (type 13)
  bool deleted = false;
};
using ShapeList = std::vector<std::shared_ptr<ShapeModel>>;

// One Word story: the main text or one header or footer of a section.
// Word keeps a final paragraph mark at the end of every story.
struct StoryModel {
  std::string text = "\r";
  std::vector<FieldModel> fields;
  ShapeList shapes;
  std::vector<std::string> inline_pictures;  // files of InlineShapes.AddPicture
};

// Where Word's insertion point stands: a story (1 main text, 2 footnotes, 6..11
// headers and footers) of a section, at the story's end.
struct SelectionModel {
  int story_type = 1;
  int section = 0;
};

struct HeaderFooterModel {
  StoryModel story;
  bool link_to_previous = false;
  bool created = false;  // the story exists once something was put into it
};

struct PageSetupModel {
  double top_margin = 72, bottom_margin = 72, left_margin = 72, right_margin = 72;
  double header_distance = 36, footer_distance = 36;
  double page_height = 792, page_width = 612;
  bool different_first_page = false;
};

struct SectionModel {
  std::array<HeaderFooterModel, 3> headers;  // 1 primary, 2 first page, 3 even pages
  std::array<HeaderFooterModel, 3> footers;
  PageSetupModel page_setup;
  ShapeList body_shapes;  // shapes anchored in the section's body
};

struct PropertyModel {
  std::string name;
  int type = 4;  // 4 text, 1 number, 2 yes/no, 3 date, 5 float
  std::string value;
  bool link_to_content = false;
};

struct TagModel {
  std::string name;
  std::string value;
};

struct NameModel {
  std::string name;
  std::string refers_to;
  bool visible = true;
  std::string value;
};

struct CellModel {
  std::string formula;
  std::string number_format = "General";
};

struct SheetModel {
  std::string name;
  std::vector<std::pair<std::string, CellModel>> cells;  // by address, e.g. "A1"
  std::string active_cell = "A1";
  std::string center_header;
  std::string center_header_picture;
  std::string center_header_picture_word;  // the word drawn in the picture, as Excel took it in
  bool is_chart = false;
  bool protected_ = false;
  std::string password;
  ShapeList shapes;
};

struct SlideModel {
  ShapeList shapes;
  int layout = 1;
  bool follow_master_background = true;
  std::string background_picture;
};

struct TocModel {
  int updates = 0;
};

struct DocumentModel {
  HostType host = HostType::ohaWord;
  std::string full_name;  // the real path; empty path part for a new document
  std::string untitled_name;
  bool saved = true;
  bool read_only = false;
  bool ever_saved = false;

  std::vector<PropertyModel> custom_properties;
  std::vector<PropertyModel> builtin_properties;  // index 1..n by position
  std::vector<TagModel> tags;                      // Publisher

  // Word
  StoryModel main_story;
  std::vector<std::shared_ptr<SectionModel>> sections;
  int protection_type = -1;
  std::string protection_password;
  bool track_revisions = false;
  int revisions = 0;
  int revisions_view = 0;
  bool show_revisions_and_comments = true;
  std::vector<TocModel> tables_of_contents;
  std::vector<std::string> style_templates;  // files whose styles were copied in
  SelectionModel selection;
  StoryModel footnotes;

  // Excel
  std::vector<std::shared_ptr<SheetModel>> sheets;
  std::vector<NameModel> names;
  bool protect_structure = false;
  std::string workbook_password;

  // PowerPoint
  std::vector<std::shared_ptr<SlideModel>> slides;
  bool has_title_master = false;
  ShapeList title_master_shapes;
  ShapeList slide_master_shapes;
  double slide_height = 540, slide_width = 720;
  bool final = false;
  std::string applied_template;

  // Publisher: one page of shapes is enough for what the add-in touches
  ShapeList page_shapes;

  bool closed = false;

  void MarkChanged() { saved = false; }
};

// A fresh document of the host's kind: one section, one sheet, one slide.
std::shared_ptr<DocumentModel> NewDocumentModel(HostType host);

// 21 is the company among Word's built-in properties; these are the names by index.
const std::vector<std::string>& BuiltInPropertyNames();

}  // namespace quillorn::hostsim
