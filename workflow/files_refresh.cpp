#include "workflow/files_refresh.h"

#include <exception>

namespace quillorn::workflow {

std::optional<FilesRefresh::Stamp> FilesRefresh::Read(data::Database& database) {
  try {
    const data::ResultSet version = database.Query("PRAGMA data_version");
    const data::ResultSet changes = database.Query("select total_changes()");
    if (version.rows.empty() || changes.rows.empty()) return std::nullopt;
    return Stamp{version.rows[0][0].AsInt64(), changes.rows[0][0].AsInt64()};
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

void FilesRefresh::Refresh(data::Table& files) {
  // Read before the rows, so that a change landing in between shows next time.
  const std::optional<Stamp> now = Read(files.database());
  if (now && seen_ && *now == *seen_ && files.State() == data::DataSetState::Browse) return;
  files.Refresh();
  seen_ = now;
}

}  // namespace quillorn::workflow
