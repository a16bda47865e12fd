#include "addin/data_callbacks.h"

#include <cstdint>

#include "addin/addin_module.h"
#include "addin/button_states.h"
#include "addin/custom_fields.h"
#include "data/tdm.h"
#include "workflow/workflow.h"

namespace quillorn::addin {

void ModuleDataCallbacks::RefreshDocFields() {
  module_.RunEvent([this] {
    data::Tdm* dm = module_.dm();
    workflow::Workflow* routines = module_.GetWorkflow();
    if (dm == nullptr || routines == nullptr) return;
    // By convention the current FILES row is the active document's.
    std::int64_t docId = 0;
    if (dm->tblFiles.Active() && !dm->tblFiles.IsEmpty()) docId = dm->tblFiles.FieldByName("DOC_ID").AsLargeInt();
    routines->Tracking.RefreshDocFields(docId);
  });
}

void ModuleDataCallbacks::PopulateCustomFields() {
  module_.RunEvent([this] {
    if (data::Tdm* dm = module_.dm()) addin::PopulateCustomFields(module_.Surface(), dm->tblDocFields);
  });
}

void ModuleDataCallbacks::RefreshTemplateQuery() {
  module_.RunEvent([this] {
    if (workflow::Workflow* routines = module_.GetWorkflow()) routines->Tracking.RefreshTemplateQuery();
  });
}

void ModuleDataCallbacks::SetQuillornRibbonButtonStates() {
  module_.RunEvent([this] { addin::SetQuillornRibbonButtonStates(module_); });
}

}  // namespace quillorn::addin
