// What a document carries for the add-in: custom document properties, Excel
// defined names and Publisher tags, through the late-bound host objects. A
// missing item raises, the only test for existence; only the Ensure and
// SetOrAdd forms take that raise as "missing", the rest never swallow it.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/office_constants.h"
#include "platform/variant.h"

namespace quillorn::automation {

using platform::HostError;
using platform::ObjectRef;
using platform::Variant;

inline constexpr char kCmsIdProperty[] = "cmsID";

// Custom document properties (Word, Excel, PowerPoint). Every one the add-in
// makes is text, not linked to content.
// Item[name]: raises when the document has no such property.
Variant CustomProperty(const Variant& doc, std::string_view name);
Variant CustomPropertyValue(const Variant& doc, std::string_view name);
// Add(Name, False, 4, Value): raises when the name is taken.
Variant AddCustomProperty(const Variant& doc, std::string_view name, const Variant& value);
// Item[name].value := value; raises when the property is missing.
void PutCustomPropertyValue(const Variant& doc, std::string_view name, const Variant& value);
// Item[name].Delete; raises when the property is missing.
void DeleteCustomProperty(const Variant& doc, std::string_view name);
// Reads the property and, on any failure of that, adds it with `value`; an
// existing property keeps what it holds.
void EnsureCustomProperty(const Variant& doc, std::string_view name, const Variant& value);
// Assigns `value` to the property; on any failure of that, adds it with
// `value_if_added` instead. The two differ where a caller must keep an old
// asymmetry; the add's own failure goes to the caller.
void SetOrAddCustomProperty(const Variant& doc, std::string_view name, const Variant& value,
                            const Variant& value_if_added);
inline void SetOrAddCustomProperty(const Variant& doc, std::string_view name, const Variant& value) {
  SetOrAddCustomProperty(doc, name, value, value);
}

// BuiltInDocumentProperties(21).Value := company (Word).
void PutCompanyProperty(const Variant& doc, const Variant& company);

// Excel defined names: Names.Add(Name, -1, False) makes a hidden name that
// replaces one of the same name; the returned name object takes the value.
Variant AddHiddenName(const Variant& workbook, std::string_view name);
void SetHiddenName(const Variant& workbook, std::string_view name, const Variant& value);

// Publisher tags: Tags.Item(name) raises when missing.
Variant Tag(const Variant& doc, std::string_view name);
Variant AddTag(const Variant& doc, std::string_view name, const Variant& value);
void DeleteTag(const Variant& doc, std::string_view name);
void EnsureTag(const Variant& doc, std::string_view name, const Variant& value);

}  // namespace quillorn::automation
