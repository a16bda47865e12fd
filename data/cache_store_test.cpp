#include "data/cache_store.h"

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

#include "data/data_test_support.h"

namespace quillorn::data {
namespace {

using foundation::testing::WriteAll;
using platform::VariantList;
using testing::DeadPort;
using testing::Instance;

TEST(CacheStore, OnlyTheFirstOpenMakesTheCacheAndAnyOtherIsThrownAwayWholeButACurrentOneKept) {
  struct Case {
    const char* what;
    std::vector<std::string> make;  // statements on a file with a FILES row; none: not a database
    int rowsAfter = 0;
  };
  const std::string ver = "CREATE TABLE VER (VER_NO INTEGER)";
  for (const Case& c : {Case{.what = "version 7", .make = {ver, "insert into VER values (7)"}},
                        Case{.what = "no VER", .make = {"select 1"}}, Case{.what = "empty VER", .make = {ver}},
                        Case{.what = "not a database"},
                        Case{.what = "current", .make = {ver, "insert into VER values (8)"}, .rowsAfter = 1}}) {
    SCOPED_TRACE(c.what);
    Instance instance(DeadPort());
    Tdm& dm = *instance.dm;
    if (c.make.empty()) {
      WriteAll(dm.Cache.CacheFileName(), std::string(8192, '\x5a'));
    } else {
      Database db("CacheDB");
      db.FileName = dm.Cache.CacheFileName();
      db.Open(true);
      db.Execute("CREATE TABLE FILES (DOC_ID INTEGER, FILENAME VARCHAR(1024))");
      db.Execute("insert into FILES values (77, 'old.docx')");
      for (const std::string& sql : c.make) db.Execute(sql);
    }
    // A delta file beside the cache survives the rebuild.
    WriteAll(instance.cache + "DOCS.000", "delta");
    dm.LoadFromCache(dm.tblFiles);
    EXPECT_EQ(dm.tblFiles.RecordCount(), c.rowsAfter);
    EXPECT_EQ(instance.CacheCount("select VER_NO from VER"), 8);
    EXPECT_EQ(instance.Deltas(), std::vector<std::string>{"DOCS.000"});
  }
  // None yet: asking never makes one, and a statement without one fails.
  Instance instance(DeadPort());
  Tdm& dm = *instance.dm;
  EXPECT_TRUE(dm.cacheLookup("select VER_NO from VER").IsEmpty());
  EXPECT_FALSE(dm.cacheExecSQL("delete from FILES"));
  EXPECT_FALSE(std::filesystem::exists(dm.Cache.CacheFileName()));
  // The first open makes it, with the FILES defaults the launcher relies on.
  dm.LoadFromCache(dm.tblFiles);
  instance.Cache("insert into FILES (DOC_ID, FILENAME) values (1, 'x')");
  EXPECT_EQ(dm.cacheLookup("select INIT, OLE_IGNORE, CHECKED_OUT, CACHED, WEB_FIELDS_EXTRACTED, IGNORE from FILES"),
            Variant(VariantList{false, false, false, false, false, Variant::Null()}));
  // An open table object is left alone: not even the database is opened for it.
  dm.Cache.CloseCache();
  dm.LoadFromCache(dm.tblFiles);
  EXPECT_FALSE(dm.Cache.CacheDB().Connected());
}

TEST(CacheStore, LookupsGiveNullAScalarOrTheFirstRowByPosition) {
  Instance instance(DeadPort());
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblCodes);
  instance.Cache("insert into CODES values ('WEB_SERVER', 'URL', 'http://web'), ('APP_OPTION', 'DEF_REVIEW', null)");
  EXPECT_EQ(dm.cacheLookup("select val from codes where d_type='WEB_SERVER'"), Variant("http://web"));
  EXPECT_EQ(dm.cacheLookup("select val from codes where d_type='NOPE'"), Variant::Null());
  EXPECT_EQ(dm.cacheLookup("select d_type, val from codes where d_type='NOPE'"),
            Variant(VariantList{Variant::Null(), Variant::Null()}));
  EXPECT_TRUE(dm.cacheLookup("select nonsense from nowhere").IsEmpty());
  // Lookup values as text: an array's first two elements.
  EXPECT_EQ(Tdm::MyVarToStrDef(dm.cacheLookup("select count(*), val, 3 from CODES where val is null"), "-"), "1;-");
  EXPECT_EQ(Tdm::SqlSafeString("O'Brien's ''"), "O''Brien''s ''''");
  // The memory helpers raise: their statements are the add-in's own.
  EXPECT_TRUE(dm.memExecSQL("insert into WebFields (FieldName, doc_id) values ('f1', 4)"));
  EXPECT_EQ(dm.memLookup("select FieldName, doc_id from WebFields"), Variant("f1"));
  EXPECT_TRUE(dm.memLookup("select ext from WebFields where doc_id=5").IsNull());
  EXPECT_THROW(dm.memExecSQL("insert into Nowhere values (1)"), SqlError);
}

TEST(CacheStore, ClearOldCacheDeletesOnlyItsOwnFilesAndTheirRows) {
  Instance instance(DeadPort());
  Tdm& dm = *instance.dm;
  const std::string temp = instance.traced.folder.Dir() + "Temp/", mine = instance.traced.folder.Dir() + "My/";
  instance.system.temp = temp;
  instance.files.Add({.kind = platform::FileFault::Kind::DeleteRefused, .nameContains = "locked", .times = -1});
  std::filesystem::create_directories(temp);
  std::filesystem::create_directories(mine);
  // An upper-case spelling of the cache folder is the same folder.
  std::string upperCache = instance.cache;
  for (size_t at = upperCache.size() - 6; at < upperCache.size(); ++at) {
    upperCache[at] = static_cast<char>(std::toupper(upperCache[at]));
  }
  struct Row {
    std::string file;
    const char* flags = "";  // the rest of the row
    bool exists = true, fileKept = false, rowKept = false, docKept = false;
  };
  const std::string& cache = instance.cache;
  const std::vector<Row> rows = {
      {.file = cache + "cached.docx"},
      {.file = temp + "temp.xlsx"},
      {.file = mine + "users-own.docx", .fileKept = true, .docKept = true},
      {.file = cache + "checked-out.docx", .flags = ", CHECKED_OUT=true", .fileKept = true, .docKept = true},
      {.file = cache + "gone.docx", .exists = false, .rowKept = true, .docKept = true},
      {.file = upperCache + "Gone.docx", .exists = false, .rowKept = true, .docKept = true},
      {.file = cache + "locked.docx", .fileKept = true, .rowKept = true, .docKept = true},
      {.file = cache + "in-use.docx", .flags = ", INIT=true", .fileKept = true, .rowKept = true, .docKept = true},
      {.file = cache + "unsent.docx", .flags = ", CACHED=true", .fileKept = true, .rowKept = true, .docKept = true},
  };
  dm.LoadFromCache(dm.tblFiles);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].exists) WriteAll(rows[i].file, "x");
    const std::string id = std::to_string(i);
    instance.Cache("insert into FILES (DOC_ID, FILENAME) values (" + id + ", '" + rows[i].file + "')");
    instance.Cache("update FILES set INIT=false" + std::string(rows[i].flags) + " where DOC_ID=" + id);
    instance.Cache("insert into DOCS (DOC_ID) values (" + id + ")");
    instance.Cache("insert into DOC_PERMISSIONS (DOC_ID, USER_ID) values (" + id + ", 1)");
  }
  dm.ClearOldCache();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& r = rows[i];
    const std::string id = std::to_string(i);
    EXPECT_EQ(std::filesystem::exists(r.file), r.exists && r.fileKept) << r.file;
    EXPECT_EQ(instance.CacheText("select count(*) from FILES where DOC_ID=" + id) + "," +
                  instance.CacheText("select count(*) from DOCS where DOC_ID=" + id) + "," +
                  instance.CacheText("select count(*) from DOC_PERMISSIONS where DOC_ID=" + id),
              std::string(r.rowKept ? "1" : "0") + (r.docKept ? ",1,1" : ",0,0"))
        << r.file;
  }
}

}  // namespace
}  // namespace quillorn::data
