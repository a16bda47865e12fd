// The rows the document routines live on, as typed records: a FILES row (how
// this machine tracks one file) and a DOCS row (the document's record), read
// from the table's current row, and the changes the add-in makes to them,
// written through the table. Column names are spelled here and nowhere else.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "data/table.h"
#include "foundation/datetime.h"

namespace quillorn::data {

// tblFiles's current row. A null flag reads false, a null number 0.
struct FilesRecord {
  std::int32_t DOC_ID = 0;  // negated for a private copy of the system's own
  std::string FILENAME;
  std::int32_t USER_ID = 0;
  std::optional<std::int32_t> SESSION_ID;  // nullopt: no session has taken the file yet
  bool INIT = false;
  bool IGNORE = false;
  bool OLE_IGNORE = false;
  bool READ_ONLY = false;
  bool PRINT = false;
  bool PRINT_CONTROLLED = false;
  bool CHECKED_OUT = false;
  bool CACHED = false;

  // A table that is closed or has no row gives the empty record.
  static FilesRecord Of(Table& files);
};

// The columns a change of a FILES row writes; what is not given stays.
struct FilesChange {
  std::optional<std::string> FILENAME;
  std::optional<std::int32_t> DOC_ID;
  std::optional<std::int32_t> SESSION_ID;
  std::optional<bool> INIT;
  std::optional<bool> IGNORE;
  std::optional<bool> READ_ONLY;
  std::optional<bool> CHECKED_OUT;
  std::optional<bool> CACHED;
};

// The change written into the current row (edited, or still being edited) and posted.
void UpdateFiles(Table& files, const FilesChange& change);
// A new row with the given columns, posted; it becomes the current row.
void AppendFiles(Table& files, const FilesChange& change);

// tblDoc's current row, as far as the document routines read it. Flags are
// the CHAR(1) "Y"/"N" columns as text ("" for null).
struct DocRecord {
  std::int32_t DOC_ID = 0;
  std::int32_t DOC_NO = 0;
  std::string DOC_NAME;
  std::string VER;
  std::int32_t DOC_TYPE_ID = 0;
  std::optional<std::int32_t> FRAMEWORK;
  std::optional<std::int32_t> REVIEW_INTERVAL;  // months; nullopt for null
  std::string STATUS;
  std::optional<std::int32_t> STATUS_BY;
  std::string IS_CURRENT;
  std::string IS_LATEST;
  std::string PUBLISH_PRIVATE;
  std::string PUBLISH_PUBLIC;
  std::string PUBLISH_UNPROTECTED;
  std::string WEB_FORM;
  std::string FILE_EXT;

  bool IsLatestOrCurrent() const { return IS_LATEST == "Y" || IS_CURRENT == "Y"; }

  // A closed table, or one without rows, gives the empty record.
  static DocRecord Of(Table& docs);
};

// The columns of a DOCS row the document routines change.
struct DocChange {
  std::optional<std::string> STATUS;
  std::optional<std::string> FILE_EXT;
  std::optional<std::int32_t> APPROVED_BY;
  std::optional<foundation::TDateTime> APPROVED_DATE;
  std::optional<foundation::TDateTime> NEXT_REVIEW;
};

void UpdateDoc(Table& docs, const DocChange& change);
// The change written into the row, which is left being edited: the caller
// posts it, so that a failure before then keeps the edit where it stood.
void EditDoc(Table& docs, const DocChange& change);

// Moves the table to the row of that key; false, and the table stays, when
// there is none.
bool LocateDocId(Table& table, std::int32_t docId);

}  // namespace quillorn::data
