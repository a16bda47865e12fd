// The reference server's own database: one SQLite file, "server.db", in the
// data folder. Runs single statements for the remote functions, each within a
// time limit and a reading one within an answer size; a reading statement
// never gets a connection that could write.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace quillorn::server {

inline constexpr std::string_view kStoreFileName = "server.db";

// What a caller is told when a statement is refused before it runs.
inline constexpr std::string_view kNoStatement = "No SQL statement was given.";
inline constexpr std::string_view kMoreThanOneStatement = "Only one SQL statement is allowed per call.";
inline constexpr std::string_view kNotReadOnly = "Only a statement that reads data is allowed in select.";
inline constexpr std::string_view kNotAllowedInExecSql =
    "Transactions, ATTACH and DETACH are not allowed in execsql: every statement commits on its own.";
inline constexpr std::string_view kNoPragmaInSelect = "PRAGMA is not allowed in select.";
inline constexpr std::string_view kStoreStopping = "The server is stopping: the statement was interrupted.";

class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One value as SQLite handed it out, in its storage class.
struct StoreCell {
  enum class Kind : std::uint8_t { Null, Integer, Real, Text, Blob };
  Kind kind = Kind::Null;
  std::int64_t integer = 0;
  double real = 0;
  std::string bytes;  // Text (UTF-8) and Blob
};

struct StoreColumn {
  std::string Name;
  std::string DeclType;  // as declared in CREATE TABLE; empty for an expression
};

struct StoreRows {
  std::vector<StoreColumn> Columns;
  std::vector<std::vector<StoreCell>> Rows;
};

class ServerStore {
 public:
  static constexpr int kBusyTimeoutMs = 10000;

  struct Limits {
    std::chrono::milliseconds StatementTime{std::chrono::seconds(30)};
    std::size_t MaxAnswer = SIZE_MAX;  // bytes of values one Select may gather
  };

  // Opens `folder`/server.db, creating the folder and the file when missing.
  explicit ServerStore(const std::filesystem::path& folder);
  ServerStore(const std::filesystem::path& folder, Limits limits);
  ~ServerStore();
  ServerStore(const ServerStore&) = delete;
  ServerStore& operator=(const ServerStore&) = delete;

  const std::filesystem::path& FileName() const noexcept { return file_; }

  // Runs one reading statement and returns all its rows.
  StoreRows Select(std::string_view sql);
  // Runs one statement in a transaction of its own; the number of rows it changed.
  int Execute(std::string_view sql);
  // Runs the statements in order in one transaction: all of them or none. The
  // rows they changed together.
  int ExecuteAll(const std::vector<std::string>& statements);

  // Interrupts the statement that runs, and every later one, at once: the
  // server is going down. Safe from any thread.
  void Stop() noexcept;

  // What a call is told about a statement stopped for its time.
  static std::string TooLongMessage(std::chrono::milliseconds limit);

 private:
  // Arms the time limit for the statement about to run; called under mutex_.
  void Arm();
  [[noreturn]] void FailStep(sqlite3* db);
  static int Progress(void* self);

  std::filesystem::path file_;
  Limits limits_;
  std::atomic<bool> stopping_{false};
  std::atomic<std::chrono::steady_clock::rep> deadline_{std::chrono::steady_clock::duration::max().count()};
  int read_refused_ = 0;  // the action the reading connection refused last
  sqlite3* write_ = nullptr;
  sqlite3* read_ = nullptr;
  std::mutex mutex_;
};

}  // namespace quillorn::server
