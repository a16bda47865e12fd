#include "addin/data_callbacks.h"

#include "addin/addin_module.h"
#include "addin/button_states.h"
#include "addin/custom_fields.h"
#include "data/tdm.h"

namespace quillorn::addin {

void ModuleDataCallbacks::RefreshDocFields() { notBuilt_.emplace_back("RefreshDocFields"); }

void ModuleDataCallbacks::PopulateCustomFields() {
  module_.Guarded([this] {
    if (data::Tdm* dm = module_.dm()) addin::PopulateCustomFields(module_.Surface(), dm->tblDocFields);
  });
}

void ModuleDataCallbacks::RefreshTemplateQuery() { notBuilt_.emplace_back("RefreshTemplateQuery"); }

void ModuleDataCallbacks::SetQuillornRibbonButtonStates() {
  module_.Guarded([this] { addin::SetQuillornRibbonButtonStates(module_); });
}

}  // namespace quillorn::addin
