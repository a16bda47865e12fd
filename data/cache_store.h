// The two databases of one add-in instance: "CacheDB", the per-user cache file
// shared by every host process, and "MEMORY", this process's in-memory tables;
// with the opening, version check and rebuild of the cache file, its thinning at
// shutdown, and the one-statement helpers. Never migrates a cache: an old one is
// thrown away whole, and a file another process holds is never deleted.
#pragma once

#include <memory>
#include <string>

#include "data/sql_database.h"
#include "data/sql_dialect.h"
#include "data/table.h"
#include "platform/file_lock.h"
#include "platform/system_services.h"

namespace quillorn::data {

class CacheStore {
 public:
  // CacheDir ends in a path delimiter, as the add-in's folders all do. The
  // cache's own files are made, found and deleted through System, which must
  // outlive the store.
  CacheStore(std::string CacheDir, platform::SystemServices& System);
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
  // Files in the system's temp folder count as the cache's too.
  void ClearOldCache();

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
  // Empty when the cache is open and of this version; else why it is not:
  // an old version, no version, or the failure to open or read it at all.
  std::string WhyNotCurrent();
  bool RemoveCacheFiles();

  std::string cacheDir_;
  platform::SystemServices& system_;
  Database cacheDb_{"CacheDB"};
  Database memoryDb_{"MEMORY"};
  // Held while the cache is open, so that a rebuild elsewhere waits for us.
  std::unique_ptr<platform::FileLock> useLock_;
  bool healFailureLogged_ = false;
};

// The review intervals, in the order the pane lists them: Default (null id),
// None, 1 month, 2 to 24 months, 3, 4 and 5 years. For tblReviewIntervals.AfterOpen.
void FillReviewIntervals(Table& tblReviewIntervals);

// Null gives Default; an array its first two elements joined by ";".
std::string MyVarToStrDef(const Variant& Value, const std::string& Default);

}  // namespace quillorn::data
