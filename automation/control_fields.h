// The nine control fields every managed document carries (approver, dates,
// name, location, number, revision) and how each is rendered from the document
// record. Computes text only; never touches a host document.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "automation/doc_record_source.h"

namespace quillorn::automation {

inline constexpr std::size_t kControlFieldCount = 9;

inline constexpr std::array<std::string_view, kControlFieldCount> ControlFieldNames = {
    "cmsApprovedBy", "cmsApprovedDate",   "cmsDocCreatedBy", "cmsDocName",     "cmsDocLocation",
    "cmsDocNumber",  "cmsNextReviewDate", "cmsRevision",     "cmsRevisionDate"};

// Written by SetDocFields on every run, read later by the insert commands; one
// per add-in instance.
using ControlFieldValueArray = std::array<std::string, kControlFieldCount>;

// "USER_NAME_FORMAT" as an integer; text that is no integer counts as 0.
int UserNameFormat(std::string_view text);
// A user in the configured form: 0 login, 1 full name, 2 given names, 3 surname,
// anything else the empty text.
std::string UserNameInForm(DocRecordSource& dm, std::int32_t user_id, int form);

// The document's place: Prefix + "\Global Templates\" for framework -2,
// Prefix + "\" + doc_path for -1, else Prefix + "\" + framework name + "\" +
// document type + "\".
std::string DocumentLocation(const DocRecordSource& dm);

// The settings every value below is rendered with. Reading them raises when
// the date or name format row is missing.
struct ControlFieldFormats {
  std::string date_format;
  int user_name_format = 0;
};
ControlFieldFormats ReadControlFieldFormats(const DocRecordSource& dm);

// The value of one control field (index 0..8) for the record tblDoc stands on.
// Raises where a lookup or a conversion fails.
std::string ControlFieldValue(DocRecordSource& dm, std::size_t index, const ControlFieldFormats& formats);

}  // namespace quillorn::automation
