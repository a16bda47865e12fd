// The reference server's own database: one SQLite file, "server.db", in the
// data folder. Runs single statements for the remote functions; a reading
// statement never gets a connection that could write.
#pragma once

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

  // Opens `folder`/server.db, creating the folder and the file when missing.
  explicit ServerStore(const std::filesystem::path& folder);
  ~ServerStore();
  ServerStore(const ServerStore&) = delete;
  ServerStore& operator=(const ServerStore&) = delete;

  const std::filesystem::path& FileName() const noexcept { return file_; }

  // Runs one reading statement and returns all its rows.
  StoreRows Select(std::string_view sql);
  // Runs one statement in a transaction of its own; the number of rows it changed.
  int Execute(std::string_view sql);

 private:
  std::filesystem::path file_;
  sqlite3* write_ = nullptr;
  sqlite3* read_ = nullptr;
  std::mutex mutex_;
};

}  // namespace quillorn::server
