#include "server/store.h"

#include <sqlite3.h>

#include <algorithm>
#include <climits>
#include <string>
#include <system_error>

#include "server/server_limits.h"

namespace quillorn::server {
namespace {

// SQLite wants UTF-8 file names on every system, Windows included.
std::string Utf8Path(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

class Statement {
 public:
  Statement() = default;
  ~Statement() { sqlite3_finalize(stmt_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  sqlite3_stmt** Out() noexcept { return &stmt_; }
  sqlite3_stmt* Get() const noexcept { return stmt_; }

 private:
  sqlite3_stmt* stmt_ = nullptr;
};

// The virtual machine instructions between two looks at the clock.
constexpr int kProgressSteps = 1000;

// The reading connection may read and call functions; anything else, temp
// tables and pragmas included, is refused while the statement is compiled.
// What was refused is kept for the refusal's text.
int ReadOnlyAuthorizer(void* refused, int action, const char*, const char*, const char*, const char*) {
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_FUNCTION:
    case SQLITE_RECURSIVE:
      return SQLITE_OK;
    default:
      *static_cast<int*>(refused) = action;
      return SQLITE_DENY;
  }
}

// A transaction left open by one call would hold the file for every later
// one, and ATTACH would let a caller create files anywhere on the server.
int WriteAuthorizer(void*, int action, const char*, const char*, const char*, const char*) {
  switch (action) {
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
      return SQLITE_DENY;
    default:
      return SQLITE_OK;
  }
}

sqlite3* OpenConnection(const std::filesystem::path& file, int flags) {
  sqlite3* db = nullptr;
  const int rc = sqlite3_open_v2(Utf8Path(file).c_str(), &db, flags, nullptr);
  if (rc != SQLITE_OK) {
    std::string message = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    sqlite3_close_v2(db);
    throw StoreError("Cannot open " + Utf8Path(file) + ": " + message);
  }
  sqlite3_extended_result_codes(db, 1);
  sqlite3_busy_timeout(db, ServerStore::kBusyTimeoutMs);
  return db;
}

[[noreturn]] void Fail(sqlite3* db) { throw StoreError(sqlite3_errmsg(db)); }

std::size_t CellSize(const StoreCell& cell) {
  return sizeof(StoreCell) + cell.bytes.size();
}

// Compiles the one statement of `sql` into `stmt`. Empty statements around it
// (a stray ";", comments) are fine; a second real statement is refused before
// the first one has run.
void PrepareOne(sqlite3* db, std::string_view sql, Statement& stmt, std::string_view refused) {
  const char* at = sql.data();
  const char* const end = sql.data() + sql.size();
  while (at < end && stmt.Get() == nullptr) {
    const char* tail = nullptr;
    const int rc = sqlite3_prepare_v2(db, at, static_cast<int>(end - at), stmt.Out(), &tail);
    if ((rc & 0xff) == SQLITE_AUTH) throw StoreError(std::string(refused));
    if (rc != SQLITE_OK) Fail(db);
    at = tail;
  }
  if (stmt.Get() == nullptr) throw StoreError(std::string(kNoStatement));
  while (at < end) {
    Statement next;
    const char* tail = nullptr;
    const int rc = sqlite3_prepare_v2(db, at, static_cast<int>(end - at), next.Out(), &tail);
    // What cannot be compiled there is still text behind the statement.
    if (rc != SQLITE_OK || next.Get() != nullptr) throw StoreError(std::string(kMoreThanOneStatement));
    at = tail;
  }
}

StoreCell ReadCell(sqlite3_stmt* stmt, int column) {
  StoreCell cell;
  switch (sqlite3_column_type(stmt, column)) {
    case SQLITE_INTEGER:
      cell.kind = StoreCell::Kind::Integer;
      cell.integer = sqlite3_column_int64(stmt, column);
      break;
    case SQLITE_FLOAT:
      cell.kind = StoreCell::Kind::Real;
      cell.real = sqlite3_column_double(stmt, column);
      break;
    case SQLITE_TEXT: {
      cell.kind = StoreCell::Kind::Text;
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
      cell.bytes.assign(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt, column)));
      break;
    }
    case SQLITE_BLOB: {
      cell.kind = StoreCell::Kind::Blob;
      const auto* blob = static_cast<const char*>(sqlite3_column_blob(stmt, column));
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(stmt, column));
      if (size > 0) cell.bytes.assign(blob, size);
      break;
    }
    default:
      break;
  }
  return cell;
}

}  // namespace

ServerStore::ServerStore(const std::filesystem::path& folder) : ServerStore(folder, Limits{}) {}

ServerStore::ServerStore(const std::filesystem::path& folder, Limits limits)
    : file_(folder / kStoreFileName), limits_(limits) {
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  if (ec) throw StoreError("Cannot create the data folder " + Utf8Path(folder) + ": " + ec.message());
  write_ = OpenConnection(file_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  // Readers go on while a statement writes.
  if (sqlite3_exec(write_, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr) != SQLITE_OK) {
    const std::string message = sqlite3_errmsg(write_);
    sqlite3_close_v2(write_);
    throw StoreError("Cannot open " + Utf8Path(file_) + ": " + message);
  }
  try {
    read_ = OpenConnection(file_, SQLITE_OPEN_READONLY);
  } catch (...) {
    sqlite3_close_v2(write_);
    throw;
  }
  sqlite3_set_authorizer(write_, WriteAuthorizer, nullptr);
  sqlite3_set_authorizer(read_, ReadOnlyAuthorizer, &read_refused_);
  for (sqlite3* db : {write_, read_}) sqlite3_progress_handler(db, kProgressSteps, Progress, this);
  // No single value may be larger than a whole answer, so that SQLite itself
  // never makes one (zeroblob, randomblob, a long concatenation).
  if (limits_.MaxAnswer < static_cast<std::size_t>(INT_MAX)) {
    sqlite3_limit(read_, SQLITE_LIMIT_LENGTH, static_cast<int>(limits_.MaxAnswer));
  }
}

int ServerStore::Progress(void* self) {
  const auto& store = *static_cast<ServerStore*>(self);
  return store.stopping_.load() ||
         std::chrono::steady_clock::now().time_since_epoch().count() > store.deadline_.load();
}

void ServerStore::Arm() {
  // A statement too short to reach the progress handler must not slip past a stop.
  if (stopping_.load()) throw StoreError(std::string(kStoreStopping));
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const auto room = std::chrono::steady_clock::duration::max() - now;
  const auto limit =
      limits_.StatementTime >= std::chrono::duration_cast<std::chrono::milliseconds>(room)
          ? room
          : std::chrono::duration_cast<std::chrono::steady_clock::duration>(limits_.StatementTime);
  deadline_.store((now + limit).count());
}

void ServerStore::Stop() noexcept {
  stopping_.store(true);
  sqlite3_interrupt(read_);
  sqlite3_interrupt(write_);
}

std::string ServerStore::TooLongMessage(std::chrono::milliseconds limit) {
  return "The statement ran longer than " + std::to_string(limit.count()) + " ms and was stopped.";
}

void ServerStore::FailStep(sqlite3* db) {
  switch (sqlite3_errcode(db) & 0xff) {
    case SQLITE_INTERRUPT:
      throw StoreError(stopping_.load() ? std::string(kStoreStopping)
                                        : TooLongMessage(limits_.StatementTime));
    case SQLITE_TOOBIG:
      if (db == read_) throw StoreError(AnswerTooLargeMessage(limits_.MaxAnswer));
      break;
    default:
      break;
  }
  Fail(db);
}

ServerStore::~ServerStore() {
  sqlite3_close_v2(read_);
  sqlite3_close_v2(write_);
}

StoreRows ServerStore::Select(std::string_view sql) {
  std::lock_guard lock(mutex_);
  Arm();
  Statement stmt;
  read_refused_ = 0;
  try {
    PrepareOne(read_, sql, stmt, kNotReadOnly);
  } catch (const StoreError&) {
    if (read_refused_ == SQLITE_PRAGMA) throw StoreError(std::string(kNoPragmaInSelect));
    throw;
  }
  if (!sqlite3_stmt_readonly(stmt.Get()) || sqlite3_column_count(stmt.Get()) == 0) {
    throw StoreError(std::string(kNotReadOnly));
  }
  StoreRows rows;
  const int count = sqlite3_column_count(stmt.Get());
  rows.Columns.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    const char* decl = sqlite3_column_decltype(stmt.Get(), i);
    rows.Columns.push_back(StoreColumn{sqlite3_column_name(stmt.Get(), i), decl ? decl : ""});
  }
  std::size_t gathered = 0;
  for (;;) {
    const int rc = sqlite3_step(stmt.Get());
    if (rc == SQLITE_DONE) break;
    if (rc != SQLITE_ROW) FailStep(read_);
    auto& row = rows.Rows.emplace_back();
    row.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      row.push_back(ReadCell(stmt.Get(), i));
      gathered += CellSize(row.back());
    }
    if (gathered > limits_.MaxAnswer) throw StoreError(AnswerTooLargeMessage(limits_.MaxAnswer));
  }
  return rows;
}

int ServerStore::Execute(std::string_view sql) {
  std::lock_guard lock(mutex_);
  Arm();
  Statement stmt;
  PrepareOne(write_, sql, stmt, kNotAllowedInExecSql);
  // sqlite3_changes keeps the count of the last change for statements that
  // change nothing (CREATE TABLE), so the difference of the totals is taken.
  const auto before = sqlite3_total_changes64(write_);
  for (;;) {
    const int rc = sqlite3_step(stmt.Get());
    if (rc == SQLITE_DONE) break;
    if (rc != SQLITE_ROW) FailStep(write_);
  }
  return static_cast<int>(sqlite3_total_changes64(write_) - before);
}

int ServerStore::ExecuteAll(const std::vector<std::string>& statements) {
  std::lock_guard lock(mutex_);
  // Clients may not open transactions; the store opens this one itself, with
  // the authorizer out of the way only for BEGIN, COMMIT and ROLLBACK.
  auto control = [this](const char* sql) {
    sqlite3_set_authorizer(write_, nullptr, nullptr);
    const int rc = sqlite3_exec(write_, sql, nullptr, nullptr, nullptr);
    sqlite3_set_authorizer(write_, WriteAuthorizer, nullptr);
    if (rc != SQLITE_OK) Fail(write_);
  };
  control("BEGIN IMMEDIATE");
  const auto before = sqlite3_total_changes64(write_);
  try {
    for (const std::string& sql : statements) {
      Arm();
      Statement stmt;
      PrepareOne(write_, sql, stmt, kNotAllowedInExecSql);
      for (;;) {
        const int rc = sqlite3_step(stmt.Get());
        if (rc == SQLITE_DONE) break;
        if (rc != SQLITE_ROW) FailStep(write_);
      }
    }
    control("COMMIT");
  } catch (...) {
    sqlite3_set_authorizer(write_, nullptr, nullptr);
    sqlite3_exec(write_, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_set_authorizer(write_, WriteAuthorizer, nullptr);
    throw;
  }
  return static_cast<int>(sqlite3_total_changes64(write_) - before);
}

}  // namespace quillorn::server
