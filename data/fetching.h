// Bringing the cache's tables up to date as far as the connection allows: the
// Open... routine of each table, the one "select" that fetches (waiting or not),
// and the copy of a reply's rows into the local table. The cache is the reader's
// only source: a table is always made available from the cache first, and a
// reply merges into it. Never shows anything, and never fetches FILES.
#pragma once

#include <memory>
#include <string>

#include "data/table.h"
#include "transport/dataset_monitor.h"
#include "transport/rpc_dataset.h"
#include "transport/rpc_result.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

class Tdm;

// The shared tables. A table with rows is fetched only when Refresh asks for it
// (or when its live flag is false and it is empty), and only while a server
// answers; the logo and the templates are asked for whatever the state.
void OpenDocFields(Tdm& dm, bool Refresh);
void OpenUsers(Tdm& dm, bool Refresh);
void OpenGroups(Tdm& dm, bool Refresh);
void OpenUserGroupLinks(Tdm& dm, bool Refresh);
void OpenCodes(Tdm& dm, bool Refresh);
void OpenLogo(Tdm& dm, bool Refresh);
// With Refresh, every stored template is marked old first; the reply's rows
// clear the mark, and the sweep after the reply removes what stayed marked.
void OpenTemplates(Tdm& dm, bool Refresh);
void OpenFiles(Tdm& dm);
bool OpenPublishedDocs(Tdm& dm);  // always true

// One document's record. Refresh false: whether the cache has it. Refresh true:
// online, the fetch (and, Blocking, whether the row is there afterwards);
// offline, false, after one blocking ping when Blocking and the row isn't cached.
bool OpenDoc(Tdm& dm, int DocID, bool Refresh, bool Blocking);
bool DocIsCached(Tdm& dm, int DocID);  // the current row moves to it
bool OpenDocPermissions(Tdm& dm, int DocID, int UserID, bool Refresh, bool Blocking);
bool DocPermissionsIsCached(Tdm& dm, int DocID, int UserID);
bool OpenWebForm(Tdm& dm, int DocNo, bool Refresh, bool Blocking);

// One "select". Not blocking: the reply goes to ResultObject later, and the
// result is true. Blocking: true when a data set came and was copied into Table;
// a transport failure raises.
bool FetchData(Tdm& dm, Table& Table, const std::string& SQL,
               const std::shared_ptr<transport::TRpcResult>& ResultObject, transport::TRpcDataSetMonitor* Monitor,
               bool Blocking);

// Merges the data set of RpcData into Table with the monitor switched off, so
// that the server's rows are never taken for the user's changes.
void ProcessDatasetResult(Tdm& dm, Table& Table, transport::TRpcDataSetMonitor* Monitor, transport::TRpcValue& Data,
                          transport::TRpcValue& RpcData);

// Copies the reply's rows: with key fields ("A;B") a row is matched and edited
// or appended; without, the table is emptied first. A null never overwrites a
// stored value, and a row that fails to post is logged and skipped. Returns the
// number of rows in the reply.
int CopyRpcDataSetRowsToLocal(const transport::TRpcDataSet& RpcData, Table& Table, const std::string& KeyFields);

// After a templates reply: what the reply didn't list goes.
void SweepTemplates(Tdm& dm);

}  // namespace quillorn::data
