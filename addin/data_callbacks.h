// The add-in module's answer when the data module's fetched rows arrive: the
// open documents' fields, the Custom Field menu, the pane's template list and the
// ribbon are refreshed under the module's guard, so a failure ends in its error
// handler and never in the fetch that called.
#pragma once

#include "data/addin_callbacks.h"

namespace quillorn::addin {

class TAddInModule;

class ModuleDataCallbacks final : public data::AddInCallbacks {
 public:
  explicit ModuleDataCallbacks(TAddInModule& module) : module_(module) {}

  // Document tracking's refresh, for the document of the current FILES row.
  void RefreshDocFields() override;
  void PopulateCustomFields() override;
  void RefreshTemplateQuery() override;
  void SetQuillornRibbonButtonStates() override;

 private:
  TAddInModule& module_;
};

}  // namespace quillorn::addin
