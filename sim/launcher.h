// The desktop program's part in the simulation: it puts a document's file in
// the cache folder (the server's stored revision when there is one, else a new
// simulated document carrying its cmsID), copies the document's records into
// the shared cache as it fetched them, and announces the file in FILES before
// a host opens it. It never drives a host or an add-in itself.
#pragma once

#include <cstdint>
#include <string>

namespace quillorn::sim {

class Simulation;

struct Announcement {
  std::int32_t DocId = 0;
  std::string FileName;  // full path, in the cache folder
  std::int32_t UserId = 0;
  bool ReadOnly = false;
  bool Print = false;
  bool PrintControlled = false;
  bool CheckedOut = false;
};

// What the desktop program did to place a file.
struct Placement {
  bool FromServer = false;      // the server's stored revision, not a new document
  bool RecordsCached = false;   // the document's rows were copied into the cache
  std::string CmsId;            // the value the file carries
};

class SimLauncher {
 public:
  explicit SimLauncher(Simulation& sim) : sim_(sim) {}

  // Places the file, caches the records while the server runs, and writes the
  // FILES row (INIT false) in place of any row of that name.
  Placement Announce(const Announcement& a);

  // A copy taken out of the system into `path` (an export or a check-out):
  // the file carries cmsID, with ";" and the user when `userId` is not 0, and
  // no FILES row is written. With `records` the document's records are cached
  // as for an announcement (a desktop program that still has them).
  Placement PlaceCopy(std::int32_t docId, std::int32_t userId, const std::string& path, bool records);

 private:
  Placement PlaceFile(std::int32_t docId, const std::string& cmsId, const std::string& path);
  bool CacheRecords(std::int32_t docId, std::int32_t userId);

  Simulation& sim_;
};

}  // namespace quillorn::sim
