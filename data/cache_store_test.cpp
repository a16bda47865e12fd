#include "data/cache_store.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "data/cache_schema.h"
#include "foundation/context.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/real_files_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;
namespace fs = std::filesystem;

// The fifteen tables in the order they are made.
const std::vector<std::string> kExpectedTables = {
    "DOCFIELDS", "DOCS",           "USERS", "CODES", "DOC_PERMISSIONS",  "TEMPLATES", "FORMS",   "FILES",
    "CACHELOG",  "PUBLISHED_DOCS", "LOGO",  "VER",   "USER_GROUP_LINKS", "GROUPS",    "UPLOADS",
};

const std::vector<std::pair<std::string, std::string>> kExpectedKeys = {
    {"DOCS", "DOC_ID"},           {"USERS", "USER_ID"},   {"DOC_PERMISSIONS", "DOC_ID,USER_ID"},
    {"TEMPLATES", "DOC_NO"},      {"FORMS", "DOC_NO"},    {"FILES", "FILENAME"},
    {"PUBLISHED_DOCS", "DOC_NO,SOURCE_TYPE"}, {"GROUPS", "GROUP_ID"}, {"UPLOADS", "FILENAME"},
};

std::string Join(const std::vector<std::string>& parts) {
  std::string out;
  for (const auto& p : parts) out += (out.empty() ? "" : ",") + p;
  return out;
}

class CacheStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    context_.AppDataDir = folder_.Dir();
    context_.AppDir = folder_.Dir();
  }
  std::string CacheDir() const { return (folder_.Path() / "Cache" / "").string(); }
  fs::path CacheFile() const { return folder_.Path() / "Cache" / "cache.dat"; }

  // Writes a cache file of the given make, with a row that a rebuild would lose.
  void MakeOldCache(const std::string& verStatement) {
    fs::create_directories(CacheFile().parent_path());
    Database db("CacheDB");
    db.FileName = CacheFile().string();
    db.Open(true);
    db.Execute("CREATE TABLE FILES (DOC_ID INTEGER, FILENAME VARCHAR(1024))");
    db.Execute("insert into FILES values (77, 'old.docx')");
    if (!verStatement.empty()) {
      db.Execute("CREATE TABLE VER (VER_NO INTEGER)");
      db.Execute(verStatement);
    }
  }

  TempFolder folder_;
  foundation::LogContext context_;
  foundation::ContextScope scope_{context_};
};

TEST_F(CacheStoreTest, FirstStartMakesAllFifteenTablesAndVersion8) {
  CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
  Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
  store.LoadFromCache(files);
  EXPECT_TRUE(fs::exists(CacheFile()));
  EXPECT_TRUE(files.Active());
  EXPECT_EQ(context_.ProcName, "");

  const ResultSet tables = store.CacheDB().Query("select name from sqlite_master where type='table' order by rowid");
  std::vector<std::string> names;
  for (const auto& row : tables.rows) names.push_back(row[0].AsString());
  EXPECT_EQ(names, kExpectedTables);
  for (const auto& [table, key] : kExpectedKeys) {
    Table t(store.CacheDB(), table);
    t.Open();
    EXPECT_EQ(Join(t.KeyFieldNames()), key) << table;
  }
  const ResultSet ver = store.CacheDB().Query("select * from VER");
  ASSERT_EQ(ver.rows.size(), 1u);
  EXPECT_EQ(ver.rows[0][0], Variant(std::int32_t{8}));

  // FILES defaults as the launcher relies on them.
  store.CacheDB().Execute("insert into FILES (DOC_ID, FILENAME) values (1, 'x')");
  const ResultSet d = store.CacheDB().Query(
      "select INIT, OLE_IGNORE, CHECKED_OUT, CACHED, WEB_FIELDS_EXTRACTED, IGNORE from FILES");
  EXPECT_EQ(d.rows[0], (std::vector<Variant>{false, false, false, false, false, Variant::Null()}));
}

TEST_F(CacheStoreTest, AnyOtherCacheIsThrownAwayAndRebuilt) {
  struct Case {
    const char* what;
    std::function<void()> make;
  };
  const Case cases[] = {
      {"version 7", [&] { MakeOldCache("insert into VER values (7)"); }},
      {"no VER table", [&] { MakeOldCache(""); }},
      {"empty VER table", [&] { MakeOldCache("select 1"); }},
      {"not a database", [&] {
         fs::create_directories(CacheFile().parent_path());
         foundation::testing::WriteAll(CacheFile(), std::string(8192, '\x5a'));
       }},
  };
  for (const Case& c : cases) {
    fs::remove_all(CacheFile().parent_path());
    c.make();
    // A delta file beside the cache survives the rebuild.
    foundation::testing::WriteAll(CacheFile().parent_path() / "DOCS.000", "delta");
    CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
    Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
    store.LoadFromCache(files);
    EXPECT_EQ(files.RecordCount(), 0) << c.what;
    EXPECT_EQ(files.FieldCount(), 14) << c.what;
    EXPECT_EQ(store.cacheLookup("select VER_NO from VER"), Variant(std::int32_t{8})) << c.what;
    EXPECT_TRUE(fs::exists(CacheFile().parent_path() / "DOCS.000")) << c.what;
  }
}

TEST_F(CacheStoreTest, ACurrentCacheIsKept) {
  {
    CacheStore first(CacheDir(), quillorn::platform::testing::RealFiles());
    Table files(first.CacheDB(), "FILES", "FILENAME", "tblFiles");
    first.LoadFromCache(files);
    files.Append();
    files.FieldByName("FILENAME").SetValue("kept.docx");
    files.Post();
  }
  CacheStore second(CacheDir(), quillorn::platform::testing::RealFiles());
  Table files(second.CacheDB(), "FILES", "FILENAME", "tblFiles");
  second.LoadFromCache(files);
  EXPECT_EQ(files.RecordCount(), 1);
  // An open table object is left alone: not even the database is opened for it.
  second.CloseCache();
  EXPECT_NO_THROW(second.LoadFromCache(files));
  EXPECT_FALSE(second.CacheDB().Connected());
}

TEST_F(CacheStoreTest, TwoStoresOnOneFileShareItAndDoNotRebuildEachOther) {
  CacheStore a(CacheDir(), quillorn::platform::testing::RealFiles());
  CacheStore b(CacheDir(), quillorn::platform::testing::RealFiles());
  Table fa(a.CacheDB(), "FILES", "FILENAME", "tblFiles");
  Table fb(b.CacheDB(), "FILES", "FILENAME", "tblFiles");
  a.LoadFromCache(fa);
  EXPECT_TRUE(a.cacheExecSQL("insert into FILES (DOC_ID, FILENAME) values (1, 'a.docx')"));
  b.LoadFromCache(fb);
  EXPECT_EQ(fb.RecordCount(), 1);
  // While b holds the file, a mismatch seen by a third opener doesn't delete it.
  EXPECT_TRUE(a.cacheExecSQL("update VER set VER_NO=7"));
  a.CloseCache();
  CacheStore c(CacheDir(), quillorn::platform::testing::RealFiles());
  Table fc(c.CacheDB(), "FILES", "FILENAME", "tblFiles");
  c.LoadFromCache(fc);
  EXPECT_EQ(fc.RecordCount(), 1);
}

TEST_F(CacheStoreTest, MemoryTablesAndReviewIntervals) {
  CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
  Table webFields(store.MEMORY(), "WebFields", "", "tblWebFields");
  Table intervals(store.MEMORY(), "ReviewIntervals", "", "tblReviewIntervals");
  intervals.AfterOpen = FillReviewIntervals;
  store.OpenMemoryTables(webFields, intervals);
  EXPECT_EQ(webFields.FieldCount(), 8);
  ASSERT_EQ(intervals.RecordCount(), 29);
  std::vector<std::string> texts;
  for (intervals.First(); !intervals.Eof(); intervals.Next()) {
    texts.push_back(MyVarToStrDef(intervals.FieldByName("id").Value(), "null") + "=" +
                    intervals.FieldByName("descript").AsString());
  }
  EXPECT_EQ(texts.front(), "null=Default");
  EXPECT_EQ(texts[1], "0=None");
  EXPECT_EQ(texts[2], "1=1 month");
  EXPECT_EQ(texts[3], "2=2 months");
  EXPECT_EQ(texts[25], "24=24 months");
  EXPECT_EQ(texts[26], "25=3 years");
  EXPECT_EQ(texts[28], "27=5 years");
  // Reopening doesn't double the list, and nothing of it touched the cache file.
  intervals.Close();
  intervals.Open();
  EXPECT_EQ(intervals.RecordCount(), 29);
  EXPECT_FALSE(fs::exists(CacheFile()));
  EXPECT_EQ(store.memLookup("select count(*) from ReviewIntervals where id is null"), Variant(std::int32_t{1}));
}

}  // namespace
}  // namespace quillorn::data
