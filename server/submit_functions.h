// The reference server's side of the commit: "submit" applies a client's change
// record (inserts, updates with their before rows, deletes) to a table of the
// store, matching rows by the key fields; "sendfile" keeps a document's file in
// the data folder. A record that cannot be applied is the call's exception;
// nothing here ever writes outside the named table and the files folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/function_table.h"
#include "server/sql_policy.h"
#include "server/store.h"
#include "transport/rpc_value.h"

namespace quillorn::server {

// The change record's actions.
inline constexpr std::int32_t kActionInsert = 1;
inline constexpr std::int32_t kActionUpdate = 2;
inline constexpr std::int32_t kActionDelete = 3;

// The folder of the data folder where sent files are kept, one per document id.
inline constexpr std::string_view kFilesFolder = "files";

// What one record did to the table, action by action.
struct ApplyCounts {
  int Inserted = 0;
  int Updated = 0;
  int Deleted = 0;
  bool operator==(const ApplyCounts&) const = default;
};

// Applies `change` (AR[actions, data set], or null for nothing) to `table`.
// KeyFields "A;B" match rows by those fields; without them a row is matched by
// all its recorded fields. Fields the table lacks are the client's own and are
// left out. Document fields sent under CODES are its "DOC_FIELD" rows. An
// update of a row the store lacks inserts it. Raises StoreError.
ApplyCounts ApplyChangeRecord(ServerStore& store, std::string_view table, std::string_view keyFields,
                              const transport::TRpcValueObject* change);

// Where the file of `docId` is kept under `dataFolder`.
std::filesystem::path SentFilePath(const std::filesystem::path& dataFolder, std::int32_t docId);

// "submit" and "sendfile" by name; `store` must outlive them. Sent files go
// beside the store's database; "submit" changes the tables `policy` allows.
std::vector<std::pair<std::string, RpcFunction>> SubmitFunctions(ServerStore& store,
                                                                 SqlPolicy policy = SqlPolicy::AnyStatement);
void RegisterSubmitFunctions(FunctionTable& table, ServerStore& store,
                             SqlPolicy policy = SqlPolicy::AnyStatement);

}  // namespace quillorn::server
