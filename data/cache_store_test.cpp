#include "data/cache_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "data/cache_schema.h"
#include "foundation/context.h"
#include "foundation/paths.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;
namespace fs = std::filesystem;

// The schema as the server and the launcher know it: table, then its columns in order.
const std::vector<std::pair<std::string, std::string>> kExpectedSchema = {
    {"DOCFIELDS", "CODE VARCHAR(30),VAL VARCHAR(1024),VAL3 INTEGER"},
    {"DOCS",
     "DOC_ID integer,DOC_NO integer,SEQ integer,DOC_NAME varchar(512),VER varchar(10),VER_DATE DATETIME,"
     "DOC_TYPE_ID integer,STATUS char(1),STATUS_DATE DATETIME,STATUS_BY integer,NEXT_REVIEW date,"
     "CREATED_DATE date,CREATED_BY integer,APPROVED_BY integer,APPROVED_DATE DATETIME,NOTES blob,"
     "IS_CURRENT char(1),IS_LATEST char(1),IS_COMPLIENT char(1),PUBLISH_PRIVATE char(1),PUBLISH_PUBLIC char(1),"
     "PUBLISH_UNPROTECTED char(1),REVIEW_INTERVAL integer,APPROVAL_BY integer,FILE_TYPE integer,"
     "FRAMEWORK integer,FRAMEWORK_NAME varchar(30),TEMPLATE_ID integer,DOC_NO_EXT varchar(15),"
     "FILE_EXT varchar(6),WEB_FORM char(1),KEYWORDS varchar(512),LAST_PUBLISHED DATETIME,DOC_PATH varchar(2048)"},
    {"USERS",
     "USER_ID INTEGER,LOGIN VARCHAR(31),GIVEN_NAMES VARCHAR(40),SURNAME VARCHAR(20),DESIGNATION VARCHAR(20),"
     "EMAIL VARCHAR(100),P_CREATE CHAR(1),P_EDIT CHAR(1),P_DELETE CHAR(1),P_MOVE CHAR(1),P_VIEW CHAR(1),"
     "P_APPROVE CHAR(1),P_REVISE CHAR(1),P_CHECKOUT CHAR(1),P_PRINT_UNCTRL CHAR(1),P_ARCHIVE CHAR(1),"
     "P_ADMIN CHAR(1),P_CONTENT CHAR(1),IS_DELETED CHAR(1),P_EXPORT CHAR(1),P_TEMPLATE CHAR(1),P_FVIEW CHAR(1),"
     "P_FCREATE CHAR(1),P_FEDIT CHAR(1),P_FDELETE CHAR(1),P_FMOVE CHAR(1),P_FARCHIVE CHAR(1),P_LIBRARY CHAR(1),"
     "P_CHANGE_PERMISSION CHAR(1),IS_WEB_USER CHAR(1),WEB_PASSWORD VARCHAR(16),ATTACHMENT_ID INTEGER"},
    {"CODES", "D_TYPE VARCHAR(15),CODE VARCHAR(30),VAL VARCHAR(1024)"},
    {"DOC_PERMISSIONS",
     "DOC_ID integer,USER_ID integer,P_CREATE char(1),P_EDIT char(1),P_DELETE char(1),P_MOVE char(1),"
     "P_VIEW char(1),P_REVISE char(1),P_APPROVE char(1),P_CHECKOUT char(1),P_PRINT_UNCTRL char(1),"
     "P_EXPORT char(1),P_CHANGE_PERMISSION char(1)"},
    {"TEMPLATES",
     "DOC_NO INTEGER,DOC_NAME VARCHAR(512),SEQ INTEGER,FRAMEWORK INTEGER,FILE_TYPE INTEGER,STATUS_DATE DATETIME,"
     "SOURCE BLOB,OLD BOOLEAN"},
    {"FORMS",
     "DOC_NO INTEGER,TEMPLATE_NAME VARCHAR(30),HTML_FORM BLOB,LAST_EXTRACTED DATETIME,FIELDS_USED MEMO,"
     "REGISTER_NAME VARCHAR(100)"},
    {"FILES",
     "DOC_ID INTEGER,FILENAME VARCHAR(1024),INIT BOOLEAN,IGNORE BOOLEAN,OLE_IGNORE BOOLEAN,SESSION_ID INTEGER,"
     "READ_ONLY BOOLEAN,PRINT BOOLEAN,PRINT_CONTROLLED BOOLEAN,USER_ID INTEGER,CHECKED_OUT BOOLEAN,"
     "CACHED BOOLEAN,WEB_FIELDS_EXTRACTED BOOLEAN,LAST_SAVED DATETIME"},
    {"CACHELOG", "USER_ID INTEGER,FILENAME VARCHAR(30)"},
    {"PUBLISHED_DOCS", "DOC_NO INTEGER,SOURCE_TYPE CHAR(10),DOC_ID INTEGER,LAST_GENERATED DATETIME,SOURCE BLOB"},
    {"LOGO", "LOGO BLOB"},
    {"VER", "VER_NO INTEGER"},
    {"USER_GROUP_LINKS", "USER_ID INTEGER,GROUP_ID INTEGER"},
    {"GROUPS",
     "GROUP_ID INTEGER,GROUP_NAME VARCHAR(30),P_CREATE CHAR(1),P_EDIT CHAR(1),P_DELETE CHAR(1),P_MOVE CHAR(1),"
     "P_VIEW CHAR(1),P_APPROVE CHAR(1),P_REVISE CHAR(1),P_CHECKOUT CHAR(1),P_PRINT_UNCTRL CHAR(1),"
     "P_ARCHIVE CHAR(1),P_ADMIN CHAR(1),P_CONTENT CHAR(1),IS_DELETED CHAR(1),P_EXPORT CHAR(1),P_TEMPLATE CHAR(1),"
     "P_FVIEW CHAR(1),P_FCREATE CHAR(1),P_FEDIT CHAR(1),P_FDELETE CHAR(1),P_FMOVE CHAR(1),P_FARCHIVE CHAR(1),"
     "P_LIBRARY CHAR(1),P_CHANGE_PERMISSION CHAR(1)"},
    {"UPLOADS", "FILENAME WIDEVARCHAR(1024),ISIMAGE BOOLEAN,TSTAMP DATETIME,LASTCHANGE DATETIME,DONE BOOLEAN"},
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
  std::string Except() const { return foundation::testing::ReadAll(folder_.Path() / "AddIn Except.txt"); }

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
  CacheStore store(CacheDir());
  Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
  store.LoadFromCache(files);
  EXPECT_TRUE(fs::exists(CacheFile()));
  EXPECT_TRUE(files.Active());
  EXPECT_EQ(context_.ProcName, "");

  const ResultSet tables = store.CacheDB().Query("select name from sqlite_master where type='table' order by rowid");
  std::vector<std::string> names;
  for (const auto& row : tables.rows) names.push_back(row[0].AsString());
  std::vector<std::string> expectedNames;
  for (const auto& [table, columns] : kExpectedSchema) expectedNames.push_back(table);
  EXPECT_EQ(names, expectedNames);

  for (const auto& [table, columns] : kExpectedSchema) {
    const ResultSet info = store.CacheDB().Query("PRAGMA table_info(" + table + ")");
    std::vector<std::string> got;
    for (const auto& row : info.rows) got.push_back(row[1].AsString() + " " + row[2].AsString());
    // SQLite spells the standard type names in capitals; the others stay as written.
    EXPECT_EQ(foundation::UpperCase(Join(got)), foundation::UpperCase(columns)) << table;
  }
  for (const auto& [table, key] : kExpectedKeys) {
    Table t(store.CacheDB(), table);
    t.Open();
    EXPECT_EQ(Join(t.KeyFieldNames()), key) << table;
  }
  const ResultSet ver = store.CacheDB().Query("select * from VER");
  ASSERT_EQ(ver.rows.size(), 1u);
  EXPECT_EQ(ver.rows[0][0], Variant(std::int32_t{8}));
  EXPECT_EQ(store.CacheDB().Query("PRAGMA journal_mode").rows[0][0], Variant("wal"));

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
    CacheStore store(CacheDir());
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
    CacheStore first(CacheDir());
    Table files(first.CacheDB(), "FILES", "FILENAME", "tblFiles");
    first.LoadFromCache(files);
    files.Append();
    files.FieldByName("FILENAME").SetValue("kept.docx");
    files.Post();
  }
  CacheStore second(CacheDir());
  Table files(second.CacheDB(), "FILES", "FILENAME", "tblFiles");
  second.LoadFromCache(files);
  EXPECT_EQ(files.RecordCount(), 1);
  // An open table object is left alone: not even the database is opened for it.
  second.CloseCache();
  EXPECT_NO_THROW(second.LoadFromCache(files));
  EXPECT_FALSE(second.CacheDB().Connected());
}

TEST_F(CacheStoreTest, AnOldCacheInUseElsewhereIsUsedAsItIs) {
  MakeOldCache("insert into VER values (7)");
  // Another host has the file open: it holds the use lock as every open cache does.
  auto other = platform::TryLockFile(CacheFile().string() + ".lock", platform::FileLock::Mode::Shared);
  ASSERT_TRUE(other);
  CacheStore store(CacheDir());
  Table files(store.CacheDB(), "FILES", "", "tblFiles");
  store.LoadFromCache(files);
  ASSERT_EQ(files.RecordCount(), 1);
  EXPECT_EQ(files.FieldByName("DOC_ID").AsInteger(), 77);
}

TEST_F(CacheStoreTest, TwoStoresOnOneFileShareItAndDoNotRebuildEachOther) {
  CacheStore a(CacheDir());
  CacheStore b(CacheDir());
  Table fa(a.CacheDB(), "FILES", "FILENAME", "tblFiles");
  Table fb(b.CacheDB(), "FILES", "FILENAME", "tblFiles");
  a.LoadFromCache(fa);
  EXPECT_TRUE(a.cacheExecSQL("insert into FILES (DOC_ID, FILENAME) values (1, 'a.docx')"));
  b.LoadFromCache(fb);
  EXPECT_EQ(fb.RecordCount(), 1);
  // While b holds the file, a mismatch seen by a third opener doesn't delete it.
  EXPECT_TRUE(a.cacheExecSQL("update VER set VER_NO=7"));
  a.CloseCache();
  CacheStore c(CacheDir());
  Table fc(c.CacheDB(), "FILES", "FILENAME", "tblFiles");
  c.LoadFromCache(fc);
  EXPECT_EQ(fc.RecordCount(), 1);
}

TEST_F(CacheStoreTest, ParallelWritersLoseNoRow) {
  constexpr int kWriters = 4;
  constexpr int kRows = 150;
  {
    CacheStore first(CacheDir());
    Table files(first.CacheDB(), "FILES", "FILENAME", "tblFiles");
    first.LoadFromCache(files);
  }
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int w = 0; w < kWriters; ++w) {
    threads.emplace_back([&, w] {
      foundation::LogContext ctx;
      ctx.AppDataDir = folder_.Dir();
      foundation::ContextScope scope(ctx);
      CacheStore store(CacheDir());
      Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
      store.LoadFromCache(files);
      for (int i = 0; i < kRows; ++i) {
        try {
          files.Append();
          files.FieldByName("DOC_ID").SetValue(w * 1000 + i);
          files.FieldByName("FILENAME").SetValue("w" + std::to_string(w) + "-" + std::to_string(i));
          files.Post();
          if (!store.cacheExecSQL("update FILES set INIT=true, LAST_SAVED=NOW where doc_id=" +
                                  std::to_string(w * 1000 + i))) {
            ++failures;
          }
        } catch (const std::exception&) {
          ++failures;
          files.Cancel();
        }
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(failures.load(), 0);
  CacheStore check(CacheDir());
  EXPECT_EQ(check.cacheLookup("select count(*), sum(cast(INIT as integer)) from FILES"),
            Variant(platform::VariantList{std::int32_t{kWriters * kRows}, std::int32_t{kWriters * kRows}}));
  EXPECT_EQ(Except().find("locked"), std::string::npos);
}

TEST_F(CacheStoreTest, MemoryTablesAndReviewIntervals) {
  CacheStore store(CacheDir());
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
