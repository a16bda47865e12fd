// The layout of "cache.dat": the fifteen tables in the order they are made, the
// schema version kept in VER, and the two tables of the process's "MEMORY"
// database. Only statement text lives here; nothing is run.
#pragma once

#include <span>
#include <string_view>

namespace quillorn::data {

// A cache file holding any other number in VER is thrown away and made again.
inline constexpr int kCacheVersion = 8;

inline constexpr char kCacheFileName[] = "cache.dat";

struct TableStatement {
  std::string_view table;
  std::string_view sql;
};

// The CREATE TABLE statements of the cache, in the order CreateCacheDB runs them.
std::span<const TableStatement> CacheTableStatements();

// The in-memory tables, WebFields first (that is the order they are opened in).
std::span<const TableStatement> MemoryTableStatements();

}  // namespace quillorn::data
