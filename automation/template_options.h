// The "Apply Template Options" dialog as a view-model: which parts of a
// template to apply, and the rule of its Apply button. Holds no host object and
// applies nothing itself; the platform renders it, the command reads it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/prompts.h"

namespace quillorn::automation {

class TTemplateOptions final : public platform::DialogModel {
 public:
  static constexpr char kCaption[] = "Apply Template Options";
  static constexpr int kClientWidth = 206;
  static constexpr int kClientHeight = 158;
  static constexpr int kHintHidePauseMs = 10000;
  static constexpr char kHeaderCaption[] = "Apply Headers";
  static constexpr char kFooterCaption[] = "Apply Footers";
  static constexpr char kStylesCaption[] = "Apply Styles";
  static constexpr char kApplyCaption[] = "Apply";
  static const std::string kStylesHint;  // three lines, CR LF between them

  bool oHeader = true;
  bool oFooter = true;
  bool oStyles = false;
  // The left edge on the screen; unset, the dialog is centred on the screen.
  std::optional<int> Left;

  // bTemplateApply: OK when at least one box is checked, Cancel otherwise,
  // never a message.
  platform::ModalResult bTemplateApplyClick() const;

  std::string Name() const override { return "TTemplateOptions"; }
  std::vector<std::string> FieldNames() const override { return {"oHeader", "oFooter", "oStyles"}; }
  // Check boxes read "True" or "False"; set them with either, any case, or 1/0.
  std::string GetField(std::string_view field) const override;
  void SetField(std::string_view field, std::string_view value) override;
  // "Apply" closes with bTemplateApplyClick's answer; "Cancel" (the frame's
  // close box) with Cancel.
  std::optional<platform::ModalResult> Press(std::string_view button) override;

 private:
  bool& Box(std::string_view field);
};

}  // namespace quillorn::automation
