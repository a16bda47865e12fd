// The server dialect's upsert, "update or insert into T (cols) values (...)
// matching (keys)", as SQLite statements: an UPDATE of the rows that match the
// keys and an INSERT of the row when none does, to run in one transaction.
// Only rewrites text; never runs a statement and never touches quoted text.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillorn::server {

// The two statements for an upsert, nullopt for anything else (left to the
// store to run or refuse as it stands). The keys must be among the columns,
// and there must be as many values as columns. Tables without a unique key on
// the matched columns are served too, so no ON CONFLICT clause is used.
std::optional<std::vector<std::string>> RewriteUpsert(std::string_view sql);

}  // namespace quillorn::server
