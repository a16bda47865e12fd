// Refreshes tblFiles on each activation only when the cache file changed since
// the table was last read: by this process's connection, or by a commit of
// another process. A window switch must not re-read ten thousand rows that
// nobody touched. Never skips a refresh when it cannot tell.
#pragma once

#include <cstdint>
#include <optional>

#include "data/table.h"

namespace quillorn::workflow {

class FilesRefresh {
 public:
  // Refresh(files) unless the database is provably unchanged since the last call.
  void Refresh(data::Table& files);
  // The next Refresh reads, whatever the stamp (after the table was reopened).
  void Forget() { seen_.reset(); }

 private:
  std::optional<data::Database::ChangeStamp> seen_;
};

}  // namespace quillorn::workflow
