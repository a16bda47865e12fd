// The one place where the statements the add-in writes are made acceptable to
// SQLite: "select top N", the keyword NOW and named primary keys. Pure text work;
// it never runs, prepares or checks a statement.
#pragma once

#include <string>
#include <string_view>

namespace quillorn::data {

// Name of the SQL function that stands for the keyword NOW (local time as days
// since 1899-12-30); the database registers it on every connection.
inline constexpr char kNowFunction[] = "now";

// Rewrites one statement:
//   select top N ...          ->  select ... LIMIT N   (also inside brackets)
//   NOW                       ->  now()
//   PRIMARY KEY <name> (cols) ->  CONSTRAINT <name> PRIMARY KEY (cols)
// Type names (WIDEVARCHAR, MEMO, BOOLEAN, DATETIME ...) stay as written: SQLite
// takes any type name and gives it an affinity, and the declared name is what
// tells a reader that a column holds a date or a flag.
// Text in quotes and comments is never touched.
std::string RewriteSql(std::string_view sql);

// Text for a quoted literal of a statement: each quote doubled.
std::string SqlSafeString(const std::string& S);

}  // namespace quillorn::data
