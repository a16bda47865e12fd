// What a fetch costs above SQLite itself: copying a reply of 10,000 DOCS rows
// into the cache through the table object (the key located, the row appended
// or edited and posted as one statement of its own), against inserting the
// same rows with one prepared statement stepped directly, each row its own
// transaction as the cache writes them, and all in one transaction.
#include <benchmark/benchmark.h>

#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "data/cache_store.h"
#include "data/fetching.h"
#include "data/table.h"
#include "foundation/context.h"
#include "platform/real_files_for_test.h"
#include "transport/rpc_dataset.h"

namespace {

namespace fs = std::filesystem;
using quillorn::data::CacheStore;
using quillorn::data::CopyRpcDataSetRowsToLocal;
using quillorn::data::Table;
using quillorn::foundation::ContextScope;
using quillorn::foundation::LogContext;
using quillorn::transport::TRpcDataSet;
using quillorn::transport::TRpcFieldTypes;

constexpr int kDocRows = 10000;

std::unique_ptr<TRpcDataSet> DocsReply() {
  auto set = std::make_unique<TRpcDataSet>();
  set->AddField("DOC_ID", TRpcFieldTypes::ft_Integer);
  set->AddField("DOC_NO", TRpcFieldTypes::ft_Integer);
  set->AddField("SEQ", TRpcFieldTypes::ft_Integer);
  set->AddField("DOC_NAME", TRpcFieldTypes::ft_String, 512);
  set->AddField("VER", TRpcFieldTypes::ft_String, 10);
  set->AddField("STATUS", TRpcFieldTypes::ft_String, 1);
  set->AddField("STATUS_DATE", TRpcFieldTypes::ft_DateTime);
  set->AddField("IS_CURRENT", TRpcFieldTypes::ft_String, 1);
  set->AddField("FILE_TYPE", TRpcFieldTypes::ft_Integer);
  set->AddField("KEYWORDS", TRpcFieldTypes::ft_String, 512);
  set->ReserveRows(kDocRows);
  for (int i = 0; i < kDocRows; ++i) {
    auto& row = set->AppendRow();
    row.SetInteger("DOC_ID", i + 1);
    row.SetInteger("DOC_NO", 100000 + i);
    row.SetInteger("SEQ", 1 + i % 7);
    row.SetText("DOC_NAME", "Procedure for the handling of controlled item " + std::to_string(i));
    row.SetText("VER", std::to_string(1 + i % 9) + ".0");
    row.SetText("STATUS", "A");
    row.SetDateTime("STATUS_DATE", 45000.5 + i);
    row.SetText("IS_CURRENT", "Y");
    row.SetInteger("FILE_TYPE", 1 + i % 3);
    row.SetText("KEYWORDS", "quality; safety; handling");
  }
  return set;
}

// A cache of the run's own, removed when the program ends.
class BenchCache {
 public:
  BenchCache() : reply_(DocsReply()) {
    root_ = fs::temp_directory_path() /
            ("quillorn-fetch-bench-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    fs::create_directories(root_);
    context_.AppDataDir = Dir();
  }
  ~BenchCache() {
    std::error_code ec;
    fs::remove_all(root_, ec);
  }
  std::string Dir() const { return (root_ / "").string(); }
  std::string File() const { return Dir() + "cache.dat"; }
  LogContext& Context() { return context_; }
  const TRpcDataSet& Reply() const { return *reply_; }

 private:
  fs::path root_;
  LogContext context_;
  std::unique_ptr<TRpcDataSet> reply_;
};

BenchCache& Cache() {
  static BenchCache cache;
  return cache;
}

// state.range(0): 0 into an empty table, 1 over the same rows already cached.
void BM_FetchDocsIntoCache(benchmark::State& state) {
  ContextScope scope(Cache().Context());
  CacheStore store(Cache().Dir(), quillorn::platform::testing::RealFiles());
  Table docs(store.CacheDB(), "DOCS", "DOC_ID", "tblDoc");
  store.LoadFromCache(docs);
  const bool refresh = state.range(0) == 1;
  if (refresh) CopyRpcDataSetRowsToLocal(Cache().Reply(), docs, "DOC_ID");
  for (auto _ : state) {
    if (!refresh) {
      state.PauseTiming();
      docs.Close();
      store.CacheDB().Execute("delete from DOCS");
      docs.Open();
      state.ResumeTiming();
    }
    benchmark::DoNotOptimize(CopyRpcDataSetRowsToLocal(Cache().Reply(), docs, "DOC_ID"));
  }
  state.counters["rows/s"] = benchmark::Counter(static_cast<double>(kDocRows) * static_cast<double>(state.iterations()),
                                                benchmark::Counter::kIsRate);
}
BENCHMARK(BM_FetchDocsIntoCache)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(3);

// state.range(0): 1 one transaction per row, as the cache writes; 0 all rows in one.
void BM_FetchDocsIntoCache_BaselineRawSqliteInsert(benchmark::State& state) {
  {
    // The cache file with its schema, as the fetch above finds it.
    ContextScope scope(Cache().Context());
    CacheStore store(Cache().Dir(), quillorn::platform::testing::RealFiles());
    Table docs(store.CacheDB(), "DOCS", "DOC_ID", "tblDoc");
    store.LoadFromCache(docs);
  }
  sqlite3* db = nullptr;
  sqlite3_open_v2(Cache().File().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
  sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db,
                     "insert into DOCS (DOC_ID, DOC_NO, SEQ, DOC_NAME, VER, STATUS, STATUS_DATE, IS_CURRENT, "
                     "FILE_TYPE, KEYWORDS) values (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                     -1, &insert, nullptr);
  const bool perRow = state.range(0) == 1;
  const TRpcDataSet& reply = Cache().Reply();
  for (auto _ : state) {
    state.PauseTiming();
    sqlite3_exec(db, "delete from DOCS", nullptr, nullptr, nullptr);
    state.ResumeTiming();
    if (!perRow) sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    for (std::size_t i = 0; i < reply.RowCount(); ++i) {
      const auto& row = *reply.Row(i);
      sqlite3_bind_int(insert, 1, row.GetInteger("DOC_ID"));
      sqlite3_bind_int(insert, 2, row.GetInteger("DOC_NO"));
      sqlite3_bind_int(insert, 3, row.GetInteger("SEQ"));
      const std::string name = row.GetString("DOC_NAME");
      const std::string ver = row.GetString("VER");
      const std::string status = row.GetString("STATUS");
      const std::string current = row.GetString("IS_CURRENT");
      const std::string keywords = row.GetString("KEYWORDS");
      sqlite3_bind_text(insert, 4, name.c_str(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
      sqlite3_bind_text(insert, 5, ver.c_str(), static_cast<int>(ver.size()), SQLITE_TRANSIENT);
      sqlite3_bind_text(insert, 6, status.c_str(), static_cast<int>(status.size()), SQLITE_TRANSIENT);
      sqlite3_bind_double(insert, 7, row.GetDateTime("STATUS_DATE"));
      sqlite3_bind_text(insert, 8, current.c_str(), static_cast<int>(current.size()), SQLITE_TRANSIENT);
      sqlite3_bind_int(insert, 9, row.GetInteger("FILE_TYPE"));
      sqlite3_bind_text(insert, 10, keywords.c_str(), static_cast<int>(keywords.size()), SQLITE_TRANSIENT);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    if (!perRow) sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  }
  state.counters["rows/s"] = benchmark::Counter(static_cast<double>(kDocRows) * static_cast<double>(state.iterations()),
                                                benchmark::Counter::kIsRate);
  sqlite3_finalize(insert);
  sqlite3_close_v2(db);
}
BENCHMARK(BM_FetchDocsIntoCache_BaselineRawSqliteInsert)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
