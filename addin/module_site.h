// The add-in module as the document routines see it: its host, version, data
// module, prompts, flags, timers and pane routines, and where the routines leave
// the names of steps not built yet. A thin view; it owns only the data module's
// narrow views, the record source and the control field values that the field
// routines read.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "automation/control_fields.h"
#include "addin/tdm_record_source.h"
#include "automation/document_fields.h"
#include "data/tdm_document_data.h"
#include "workflow/module_site.h"

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
  data::DocumentRecords& Records() override;
  data::DataFetcher& Fetcher() override;
  platform::Prompts& Prompts() override;
  platform::SystemServices& System() override;
  platform::WindowMessages* Messages() override;
  automation::DocFieldsContext& FieldsContext() override;
  foundation::ReentryFlag& mInternalSave() override;
  foundation::ReentryFlag& mInternalClose() override;
  platform::Timer& ShutdownTimer() override;
  platform::Timer& UploadCheckTimer() override;
  bool& mPrintControlled() override;
  bool& mDonePrinting() override;
  platform::Timer& PrintJobPoll() override;
  platform::Timer& PrintDelay() override;
  void ShowQuillornPane(std::int64_t docId) override;
  void HideQuillornPane() override;
  void ShowQuillornTabs(bool visible) override;
  void SetQuillornRibbonButtonStates() override;
  void PopulateCustomFields() override;
  bool PaneExists() const override;
  // Always nullopt: the pane holds no toolbox form with its page-format box yet.
  std::optional<workflow::PageFormatSetting> PageFormat() const override;
  void RefreshPaneTemplates() override;
  void NotBuilt(std::string_view routine) override;

 private:
  data::TdmDocumentData& Data();

  TAddInModule& module_;
  std::unique_ptr<data::TdmDocumentData> data_;
  std::unique_ptr<TdmRecordSource> records_;
  automation::ControlFieldValueArray controlFieldValues_{};
  std::optional<automation::DocFieldsContext> fields_;
};

}  // namespace quillorn::addin
