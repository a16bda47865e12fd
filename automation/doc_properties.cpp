// Existence is found out by reading: the hosts have no test for it, so every
// branch for a missing item is the handler of a failed read.
#include "automation/doc_properties.h"
#include "platform/office_constants.h"

#include <exception>
#include <string>

namespace quillorn::automation {
namespace {

Variant Text(std::string_view s) {
  return Variant(std::string(s));
}

}  // namespace

Variant CustomProperty(const Variant& doc, std::string_view name) {
  return doc.Get("CustomDocumentProperties").Get("Item", {Text(name)});
}

Variant CustomPropertyValue(const Variant& doc, std::string_view name) {
  return CustomProperty(doc, name).Get("value");
}

Variant AddCustomProperty(const Variant& doc, std::string_view name, const Variant& value) {
  return doc.Get("CustomDocumentProperties")
      .Call("Add", {Text(name), Variant(false), Variant(platform::kMsoPropertyTypeString), value});
}

void PutCustomPropertyValue(const Variant& doc, std::string_view name, const Variant& value) {
  CustomProperty(doc, name).Put("value", value);
}

void DeleteCustomProperty(const Variant& doc, std::string_view name) {
  CustomProperty(doc, name).Call("Delete");
}

void EnsureCustomProperty(const Variant& doc, std::string_view name, const Variant& value) {
  try {
    CustomProperty(doc, name);
    return;
  } catch (const std::exception&) {
    // missing: add it below
  }
  AddCustomProperty(doc, name, value);
}

void SetOrAddCustomProperty(const Variant& doc, std::string_view name, const Variant& value,
                            const Variant& value_if_added) {
  try {
    PutCustomPropertyValue(doc, name, value);
    return;
  } catch (const std::exception&) {
    // missing, or refused the value: try to add it
  }
  AddCustomProperty(doc, name, value_if_added);
}

void PutCompanyProperty(const Variant& doc, const Variant& company) {
  doc.Get("BuiltInDocumentProperties", {Variant(platform::kWdPropertyCompany)}).Put("Value", company);
}

Variant AddHiddenName(const Variant& workbook, std::string_view name) {
  return workbook.Get("Names").Call("Add", {Text(name), Variant(std::int32_t{-1}), Variant(false)});
}

void SetHiddenName(const Variant& workbook, std::string_view name, const Variant& value) {
  AddHiddenName(workbook, name).Put("Value", value);
}

Variant Tag(const Variant& doc, std::string_view name) {
  return doc.Get("Tags").Get("Item", {Text(name)});
}

Variant AddTag(const Variant& doc, std::string_view name, const Variant& value) {
  return doc.Get("Tags").Call("Add", {Text(name), value});
}

void DeleteTag(const Variant& doc, std::string_view name) {
  Tag(doc, name).Call("Delete");
}

void EnsureTag(const Variant& doc, std::string_view name, const Variant& value) {
  try {
    Tag(doc, name);
    return;
  } catch (const std::exception&) {
    // missing: add it below
  }
  AddTag(doc, name, value);
}

}  // namespace quillorn::automation
