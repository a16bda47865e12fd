// What a trace call costs: with tracing off it must stay near one Boolean test
// (baseline: a volatile bool), with tracing on near a bare open/append/close of
// the same record (baseline: std::ofstream), since every record is its own open.
#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "foundation/context.h"
#include "foundation/log.h"

namespace {

namespace fs = std::filesystem;
using quillorn::foundation::ContextScope;
using quillorn::foundation::LogContext;

// A folder of the run's own, emptied when the benchmark ends.
class BenchFolder {
 public:
  BenchFolder() {
    path_ = fs::temp_directory_path() /
            ("quillorn-log-bench-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    fs::create_directories(path_);
  }
  ~BenchFolder() {
    std::error_code ec;
    fs::remove_all(path_, ec);
  }
  const fs::path& Path() const { return path_; }

 private:
  fs::path path_;
};

volatile bool gSwitch = false;

void BM_BaselineVolatileBool(benchmark::State& state) {
  long long hits = 0;
  for (auto _ : state) {
    if (gSwitch) ++hits;
    benchmark::DoNotOptimize(hits);
  }
}
BENCHMARK(BM_BaselineVolatileBool);

void BM_LogTraceOff(benchmark::State& state) {
  LogContext context;  // TraceEnabled stays false
  ContextScope scope(context);
  for (auto _ : state) {
    quillorn::foundation::LogTrace("SERVER CALL from FetchData", "select * from DOCS");
  }
}
BENCHMARK(BM_LogTraceOff);

void BM_BaselineFileAppend(benchmark::State& state) {
  BenchFolder folder;
  const fs::path file = folder.Path() / "append.txt";
  const std::string record = "23.11.2024 10:15:42\tSERVER CALL from FetchData\tselect * from DOCS\r\n" +
                             std::string(41, '-') + "\r\n\r\n";
  for (auto _ : state) {
    std::ofstream out(file, std::ios::binary | std::ios::app);
    out.write(record.data(), static_cast<std::streamsize>(record.size()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * record.size()));
}
BENCHMARK(BM_BaselineFileAppend);

void BM_LogTraceOn(benchmark::State& state) {
  BenchFolder folder;
  LogContext context;
  context.TraceEnabled = true;
  context.AppDir = (folder.Path() / "").string();
  context.AppDataDir = context.AppDir;
  ContextScope scope(context);
  for (auto _ : state) {
    quillorn::foundation::LogTrace("SERVER CALL from FetchData", "select * from DOCS");
  }
}
BENCHMARK(BM_LogTraceOn);

}  // namespace

BENCHMARK_MAIN();
