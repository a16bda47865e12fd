// What a client may change on the reference server through "execsql" and
// "submit". By default only what the client itself sends: the page-format
// setting's upsert, and changes to the four tables it commits. Any statement
// and any table only when the server is started so, for tests and demos that
// build their own schemas. Only decides; never runs a statement.
#pragma once

#include <string_view>

namespace quillorn::server {

enum class SqlPolicy {
  ClientStatements,  // the default: what the client sends, nothing else
  AnyStatement,      // --allow-any-sql
};

inline constexpr std::string_view kNotAClientStatement =
    "This server runs only the client's own statements in execsql; other DML, DDL, PRAGMA, triggers and "
    "ATTACH are refused (start it with --allow-any-sql to allow them).";
inline constexpr std::string_view kNotAClientTable =
    "This server takes changes through submit only to DOCS, CODES, PUBLISHED_DOCS and FORMS (start it with "
    "--allow-any-sql to allow other tables).";

// The statement the client sends through "execsql": "update or insert into
// codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:" a
// number "', 'Y' or 'N') matching (D_TYPE,CODE)". Letter case and blanks
// outside the quotes may differ; a trailing ";" is allowed.
bool IsClientExecSql(std::string_view sql);

// The tables the client's commit sends changes to.
bool IsClientSubmitTable(std::string_view table);

// Raise StoreError with the texts above when `policy` does not allow it.
void CheckExecSql(SqlPolicy policy, std::string_view sql);
void CheckSubmitTable(SqlPolicy policy, std::string_view table);

}  // namespace quillorn::server
