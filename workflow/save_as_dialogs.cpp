#include "workflow/save_as_dialogs.h"

#include <stdexcept>

#include "foundation/paths.h"

namespace quillorn::workflow {

using platform::ModalResult;

std::string TdlgSaveAs::Html() {
  auto link = [](const char* href, const char* icon, const char* text) {
    return std::string("<p><img src=\"") + icon + "\" width=\"18\" height=\"20\"> <a href=\"" + href + "\">" + text +
           "</a></p>";
  };
  return std::string("<html><head><style>a { color: ") + LinkColor + "; font-size: " + std::to_string(LinkFontSize) +
         "px; } a:hover { color: " + LinkHoverColor + "; }</style></head><body>" +
         link("export", "export", ExportText) + link("save", "checkout", CheckOutText) + "</body></html>";
}

std::string TdlgSaveAs::GetField(std::string_view field) const {
  throw std::invalid_argument("TdlgSaveAs has no field " + std::string(field));
}

void TdlgSaveAs::SetField(std::string_view field, std::string_view) {
  throw std::invalid_argument("TdlgSaveAs has no field " + std::string(field));
}

std::optional<ModalResult> TdlgSaveAs::Press(std::string_view button) {
  if (foundation::LowerCase(button) == "cancel") {
    ModalResult = ModalResult::mrCancel;
  } else {
    HtmlPanel1UrlClick(button);
  }
  return ModalResult;
}

void TdlgSaveAs::HtmlPanel1UrlClick(std::string_view href) {
  // Only "export" is told apart: whatever else the panel holds saves as checked out.
  ModalResult = href == "export" ? ModalResult::mrOk : ModalResult::mrYes;
}

std::vector<std::string> TFileSaveDialog::FieldNames() const {
  return {"FileName", "Title", "OkButtonLabel", "InitialDir", "DefaultExt", "FilterName", "FilterMask"};
}

std::string* TFileSaveDialog::Member(std::string_view field) {
  if (field == "FileName") return &FileName;
  if (field == "Title") return &Title;
  if (field == "OkButtonLabel") return &OkButtonLabel;
  if (field == "InitialDir") return &InitialDir;
  if (field == "DefaultExt") return &DefaultExt;
  if (field == "FilterName") return &FilterName;
  if (field == "FilterMask") return &FilterMask;
  throw std::invalid_argument("FileSaveDialog has no field " + std::string(field));
}

std::string TFileSaveDialog::GetField(std::string_view field) const {
  return *const_cast<TFileSaveDialog*>(this)->Member(field);
}

void TFileSaveDialog::SetField(std::string_view field, std::string_view value) { *Member(field) = value; }

std::optional<ModalResult> TFileSaveDialog::Press(std::string_view button) {
  if (foundation::LowerCase(button) == "cancel") return ModalResult::mrCancel;
  if (button != OkButtonLabel) throw std::invalid_argument("FileSaveDialog has no button " + std::string(button));
  // An empty name is no answer: the dialog stays.
  if (FileName.empty()) return std::nullopt;
  if (FileName.find_first_of("/\\") == std::string::npos && !InitialDir.empty()) {
    FileName = foundation::IncludeTrailingPathDelimiter(InitialDir) + FileName;
  }
  if (foundation::ExtractFileExt(FileName).empty()) FileName += DefaultExt;
  return ModalResult::mrOk;
}

}  // namespace quillorn::workflow
