// A cache file that is no readable cache and cannot be deleted (a host holds
// it open): the cache says so once in the exception log, however often the
// add-in tries to open it, and shows nothing. The rebuilding path itself is
// shown end to end by tests/scenarios/cache_heals.scn.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "data/cache_store.h"
#include "data/table.h"
#include "foundation/context.h"
#include "foundation/log.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/faulty_files.h"

namespace quillorn {
namespace {

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

TEST(CacheHeal, AnUndeletableDamagedCacheIsLoggedOnceAndUsedAsItIs) {
  foundation::testing::TempFolder folder;
  foundation::LogContext context;
  context.AppDir = folder.Dir();
  context.AppDataDir = folder.Dir();
  foundation::ContextScope scope(context);

  const std::unique_ptr<platform::SystemServices> system = platform::CreateSystemServices();
  platform::FaultyFiles files(*system);
  files.Add({.kind = platform::FileFault::Kind::DeleteRefused, .nameContains = "cache.dat", .times = -1});
  const std::string cacheDir = folder.Dir() + "Cache/";
  files.CreateFolders(cacheDir);
  ASSERT_TRUE(files.WriteFile(cacheDir + "cache.dat", std::string(8192, 'x')));

  data::CacheStore cache(cacheDir, files);
  data::Table tblFiles(cache.CacheDB(), "FILES", "FILENAME", "tblFiles");
  for (int attempt = 0; attempt < 3; ++attempt) EXPECT_ANY_THROW(cache.LoadFromCache(tblFiles));

  const std::string except = foundation::testing::ReadAll(folder.Path() / foundation::kExceptFileName);
  EXPECT_EQ(Count(except, "cannot be used"), 1u) << except;
  EXPECT_EQ(Count(except, "cache.dat cannot be used (CacheDB: file is not a database"), 1u) << except;
  EXPECT_EQ(Count(except, "could not be deleted; it is used as it is."), 1u) << except;
  std::string still;
  ASSERT_TRUE(files.ReadFile(cacheDir + "cache.dat", still));
  EXPECT_EQ(still, std::string(8192, 'x'));
}

}  // namespace
}  // namespace quillorn
