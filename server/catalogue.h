// The reference server's remote functions over its store: "youthere", "select"
// and "execsql", with the parameter names and result shapes the client relies
// on. A refused or failed statement becomes the call's exception, never a reply.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "server/function_table.h"
#include "server/sql_policy.h"
#include "server/store.h"

namespace quillorn::server {

inline constexpr std::string_view kMissingSql = "The parameter sql is missing.";

// Each function by name; `store` must outlive them. "execsql" runs what
// `policy` allows: the program allows only the client's own statements unless
// told otherwise; tests and the simulator, which build their schemas through
// it, take any.
std::vector<std::pair<std::string, RpcFunction>> Catalogue(ServerStore& store,
                                                           SqlPolicy policy = SqlPolicy::AnyStatement);

// Registers the whole catalogue as it stands.
void RegisterCatalogue(FunctionTable& table, ServerStore& store, SqlPolicy policy = SqlPolicy::AnyStatement);

}  // namespace quillorn::server
