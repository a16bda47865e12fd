// The two databases of one add-in instance: "CacheDB", the per-user cache file
// shared by every host process, and "MEMORY", this process's in-memory tables;
// with the opening, version check and rebuild of the cache file, its thinning at
// shutdown, and the one-statement helpers. Never migrates a cache: an old one is
// thrown away whole, and a file another process holds is never deleted.
#pragma once

#include <memory>
#include <string>

#include "data/sql_database.h"
#include "data/table.h"
#include "platform/file_lock.h"

namespace quillorn::data {

// What ClearOldCache needs of the rest of the system.
class CacheHousekeeping {
 public:
  virtual ~CacheHousekeeping() = default;
  virtual std::string TempDir() = 0;  // the system's temp folder, ending in a delimiter
  virtual bool FileExists(const std::string& FileName) = 0;
  virtual bool DeleteFile(const std::string& FileName) = 0;  // false when the file stays
};

// The real disk and the system's temp folder.
class DiskHousekeeping : public CacheHousekeeping {
 public:
  std::string TempDir() override;
  bool FileExists(const std::string& FileName) override;
  bool DeleteFile(const std::string& FileName) override;
};

class CacheStore {
 public:
  // CacheDir ends in a path delimiter, as the add-in's folders all do.
  explicit CacheStore(std::string CacheDir);
  ~CacheStore();
  CacheStore(const CacheStore&) = delete;
  CacheStore& operator=(const CacheStore&) = delete;

  const std::string& CacheDir() const { return cacheDir_; }
  std::string CacheFileName() const;
  Database& CacheDB() { return cacheDb_; }
  Database& MEMORY() { return memoryDb_; }

  // Opens the cache (making or remaking it when it must) and then `Table`;
  // nothing at all when `Table` is open already.
  void LoadFromCache(Table& Table);
  // Makes the cache file with every table and the version row, then closes it.
  void CreateCacheDB();
  void CloseCache();
  // Deletes the files of rows no session needs any more, where the cache itself
  // put them; keeps checked-out files and rows whose file has already gone.
  void ClearOldCache(CacheHousekeeping& Host);

  // Creates the in-memory tables where missing and opens the two table objects.
  void OpenMemoryTables(Table& tblWebFields, Table& tblReviewIntervals);

  // A lookup value is Null, a scalar, or an array by column position; empty when
  // there was nothing to ask (no cache file) or the statement failed.
  Variant cacheLookup(const std::string& SQL);
  bool cacheExecSQL(const std::string& SQL);  // never raises; false on failure
  Variant memLookup(const std::string& SQL);  // first field of the first row; raises
  bool memExecSQL(const std::string& SQL);    // raises

 private:
  std::string LockFileName() const;
  void OpenShared();
  bool VersionIsCurrent();
  bool RemoveCacheFiles();

  std::string cacheDir_;
  Database cacheDb_{"CacheDB"};
  Database memoryDb_{"MEMORY"};
  // Held while the cache is open, so that a rebuild elsewhere waits for us.
  std::unique_ptr<platform::FileLock> useLock_;
};

// The review intervals, in the order the pane lists them: Default (null id),
// None, 1 month, 2 to 24 months, 3, 4 and 5 years. For tblReviewIntervals.AfterOpen.
void FillReviewIntervals(Table& tblReviewIntervals);

std::string SqlSafeString(const std::string& S);
// Null gives Default; an array its first two elements joined by ";".
std::string MyVarToStrDef(const Variant& Value, const std::string& Default);

}  // namespace quillorn::data
