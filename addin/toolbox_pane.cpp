#include "addin/toolbox_pane.h"

#include <stdexcept>

#include "addin/addin_module.h"
#include "addin/module_site.h"
#include "data/tdm.h"
#include "toolbox/toolbox_form.h"
#include "workflow/workflow.h"

namespace quillorn::addin {
namespace {

data::Tdm& RequireDm(TAddInModule& module) {
  data::Tdm* dm = module.dm();
  if (dm == nullptr) throw std::logic_error("The toolbox form needs the data module");
  return *dm;
}

}  // namespace

ModuleToolBoxSite::ModuleToolBoxSite(TAddInModule& module, ModuleWorkflowSite& workflowSite)
    : module_(module), workflowSite_(workflowSite), templates_(RequireDm(module), *module.GetHost().System) {}

data::Tdm& ModuleToolBoxSite::Dm() { return RequireDm(module_); }
platform::HostType ModuleToolBoxSite::Host() const { return module_.GetHostType(); }
platform::Variant ModuleToolBoxSite::Application() { return workflowSite_.Application(); }
platform::Prompts& ModuleToolBoxSite::Prompts() { return workflowSite_.Prompts(); }
automation::DocFieldsContext& ModuleToolBoxSite::FieldsContext() { return workflowSite_.FieldsContext(); }

void ModuleToolBoxSite::TrackActiveDocument() {
  if (workflow::Workflow* routines = module_.GetWorkflow()) {
    routines->Tracking.DocumentChangedEvent(routines->Tracking.GetActiveDoc());
  }
}

void TAddInModule::TellToolBoxForm(std::int64_t docId) {
  // The form comes with the pane shell's first item; before initialisation
  // there is no data module for it to show.
  if (!toolbox_) {
    if (!site_ || dm_ == nullptr) return;
    toolboxSite_ = std::make_unique<ModuleToolBoxSite>(*this, *site_);
    toolbox_ = std::make_unique<toolbox::TToolBoxForm>(*toolboxSite_);
  }
  toolbox_->ShowDocument(static_cast<std::int32_t>(docId));
}

}  // namespace quillorn::addin
