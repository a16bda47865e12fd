// Gives the active document the look of a template held in the system: in Word
// the first-page and primary headers and footers, optionally the margins and the
// styles, section by section, without touching the body; in PowerPoint the
// host's own template command. Never shows a message; failures go to the log.
#pragma once

#include <cstdint>
#include <string>

#include "automation/doc_record_source.h"
#include "automation/file_type.h"
#include "platform/variant.h"

namespace quillorn::automation {

struct TemplateContext {
  TemplateSource& dm;
  HostType host;
  Variant application;  // the Word or PowerPoint application this instance runs in
};

// "Y" for the template's KEEP_PG_FORMAT setting keeps the document's own margins.
bool TemplateKeepsPageFormat(TemplateSource& dm, std::int32_t TemplateID);

// False only when there is no template file; a failure on the way is logged and
// still gives true.
bool MergeActiveWordDocumentWithTemplate(TemplateContext& ctx, std::int32_t TemplateID, bool Header,
                                         bool Footer, bool Styles);
bool MergeActiveppDocumentWithTemplate(TemplateContext& ctx, std::int32_t TemplateID);

// Section T of Doc takes section min(T, template's count) of Template.
void ApplyTemplateHeaderFooter(const Variant& Doc, const Variant& Template, bool KeepFormat, bool Header,
                               bool Footer);
void ApplyTemplateSytles(const Variant& Doc, const std::string& TemplateFile);

}  // namespace quillorn::automation
