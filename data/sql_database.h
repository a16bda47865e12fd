// One connection to an SQLite database as the add-in knows it: "CacheDB" (the
// shared cache file, several processes at once) or "MEMORY" (this process only).
// Statements arrive in the add-in's dialect, are rewritten and prepared once per
// text, and each runs as its own short transaction unless a Transaction scope
// groups a run of them. Never holds a transaction or a statement open beyond
// the call that needs it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/variant.h"

struct sqlite3;
struct sqlite3_stmt;

namespace quillorn::data {

using platform::Variant;

// What a failed statement raises; the message is SQLite's, the SQL rides along
// so that a handler can log both.
class SqlError : public std::runtime_error {
 public:
  SqlError(const std::string& message, int code, std::string sql)
      : std::runtime_error(message), code_(code), sql_(std::move(sql)) {}
  int code() const noexcept { return code_; }
  const std::string& sql() const noexcept { return sql_; }

 private:
  int code_;
  std::string sql_;
};

// The rows of one SELECT, read in full before the call returns.
struct ResultSet {
  std::vector<std::string> columns;
  std::vector<std::string> declTypes;  // declared type of each column, "" for expressions
  std::vector<std::vector<Variant>> rows;

  int ColumnIndex(std::string_view name) const;  // case-insensitive, -1 when missing
};

using NamedParams = std::vector<std::pair<std::string, Variant>>;  // ":name" or "name"

// How a stored value comes back, by the declared type of its column: dates and
// flags are numbers in the file, but readers want them as what they mean.
// Unknown is a computed column: its value comes back as stored.
enum class FieldKind { Unknown, Integer, Float, String, Boolean, DateTime, Blob, Memo };
FieldKind FieldKindOfDeclType(std::string_view declType);
Variant ValueForKind(FieldKind kind, Variant stored);

class Database {
 public:
  // How long a statement waits for another process's write before it fails.
  static constexpr int kBusyTimeoutMs = 10000;

  explicit Database(std::string DatabaseName);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  const std::string& DatabaseName() const { return databaseName_; }
  // ":memory:" for a database of this process; otherwise a file path.
  std::string FileName;

  bool Connected() const { return db_ != nullptr; }
  // Opens FileName. With create false a missing file is an error, so that a
  // typo never leaves an empty database behind.
  void Open(bool create = false);
  void Close();

  // Runs one statement; returns the number of rows it changed.
  int Execute(std::string_view sql, std::span<const Variant> params = {});
  int Execute(std::string_view sql, const NamedParams& params);
  ResultSet Query(std::string_view sql, std::span<const Variant> params = {});
  ResultSet Query(std::string_view sql, const NamedParams& params);
  std::int64_t LastInsertRowId() const;

  // False while a transaction is open on this connection.
  bool AutoCommit() const;

  // Where the database stands: moves with every commit of another connection
  // (another process's or another table object's) and every change made
  // through this one. Equal stamps mean nobody wrote in between; nullopt when
  // it cannot be told (not connected).
  struct ChangeStamp {
    std::int64_t dataVersion = 0;
    std::int64_t totalChanges = 0;
    bool operator==(const ChangeStamp&) const = default;
  };
  std::optional<ChangeStamp> CurrentChangeStamp();
  // Rows changed through this connection so far; cheap, no statement runs.
  std::int64_t TotalChanges() const;

  // Statements prepared so far and kept for their text.
  size_t CachedStatementCount() const { return statements_.size(); }

 private:
  template <typename Bind>
  sqlite3_stmt* Prepare(std::string_view sql, const Bind& bind);
  void BindValue(sqlite3_stmt* stmt, int index, const Variant& value, std::string_view sql);
  [[noreturn]] void Raise(int rc, std::string_view sql) const;
  ResultSet ReadAll(sqlite3_stmt* stmt, std::string_view sql);
  int RunToEnd(sqlite3_stmt* stmt, std::string_view sql);

  std::string databaseName_;
  sqlite3* db_ = nullptr;
  std::map<std::string, sqlite3_stmt*, std::less<>> statements_;
};

// One transaction around a run of statements that belong together (the rows
// of one reply, the deltas of one batch), so that they cost one commit and not
// one each. A failing statement inside it is undone alone, as SQLite does; the
// run goes on. Not committed by the end of the scope, the whole run is rolled
// back. Inside a transaction that is already open, or when the file stays
// locked, it does nothing and never raises.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void Commit();

 private:
  Database* database_;  // null when there is nothing of its own to end
};

}  // namespace quillorn::data
