// What a host waits for when it loads and unloads the add-in: create, initialise
// and start-up complete, then begin shutdown, finalize and destroy, over a cache
// of 10,000 FILES rows of earlier sessions; beside opening the same SQLite file
// bare. Office warns about add-ins that take over a second; we aim for 50 ms.
#include <benchmark/benchmark.h>

#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "addin/addin_module.h"
#include "data/cache_store.h"
#include "data/table.h"
#include "foundation/context.h"
#include "hostsim/hosts.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"
#include "platform/real_files_for_test.h"
#include "platform/scripted_prompts.h"
#include "platform/system_services.h"

namespace {

namespace fs = std::filesystem;
using quillorn::addin::AddInHost;
using quillorn::addin::TAddInModule;

constexpr int kFilesRows = 10000;
constexpr std::uint32_t kTick = 123456;  // the session number of every measured load

// One user's machine with a cache of earlier sessions, made once per run.
class Machine {
 public:
  Machine() {
    root_ = fs::temp_directory_path() /
            ("quillorn-start-bench-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    fs::create_directories(CacheDir());
    quillorn::foundation::LogContext context;
    context.AppDataDir = AppDataDir();
    quillorn::foundation::ContextScope scope(context);
    quillorn::data::CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
    quillorn::data::Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
    store.LoadFromCache(files);
    auto& db = store.CacheDB();
    db.Execute("BEGIN");
    for (int i = 0; i < kFilesRows; ++i) {
      db.Execute("insert into FILES (DOC_ID, FILENAME, INIT, SESSION_ID, USER_ID, CACHED, LAST_SAVED) "
                 "values (?, ?, ?, ?, 2, true, NOW)",
                 std::vector<quillorn::data::Variant>{i, CacheDir() + "document-" + std::to_string(i) + ".docx",
                                                      i % 2 == 0, 1000 + i % 7});
    }
    db.Execute("COMMIT");
  }
  ~Machine() {
    std::error_code ec;
    fs::remove_all(root_, ec);
  }

  std::string LocalAppData() const { return (root_ / "local").string(); }
  std::string AppDataDir() const { return (root_ / "local" / "Quillorn" / "").string(); }
  std::string CacheDir() const { return AppDataDir() + "Cache" + static_cast<char>(fs::path::preferred_separator); }
  std::string CacheFile() const { return CacheDir() + "cache.dat"; }
  std::string ModulePath() const { return (root_ / "program" / "QuillornAddIn.dll").string(); }

 private:
  fs::path root_;
};

Machine& TheMachine() {
  static Machine machine;
  return machine;
}

// A Word process with the add-in about to be loaded into it.
struct Process {
  Process() : host(quillorn::hostsim::CreateHost(quillorn::platform::HostType::ohaWord)) {
    host->version = "16.0";
    system.module_path = TheMachine().ModulePath();
    system.local_app_data = TheMachine().LocalAppData();
    system.tick_count = kTick;
    AddInHost h;
    h.Type = quillorn::platform::HostType::ohaWord;
    h.Application = host->Application();
    h.Loop = &loop;
    h.Prompts = &prompts;
    h.System = &system;
    h.Context = &context;
    module = std::make_unique<TAddInModule>(std::move(h));
  }
  void Start() {
    module->AddInModuleCreate();
    module->AddInModuleAddInInitialize();
    module->AddInModuleAddInStartupComplete();
  }
  void Stop() {
    module->AddInModuleAddInBeginShutdown();
    module->AddInModuleAddInFinalize();
    module->AddInModuleDestroy();
    module.reset();
  }

  quillorn::platform::ManualClock clock{5000};
  quillorn::platform::QueueMainLoop loop{&clock};
  std::shared_ptr<quillorn::hostsim::SimHost> host;
  quillorn::platform::FakeSystemServices system;
  quillorn::platform::ScriptedPrompts prompts;
  quillorn::foundation::LogContext context;
  std::unique_ptr<TAddInModule> module;
};

void BM_AddInStart(benchmark::State& state) {
  TheMachine();
  for (auto _ : state) {
    state.PauseTiming();
    auto process = std::make_unique<Process>();
    state.ResumeTiming();
    process->Start();
    state.PauseTiming();
    process->Stop();
    process.reset();
    state.ResumeTiming();
  }
  state.counters["files_rows"] = kFilesRows;
}
BENCHMARK(BM_AddInStart)->Unit(benchmark::kMillisecond);

void BM_AddInShutdown(benchmark::State& state) {
  TheMachine();
  for (auto _ : state) {
    state.PauseTiming();
    auto process = std::make_unique<Process>();
    process->Start();
    state.ResumeTiming();
    process->Stop();
    state.PauseTiming();
    process.reset();
    state.ResumeTiming();
  }
  state.counters["files_rows"] = kFilesRows;
}
BENCHMARK(BM_AddInShutdown)->Unit(benchmark::kMillisecond);

void BM_AddInStartAndShutdown(benchmark::State& state) {
  TheMachine();
  for (auto _ : state) {
    Process process;
    process.Start();
    process.Stop();
  }
  state.counters["files_rows"] = kFilesRows;
}
BENCHMARK(BM_AddInStartAndShutdown)->Unit(benchmark::kMillisecond);

// The floor: the same file opened bare, its version read, closed.
void BM_Baseline_BareSqliteOpen(benchmark::State& state) {
  const std::string file = TheMachine().CacheFile();
  for (auto _ : state) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, "select VER_NO from VER", -1, &stmt, nullptr);
    benchmark::DoNotOptimize(sqlite3_step(stmt));
    sqlite3_finalize(stmt);
    sqlite3_close_v2(db);
  }
}
BENCHMARK(BM_Baseline_BareSqliteOpen)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
