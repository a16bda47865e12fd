#include "server/catalogue.h"

#include "server/sql_dataset.h"
#include "transport/rpc_value.h"

namespace quillorn::server {
namespace {

// The client sends "sql" as text to select and as a string to execsql; either reads as UTF-8.
std::string SqlParameter(const transport::TRpcRecord& params) {
  if (params.GetNull("sql")) throw StoreError(std::string(kMissingSql));
  return params.GetString("sql");
}

}  // namespace

std::vector<std::pair<std::string, RpcFunction>> Catalogue(ServerStore& store) {
  std::vector<std::pair<std::string, RpcFunction>> functions;
  functions.emplace_back("youthere", [](const transport::TRpcRecord&) { return transport::BooleanValue(true); });
  functions.emplace_back("select", [&store](const transport::TRpcRecord& params) {
    return transport::TRpcValue(ToDataSet(store.Select(SqlParameter(params))));
  });
  functions.emplace_back("execsql", [&store](const transport::TRpcRecord& params) {
    store.Execute(SqlParameter(params));
    return transport::BooleanValue(true);
  });
  return functions;
}

void RegisterCatalogue(FunctionTable& table, ServerStore& store) {
  for (auto& [name, function] : Catalogue(store)) table.Register(name, std::move(function));
}

}  // namespace quillorn::server
