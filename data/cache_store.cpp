#include "data/cache_store.h"

#include <chrono>
#include <filesystem>
#include <system_error>

#include "data/cache_schema.h"
#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::data {
namespace {

// How long opening waits for another process that is rebuilding the file.
constexpr std::chrono::milliseconds kRebuildWait{10000};

// Puts ProcName back however the routine ends.
class ProcNameScope {
 public:
  explicit ProcNameScope(std::string name) : saved_(foundation::CurrentContext().ProcName) {
    foundation::CurrentContext().ProcName = std::move(name);
  }
  ~ProcNameScope() { foundation::CurrentContext().ProcName = saved_; }
  ProcNameScope(const ProcNameScope&) = delete;
  ProcNameScope& operator=(const ProcNameScope&) = delete;

 private:
  std::string saved_;
};

}  // namespace

CacheStore::CacheStore(std::string CacheDir) : cacheDir_(std::move(CacheDir)) { memoryDb_.FileName = ":memory:"; }

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
}

bool CacheStore::VersionIsCurrent() {
  try {
    OpenShared();
    const ResultSet result = cacheDb_.Query("select VER_NO from VER");
    if (result.rows.empty() || result.rows[0].empty()) return false;
    const Variant& value = result.rows[0][0];
    return !value.IsEmptyOrNull() && value.AsDouble() == kCacheVersion;
  } catch (const std::exception&) {
    return false;
  }
}

bool CacheStore::RemoveCacheFiles() {
  std::error_code ec;
  const std::filesystem::path file = foundation::PathFromUtf8(CacheFileName());
  if (std::filesystem::exists(file, ec) && !std::filesystem::remove(file, ec)) return false;
  if (ec) return false;
  // What the journal left beside the file belongs to the old file only.
  std::filesystem::remove(foundation::PathFromUtf8(CacheFileName() + "-wal"), ec);
  std::filesystem::remove(foundation::PathFromUtf8(CacheFileName() + "-shm"), ec);
  return true;
}

void CacheStore::LoadFromCache(Table& Table) {
  if (Table.Active()) return;
  ProcNameScope procName("dm.LoadFromCache(" + Table.Name + ")");
  if (!cacheDb_.Connected()) {
    cacheDb_.FileName = CacheFileName();
    foundation::LogTrace("LoadFromCache", "... Connect to: " + cacheDb_.FileName);
    if (!foundation::FileExists(cacheDb_.FileName)) {
      foundation::LogTrace("LoadFromCache", "... Cache does not exist");
      std::error_code ec;
      std::filesystem::create_directories(foundation::PathFromUtf8(cacheDir_), ec);
      // Two hosts starting together must not both make the file.
      useLock_ = platform::LockFile(LockFileName(), platform::FileLock::Mode::Exclusive, kRebuildWait);
      if (!useLock_) throw std::runtime_error("The cache is being made by another program: " + CacheFileName());
      if (!foundation::FileExists(cacheDb_.FileName)) CreateCacheDB();
      useLock_->Downgrade();
    }
    if (!VersionIsCurrent()) {
      CloseCache();
      // Where deleting an open file succeeds, the lock is what tells us that
      // another host still works on it; then it is used as it is.
      useLock_ = platform::TryLockFile(LockFileName(), platform::FileLock::Mode::Exclusive);
      if (useLock_ && RemoveCacheFiles()) CreateCacheDB();
      if (useLock_) useLock_->Downgrade();
      OpenShared();
    }
  }
  Table.Open();
}

void CacheStore::CreateCacheDB() {
  foundation::LogTrace("CreateCacheDB", "...");
  cacheDb_.FileName = CacheFileName();
  std::error_code ec;
  std::filesystem::create_directories(foundation::PathFromUtf8(cacheDir_), ec);
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
