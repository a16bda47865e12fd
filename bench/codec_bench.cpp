// Encoding and decoding a data set of 10,000 rows by 20 mixed columns, beside
// the same data as JSON (nlohmann-json, serialise and parse) and a memcpy of the
// encoded bytes. The ratio codec : JSON is the figure we quote.
#include <benchmark/benchmark.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "transport/codec.h"

namespace {

using namespace quillorn::transport;

constexpr int kRows = 10000;

struct Column {
  const char* name;
  TRpcFieldTypes type;
};

constexpr Column kColumns[20] = {
    {"DOC_ID", TRpcFieldTypes::ft_Integer},     {"DOC_NO", TRpcFieldTypes::ft_String},
    {"DOC_NAME", TRpcFieldTypes::ft_String},    {"VER", TRpcFieldTypes::ft_Integer},
    {"STATUS", TRpcFieldTypes::ft_String},      {"STATUS_DATE", TRpcFieldTypes::ft_DateTime},
    {"FILE_TYPE", TRpcFieldTypes::ft_Integer},  {"IS_CURRENT", TRpcFieldTypes::ft_Boolean},
    {"SIZE", TRpcFieldTypes::ft_Largeint},      {"PRICE", TRpcFieldTypes::ft_Currency},
    {"SCORE", TRpcFieldTypes::ft_Float},        {"AUTHOR", TRpcFieldTypes::ft_String},
    {"REVIEW_DATE", TRpcFieldTypes::ft_Date},   {"SEQ", TRpcFieldTypes::ft_Integer},
    {"FRAMEWORK", TRpcFieldTypes::ft_String},   {"PRINTED", TRpcFieldTypes::ft_Boolean},
    {"HASH", TRpcFieldTypes::ft_Largeint},      {"FEE", TRpcFieldTypes::ft_Currency},
    {"WEIGHT", TRpcFieldTypes::ft_Float},       {"REMARK", TRpcFieldTypes::ft_Memo},
};

struct Data {
  TRpcDataSet set;
  nlohmann::json json;
  std::string code;
  std::string json_text;
};

const Data& TestData() {
  static const Data data = [] {
    Data d;
    for (const auto& c : kColumns) d.set.AddField(c.name, c.type, 0, false);
    d.json["fields"] = nlohmann::json::array();
    for (const auto& c : kColumns) d.json["fields"].push_back({c.name, std::string(FieldTypeCode(c.type)), 0, false});
    nlohmann::json rows = nlohmann::json::array();
    for (int i = 0; i < kRows; ++i) {
      TRpcDataRow& row = d.set.AppendRow();
      nlohmann::json j = nlohmann::json::object();
      for (int c = 0; c < 20; ++c) {
        const char* n = kColumns[c].name;
        switch (kColumns[c].type) {
          case TRpcFieldTypes::ft_Integer: row.SetInteger(n, i * 7 + c); j[n] = i * 7 + c; break;
          case TRpcFieldTypes::ft_String:
          case TRpcFieldTypes::ft_Memo: {
            std::string text = std::string(n) + " value of row " + std::to_string(i) + (c == 19 ? "; with \"quotes\" and more words" : "");
            row.SetText(n, text);
            j[n] = text;
            break;
          }
          case TRpcFieldTypes::ft_DateTime:
          case TRpcFieldTypes::ft_Date: {
            const double v = 45000.0 + i + (c == 5 ? 0.375 : 0.0);
            row.SetDateTime(n, v);
            j[n] = v;
            break;
          }
          case TRpcFieldTypes::ft_Boolean: row.SetBoolean(n, i % 3 == 0); j[n] = i % 3 == 0; break;
          case TRpcFieldTypes::ft_Largeint: {
            const std::int64_t v = 1000000000000LL + i * 12345LL;
            row.SetLargeInt(n, v);
            j[n] = v;
            break;
          }
          case TRpcFieldTypes::ft_Currency: row.SetCurrency(n, 12345600 + i); j[n] = 12345600 + i; break;
          case TRpcFieldTypes::ft_Float: {
            const double v = 1.25 * i + 0.5;
            row.SetFloat(n, v);
            j[n] = v;
            break;
          }
          default: break;
        }
      }
      rows.push_back(std::move(j));
    }
    d.json["rows"] = std::move(rows);
    d.code = d.set.toCode();
    d.json_text = d.json.dump();
    return d;
  }();
  return data;
}

void BM_CodecEncode(benchmark::State& state) {
  const Data& d = TestData();
  for (auto _ : state) {
    std::string code = d.set.toCode();
    benchmark::DoNotOptimize(code.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.code.size()));
}

void BM_JsonSerialise(benchmark::State& state) {
  const Data& d = TestData();
  for (auto _ : state) {
    std::string text = d.json.dump();
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.json_text.size()));
}

void BM_CodecDecode(benchmark::State& state) {
  const Data& d = TestData();
  for (auto _ : state) {
    TRpcValue value = TRpcValue::FromCode(d.code);
    benchmark::DoNotOptimize(value.Get());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.code.size()));
}

void BM_JsonParse(benchmark::State& state) {
  const Data& d = TestData();
  for (auto _ : state) {
    nlohmann::json j = nlohmann::json::parse(d.json_text);
    benchmark::DoNotOptimize(j.size());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.json_text.size()));
}

void BM_MemcpyEncoded(benchmark::State& state) {
  const Data& d = TestData();
  std::string target(d.code.size(), '\0');
  for (auto _ : state) {
    std::memcpy(target.data(), d.code.data(), d.code.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.code.size()));
}

BENCHMARK(BM_CodecEncode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JsonSerialise)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CodecDecode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JsonParse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyEncoded)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
