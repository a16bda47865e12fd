// What the cache costs above SQLite itself: a one-statement lookup against the
// same prepared statement stepped directly on the same file (its indexes made
// by the cache's open), and opening a cache of 10,000 FILES
// rows (version check, table read into the cursor) against a bare open and
// against a bare open that reads the same rows.
#include <benchmark/benchmark.h>

#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>

#include "data/cache_store.h"
#include "data/table.h"
#include "foundation/context.h"
#include "platform/real_files_for_test.h"

namespace {

namespace fs = std::filesystem;
using quillorn::data::CacheStore;
using quillorn::data::Table;
using quillorn::foundation::ContextScope;
using quillorn::foundation::LogContext;

constexpr int kFilesRows = 10000;
constexpr char kLookupSql[] = "select val from codes where d_type='WEB_SERVER' and code='URL'";

// A cache of the run's own, made once and removed when the program ends.
class BenchCache {
 public:
  BenchCache() {
    root_ = fs::temp_directory_path() /
            ("quillorn-cache-bench-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    fs::create_directories(root_);
    context_.AppDataDir = Dir();
    ContextScope scope(context_);
    CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
    Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
    store.LoadFromCache(files);
    auto& db = store.CacheDB();
    db.Execute("BEGIN");
    for (int i = 0; i < kFilesRows; ++i) {
      db.Execute("insert into FILES (DOC_ID, FILENAME, SESSION_ID, USER_ID, LAST_SAVED) values (?, ?, 1, 2, NOW)",
                 std::vector<quillorn::data::Variant>{i, CacheDir() + "document-" + std::to_string(i) + ".docx"});
    }
    for (int i = 0; i < 500; ++i) {
      db.Execute("insert into CODES values ('OPTION', ?, 'value')", std::vector<quillorn::data::Variant>{"C" + std::to_string(i)});
    }
    db.Execute("insert into CODES values ('WEB_SERVER', 'URL', 'http://web:8080')");
    db.Execute("COMMIT");
  }
  ~BenchCache() {
    std::error_code ec;
    fs::remove_all(root_, ec);
  }
  std::string Dir() const { return (root_ / "").string(); }
  std::string CacheDir() const { return (root_ / "").string(); }
  std::string File() const { return CacheDir() + "cache.dat"; }
  LogContext& Context() { return context_; }

 private:
  fs::path root_;
  LogContext context_;
};

BenchCache& Cache() {
  static BenchCache cache;
  return cache;
}

void BM_CacheLookup(benchmark::State& state) {
  ContextScope scope(Cache().Context());
  CacheStore store(Cache().CacheDir(), quillorn::platform::testing::RealFiles());
  for (auto _ : state) benchmark::DoNotOptimize(store.cacheLookup(kLookupSql));
  state.counters["lookups/s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CacheLookup);

void BM_CacheLookup_BaselineRawSqlite(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(Cache().File().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_stmt* stmt = nullptr;
  sqlite3_prepare_v2(db, kLookupSql, -1, &stmt, nullptr);
  for (auto _ : state) {
    if (sqlite3_step(stmt) == SQLITE_ROW) {
      std::string value(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)),
                        static_cast<size_t>(sqlite3_column_bytes(stmt, 0)));
      benchmark::DoNotOptimize(value);
    }
    sqlite3_reset(stmt);
  }
  sqlite3_finalize(stmt);
  sqlite3_close_v2(db);
  state.counters["lookups/s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CacheLookup_BaselineRawSqlite);

void BM_OpenCacheWithFilesTable(benchmark::State& state) {
  ContextScope scope(Cache().Context());
  for (auto _ : state) {
    CacheStore store(Cache().CacheDir(), quillorn::platform::testing::RealFiles());
    Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
    store.LoadFromCache(files);
    benchmark::DoNotOptimize(files.RecordCount());
  }
  state.counters["rows"] = kFilesRows;
}
BENCHMARK(BM_OpenCacheWithFilesTable)->Unit(benchmark::kMillisecond);

void BM_OpenCache_BaselineBareOpen(benchmark::State& state) {
  for (auto _ : state) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(Cache().File().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, "select VER_NO from VER", -1, &stmt, nullptr);
    benchmark::DoNotOptimize(sqlite3_step(stmt));
    sqlite3_finalize(stmt);
    sqlite3_close_v2(db);
  }
}
BENCHMARK(BM_OpenCache_BaselineBareOpen)->Unit(benchmark::kMillisecond);

void BM_OpenCache_BaselineBareOpenAndRead(benchmark::State& state) {
  for (auto _ : state) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(Cache().File().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, "select rowid, * from FILES order by FILENAME", -1, &stmt, nullptr);
    int rows = 0;
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      for (int c = 0; c < sqlite3_column_count(stmt); ++c) benchmark::DoNotOptimize(sqlite3_column_value(stmt, c));
      benchmark::DoNotOptimize(sqlite3_column_text(stmt, 2));
      ++rows;
    }
    sqlite3_finalize(stmt);
    sqlite3_close_v2(db);
    benchmark::DoNotOptimize(rows);
  }
}
BENCHMARK(BM_OpenCache_BaselineBareOpenAndRead)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
