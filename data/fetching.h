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

// How an Open... routine treats the server.
enum class Fetch {
  // The cache's rows; a shared set is asked for only when it is not live and
  // the cache has no rows of it. A single record is never asked for.
  IfNeeded,
  // The server is asked for the rows, whatever the cache holds.
  Refresh,
  // The cache's rows count as the server's until the next return online: the
  // set is made live and nothing is asked. A document's first handling loads
  // so, never waiting for a server.
  CacheIsCurrent,
};

// Whether a fetch waits for the server's answer (a blocking call) or lets the
// answer land in the table when it comes.
enum class Wait { No, ForAnswer };

// Which shared sets were read from the server in this online spell. False: the
// cache's copy is in use, and a return to online fetches it.
struct LiveSets {
  bool mUsersLive = false;
  bool mGroupsLive = false;
  bool mUserGroupLinksLive = false;
  bool mTemplatesLive = false;
  bool mCodesLive = false;
  bool mDocFieldsLive = false;
  bool mLogoLive = false;
  bool mWebFormLive = false;  // raised only by a document's first handling
};

// The shared tables. A table with rows is fetched only when Refresh asks for it
// (or when the set is not live and the table is empty), and only while a server
// answers; the logo and the templates are asked for whatever the state.
void OpenDocFields(Tdm& dm, Fetch How);
void OpenUsers(Tdm& dm, Fetch How);
void OpenGroups(Tdm& dm, Fetch How);
void OpenUserGroupLinks(Tdm& dm, Fetch How);
void OpenCodes(Tdm& dm, Fetch How);
void OpenLogo(Tdm& dm, Fetch How);
// With Refresh, every stored template is marked old first; the reply's rows
// clear the mark, and the sweep after the reply removes what stayed marked.
void OpenTemplates(Tdm& dm, Fetch How);
void OpenFiles(Tdm& dm);
bool OpenPublishedDocs(Tdm& dm);  // always true

// One document's record. IfNeeded: whether the cache has it. Refresh: online,
// the fetch (and, waiting, whether the row is there afterwards); offline,
// false, after one blocking ping when waiting and the row isn't cached.
bool OpenDoc(Tdm& dm, int DocID, Fetch How, Wait Waiting);
bool DocIsCached(Tdm& dm, int DocID);  // the current row moves to it
bool OpenDocPermissions(Tdm& dm, int DocID, int UserID, Fetch How, Wait Waiting);
bool DocPermissionsIsCached(Tdm& dm, int DocID, int UserID);
bool OpenWebForm(Tdm& dm, int DocNo, Fetch How, Wait Waiting);

// One "select". Not waiting: the reply goes to ResultObject later, and the
// result is true. Waiting: true when a data set came and was copied into Table;
// a transport failure raises.
bool FetchData(Tdm& dm, Table& Table, const std::string& SQL,
               const std::shared_ptr<transport::TRpcResult>& ResultObject, transport::TRpcDataSetMonitor* Monitor,
               Wait Waiting);

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
