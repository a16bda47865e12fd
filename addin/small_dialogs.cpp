#include "addin/small_dialogs.h"

#include <stdexcept>
#include <utility>

#include "foundation/paths.h"

namespace quillorn::addin {

using platform::ModalResult;

namespace {

[[noreturn]] void NoSuchField(std::string_view dialog, std::string_view field) {
  throw std::invalid_argument(std::string(dialog) + " has no field " + std::string(field));
}

}  // namespace

TfrmAddCustomField::TfrmAddCustomField(data::Table& tblDocFields, InsertFieldFn insertField)
    : tblDocFields_(tblDocFields), insertField_(std::move(insertField)) {}

std::string TfrmAddCustomField::GetField(std::string_view field) const {
  if (foundation::SameText(field, "Edit1")) return Edit1;
  if (foundation::SameText(field, "Edit2")) return Edit2;
  NoSuchField(Name(), field);
}

void TfrmAddCustomField::SetField(std::string_view field, std::string_view value) {
  if (foundation::SameText(field, "Edit1")) {
    Edit1 = value;
  } else if (foundation::SameText(field, "Edit2")) {
    Edit2 = value;
  } else {
    NoSuchField(Name(), field);
  }
}

std::optional<ModalResult> TfrmAddCustomField::Press(std::string_view button) {
  if (!foundation::SameText(button, Button1Caption)) NoSuchField(Name(), button);
  Button1Click();
  return ModalResult;
}

void TfrmAddCustomField::Button1Click() {
  // DOCFIELDS has no D_TYPE column: the first assignment raises with the new
  // row begun, and neither the document nor the dialog's closing is reached.
  // No name is checked either; an empty one goes the same way.
  tblDocFields_.Insert();
  tblDocFields_.FieldByName("d_type").SetValue(platform::Variant("DOC_FIELD"));
  tblDocFields_.FieldByName("code").SetValue(platform::Variant(Edit1));
  tblDocFields_.FieldByName("val").SetValue(platform::Variant(Edit2));
  tblDocFields_.Post();
  insertField_(Edit1, Edit2);
  ModalResult = ModalResult::mrOk;
}

TfrmPicture::TfrmPicture(platform::MainLoop& loop) : Timer1(loop, 5000, {}) {
  Timer1.SetOnTimer([this] { Timer1Timer(); });
}

std::string TfrmPicture::GetField(std::string_view field) const {
  NoSuchField(Name(), field);
}

void TfrmPicture::SetField(std::string_view field, std::string_view) {
  NoSuchField(Name(), field);
}

std::optional<ModalResult> TfrmPicture::Press(std::string_view button) {
  if (!foundation::SameText(button, bTemplateApplyCaption)) NoSuchField(Name(), button);
  bTemplateApplyClick();
  return ModalResult::mrOk;
}

void TfrmPicture::FormShow() {
  Visible = true;
  Timer1.SetEnabled(true);
}

void TfrmPicture::Timer1Timer() {
  Timer1.SetEnabled(false);
  Close();
}

void TfrmPicture::bTemplateApplyClick() {
  Close();
}

void TfrmPicture::Close() {
  Visible = false;
  Timer1.SetEnabled(false);
}

}  // namespace quillorn::addin
