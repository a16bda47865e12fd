#include <gtest/gtest.h>

#include <filesystem>

#include "data/cache_store.h"
#include "foundation/context.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/faulty_files.h"
#include "platform/real_files_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;
using platform::VariantList;
namespace fs = std::filesystem;

class LookupTest : public ::testing::Test {
 protected:
  void SetUp() override {
    context_.AppDataDir = folder_.Dir();
    context_.AppDir = folder_.Dir();
    context_.TraceEnabled = true;
  }
  std::string CacheDir() const { return (folder_.Path() / "Cache" / "").string(); }
  std::string Trace() const { return foundation::testing::ReadAll(folder_.Path() / "AddIn Trace.txt"); }
  void MakeCache(CacheStore& store) {
    Table codes(store.CacheDB(), "CODES", "", "tblCodes");
    store.LoadFromCache(codes);
    ASSERT_TRUE(store.cacheExecSQL("insert into CODES values ('WEB_SERVER', 'URL', 'http://web:8080')"));
    ASSERT_TRUE(store.cacheExecSQL("insert into CODES values ('APP_OPTION', 'DEF_REVIEW', null)"));
  }

  TempFolder folder_;
  foundation::LogContext context_;
  foundation::ContextScope scope_{context_};
};

TEST_F(LookupTest, CacheLookupWithoutACacheFileMakesNone) {
  CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
  EXPECT_TRUE(store.cacheLookup("select VER_NO from VER").IsEmpty());
  EXPECT_FALSE(fs::exists(store.CacheFileName()));
  // The exec helper doesn't open the database either: it fails and says so.
  EXPECT_FALSE(store.cacheExecSQL("delete from FILES"));
  EXPECT_NE(Trace().find("delete from FILES"), std::string::npos);
}

TEST_F(LookupTest, CacheLookupValues) {
  {
    CacheStore maker(CacheDir(), quillorn::platform::testing::RealFiles());
    MakeCache(maker);
  }
  // A fresh instance finds the existing file by itself.
  CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
  struct Case {
    const char* sql;
    Variant expected;
  };
  const Case cases[] = {
      {"select val from codes where d_type='WEB_SERVER' and code='URL'", "http://web:8080"},
      {"select val from codes where d_type='APP_OPTION'", Variant::Null()},
      {"select val from codes where d_type='NOPE'", Variant::Null()},
      {"select d_type, code from codes where d_type='WEB_SERVER'", VariantList{"WEB_SERVER", "URL"}},
      {"select d_type, code from codes where d_type='NOPE'", VariantList{Variant::Null(), Variant::Null()}},
      {"select count(*), max(VAL) from CODES", VariantList{std::int32_t{2}, "http://web:8080"}},
  };
  for (const Case& c : cases) EXPECT_EQ(store.cacheLookup(c.sql), c.expected) << c.sql;
  const std::string trace = Trace();
  EXPECT_NE(trace.find("cacheLookup RESULT:\t{NULL}"), std::string::npos);
  EXPECT_NE(trace.find("cacheLookup RESULT:\tWEB_SERVER;URL"), std::string::npos);

  EXPECT_TRUE(store.cacheLookup("select nonsense from nowhere").IsEmpty());
  EXPECT_NE(Trace().find("select nonsense from nowhere"), std::string::npos);
}

TEST_F(LookupTest, MemoryHelpersRaise) {
  CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
  Table webFields(store.MEMORY(), "WebFields", "", "tblWebFields");
  Table intervals(store.MEMORY(), "ReviewIntervals", "", "tblReviewIntervals");
  store.OpenMemoryTables(webFields, intervals);
  EXPECT_TRUE(store.memExecSQL("insert into WebFields (FieldName, doc_id, remove) values ('f1', 4, false)"));
  EXPECT_EQ(store.memLookup("select FieldName, doc_id from WebFields"), Variant("f1"));
  EXPECT_EQ(store.memLookup("select remove from WebFields"), Variant(false));
  EXPECT_TRUE(store.memLookup("select ext from WebFields").IsNull());
  EXPECT_TRUE(store.memLookup("select ext from WebFields where doc_id=5").IsNull());
  EXPECT_THROW(store.memExecSQL("insert into Nowhere values (1)"), SqlError);
  EXPECT_THROW(store.memLookup("select x from Nowhere"), SqlError);
}

TEST(SqlSafeString, DoublesEachQuote) {
  EXPECT_EQ(SqlSafeString("O'Brien's 'x'"), "O''Brien''s ''x''");
  EXPECT_EQ(SqlSafeString("plain"), "plain");
  EXPECT_EQ(SqlSafeString("''"), "''''");
}

TEST(MyVarToStrDef, LookupValuesAsText) {
  struct Case {
    Variant value;
    const char* expected;
  };
  const Case cases[] = {
      {Variant::Null(), "dflt"},
      {std::int32_t{42}, "42"},
      {"text", "text"},
      {VariantList{std::int32_t{1}, "b", "c"}, "1;b"},
      {VariantList{Variant::Null(), "b"}, "dflt;b"},
      {VariantList{"a", Variant::Null()}, "a;dflt"},
      {VariantList{"only"}, "only"},
  };
  for (const Case& c : cases) EXPECT_EQ(MyVarToStrDef(c.value, "dflt"), c.expected);
}

// ---- ClearOldCache ---------------------------------------------------------------

TEST_F(LookupTest, ClearOldCacheDeletesOnlyItsOwnFiles) {
  const std::string temp = (folder_.Path() / "Temp" / "").string();
  platform::FakeSystemServices system;
  system.temp = temp;
  platform::FaultyFiles files(system);
  files.Add({.kind = platform::FileFault::Kind::DeleteRefused, .nameContains = "locked", .times = -1});
  CacheStore store(CacheDir(), files);
  Table tblFiles(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
  store.LoadFromCache(tblFiles);
  const std::string mine = (folder_.Path() / "Documents" / "").string();
  fs::create_directories(temp);
  fs::create_directories(mine);
  // An upper-case spelling of the cache folder is the same folder.
  std::string upperCache = CacheDir();
  for (size_t at = upperCache.size() - 6; at < upperCache.size(); ++at) upperCache[at] = static_cast<char>(std::toupper(upperCache[at]));

  struct Row {
    int docId;
    std::string file;
    bool create;
    const char* flags;  // the rest of the row
    bool fileKept;
    bool rowKept;
    bool docKept;
  };
  const std::vector<Row> rows = {
      {1, CacheDir() + "cached.docx", true, "", false, false, false},
      {2, temp + "temp.xlsx", true, "", false, false, false},
      {3, mine + "users-own.docx", true, "", true, false, true},
      {4, CacheDir() + "checked-out.docx", true, ", CHECKED_OUT=true", true, false, true},
      {5, CacheDir() + "gone.docx", false, "", false, true, true},
      {6, CacheDir() + "locked.docx", true, "", true, true, true},
      {7, CacheDir() + "in-use.docx", true, ", INIT=true", true, true, true},
      {8, CacheDir() + "unsent.docx", true, ", CACHED=true", true, true, true},
      {9, CacheDir() + "ignored.docx", true, ", IGNORE=true", true, true, true},
      {10, upperCache + "Upper.docx", false, "", false, true, true},
  };
  for (const Row& r : rows) {
    if (r.create) foundation::testing::WriteAll(r.file, "x");
    const std::string id = std::to_string(r.docId);
    ASSERT_TRUE(store.cacheExecSQL("insert into FILES (DOC_ID, FILENAME) values (" + id + ", '" + r.file + "')"));
    ASSERT_TRUE(store.cacheExecSQL("update FILES set INIT=false" + std::string(r.flags) + " where DOC_ID=" + id));
    ASSERT_TRUE(store.cacheExecSQL("insert into DOCS (DOC_ID) values (" + id + ")"));
    ASSERT_TRUE(store.cacheExecSQL("insert into DOC_PERMISSIONS (DOC_ID, USER_ID) values (" + id + ", 1)"));
  }
  store.ClearOldCache();

  for (const Row& r : rows) {
    const std::string id = std::to_string(r.docId);
    EXPECT_EQ(fs::exists(r.file), r.create && r.fileKept) << r.file;
    EXPECT_EQ(store.cacheLookup("select count(*) from FILES where DOC_ID=" + id), Variant(std::int32_t{r.rowKept}))
        << r.file;
    EXPECT_EQ(store.cacheLookup("select count(*) from DOCS where DOC_ID=" + id), Variant(std::int32_t{r.docKept}))
        << r.file;
    EXPECT_EQ(store.cacheLookup("select count(*) from DOC_PERMISSIONS where DOC_ID=" + id),
              Variant(std::int32_t{r.docKept}))
        << r.file;
  }
  const std::string trace = Trace();
  EXPECT_NE(trace.find("ClearOldCache\tDeleted: " + CacheDir() + "cached.docx"), std::string::npos);
  EXPECT_NE(trace.find("ClearOldCache\tDelete failed: " + CacheDir() + "locked.docx"), std::string::npos);
  EXPECT_EQ(context_.ProcName, "");
}

}  // namespace
}  // namespace quillorn::data
