// The toolbox form inside the pane shell: the module's side of what the form
// needs (data module, host, prompts, field and template sources). The shell
// makes the form with its first pane item and tells it each document shown.
#pragma once

#include <memory>

#include "addin/tdm_record_source.h"
#include "toolbox/toolbox_site.h"

namespace quillorn::addin {

class TAddInModule;
class ModuleWorkflowSite;

class ModuleToolBoxSite final : public toolbox::ToolBoxSite {
 public:
  // Both must outlive the site; the module's data module must exist.
  ModuleToolBoxSite(TAddInModule& module, ModuleWorkflowSite& workflowSite);

  data::Tdm& Dm() override;
  platform::HostType Host() const override;
  platform::Variant Application() override;
  platform::Prompts& Prompts() override;
  automation::TemplateSource& Templates() override { return templates_; }
  automation::DocFieldsContext& FieldsContext() override;
  void TrackActiveDocument() override;

 private:
  TAddInModule& module_;
  ModuleWorkflowSite& workflowSite_;
  TdmRecordSource templates_;
};

}  // namespace quillorn::addin
