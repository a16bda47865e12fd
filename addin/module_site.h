// The add-in module as the document routines see it: its host, version, data
// module, prompts, flags, timers and pane routines, and where the routines leave
// the names of steps not built yet. A thin view; it owns only the record source
// and the control field values that the field routines read.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "automation/control_fields.h"
#include "automation/document_fields.h"
#include "workflow/module_site.h"
#include "workflow/tdm_record_source.h"

namespace quillorn::addin {

class TAddInModule;

class ModuleWorkflowSite final : public workflow::ModuleSite {
 public:
  // The module and its data module must outlive the site.
  explicit ModuleWorkflowSite(TAddInModule& module);

  workflow::HostType Host() const override;
  int OfficeVersion() const override;
  bool IsCloudPlatform() const override;
  std::int32_t SessionID() const override;
  platform::Variant Application() override;
  void DisconnectApplication() override;
  data::Tdm& dm() override;
  platform::Prompts& Prompts() override;
  platform::SystemServices& System() override;
  automation::DocFieldsContext& FieldsContext() override;
  bool& mInternalSave() override;
  bool& mInternalClose() override;
  platform::Timer& ShutdownTimer() override;
  platform::Timer& UploadCheckTimer() override;
  void ShowQuillornPane(std::int64_t docId) override;
  void HideQuillornPane() override;
  void ShowQuillornTabs(bool visible) override;
  void SetQuillornRibbonButtonStates() override;
  bool PaneExists() const override;
  // Always nullopt: the pane holds no toolbox form with its page-format box yet.
  std::optional<workflow::PageFormatSetting> PageFormat() const override;
  void RefreshPaneTemplates() override;
  void NotBuilt(std::string_view routine) override;

 private:
  TAddInModule& module_;
  std::unique_ptr<workflow::TdmRecordSource> records_;
  automation::ControlFieldValueArray controlFieldValues_{};
  std::optional<automation::DocFieldsContext> fields_;
};

}  // namespace quillorn::addin
