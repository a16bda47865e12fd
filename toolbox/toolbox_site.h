// What the toolbox form needs of the add-in module it sits in: the data module,
// the host and its application, prompts, and the record and template sources of
// the automation routines. The module implements it; the form holds no host.
#pragma once

#include "automation/doc_record_source.h"
#include "automation/document_fields.h"
#include "data/tdm.h"
#include "platform/host_type.h"
#include "platform/prompts.h"
#include "platform/variant.h"

namespace quillorn::toolbox {

class ToolBoxSite {
 public:
  virtual ~ToolBoxSite() = default;
  virtual data::Tdm& Dm() = 0;
  virtual platform::HostType Host() const = 0;
  // Empty once the add-in let go of the host.
  virtual platform::Variant Application() = 0;
  virtual platform::Prompts& Prompts() = 0;
  virtual automation::TemplateSource& Templates() = 0;
  virtual automation::DocFieldsContext& FieldsContext() = 0;
  // Has the document tracking take the host's active document as current again,
  // as a switch of window does: its row, its record and the pane.
  virtual void TrackActiveDocument() = 0;
};

}  // namespace quillorn::toolbox
