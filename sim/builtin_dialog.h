// A host's built-in dialog as the scripted prompts see it: named as Office
// names it ("wdDialogFilePrint", "xlDialogPrint"), no fields, the buttons "OK"
// and "Cancel". The simulated host's Show goes through it, so a scenario
// answers it with `dialog` and the narration tells it like any other dialog.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/prompts.h"

namespace quillorn::sim {

class BuiltInDialog final : public platform::DialogModel {
 public:
  explicit BuiltInDialog(std::string name) : name_(std::move(name)) {}

  std::string Name() const override { return name_; }
  std::vector<std::string> FieldNames() const override { return {}; }
  std::string GetField(std::string_view field) const override;
  void SetField(std::string_view field, std::string_view value) override;
  std::optional<platform::ModalResult> Press(std::string_view button) override;

 private:
  std::string name_;
};

// What Office's Dialogs(n).Show answers for the dialog's result: -1 for OK, 0
// for Cancel (and for a dialog closed any other way).
int ShowResult(platform::ModalResult result);

}  // namespace quillorn::sim
