#include "data/tdm.h"

#include <exception>
#include <utility>

#include "foundation/log.h"

namespace quillorn::data {

namespace {

using foundation::LogTrace;

// The cache's housekeeping on this instance's system services.
class SystemHousekeeping final : public CacheHousekeeping {
 public:
  explicit SystemHousekeeping(platform::SystemServices& system) : system_(system) {}
  std::string TempDir() override { return system_.TempFolder(); }
  bool FileExists(const std::string& FileName) override { return system_.FileExists(FileName); }
  bool DeleteFile(const std::string& FileName) override { return system_.DeleteFile(FileName); }

 private:
  platform::SystemServices& system_;
};

void MarkTemplateCurrent(Table& table) { table.FieldByName("OLD").SetValue(Variant(false)); }

}  // namespace

Tdm::Tdm(TdmFolders Folders, bool IsCloudPlatform, platform::MainLoop& Loop, platform::SystemServices& System,
         foundation::LogContext& Context)
    : Settings(Folders.AppDir, Folders.AppDataDir),
      Cache(Folders.CacheDir),
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
      folders_(std::move(Folders)),
      isCloudPlatform_(IsCloudPlatform),
      system_(System),
      context_(Context) {
  tblTemplates.AfterEdit = MarkTemplateCurrent;
  tblTemplates.AfterInsert = MarkTemplateCurrent;
  tblReviewIntervals.AfterOpen = FillReviewIntervals;
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
  SystemHousekeeping housekeeping(system_);
  Cache.ClearOldCache(housekeeping);
}

void Tdm::CommitCache() {
  foundation::ContextScope scope(context_);
  if (!Connection.mIsServerReachable) return;
  const std::string previous = std::exchange(context_.ProcName, "dm.CommitCache");
  LogTrace("CommitCache", "");
  context_.ProcName = previous;
}

void Tdm::ShutDown() {
  foundation::ContextScope scope(context_);
  // First, so that the disconnect that follows does not start the ping again.
  Connection.mShutDown = true;
  LogTrace("Tdm.ShutDown...", "");
  Cache.CloseCache();
  Connection.Stop();
}

void Tdm::RequestFetch(const char* Routine) { requestedFetches_.emplace_back(Routine); }

void Tdm::RefetchStaleData() {
  if (!mDocFieldsLive) RequestFetch("OpenDocFields");
  if (!mUsersLive) RequestFetch("OpenUsers");
  if (!mUserGroupLinksLive) RequestFetch("OpenUserGroupLinks");
  if (!mGroupsLive) RequestFetch("OpenGroups");
  if (!mCodesLive) RequestFetch("OpenCodes");
  if (!mTemplatesLive) RequestFetch("OpenTemplates");
}

void Tdm::ServerReachable(bool Reachable) {
  if (FReachableEvent) FReachableEvent(*this, Reachable);
}

}  // namespace quillorn::data
