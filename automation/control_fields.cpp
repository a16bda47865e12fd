#include "automation/control_fields.h"

#include <cctype>
#include <charconv>
#include <stdexcept>

#include "foundation/datetime.h"

namespace quillorn::automation {
namespace {

constexpr char kNull[] = "-";

// The error a null gives where text was required, as the host's conversions word it.
[[noreturn]] void RaiseNullConversion() {
  throw platform::HostError("Could not convert variant of type (Null) into type (String)");
}

std::string RequiredCode(const DocRecordSource& dm, std::string_view d_type, std::string_view code) {
  Variant v = dm.CodeLookup(d_type, code);
  if (v.IsEmptyOrNull()) RaiseNullConversion();
  return v.AsString();
}

std::string FormatDate(const Variant& value, const ControlFieldFormats& formats) {
  return foundation::FormatDateTime(formats.date_format, value.AsDateTime());
}

std::string UserOrDash(DocRecordSource& dm, std::string_view column, const ControlFieldFormats& formats) {
  Variant id = dm.DocValue(column);
  if (id.IsEmptyOrNull()) return kNull;
  return UserNameInForm(dm, id.AsInt(), formats.user_name_format);
}

std::string DateOrDash(const DocRecordSource& dm, std::string_view column,
                       const ControlFieldFormats& formats) {
  Variant v = dm.DocValue(column);
  if (v.IsEmptyOrNull()) return kNull;
  return FormatDate(v, formats);
}

}  // namespace

int UserNameFormat(std::string_view text) {
  std::string_view s = text;
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  if (!s.empty() && s.front() == '+') s.remove_prefix(1);
  int value = 0;
  auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
  if (ec != std::errc() || end != s.data() + s.size() || s.empty()) return 0;
  return value;
}

std::string UserNameInForm(DocRecordSource& dm, std::int32_t user_id, int form) {
  switch (form) {
    case 0:
      return dm.GetLoginName(user_id);
    case 1:
      return dm.GetFullName(user_id);
    case 2:
      return dm.GetGivenName(user_id);
    case 3:
      return dm.GetSurname(user_id);
    default:
      return {};
  }
}

std::string DocumentLocation(const DocRecordSource& dm) {
  const std::string prefix = GetCodeVal(dm, "REV_FIELD", "LOCATION_PREFIX");
  Variant framework = dm.DocValue("framework");
  const std::int32_t fw = framework.IsEmptyOrNull() ? 0 : framework.AsInt();
  if (fw == -2) return prefix + "\\Global Templates\\";
  if (fw == -1) return prefix + "\\" + dm.DocValue("doc_path").AsString();
  const std::string type_name = GetCodeVal(dm, "DOC_TYPE", dm.DocValue("doc_type_id").AsString());
  return prefix + "\\" + dm.DocValue("FRAMEWORK_NAME").AsString() + "\\" + type_name + "\\";
}

ControlFieldFormats ReadControlFieldFormats(const DocRecordSource& dm) {
  ControlFieldFormats f;
  f.date_format = RequiredCode(dm, "REV_FIELD", "DATE_FORMAT");
  f.user_name_format = UserNameFormat(RequiredCode(dm, "REV_FIELD", "USER_NAME_FORMAT"));
  return f;
}

std::string ControlFieldValue(DocRecordSource& dm, std::size_t index, const ControlFieldFormats& formats) {
  switch (index) {
    case 0:
      return UserOrDash(dm, "APPROVED_BY", formats);
    case 1:
      return DateOrDash(dm, "APPROVED_DATE", formats);
    case 2:
      return UserOrDash(dm, "CREATED_BY", formats);
    case 3:
      return dm.DocValue("DOC_NAME").AsString();
    case 4:
      return DocumentLocation(dm);
    case 5: {
      Variant v = dm.DocValue("DOC_NO_EXT");
      return v.IsEmptyOrNull() ? std::string(kNull) : v.AsString();
    }
    case 6:
      return DateOrDash(dm, "NEXT_REVIEW", formats);
    case 7:
      return dm.DocValue("VER").AsString();
    case 8: {
      // No null test here: an unset revision date shows as day zero, 30/12/1899.
      Variant v = dm.DocValue("VER_DATE");
      return FormatDate(v.IsEmptyOrNull() ? Variant(0.0) : v, formats);
    }
    default:
      throw std::out_of_range("control field index " + std::to_string(index));
  }
}

}  // namespace quillorn::automation
