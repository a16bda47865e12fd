#include "server/catalogue.h"

#include <cstdint>
#include <string_view>

#include "server/procedure_calls.h"
#include "server/sql_dataset.h"
#include "server/upsert.h"
#include "transport/rpc_value.h"

namespace quillorn::server {
namespace {

bool IsUtf8(std::string_view bytes) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    std::size_t more = 0;
    std::uint32_t point = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    }
    if (lead >= 0xC2 && lead <= 0xDF) more = 1, point = lead & 0x1Fu;
    else if (lead >= 0xE0 && lead <= 0xEF) more = 2, point = lead & 0x0Fu;
    else if (lead >= 0xF0 && lead <= 0xF4) more = 3, point = lead & 0x07u;
    else return false;
    if (i + more >= bytes.size()) return false;
    for (std::size_t k = 1; k <= more; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      point = (point << 6) | (next & 0x3Fu);
    }
    // Overlong forms, surrogates and points past U+10FFFF are not UTF-8.
    if ((more == 2 && point < 0x800) || (more == 3 && (point < 0x10000 || point > 0x10FFFF)) ||
        (point >= 0xD800 && point <= 0xDFFF)) {
      return false;
    }
    i += more + 1;
  }
  return true;
}

void AppendUtf8(std::string& out, std::uint32_t point) {
  if (point < 0x80) {
    out += static_cast<char>(point);
  } else if (point < 0x800) {
    out += static_cast<char>(0xC0 | (point >> 6));
    out += static_cast<char>(0x80 | (point & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (point >> 12));
    out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (point & 0x3F));
  }
}

// Windows-1252 from 0x80 to 0x9F; the five holes stand for themselves, as
// Windows converts them.
constexpr std::uint16_t kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::string Utf8FromWindows1252(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 2);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    AppendUtf8(out, byte >= 0x80 && byte <= 0x9F ? kWindows1252High[byte - 0x80] : byte);
  }
  return out;
}

// The client sends "sql" as text to select and as a byte string to execsql.
// Its byte strings are in the Windows code page of the user's machine: a
// statement that is not UTF-8 already is read as Windows-1252, the Western
// code page the document service is installed with.
std::string SqlParameter(const transport::TRpcRecord& params) {
  const transport::TRpcValueObject* sql = params.Find("sql");
  if (sql == nullptr) throw StoreError(std::string(kMissingSql));
  std::string text = params.GetString("sql");
  if (sql->ValueType() == transport::TRpcValueTypes::rpc_String && !IsUtf8(text)) {
    return Utf8FromWindows1252(text);
  }
  return text;
}

}  // namespace

std::vector<std::pair<std::string, RpcFunction>> Catalogue(ServerStore& store, SqlPolicy policy) {
  std::vector<std::pair<std::string, RpcFunction>> functions;
  functions.emplace_back("youthere", [](const transport::TRpcRecord&) { return transport::BooleanValue(true); });
  functions.emplace_back("select", [&store](const transport::TRpcRecord& params) {
    // The client names the document and rights procedures as its server has them.
    return transport::TRpcValue(ToDataSet(store.Select(RewriteProcedureCalls(SqlParameter(params)))));
  });
  functions.emplace_back("execsql", [&store, policy](const transport::TRpcRecord& params) {
    const std::string sql = SqlParameter(params);
    CheckExecSql(policy, sql);
    // The page-format setting comes in the client's own server dialect.
    if (auto statements = RewriteUpsert(sql)) {
      store.ExecuteAll(*statements);
    } else {
      store.Execute(sql);
    }
    return transport::BooleanValue(true);
  });
  return functions;
}

void RegisterCatalogue(FunctionTable& table, ServerStore& store, SqlPolicy policy) {
  for (auto& [name, function] : Catalogue(store, policy)) table.Register(name, std::move(function));
}

}  // namespace quillorn::server
