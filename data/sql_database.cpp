#include "data/sql_database.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <limits>

#include "data/sql_dialect.h"
#include "foundation/datetime.h"

namespace quillorn::data {
namespace {

// Dynamic statements (a key spelled into the text) would grow the cache without
// bound; past this many the cache starts again.
constexpr size_t kMaxCachedStatements = 256;

std::string Upper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

void NowFunction(sqlite3_context* context, int, sqlite3_value**) {
  sqlite3_result_double(context, foundation::Now());
}

Variant RawColumnValue(sqlite3_stmt* stmt, int column) {
  switch (sqlite3_column_type(stmt, column)) {
    case SQLITE_INTEGER: {
      const sqlite3_int64 v = sqlite3_column_int64(stmt, column);
      if (v >= std::numeric_limits<std::int32_t>::min() && v <= std::numeric_limits<std::int32_t>::max()) {
        return Variant(static_cast<std::int32_t>(v));
      }
      return Variant(static_cast<std::int64_t>(v));
    }
    case SQLITE_FLOAT: return Variant(sqlite3_column_double(stmt, column));
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
      return Variant(std::string(text, static_cast<size_t>(sqlite3_column_bytes(stmt, column))));
    }
    case SQLITE_BLOB: {
      const auto* bytes = static_cast<const char*>(sqlite3_column_blob(stmt, column));
      const int size = sqlite3_column_bytes(stmt, column);
      return Variant(bytes ? std::string(bytes, static_cast<size_t>(size)) : std::string());
    }
    default: return Variant::Null();
  }
}

// Puts a statement back to its unbound state whatever way the call ends.
class StatementReset {
 public:
  explicit StatementReset(sqlite3_stmt* stmt) : stmt_(stmt) {}
  ~StatementReset() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
  }
  StatementReset(const StatementReset&) = delete;
  StatementReset& operator=(const StatementReset&) = delete;

 private:
  sqlite3_stmt* stmt_;
};

}  // namespace

int ResultSet::ColumnIndex(std::string_view name) const {
  for (size_t i = 0; i < columns.size(); ++i) {
    if (EqualsNoCase(columns[i], name)) return static_cast<int>(i);
  }
  return -1;
}

FieldKind FieldKindOfDeclType(std::string_view declType) {
  const std::string t = Upper(declType);
  if (t.empty()) return FieldKind::Unknown;
  if (t.find("BOOL") != std::string::npos) return FieldKind::Boolean;
  if (t.find("DATE") != std::string::npos || t.find("TIME") != std::string::npos) return FieldKind::DateTime;
  if (t.find("INT") != std::string::npos) return FieldKind::Integer;
  if (t.find("CHAR") != std::string::npos || t.find("TEXT") != std::string::npos ||
      t.find("CLOB") != std::string::npos) {
    return FieldKind::String;
  }
  if (t.find("MEMO") != std::string::npos) return FieldKind::Memo;
  if (t.find("BLOB") != std::string::npos) return FieldKind::Blob;
  return FieldKind::Float;
}

Variant ValueForKind(FieldKind kind, Variant stored) {
  using K = Variant::Kind;
  const K k = stored.kind();
  const bool numeric = k == K::Int32 || k == K::Int64 || k == K::Double;
  if (kind == FieldKind::Boolean && numeric) return Variant(stored.AsDouble() != 0);
  if (kind == FieldKind::DateTime && numeric) return Variant::FromDateTime(stored.AsDouble());
  return stored;
}

Database::Database(std::string DatabaseName) : databaseName_(std::move(DatabaseName)) {}

Database::~Database() { Close(); }

void Database::Open(bool create) {
  if (db_) return;
  int flags = SQLITE_OPEN_READWRITE;
  if (create) flags |= SQLITE_OPEN_CREATE;
  sqlite3* db = nullptr;
  int rc = sqlite3_open_v2(FileName.c_str(), &db, flags, nullptr);
  if (rc != SQLITE_OK) {
    std::string message = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    sqlite3_close_v2(db);
    throw SqlError(databaseName_ + ": " + message + " (" + FileName + ")", rc, {});
  }
  auto fail = [&](const char* what) {
    std::string message = sqlite3_errmsg(db);
    const int code = sqlite3_errcode(db);
    sqlite3_close_v2(db);
    throw SqlError(databaseName_ + ": " + message + " (" + FileName + ")", code, what);
  };
  sqlite3_extended_result_codes(db, 1);
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  if (sqlite3_create_function_v2(db, kNowFunction, 0, SQLITE_UTF8, nullptr, NowFunction, nullptr, nullptr,
                                 nullptr) != SQLITE_OK) {
    fail("now()");
  }
  if (FileName != ":memory:") {
    // Several host processes share the file: readers never block the writer,
    // and a commit needs no full sync of the main file.
    if (sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr) != SQLITE_OK) {
      fail("PRAGMA journal_mode=WAL");
    }
    if (sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr) != SQLITE_OK) {
      fail("PRAGMA synchronous=NORMAL");
    }
  }
  db_ = db;
}

void Database::Close() {
  for (auto& [text, stmt] : statements_) sqlite3_finalize(stmt);
  statements_.clear();
  if (db_) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
  }
}

void Database::Raise(int rc, std::string_view sql) const {
  std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
  throw SqlError(message, rc, std::string(sql));
}

template <typename Bind>
sqlite3_stmt* Database::Prepare(std::string_view sql, const Bind& bind) {
  if (!db_) throw SqlError(databaseName_ + ": Database is not connected", SQLITE_MISUSE, std::string(sql));
  auto found = statements_.find(sql);
  sqlite3_stmt* stmt = nullptr;
  if (found != statements_.end()) {
    stmt = found->second;
  } else {
    const std::string rewritten = RewriteSql(sql);
    const char* tail = nullptr;
    const int rc = sqlite3_prepare_v3(db_, rewritten.c_str(), static_cast<int>(rewritten.size()),
                                      SQLITE_PREPARE_PERSISTENT, &stmt, &tail);
    if (rc != SQLITE_OK) Raise(rc, sql);
    if (!stmt) throw SqlError("Empty SQL statement", SQLITE_MISUSE, std::string(sql));
    for (; tail && *tail; ++tail) {
      if (!std::isspace(static_cast<unsigned char>(*tail)) && *tail != ';') {
        sqlite3_finalize(stmt);
        throw SqlError("Only one SQL statement may be run at a time", SQLITE_MISUSE, std::string(sql));
      }
    }
    if (statements_.size() >= kMaxCachedStatements) {
      for (auto& [text, old] : statements_) sqlite3_finalize(old);
      statements_.clear();
    }
    statements_.emplace(std::string(sql), stmt);
  }
  try {
    bind(stmt);
  } catch (...) {
    sqlite3_clear_bindings(stmt);
    throw;
  }
  return stmt;
}

void Database::BindValue(sqlite3_stmt* stmt, int index, const Variant& value, std::string_view sql) {
  using K = Variant::Kind;
  int rc = SQLITE_OK;
  switch (value.kind()) {
    case K::Empty:
    case K::Null: rc = sqlite3_bind_null(stmt, index); break;
    case K::Bool: rc = sqlite3_bind_int(stmt, index, value.AsBool() ? 1 : 0); break;
    case K::Int32:
    case K::Int64: rc = sqlite3_bind_int64(stmt, index, value.AsInt64()); break;
    case K::Double:
    case K::DateTime: rc = sqlite3_bind_double(stmt, index, value.AsDouble()); break;
    case K::Text: {
      const std::string text = value.AsString();
      rc = sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
      break;
    }
    default:
      throw SqlError("A parameter can't hold a value of type " + std::string(platform::KindName(value.kind())),
                     SQLITE_MISMATCH, std::string(sql));
  }
  if (rc != SQLITE_OK) Raise(rc, sql);
}

int Database::RunToEnd(sqlite3_stmt* stmt, std::string_view sql) {
  StatementReset reset(stmt);
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
  }
  if (rc != SQLITE_DONE) Raise(rc, sql);
  return sqlite3_changes(db_);
}

ResultSet Database::ReadAll(sqlite3_stmt* stmt, std::string_view sql) {
  StatementReset reset(stmt);
  ResultSet result;
  const int count = sqlite3_column_count(stmt);
  std::vector<FieldKind> kinds;
  for (int i = 0; i < count; ++i) {
    result.columns.emplace_back(sqlite3_column_name(stmt, i));
    const char* decl = sqlite3_column_decltype(stmt, i);
    result.declTypes.emplace_back(decl ? decl : "");
    kinds.push_back(FieldKindOfDeclType(result.declTypes.back()));
  }
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    std::vector<Variant> row;
    row.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) row.push_back(ValueForKind(kinds[i], RawColumnValue(stmt, i)));
    result.rows.push_back(std::move(row));
  }
  if (rc != SQLITE_DONE) Raise(rc, sql);
  return result;
}

int Database::Execute(std::string_view sql, std::span<const Variant> params) {
  sqlite3_stmt* stmt = Prepare(sql, [&](sqlite3_stmt* s) {
    for (size_t i = 0; i < params.size(); ++i) BindValue(s, static_cast<int>(i + 1), params[i], sql);
  });
  return RunToEnd(stmt, sql);
}

namespace {

int NamedIndex(sqlite3_stmt* stmt, const std::string& name) {
  if (!name.empty() && (name[0] == ':' || name[0] == '@' || name[0] == '$')) {
    return sqlite3_bind_parameter_index(stmt, name.c_str());
  }
  return sqlite3_bind_parameter_index(stmt, (":" + name).c_str());
}

}  // namespace

int Database::Execute(std::string_view sql, const NamedParams& params) {
  sqlite3_stmt* stmt = Prepare(sql, [&](sqlite3_stmt* s) {
    for (const auto& [name, value] : params) {
      const int index = NamedIndex(s, name);
      if (index == 0) throw SqlError("Parameter '" + name + "' not found", SQLITE_RANGE, std::string(sql));
      BindValue(s, index, value, sql);
    }
  });
  return RunToEnd(stmt, sql);
}

ResultSet Database::Query(std::string_view sql, std::span<const Variant> params) {
  sqlite3_stmt* stmt = Prepare(sql, [&](sqlite3_stmt* s) {
    for (size_t i = 0; i < params.size(); ++i) BindValue(s, static_cast<int>(i + 1), params[i], sql);
  });
  return ReadAll(stmt, sql);
}

ResultSet Database::Query(std::string_view sql, const NamedParams& params) {
  sqlite3_stmt* stmt = Prepare(sql, [&](sqlite3_stmt* s) {
    for (const auto& [name, value] : params) {
      const int index = NamedIndex(s, name);
      if (index == 0) throw SqlError("Parameter '" + name + "' not found", SQLITE_RANGE, std::string(sql));
      BindValue(s, index, value, sql);
    }
  });
  return ReadAll(stmt, sql);
}

std::int64_t Database::LastInsertRowId() const { return db_ ? sqlite3_last_insert_rowid(db_) : 0; }

bool Database::AutoCommit() const { return db_ == nullptr || sqlite3_get_autocommit(db_) != 0; }

std::int64_t Database::TotalChanges() const { return db_ ? sqlite3_total_changes64(db_) : 0; }

std::optional<Database::ChangeStamp> Database::CurrentChangeStamp() {
  if (db_ == nullptr) return std::nullopt;
  try {
    const ResultSet version = Query("PRAGMA data_version");
    if (version.rows.empty()) return std::nullopt;
    return ChangeStamp{version.rows[0][0].AsInt64(), TotalChanges()};
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

Transaction::Transaction(Database& database) : database_(nullptr) {
  if (!database.Connected() || !database.AutoCommit()) return;
  // Takes the write lock now, within the busy timeout, rather than failing
  // halfway when a reader of another process holds the file.
  try {
    database.Execute("BEGIN IMMEDIATE");
    database_ = &database;
  } catch (const SqlError&) {
    // Still locked after the busy timeout: each statement commits on its own.
  }
}

Transaction::~Transaction() {
  if (database_ == nullptr || database_->AutoCommit()) return;
  try {
    database_->Execute("ROLLBACK");
  } catch (...) {
    // Closing the connection ends it anyway.
  }
}

void Transaction::Commit() {
  // SQLite may have ended it already after a failure it could not undo alone.
  if (database_ == nullptr || database_->AutoCommit()) return;
  database_->Execute("COMMIT");
  database_ = nullptr;
}

}  // namespace quillorn::data
