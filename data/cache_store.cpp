#include "data/cache_store.h"

#include <chrono>

#include "data/cache_indexes.h"
#include "data/cache_schema.h"
#include "data/proc_name_scope.h"
#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::data {
namespace {

// How long opening waits for another process that is rebuilding the file.
constexpr std::chrono::milliseconds kRebuildWait{10000};

}  // namespace

CacheStore::CacheStore(std::string CacheDir, platform::SystemServices& System)
    : cacheDir_(std::move(CacheDir)), system_(System) {
  memoryDb_.FileName = ":memory:";
}

CacheStore::~CacheStore() { CloseCache(); }

std::string CacheStore::CacheFileName() const { return cacheDir_ + kCacheFileName; }

// A lock of its own beside the cache: locking the database file itself would
// disturb the locks SQLite keeps on it.
std::string CacheStore::LockFileName() const { return CacheFileName() + ".lock"; }

void CacheStore::CloseCache() {
  cacheDb_.Close();
  useLock_.reset();
}

void CacheStore::OpenShared() {
  if (cacheDb_.Connected()) return;
  if (!useLock_) {
    useLock_ = platform::LockFile(LockFileName(), platform::FileLock::Mode::Shared, kRebuildWait);
    if (!useLock_) throw std::runtime_error("The cache is being rebuilt by another program: " + CacheFileName());
  }
  try {
    cacheDb_.Open();
  } catch (...) {
    useLock_.reset();
    throw;
  }
  AddLookupIndexes(cacheDb_);
}

std::string CacheStore::WhyNotCurrent() {
  try {
    OpenShared();
    const ResultSet result = cacheDb_.Query("select VER_NO from VER");
    if (result.rows.empty() || result.rows[0].empty()) return "no version row";
    const Variant& value = result.rows[0][0];
    if (value.IsEmptyOrNull()) return "no version";
    if (value.AsDouble() != kCacheVersion) return "version " + value.AsString();
    return {};
  } catch (const std::exception& e) {
    // An empty, cut or overwritten file ends up here: not a readable cache.
    return e.what();
  }
}

bool CacheStore::RemoveCacheFiles() {
  if (system_.FileExists(CacheFileName()) && !system_.DeleteFile(CacheFileName())) return false;
  // What the journal left beside the file belongs to the old file only.
  system_.DeleteFile(CacheFileName() + "-wal");
  system_.DeleteFile(CacheFileName() + "-shm");
  return true;
}

void CacheStore::LoadFromCache(Table& Table) {
  if (Table.Active()) return;
  ProcNameScope procName("dm.LoadFromCache(" + Table.Name + ")");
  if (!cacheDb_.Connected()) {
    cacheDb_.FileName = CacheFileName();
    foundation::LogTrace("LoadFromCache", "... Connect to: " + cacheDb_.FileName);
    if (!system_.FileExists(cacheDb_.FileName)) {
      foundation::LogTrace("LoadFromCache", "... Cache does not exist");
      system_.CreateFolders(cacheDir_);
      // Two hosts starting together must not both make the file.
      useLock_ = platform::LockFile(LockFileName(), platform::FileLock::Mode::Exclusive, kRebuildWait);
      if (!useLock_) throw std::runtime_error("The cache is being made by another program: " + CacheFileName());
      if (!system_.FileExists(cacheDb_.FileName)) CreateCacheDB();
      useLock_->Downgrade();
    }
    const std::string why = WhyNotCurrent();
    if (!why.empty()) {
      foundation::LogTrace("LoadFromCache", "... Cache cannot be used (" + why + "): rebuilding it");
      CloseCache();
      // Where deleting an open file succeeds, the lock is what tells us that
      // another host still works on it; then it is used as it is.
      useLock_ = platform::TryLockFile(LockFileName(), platform::FileLock::Mode::Exclusive);
      const bool removed = useLock_ && RemoveCacheFiles();
      if (removed) CreateCacheDB();
      if (useLock_) useLock_->Downgrade();
      const std::string after = removed ? WhyNotCurrent() : why;
      if (!after.empty()) {
        const std::string what = removed ? "could not be rebuilt" : "could not be deleted";
        foundation::LogTrace("LoadFromCache", "... Cache " + what + ": used as it is");
        // A failed rebuild has logged its statement already. A file that stays
        // is logged once per instance: every later open meets the same file.
        if (!removed && !healFailureLogged_) {
          healFailureLogged_ = true;
          foundation::LogException(nullptr, "LoadFromCache: " + cacheDb_.FileName + " cannot be used (" + why +
                                                ") and " + what + "; it is used as it is.");
        }
      }
      OpenShared();
    }
  }
  Table.Open();
}

void CacheStore::CreateCacheDB() {
  foundation::LogTrace("CreateCacheDB", "...");
  cacheDb_.FileName = CacheFileName();
  system_.CreateFolders(cacheDir_);
  cacheDb_.Close();
  cacheDb_.Open(/*create=*/true);
  int count = 0;
  std::string sql;
  try {
    for (const TableStatement& statement : CacheTableStatements()) {
      sql = statement.sql;
      cacheDb_.Execute(sql);
      foundation::LogTrace("CreateCacheDB", std::to_string(++count));
    }
    sql = "INSERT INTO VER (VER_NO) VALUES (" + std::to_string(kCacheVersion) + ")";
    cacheDb_.Execute(sql);
    foundation::LogTrace("CreateCacheDB", std::to_string(++count));
  } catch (const std::exception& e) {
    // The file stays open as it is; the version check that follows finds it wanting.
    foundation::LogException(e, sql);
    return;
  }
  cacheDb_.Close();
}

void CacheStore::OpenMemoryTables(Table& tblWebFields, Table& tblReviewIntervals) {
  memoryDb_.Open(/*create=*/true);
  for (Table* table : {&tblWebFields, &tblReviewIntervals}) {
    for (const TableStatement& statement : MemoryTableStatements()) {
      if (foundation::SameText(statement.table, table->TableName())) memoryDb_.Execute(statement.sql);
    }
    table->Open();
  }
}

void FillReviewIntervals(Table& tblReviewIntervals) {
  Table& t = tblReviewIntervals;
  t.First();
  while (!t.IsEmpty()) t.Delete();
  auto add = [&](const Variant& id, const std::string& descript) {
    t.Append();
    t.FieldByName("id").SetValue(id);
    t.FieldByName("descript").SetValue(descript);
    t.Post();
  };
  add(Variant::Null(), "Default");
  add(std::int32_t{0}, "None");
  add(std::int32_t{1}, "1 month");
  for (std::int32_t n = 2; n <= 24; ++n) add(n, std::to_string(n) + " months");
  add(std::int32_t{25}, "3 years");
  add(std::int32_t{26}, "4 years");
  add(std::int32_t{27}, "5 years");
  t.First();
}

}  // namespace quillorn::data
