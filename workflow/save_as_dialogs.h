// The two dialogs of taking a copy out of the system, as view-models: the
// "Save As" chooser between export and check-out, and the save dialog that
// asks where the copy goes. The platform draws them (the chooser as a form,
// the save dialog as the system's own); neither copies or decides anything.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/prompts.h"

namespace quillorn::workflow {

// TdlgSaveAs: a fixed dialog, 375 by 168, centred on the main form, with an
// html panel of two links, a label and a Cancel button.
class TdlgSaveAs final : public platform::DialogModel {
 public:
  static constexpr const char* Caption = "Save As";
  static constexpr int Width = 375;
  static constexpr int Height = 168;
  static constexpr const char* ExportText = "Export the document";
  static constexpr const char* CheckOutText = "Save the document as Checked  Out";
  static constexpr const char* Label =
      "Because this is a Quillorn document you need to decide how you would like the document to be saved. "
      "Please choose one of the above options.";
  static constexpr const char* LinkColor = "#004284";
  static constexpr const char* LinkHoverColor = "#0074D2";
  static constexpr int LinkFontSize = 20;  // pixels

  // The panel's content: the two links, each behind an 18 by 20 icon.
  static std::string Html();

  // DialogModel: no fields; buttons are the links' hrefs ("export", "save";
  // any other href is a link too) and "Cancel".
  std::string Name() const override { return "TdlgSaveAs"; }
  std::vector<std::string> FieldNames() const override { return {}; }
  std::string GetField(std::string_view field) const override;
  void SetField(std::string_view field, std::string_view value) override;
  std::optional<platform::ModalResult> Press(std::string_view button) override;

  // 1 (mrOk) for "export", 6 (mrYes) for any other link.
  void HtmlPanel1UrlClick(std::string_view href);

  platform::ModalResult ModalResult = platform::ModalResult::mrNone;
};

// FileSaveDialog: the module's save dialog, with the option that the path
// must exist. Title and OK caption are set for each use.
class TFileSaveDialog final : public platform::DialogModel {
 public:
  // DialogModel: fields "FileName", "Title", "OkButtonLabel", "InitialDir",
  // "DefaultExt", "FilterName", "FilterMask"; buttons the OK caption and
  // "Cancel". A FileName without a folder lands in InitialDir, as the
  // system's dialog places it.
  std::string Name() const override { return "FileSaveDialog"; }
  std::vector<std::string> FieldNames() const override;
  std::string GetField(std::string_view field) const override;
  void SetField(std::string_view field, std::string_view value) override;
  std::optional<platform::ModalResult> Press(std::string_view button) override;

  std::string Title;
  std::string OkButtonLabel;
  std::string InitialDir;
  std::string FileName;
  std::string DefaultExt = ".doc";
  // One file type: its name and its mask ("*" and the extension).
  std::string FilterName;
  std::string FilterMask;
  bool PathMustExist = true;

 private:
  std::string* Member(std::string_view field);
};

}  // namespace quillorn::workflow
