#include "workflow/files_refresh.h"

namespace quillorn::workflow {

void FilesRefresh::Refresh(data::Table& files) {
  // Read before the rows, so that a change landing in between shows next time.
  const std::optional<data::Database::ChangeStamp> now = files.database().CurrentChangeStamp();
  if (now && seen_ && *now == *seen_ && files.State() == data::DataSetState::Browse) return;
  files.Refresh();
  seen_ = now;
}

}  // namespace quillorn::workflow
