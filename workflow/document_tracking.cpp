#include "workflow/document_tracking.h"

#include <string>

#include "automation/doc_properties.h"
#include "data/settings.h"

namespace quillorn::workflow {

void ExtractDocID(HostType host, const Variant& doc, std::int32_t& docId, std::int32_t& docUserId) {
  std::string value;
  try {
    const Variant read = host == HostType::ohaPublisher ? automation::Tag(doc, automation::kCmsIdProperty).Get("value")
                                                        : automation::CustomPropertyValue(doc, automation::kCmsIdProperty);
    value = read.AsString();
  } catch (const std::exception&) {
    // No such property: the document has no identity.
  }
  const std::size_t semicolon = value.find(';');
  if (semicolon == std::string::npos) {
    docId = data::StrToIntDef(value, 0);
    docUserId = 0;
    return;
  }
  docId = data::StrToIntDef(std::string_view(value).substr(0, semicolon), 0);
  docUserId = data::StrToIntDef(std::string_view(value).substr(semicolon + 1, 10), 0);
}

}  // namespace quillorn::workflow
