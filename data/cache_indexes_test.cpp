#include "data/cache_indexes.h"

#include <gtest/gtest.h>

#include <string>

#include "data/cache_schema.h"
#include "data/cache_store.h"
#include "foundation/context.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/real_files_for_test.h"

namespace quillorn::data {
namespace {

// A cache of this version made before the indexes existed gains them when it is
// opened, and every lookup the add-in makes on it then searches instead of scanning.
TEST(CacheIndexesTest, AnExistingCacheGainsThemAndEveryLookupSearches) {
  foundation::testing::TempFolder folder;
  foundation::LogContext context;
  context.AppDataDir = folder.Dir();
  foundation::ContextScope scope(context);
  CacheStore store(folder.Dir(), platform::testing::RealFiles());
  store.CreateCacheDB();  // closes the file again: it has only the tables
  Database bare("CacheDB");
  bare.FileName = store.CacheFileName();
  bare.Open();
  EXPECT_EQ(bare.Query("select count(*) from sqlite_master where type='index' and name like '%IDX'").rows[0][0],
            Variant(0));
  bare.Close();

  EXPECT_EQ(store.cacheLookup("select VER_NO from VER"), Variant(kCacheVersion));
  for (const char* lookup : {
           "select val from codes where d_type='WEB_SERVER' and code='URL'",
           "select user_id, web_password from users where login='jbloggs'",
           "select USER_ID from CACHELOG where FILENAME = 'delta-1.dat'",
           "select count(doc_id) from FILES where INIT=true and SESSION_ID=123456",
           "delete from FILES where (CHECKED_OUT=true or CACHED=false) and SESSION_ID=123456",
           "delete from FILES where doc_id=42",
           "select doc_no from templates where (source is not null) and doc_no=7",
       }) {
    for (const auto& step : store.CacheDB().Query(std::string("explain query plan ") + lookup).rows) {
      EXPECT_EQ(step.back().AsString().rfind("SCAN", 0), std::string::npos) << lookup << ": " << step.back().AsString();
    }
  }
}

}  // namespace
}  // namespace quillorn::data
