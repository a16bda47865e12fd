#include "data/cache_indexes.h"

#include <array>
#include <exception>
#include <string>

namespace quillorn::data {
namespace {

struct LookupIndex {
  const char* name;
  const char* sql;
};

constexpr std::array kLookupIndexes{
    // getCodeVal's and the web server's settings
    LookupIndex{"CODES_TYPE_CODE_IDX", "CREATE INDEX IF NOT EXISTS CODES_TYPE_CODE_IDX ON CODES (D_TYPE, CODE)"},
    LookupIndex{"USERS_LOGIN_IDX", "CREATE INDEX IF NOT EXISTS USERS_LOGIN_IDX ON USERS (LOGIN)"},
    // the owner of each waiting delta, asked once per delta by the commit
    LookupIndex{"CACHELOG_FILENAME_IDX", "CREATE INDEX IF NOT EXISTS CACHELOG_FILENAME_IDX ON CACHELOG (FILENAME)"},
    // shutdown's count, release and delete of the session's rows
    LookupIndex{"FILES_SESSION_IDX", "CREATE INDEX IF NOT EXISTS FILES_SESSION_IDX ON FILES (SESSION_ID)"},
    // ClearOldCache's delete of one document's rows
    LookupIndex{"FILES_DOC_ID_IDX", "CREATE INDEX IF NOT EXISTS FILES_DOC_ID_IDX ON FILES (DOC_ID)"},
};

std::string CountSql() {
  std::string names;
  for (const LookupIndex& index : kLookupIndexes) names += std::string(names.empty() ? "'" : ",'") + index.name + "'";
  return "select count(*) from sqlite_master where type='index' and name in (" + names + ")";
}

}  // namespace

void AddLookupIndexes(Database& CacheDB) noexcept {
  try {
    // One read on every open; the write only once for each cache.
    static const std::string count_sql = CountSql();
    const ResultSet present = CacheDB.Query(count_sql);
    if (!present.rows.empty() && present.rows[0][0].AsInt64() == static_cast<std::int64_t>(kLookupIndexes.size())) {
      return;
    }
    CacheDB.Execute("BEGIN IMMEDIATE");
    try {
      for (const LookupIndex& index : kLookupIndexes) CacheDB.Execute(index.sql);
      CacheDB.Execute("COMMIT");
    } catch (const std::exception&) {
      if (!CacheDB.AutoCommit()) CacheDB.Execute("ROLLBACK");
    }
  } catch (const std::exception&) {
    // Busy past the timeout, or a layout without these tables.
  }
}

}  // namespace quillorn::data
