// Committing deltas that waited offline: 1,000 delta files sent by CommitToServer
// in one batch to the loopback reference server, beside the baseline of one
// blocking "submit" of the same record, 1,000 times over the same connection.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>

#include "data/change_capture.h"
#include "data/settings.h"
#include "data/tdm.h"
#include "foundation/context.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/queue_main_loop.h"
#include "platform/system_services.h"
#include "server/catalogue.h"
#include "server/function_table.h"
#include "server/rpc_server.h"
#include "server/store.h"
#include "server/submit_functions.h"
#include "transport/rpc_dataset.h"

namespace {

using namespace quillorn;
using foundation::testing::TempFolder;
using foundation::testing::WriteAll;

constexpr int kDeltas = 1000;

// One edited document record, as the monitor writes it: the row before and after.
std::string UpdateCode(int docId) {
  auto actions = std::make_unique<transport::TRpcArray>();
  actions->Append(transport::IntegerValue(2));
  auto rows = std::make_unique<transport::TRpcDataSet>();
  rows->AddField("DOC_ID", transport::TRpcFieldTypes::ft_Integer);
  rows->AddField("DOC_NAME", transport::TRpcFieldTypes::ft_String, 512);
  rows->AddField("STATUS", transport::TRpcFieldTypes::ft_String, 1);
  for (const char* status : {"A", "E"}) {
    auto& row = rows->AppendRow();
    row.SetInteger("DOC_ID", docId);
    row.SetText("DOC_NAME", "Procedure " + std::to_string(docId) + " for controlled documents");
    row.SetText("STATUS", status);
  }
  auto record = std::make_unique<transport::TRpcArray>();
  record->Append(std::move(actions));
  record->Append(std::move(rows));
  return transport::TRpcValue(std::move(record)).toCode();
}

// The server with its documents, and one add-in instance connected to it.
struct Rig {
  Rig() : store(serverFolder.Path()) {
    store.Execute("CREATE TABLE DOCS (DOC_ID INTEGER PRIMARY KEY, DOC_NAME VARCHAR(512), STATUS CHAR(1))");
    store.Execute("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i+1 FROM n WHERE i<" +
                  std::to_string(kDeltas - 1) + ") INSERT INTO DOCS SELECT i, 'Procedure', 'A' FROM n");
    server::FunctionTable functions;
    server::RegisterCatalogue(functions, store);
    server::RegisterSubmitFunctions(functions, store);
    rpc = std::make_unique<server::RpcServer>(server::ServerOptions{}, std::move(functions));
    const int port = rpc->Start();
    cache = clientFolder.Dir() + "Cache/";
    std::filesystem::create_directories(cache);
    WriteAll(clientFolder.Path() / data::kAddInIniName,
             "[Connection Settings]\r\nPort=" + std::to_string(port) + "\r\nLocal_Address=127.0.0.1\r\n");
    dm = std::make_unique<data::Tdm>(data::TdmFolders{clientFolder.Dir(), clientFolder.Dir(), cache}, false, loop,
                                     system, context);
    replied = loop.CreateEvent();
    auto handler = dm->Connection.ResultFromCommitToServer->OnReturn;
    dm->Connection.ResultFromCommitToServer->OnReturn = [this, handler](transport::TRpcClientModule* sender,
                                                                        transport::TRpcValue& d,
                                                                        transport::TRpcValue& r) {
      handler(sender, d, r);
      if (++replies >= kDeltas) replied->Set();
    };
    if (!dm->ConnectToServer(true)) throw std::runtime_error("the loopback server does not answer");
    dm->LoadFromCache(dm->tblFiles);
  }
  ~Rig() {
    dm->ShutDown();
    dm.reset();
    rpc->Stop();
  }

  // 1,000 waiting deltas with their CACHELOG rows.
  void WriteDeltas() {
    std::string rows;
    for (int i = 0; i < kDeltas; ++i) {
      char name[32];
      std::snprintf(name, sizeof name, "DOCS.%.3d", i);
      WriteAll(cache + name, UpdateCode(i));
      rows += std::string(rows.empty() ? "" : ",") + "('" + name + "', 5)";
    }
    dm->Cache.CacheDB().Execute("insert into CACHELOG (FILENAME, USER_ID) values " + rows);
  }

  TempFolder serverFolder;
  TempFolder clientFolder;
  server::ServerStore store;
  std::unique_ptr<server::RpcServer> rpc;
  std::string cache;
  foundation::LogContext context;
  platform::QueueMainLoop loop;
  platform::FakeSystemServices system;
  std::unique_ptr<data::Tdm> dm;
  std::unique_ptr<platform::WaitEvent> replied;
  int replies = 0;
};

void BM_CommitToServer1000Deltas(benchmark::State& state) {
  Rig rig;
  for (auto _ : state) {
    state.PauseTiming();
    rig.WriteDeltas();
    rig.replies = 0;
    rig.replied->Reset();
    state.ResumeTiming();
    rig.dm->CommitToServer("DOCS", "DOC_ID");
    if (rig.loop.Wait(*rig.replied, 120000) != platform::MainLoop::WaitResult::Signaled) {
      state.SkipWithError("the replies did not all come back");
      break;
    }
  }
  state.counters["deltas/s"] = benchmark::Counter(static_cast<double>(state.iterations() * kDeltas),
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CommitToServer1000Deltas)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

void BM_BaselineOneSubmitTimes1000(benchmark::State& state) {
  Rig rig;
  const std::string code = UpdateCode(7);
  transport::TRpcClientModule& module = rig.dm->Connection.ClientModule;
  for (auto _ : state) {
    for (int i = 0; i < kDeltas; ++i) {
      transport::TRpcFunctionInfo& call = module.Prepare("submit");
      call.SetInteger("user_id", 5);
      call.SetText("table", "DOCS");
      call.SetText("keyfields", "DOC_ID");
      call.SetText("logname", "DOCS.000");
      call.SetCode("change_data", code);
      benchmark::DoNotOptimize(module.Execute(true, 30, true));
    }
  }
  state.counters["deltas/s"] = benchmark::Counter(static_cast<double>(state.iterations() * kDeltas),
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_BaselineOneSubmitTimes1000)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
