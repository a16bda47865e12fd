#include "addin/module_site.h"

#include <stdexcept>

#include "addin/addin_module.h"
#include "addin/button_states.h"
#include "data/tdm.h"
#include "toolbox/toolbox_form.h"

namespace quillorn::addin {

ModuleWorkflowSite::ModuleWorkflowSite(TAddInModule& module) : module_(module) {}

workflow::HostType ModuleWorkflowSite::Host() const {
  // The framework's numbering and the automation routines' are the same values.
  return static_cast<workflow::HostType>(module_.GetHostType());
}

int ModuleWorkflowSite::OfficeVersion() const { return module_.OfficeVersion(); }
bool ModuleWorkflowSite::IsCloudPlatform() const { return module_.mIsCloudPlatform(); }
std::int32_t ModuleWorkflowSite::SessionID() const { return module_.sessionID(); }

platform::Variant ModuleWorkflowSite::Application() {
  const platform::ObjectRef& app = module_.GetHost().Application;
  return app ? platform::Variant(app) : platform::Variant();
}

void ModuleWorkflowSite::DisconnectApplication() { module_.DisconnectApplication(); }

data::TdmDocumentData& ModuleWorkflowSite::Data() {
  data::Tdm* dm = module_.dm();
  if (dm == nullptr) throw std::logic_error("The data module is not there before initialisation");
  if (!data_) data_ = std::make_unique<data::TdmDocumentData>(*dm, System());
  return *data_;
}

data::DocumentRecords& ModuleWorkflowSite::Records() { return Data(); }
data::DataFetcher& ModuleWorkflowSite::Fetcher() { return Data(); }

platform::Prompts& ModuleWorkflowSite::Prompts() {
  platform::Prompts* prompts = module_.GetHost().Prompts;
  if (prompts == nullptr) throw std::logic_error("The add-in module was given no prompts");
  return *prompts;
}

platform::SystemServices& ModuleWorkflowSite::System() { return *module_.GetHost().System; }
platform::WindowMessages* ModuleWorkflowSite::Messages() { return module_.GetHost().Messages; }

automation::DocFieldsContext& ModuleWorkflowSite::FieldsContext() {
  if (!fields_) {
    data::Tdm* dm = module_.dm();
    if (dm == nullptr) throw std::logic_error("The data module is not there before initialisation");
    records_ = std::make_unique<TdmRecordSource>(*dm, System());
    fields_.emplace(automation::DocFieldsContext{*records_, Host(), Application(), controlFieldValues_});
  }
  // The application goes once the host has quit; the routines then see Empty.
  fields_->application = Application();
  return *fields_;
}

foundation::ReentryFlag& ModuleWorkflowSite::mInternalSave() { return module_.mInternalSave; }
foundation::ReentryFlag& ModuleWorkflowSite::mInternalClose() { return module_.mInternalClose; }
platform::Timer& ModuleWorkflowSite::ShutdownTimer() { return module_.ShutdownTimer; }
platform::Timer& ModuleWorkflowSite::UploadCheckTimer() { return module_.UploadCheckTimer; }
bool& ModuleWorkflowSite::mPrintControlled() { return module_.mPrintControlled; }
bool& ModuleWorkflowSite::mDonePrinting() { return module_.mDonePrinting; }
platform::Timer& ModuleWorkflowSite::PrintJobPoll() { return module_.PrintJobPoll; }
platform::Timer& ModuleWorkflowSite::PrintDelay() { return module_.PrintDelay; }

void ModuleWorkflowSite::ShowQuillornPane(std::int64_t docId) { module_.ShowQuillornPane(docId); }
void ModuleWorkflowSite::HideQuillornPane() { module_.HideQuillornPane(); }
void ModuleWorkflowSite::ShowQuillornTabs(bool visible) { module_.ShowQuillornTabs(visible); }
void ModuleWorkflowSite::SetQuillornRibbonButtonStates() { addin::SetQuillornRibbonButtonStates(module_); }

void ModuleWorkflowSite::PopulateCustomFields() {
  data::Tdm* dm = module_.dm();
  if (dm != nullptr && dm->AddIn != nullptr) dm->AddIn->PopulateCustomFields();
}

bool ModuleWorkflowSite::PaneExists() const {
  const PaneManager* panes = module_.Panes();
  return panes != nullptr && panes->ItemCount() > 0;
}

std::optional<workflow::PageFormatSetting> ModuleWorkflowSite::PageFormat() const {
  const toolbox::TToolBoxForm* form = module_.ToolBoxForm();
  // Only a template document's pane holds the setting.
  if (!PaneExists() || form == nullptr || !form->PageFormatLoaded()) return std::nullopt;
  return workflow::PageFormatSetting{.loaded = form->lastKeepPageFormatting(), .checked = form->KeepPageFormatting()};
}

void ModuleWorkflowSite::RefreshPaneTemplates() {
  if (toolbox::TToolBoxForm* form = module_.ToolBoxForm(); PaneExists() && form != nullptr) {
    form->RefreshTemplateQuery();
  }
}

void ModuleWorkflowSite::NotBuilt(std::string_view routine) { module_.RecordNotBuilt(routine); }

}  // namespace quillorn::addin
