// The add-in module's answer when the data module's fetched rows arrive: the
// Custom Field menu and the ribbon are refreshed under the module's guard, so a
// failure ends in its error handler and never in the fetch that called.
#pragma once

#include <string>
#include <vector>

#include "data/addin_callbacks.h"

namespace quillorn::addin {

class TAddInModule;

class ModuleDataCallbacks final : public data::AddInCallbacks {
 public:
  explicit ModuleDataCallbacks(TAddInModule& module) : module_(module) {}

  // Document tracking refreshes the active document's fields; until it exists
  // the request is kept in NotBuilt().
  void RefreshDocFields() override;
  void PopulateCustomFields() override;
  // The task pane's template list; until the pane exists, kept in NotBuilt().
  void RefreshTemplateQuery() override;
  void SetQuillornRibbonButtonStates() override;

  const std::vector<std::string>& NotBuilt() const noexcept { return notBuilt_; }

 private:
  TAddInModule& module_;
  std::vector<std::string> notBuilt_;
};

}  // namespace quillorn::addin
