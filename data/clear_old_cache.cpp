// Thinning the cache at shutdown. The cache only ever deletes files that it put
// in its own folder, or temp files; a user's own file elsewhere loses its
// tracking row and nothing else.
#include "data/cache_store.h"
#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::data {

void CacheStore::ClearOldCache() {
  foundation::CurrentContext().ProcName = "dm.ClearOldCache";
  try {
    if (!cacheDb_.Connected()) {
      cacheDb_.FileName = CacheFileName();
      if (system_.FileExists(cacheDb_.FileName)) OpenShared();
    }
    if (cacheDb_.Connected()) {
      const ResultSet files = cacheDb_.Query(
          "select * from FILES where CACHED=false and coalesce(IGNORE,FALSE)=FALSE and (INIT=false)");
      const int docIdCol = files.ColumnIndex("DOC_ID");
      const int nameCol = files.ColumnIndex("FILENAME");
      const int checkedOutCol = files.ColumnIndex("CHECKED_OUT");
      const std::string cacheDir = foundation::LowerCase(cacheDir_);
      const std::string tempDir = foundation::LowerCase(system_.TempFolder());
      for (const auto& row : files.rows) {
        const std::string docId = MyVarToStrDef(row[static_cast<size_t>(docIdCol)], "");
        const std::string fileName = row[static_cast<size_t>(nameCol)].AsString();
        const Variant& checkedOut = row[static_cast<size_t>(checkedOutCol)];
        const bool keepFile = (!checkedOut.IsEmptyOrNull() && checkedOut.AsDouble() != 0);
        const std::string folder = foundation::LowerCase(foundation::ExtractFilePath(fileName));
        const bool ours = folder == cacheDir || (!tempDir.empty() && folder == tempDir);
        if (!keepFile && ours) {
          // A file already gone keeps its row; so does one that can't be deleted yet.
          if (!system_.FileExists(fileName)) continue;
          if (!system_.DeleteFile(fileName)) {
            foundation::LogTrace("ClearOldCache", "Delete failed: " + fileName);
            continue;
          }
          foundation::LogTrace("ClearOldCache", "Deleted: " + fileName);
          cacheExecSQL("delete from DOCS where doc_id=" + docId);
          cacheExecSQL("delete from DOC_PERMISSIONS where doc_id=" + docId);
        }
        cacheExecSQL("delete from FILES where doc_id=" + docId);
      }
    }
  } catch (const std::exception& e) {
    foundation::LogException(e);
  }
  foundation::CurrentContext().ProcName.clear();
}

}  // namespace quillorn::data
