// Sessions: the cipher beside memcpy, body packing beside raw zlib at the same
// level, and loopback round trips of "youthere" and a 1,000-row reply (the
// handshake is done before timing starts).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "platform/queue_main_loop.h"
#include "server/function_table.h"
#include "server/rpc_server.h"
#include "transport/message_body.h"
#include "transport/rpc_client_module.h"
#include "transport/rpc_crypt.h"
#include "transport/rpc_dataset.h"

namespace {

using namespace quillorn;

constexpr std::size_t kCipherBytes = 64u << 20;

void BM_MemcpyBaseline(benchmark::State& state) {
  std::vector<char> src(kCipherBytes, 'a'), dst(kCipherBytes);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kCipherBytes));
}
BENCHMARK(BM_MemcpyBaseline)->Unit(benchmark::kMillisecond);

void BM_CipherEncrypt(benchmark::State& state) {
  std::string data(kCipherBytes, '\0');
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>((i * 131) >> 3);
  transport::TRpcCrypt crypt(std::string("K7r@vQ2x") + "12345678");
  for (auto _ : state) {
    crypt.Encrypt(data);
    benchmark::DoNotOptimize(data.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kCipherBytes));
}
BENCHMARK(BM_CipherEncrypt)->Unit(benchmark::kMillisecond);

// A "select"-shaped reply's code, the typical large body.
std::string RowsCode(int rows) {
  transport::TRpcDataSet set;
  set.AddField("DOC_ID", transport::TRpcFieldTypes::ft_Integer);
  set.AddField("DOC_NAME", transport::TRpcFieldTypes::ft_String, 512);
  set.AddField("STATUS", transport::TRpcFieldTypes::ft_String, 1);
  for (int i = 0; i < rows; ++i) {
    auto& row = set.AppendRow();
    row.SetInteger("DOC_ID", 1000 + i);
    row.SetText("DOC_NAME", "Procedure " + std::to_string(i) + " for controlled documents");
    row.SetText("STATUS", i % 3 ? "A" : "E");
  }
  return set.toCode();
}

void BM_ZlibBaseline(benchmark::State& state) {
  const std::string code = RowsCode(1000);
  for (auto _ : state) benchmark::DoNotOptimize(transport::ZlibCompress(code, 9));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * code.size()));
}
BENCHMARK(BM_ZlibBaseline)->Unit(benchmark::kMicrosecond);

void BM_PackBody(benchmark::State& state) {
  const std::string code = RowsCode(1000);
  for (auto _ : state) benchmark::DoNotOptimize(transport::PackCode(code, transport::TRpcCompressLevel::cMax));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * code.size()));
}
BENCHMARK(BM_PackBody)->Unit(benchmark::kMicrosecond);

struct Loopback {
  Loopback() : server({}, Functions()) {
    client.SetServerAddr("127.0.0.1");
    client.SetServerPort(std::to_string(server.Start()));
    module.ModuleFileName = "/cms";
    module.Compression = transport::TRpcCompressLevel::cMax;
    module.EncryptionKey = 8;
    module.SecureKey = "K7r@vQ2x";
    module.AutoSessions = true;
    module.AutoRepost = 2;
    Call("youthere");  // the handshake, outside the timing
  }
  static server::FunctionTable Functions() {
    server::FunctionTable table;
    server::RegisterDefaultFunctions(table);
    const std::string rows = RowsCode(1000);
    table.Register("select", [rows](const transport::TRpcRecord&) {
      return transport::TRpcValue::FromCode(rows);
    });
    return table;
  }
  transport::TRpcValue Call(const char* name) {
    module.Prepare(name);
    return module.Execute(true, 10, true);
  }
  platform::QueueMainLoop loop;
  server::RpcServer server;
  transport::TRpcHttpClient client{loop};
  transport::TRpcClientModule module{client};
};

void RoundTrip(benchmark::State& state, const char* function) {
  Loopback lb;
  std::vector<double> ms;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(lb.Call(function));
    ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(ms.begin(), ms.end());
  state.counters["p50_ms"] = ms[ms.size() / 2];
  state.counters["p99_ms"] = ms[std::min(ms.size() - 1, ms.size() * 99 / 100)];
}
void BM_RoundTripYouthere(benchmark::State& state) { RoundTrip(state, "youthere"); }
void BM_RoundTripSelect1000(benchmark::State& state) { RoundTrip(state, "select"); }
BENCHMARK(BM_RoundTripYouthere)->Unit(benchmark::kMillisecond)->Iterations(300);
BENCHMARK(BM_RoundTripSelect1000)->Unit(benchmark::kMillisecond)->Iterations(300);

}  // namespace

BENCHMARK_MAIN();
