#include "sim/builtin_dialog.h"

#include <stdexcept>

#include "foundation/paths.h"

namespace quillorn::sim {

std::string BuiltInDialog::GetField(std::string_view field) const {
  throw std::invalid_argument(name_ + " has no field " + std::string(field));
}

void BuiltInDialog::SetField(std::string_view field, std::string_view /*value*/) {
  throw std::invalid_argument(name_ + " has no field " + std::string(field));
}

std::optional<platform::ModalResult> BuiltInDialog::Press(std::string_view button) {
  if (foundation::SameText(button, "OK")) return platform::ModalResult::mrOk;
  if (foundation::SameText(button, "Cancel")) return platform::ModalResult::mrCancel;
  throw std::invalid_argument(name_ + " has no button " + std::string(button) + "; it has OK and Cancel");
}

int ShowResult(platform::ModalResult result) { return result == platform::ModalResult::mrOk ? -1 : 0; }

}  // namespace quillorn::sim
