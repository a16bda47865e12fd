// The two small forms the Insert commands open, as view-models: the "Add
// Custom Field" dialog and the cloud edition's "Insert Picture" hint. They hold
// captions, fields and button logic; drawing them is the platform's, through
// the prompts seam. Neither touches a document itself.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "data/table.h"
#include "platform/main_loop.h"
#include "platform/prompts.h"

namespace quillorn::addin {

// Modal, 371 by 90, centred on the main form.
class TfrmAddCustomField final : public platform::DialogModel {
 public:
  // Writes the new field into the document with its name and value.
  using InsertFieldFn = std::function<void(const std::string& name, const std::string& value)>;

  // tblDocFields must outlive the dialog.
  TfrmAddCustomField(data::Table& tblDocFields, InsertFieldFn insertField);

  // DialogModel: fields "Edit1" (the name) and "Edit2" (the value); button "Add".
  std::string Name() const override { return "TfrmAddCustomField"; }
  std::vector<std::string> FieldNames() const override { return {"Edit1", "Edit2"}; }
  std::string GetField(std::string_view field) const override;
  void SetField(std::string_view field, std::string_view value) override;
  std::optional<platform::ModalResult> Press(std::string_view button) override;

  // Raises what the table raises, with nothing to catch it: the host event's
  // handler shows it.
  void Button1Click();

  static constexpr int ClientWidth = 371;
  static constexpr int ClientHeight = 90;
  static constexpr const char* Caption = "Add Custom Field";
  static constexpr const char* Label1Caption = "New Custom Field:";
  static constexpr const char* Label2Caption = "Name";
  static constexpr const char* Label3Caption = "Value";
  static constexpr const char* Button1Caption = "Add";

  std::string Edit1;
  std::string Edit2;
  platform::ModalResult ModalResult = platform::ModalResult::mrNone;

 private:
  data::Table& tblDocFields_;
  InsertFieldFn insertField_;
};

// Non-modal, 280 by 97, centred on the main form; one at a time. It closes
// itself after five seconds unless the user closes it first.
class TfrmPicture final : public platform::DialogModel {
 public:
  // Closed, the window is as good as freed: its owner lets go of it before
  // the next use, never from inside one of its own calls.
  explicit TfrmPicture(platform::MainLoop& loop);

  // DialogModel: no fields; button "Ok".
  std::string Name() const override { return "TfrmPicture"; }
  std::vector<std::string> FieldNames() const override { return {}; }
  std::string GetField(std::string_view field) const override;
  void SetField(std::string_view field, std::string_view value) override;
  std::optional<platform::ModalResult> Press(std::string_view button) override;

  void FormShow();
  void Timer1Timer();
  void bTemplateApplyClick();

  static constexpr int ClientWidth = 280;
  static constexpr int ClientHeight = 97;
  static constexpr int Image1ResourceId = 213;
  static constexpr const char* Caption = "Insert Picture";
  static constexpr const char* Label1Caption = "Drag and drop your image to your browser to insert it.";
  static constexpr const char* bTemplateApplyCaption = "Ok";

  platform::Timer Timer1;
  bool Visible = false;

 private:
  void Close();
};

}  // namespace quillorn::addin
