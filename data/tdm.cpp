#include "data/tdm.h"

#include <exception>
#include <utility>

#include "data/doc_readers.h"
#include "data/fetching.h"
#include "foundation/log.h"

namespace quillorn::data {

namespace {

using foundation::LogTrace;

void MarkTemplateCurrent(Table& table) { table.FieldByName("OLD").SetValue(Variant(false)); }

}  // namespace

Tdm::Tdm(TdmFolders Folders, bool IsCloudPlatform, platform::MainLoop& Loop, platform::SystemServices& System,
         foundation::LogContext& Context)
    : Settings(Folders.AppDir, Folders.AppDataDir),
      Cache(Folders.CacheDir, System),
      Connection(Loop, Settings, Context, *this),
      tblDoc(Cache.CacheDB(), "DOCS", "DOC_ID", "tblDoc"),
      tblDocFields(Cache.CacheDB(), "DOCFIELDS", "", "tblDocFields"),
      tblUsers(Cache.CacheDB(), "USERS", "", "tblUsers"),
      tblCodes(Cache.CacheDB(), "CODES", "", "tblCodes"),
      tblFiles(Cache.CacheDB(), "FILES", "FILENAME", "tblFiles"),
      tblTemplates(Cache.CacheDB(), "TEMPLATES", "DOC_NO", "tblTemplates"),
      tblDocPermissions(Cache.CacheDB(), "DOC_PERMISSIONS", "DOC_ID;USER_ID", "tblDocPermissions"),
      tblWebForm(Cache.CacheDB(), "FORMS", "DOC_NO", "tblWebForm"),
      tblPublishedDocs(Cache.CacheDB(), "PUBLISHED_DOCS", "DOC_NO;SOURCE_TYPE", "tblPublishedDocs"),
      tblLogo(Cache.CacheDB(), "logo", "", "tblLogo"),
      tblGroups(Cache.CacheDB(), "GROUPS", "", "tblGroups"),
      tblUserGroupLinks(Cache.CacheDB(), "USER_GROUP_LINKS", "", "tblUserGroupLinks"),
      tblWebFields(Cache.MEMORY(), "WebFields", "", "tblWebFields"),
      tblReviewIntervals(Cache.MEMORY(), "ReviewIntervals", "", "tblReviewIntervals"),
      qApprovalUsers(Cache.CacheDB(), kApprovalUsersSql, "qApprovalUsers"),
      Capture(*this),
      Commit(*this),
      folders_(std::move(Folders)),
      isCloudPlatform_(IsCloudPlatform),
      system_(System),
      context_(Context) {
  tblTemplates.AfterEdit = MarkTemplateCurrent;
  tblTemplates.AfterInsert = MarkTemplateCurrent;
  tblReviewIntervals.AfterOpen = FillReviewIntervals;
  tblDocCalcFields(*this);
  // The commit's replies on the connection's result object.
  Connection.OnOtherCommitReturn = [this](transport::TRpcClientModule*, transport::TRpcValue& Data,
                                          transport::TRpcValue& Result) {
    const std::string function = Data.ValueType() == transport::TRpcValueTypes::rpc_Function
                                     ? Data.AsFunction().Name() : std::string();
    if (function == "submit") Commit.ProcessSubmitResult(Result);
    if (function == "sendfile") Commit.ProcessSendFileResult(Result);
  };
  Connection.OnOtherCommitAborted = [this](transport::TRpcValue& Data) {
    const std::string function = Data.ValueType() == transport::TRpcValueTypes::rpc_Function
                                     ? Data.AsFunction().Name() : std::string();
    if (function == "submit") {
      Commit.ProcessSubmitAborted("");
    } else {
      foundation::LogException(nullptr, "Error communicating with the Server.");
    }
  };
  WireFetchResults(*this);
  DataModuleCreate();
}

Tdm::~Tdm() { DataModuleDestroy(); }

void Tdm::DataModuleCreate() {
  foundation::ContextScope scope(context_);
  context_.ProcName = "dm.DataModuleCreate";
  LogTrace("Tdm Create", "");
  // The cloud folders (traced there) and the tether ports; a bad range raises
  // and the module is not made.
  Settings.ReadQuillornIni(isCloudPlatform_);
  Settings.InitConnectionSettings();
  Cache.OpenMemoryTables(tblWebFields, tblReviewIntervals);
  context_.ProcName.clear();
  TempFiles.clear();
}

void Tdm::DataModuleDestroy() {
  foundation::ContextScope scope(context_);
  LogTrace("DataModuleDestroy", "");
  for (const std::string& name : TempFiles) {
    LogTrace("DeleteFile", name);
    if (!system_.DeleteFile(name)) LogTrace("Could not delete file:", name);
  }
  TempFiles.clear();
}

void Tdm::ClearOldCache() {
  foundation::ContextScope scope(context_);
  Cache.ClearOldCache();
}

void Tdm::CommitCache() {
  foundation::ContextScope scope(context_);
  // Also the reconnect's last step, run from the loop: nothing may escape here.
  try {
    Commit.CommitCache();
  } catch (const std::exception& e) {
    foundation::LogException(e, "CommitCache");
  }
}

void Tdm::ShutDown() {
  foundation::ContextScope scope(context_);
  // First, so that the disconnect that follows does not start the ping again.
  Connection.mShutDown = true;
  LogTrace("Tdm.ShutDown...", "");
  Cache.CloseCache();
  Connection.Stop();
}

void Tdm::RefetchStaleData() {
  // Refresh: these tables still hold the cache's copy, rows or not. One failing
  // fetch must not keep the others from going out.
  auto fetch = [this](void (*open)(Tdm&, Fetch), const char* name) {
    try {
      open(*this, Fetch::Refresh);
    } catch (const std::exception& e) {
      foundation::LogException(e, name);
    }
  };
  if (!Live.mDocFieldsLive) fetch(OpenDocFields, "OpenDocFields");
  if (!Live.mUsersLive) fetch(OpenUsers, "OpenUsers");
  if (!Live.mUserGroupLinksLive) fetch(OpenUserGroupLinks, "OpenUserGroupLinks");
  if (!Live.mGroupsLive) fetch(OpenGroups, "OpenGroups");
  if (!Live.mCodesLive) fetch(OpenCodes, "OpenCodes");
  if (!Live.mTemplatesLive) fetch(OpenTemplates, "OpenTemplates");
}

void Tdm::ServerReachable(bool Reachable) {
  if (FReachableEvent) FReachableEvent(*this, Reachable);
}

}  // namespace quillorn::data
