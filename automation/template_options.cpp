#include "automation/template_options.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace quillorn::automation {
namespace {

bool SameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

const std::string TTemplateOptions::kStylesHint =
    "Like-named styles in the document are redefined to match the\r\n"
    "style descriptions in the template. Unique styles from the template\r\n"
    "are copied to the document. Unique styles in the document remain intact.";

platform::ModalResult TTemplateOptions::bTemplateApplyClick() const {
  return oHeader || oFooter || oStyles ? platform::ModalResult::mrOk : platform::ModalResult::mrCancel;
}

bool& TTemplateOptions::Box(std::string_view field) {
  if (SameText(field, "oHeader")) return oHeader;
  if (SameText(field, "oFooter")) return oFooter;
  if (SameText(field, "oStyles")) return oStyles;
  throw std::invalid_argument("TTemplateOptions has no field " + std::string(field));
}

std::string TTemplateOptions::GetField(std::string_view field) const {
  return const_cast<TTemplateOptions*>(this)->Box(field) ? "True" : "False";
}

void TTemplateOptions::SetField(std::string_view field, std::string_view value) {
  bool& box = Box(field);
  if (SameText(value, "true") || value == "1") {
    box = true;
  } else if (SameText(value, "false") || value == "0") {
    box = false;
  } else {
    throw std::invalid_argument("a check box takes True or False, not " + std::string(value));
  }
}

std::optional<platform::ModalResult> TTemplateOptions::Press(std::string_view button) {
  if (SameText(button, kApplyCaption) || SameText(button, "bTemplateApply")) return bTemplateApplyClick();
  if (SameText(button, "Cancel")) return platform::ModalResult::mrCancel;
  throw std::invalid_argument("TTemplateOptions has no button " + std::string(button));
}

}  // namespace quillorn::automation
