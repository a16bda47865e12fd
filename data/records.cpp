#include "data/records.h"

namespace quillorn::data {

namespace {

std::optional<std::int32_t> IntOrNull(Field field) {
  if (field.IsNull()) return std::nullopt;
  return field.AsInteger();
}

template <typename T>
void SetIfGiven(Table& table, std::string_view column, const std::optional<T>& value) {
  if (value) table.FieldByName(column).SetValue(Variant(*value));
}

void WriteFiles(Table& files, const FilesChange& c) {
  SetIfGiven(files, "FILENAME", c.FILENAME);
  SetIfGiven(files, "SESSION_ID", c.SESSION_ID);
  SetIfGiven(files, "DOC_ID", c.DOC_ID);
  SetIfGiven(files, "INIT", c.INIT);
  SetIfGiven(files, "IGNORE", c.IGNORE);
  SetIfGiven(files, "CHECKED_OUT", c.CHECKED_OUT);
  SetIfGiven(files, "READ_ONLY", c.READ_ONLY);
  SetIfGiven(files, "CACHED", c.CACHED);
}

}  // namespace

FilesRecord FilesRecord::Of(Table& files) {
  FilesRecord r;
  if (!files.Active() || files.IsEmpty()) return r;
  r.DOC_ID = files.FieldByName("DOC_ID").AsInteger();
  r.FILENAME = files.FieldByName("FILENAME").AsString();
  r.USER_ID = files.FieldByName("USER_ID").AsInteger();
  r.SESSION_ID = IntOrNull(files.FieldByName("SESSION_ID"));
  r.INIT = files.Flag("INIT");
  r.IGNORE = files.Flag("IGNORE");
  r.OLE_IGNORE = files.Flag("OLE_IGNORE");
  r.READ_ONLY = files.Flag("READ_ONLY");
  r.PRINT = files.Flag("PRINT");
  r.PRINT_CONTROLLED = files.Flag("PRINT_CONTROLLED");
  r.CHECKED_OUT = files.Flag("CHECKED_OUT");
  r.CACHED = files.Flag("CACHED");
  return r;
}

void UpdateFiles(Table& files, const FilesChange& change) {
  files.EnsureEditing();
  WriteFiles(files, change);
  files.Post();
}

void AppendFiles(Table& files, const FilesChange& change) {
  files.Append();
  WriteFiles(files, change);
  files.Post();
}

DocRecord DocRecord::Of(Table& docs) {
  DocRecord r;
  if (!docs.Active() || docs.IsEmpty()) return r;
  r.DOC_ID = docs.FieldByName("DOC_ID").AsInteger();
  r.DOC_NO = docs.FieldByName("DOC_NO").AsInteger();
  r.DOC_NAME = docs.FieldByName("DOC_NAME").AsString();
  r.VER = docs.FieldByName("VER").AsString();
  r.DOC_TYPE_ID = docs.FieldByName("DOC_TYPE_ID").AsInteger();
  r.FRAMEWORK = IntOrNull(docs.FieldByName("FRAMEWORK"));
  r.REVIEW_INTERVAL = IntOrNull(docs.FieldByName("REVIEW_INTERVAL"));
  r.STATUS = docs.FieldByName("STATUS").AsString();
  r.STATUS_BY = IntOrNull(docs.FieldByName("STATUS_BY"));
  r.IS_CURRENT = docs.FieldByName("IS_CURRENT").AsString();
  r.IS_LATEST = docs.FieldByName("IS_LATEST").AsString();
  r.PUBLISH_PRIVATE = docs.FieldByName("PUBLISH_PRIVATE").AsString();
  r.PUBLISH_PUBLIC = docs.FieldByName("PUBLISH_PUBLIC").AsString();
  r.PUBLISH_UNPROTECTED = docs.FieldByName("PUBLISH_UNPROTECTED").AsString();
  r.WEB_FORM = docs.FieldByName("WEB_FORM").AsString();
  r.FILE_EXT = docs.FieldByName("FILE_EXT").AsString();
  return r;
}

void EditDoc(Table& docs, const DocChange& change) {
  docs.EnsureEditing();
  SetIfGiven(docs, "STATUS", change.STATUS);
  SetIfGiven(docs, "FILE_EXT", change.FILE_EXT);
  SetIfGiven(docs, "APPROVED_BY", change.APPROVED_BY);
  if (change.APPROVED_DATE) docs.FieldByName("APPROVED_DATE").SetValue(Variant::FromDateTime(*change.APPROVED_DATE));
  if (change.NEXT_REVIEW) docs.FieldByName("NEXT_REVIEW").SetValue(Variant::FromDateTime(*change.NEXT_REVIEW));
}

void UpdateDoc(Table& docs, const DocChange& change) {
  EditDoc(docs, change);
  docs.Post();
}

bool LocateDocId(Table& table, std::int32_t docId) { return table.Locate("DOC_ID", Variant(docId)); }

}  // namespace quillorn::data
