// The status stamp: a large red word across the page chosen from the document's
// status, put on or taken off (Word footer text box, PowerPoint master text
// boxes, Excel centre-header picture). Never shows a message and never lets a
// host's failure out: each failure ends in the log and the print goes on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "automation/file_type.h"
#include "platform/variant.h"

namespace quillorn::automation {

// Shape names by which a stamp is found again.
inline constexpr char kStampShapeName[] = "CMSstamp";
inline constexpr char kStampShapeName2[] = "CMSstamp2";

inline constexpr char kStampUncontrolled[] = "UNCONTROLLED";
inline constexpr char kStampSuperseded[] = "SUPERSEDED";
inline constexpr char kStampOutOfDate[] = "OUT OF DATE";
inline constexpr char kStampDraft[] = "DRAFT";
inline constexpr char kStampNotApproved[] = "NOT APPROVED";
inline constexpr char kStampDeleted[] = "DELETED";

// What stamping reads of the data module: CHECKED_OUT of the file's tblFiles
// row, and status, is_current, is_latest of its tblDoc row.
struct StampRecord {
  bool CHECKED_OUT = false;
  std::string status;
  std::string is_current;  // "Y" when this is the current revision
  std::string is_latest;
};

// The word for a status; the first rule that applies decides.
std::string GetStampText(std::string_view Status, bool Current, bool Latest, bool Controlled, bool Printing);
// The word for a record, with a checked-out file counting as "C" and latest,
// and nothing at all when a controlled call is not a print (the stamp goes).
std::string StampTextFor(const StampRecord& record, bool Controlled, bool Printing);

// Where Excel's stamp picture is written: the first occurrence of the
// workbook's extension in its full name becomes ".wmf" (so a folder holding the
// same text is the one that changes); a name without extension gets ".wmf".
std::string StampPicturePath(std::string_view FullName);

// Puts the stamp on Doc, or takes it off when the text is empty. The branch is
// chosen by the host this instance runs in; DocID is accepted and not used.
void StampDocument(HostType host, const StampRecord& record, std::int64_t DocID, const platform::Variant& Doc,
                   bool Controlled, bool Printing);

}  // namespace quillorn::automation
