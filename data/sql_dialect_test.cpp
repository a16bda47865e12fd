#include "data/sql_dialect.h"

#include <gtest/gtest.h>

#include <cmath>

#include "data/sql_database.h"
#include "foundation/datetime.h"

namespace quillorn::data {
namespace {

TEST(RewriteSql, RewritesTheAddInsDialectAndNothingInsideQuotesOrComments) {
  struct Case {
    const char *in, *out;
  };
  const Case cases[] = {
      {"select x from t where y=(select top 1 z from u /* top */ order by 1) and w=1;",
       "select x from t where y=(select z from u /* top */ order by 1 LIMIT 1) and w=1;"},
      {"delete from UPLOADS where LASTCHANGE<NOW", "delete from UPLOADS where LASTCHANGE<now()"},
      {"select now(), t.now, 'now and select top 1', \"NOW\", [now] from t -- now",
       "select now(), t.now, 'now and select top 1', \"NOW\", [now] from t -- now"},
      {"select top from t", "select top from t"},
      {"create table P (A integer, B char(10), primary key PK_P (A, B))",
       "create table P (A integer, B char(10), CONSTRAINT PK_P PRIMARY KEY (A, B))"},
      {"CREATE TABLE T (A INTEGER PRIMARY KEY DEFAULT (1))", "CREATE TABLE T (A INTEGER PRIMARY KEY DEFAULT (1))"},
  };
  for (const Case& c : cases) EXPECT_EQ(RewriteSql(c.in), c.out) << c.in;
}

TEST(RewriteSql, TheStatementsTheAddInWritesRunOnSqlite) {
  Database db("MEMORY");
  db.FileName = ":memory:";
  db.Open(true);
  // The same index name in two tables, as the cache schema has it.
  for (const char* table : {"FILES", "UPLOADS"}) {
    db.Execute(std::string("CREATE TABLE ") + table + " (DOC_ID INTEGER, FILENAME VARCHAR(1024), IGNORE BOOLEAN, "
               "LAST_SAVED DATETIME, PRIMARY KEY FILENAME_IDX (FILENAME))");
  }
  db.Execute("insert into FILES values (1, 'a', null, NOW), (2, 'b', true, NOW), (3, 'c', false, null)");
  EXPECT_EQ(db.Query("select top 1 FILENAME from Files where coalesce(IGNORE,FALSE)=FALSE order by DOC_ID desc").rows,
            (std::vector<std::vector<Variant>>{{"c"}}));
  // NOW is the local time in days since 1899, as every date of the add-in.
  EXPECT_LT(std::fabs(db.Query("select LAST_SAVED from FILES where DOC_ID=1").rows[0][0].AsDateTime() -
                      foundation::Now()),
            1.0 / 1440);
}

}  // namespace
}  // namespace quillorn::data
