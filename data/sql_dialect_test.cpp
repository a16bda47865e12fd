#include "data/sql_dialect.h"

#include <gtest/gtest.h>

#include <cmath>

#include "data/sql_database.h"
#include "foundation/datetime.h"

namespace quillorn::data {
namespace {

TEST(RewriteSql, RewritesTheAddInsDialect) {
  struct Case {
    const char* in;
    const char* out;
  };
  const Case cases[] = {
      {"select top 1 DOC_ID from FILES order by LAST_SAVED desc", "select DOC_ID from FILES order by LAST_SAVED desc LIMIT 1"},
      {"SELECT TOP 25 * FROM DOCS", "SELECT * FROM DOCS LIMIT 25"},
      {"select top 1 a from t;", "select a from t LIMIT 1;"},
      {"select x from t where y=(select top 1 z from u order by 1) and w=1",
       "select x from t where y=(select z from u order by 1 LIMIT 1) and w=1"},
      {"update FILES set CACHED=true, LAST_SAVED=NOW where doc_id=5",
       "update FILES set CACHED=true, LAST_SAVED=now() where doc_id=5"},
      {"select * from UPLOADS where (lastchange+0.00002315)<now", "select * from UPLOADS where (lastchange+0.00002315)<now()"},
      {"select now() from t", "select now() from t"},
      {"select t.now from t", "select t.now from t"},
      {"select 'now and select top 1' from t", "select 'now and select top 1' from t"},
      {"select \"NOW\" from t -- now", "select \"NOW\" from t -- now"},
      {"select top from t", "select top from t"},
      {"CREATE TABLE FILES (FILENAME VARCHAR(1024), PRIMARY KEY FILENAME_IDX (FILENAME))",
       "CREATE TABLE FILES (FILENAME VARCHAR(1024), CONSTRAINT FILENAME_IDX PRIMARY KEY (FILENAME))"},
      {"create table P (A integer, B char(10), primary key PK_P (A, B))",
       "create table P (A integer, B char(10), CONSTRAINT PK_P PRIMARY KEY (A, B))"},
      {"CREATE TABLE T (A INTEGER PRIMARY KEY, B TEXT)", "CREATE TABLE T (A INTEGER PRIMARY KEY, B TEXT)"},
      {"CREATE TABLE T (A INTEGER PRIMARY KEY DEFAULT (1))", "CREATE TABLE T (A INTEGER PRIMARY KEY DEFAULT (1))"},
      {"select 'it''s top 1' from t", "select 'it''s top 1' from t"},
  };
  for (const Case& c : cases) EXPECT_EQ(RewriteSql(c.in), c.out) << c.in;
}

class DialectOnSqlite : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.FileName = ":memory:";
    db_.Open(true);
    db_.Execute(
        "CREATE TABLE FILES (DOC_ID INTEGER, FILENAME VARCHAR(1024), INIT BOOLEAN DEFAULT FALSE, IGNORE BOOLEAN, "
        "OLE_IGNORE BOOLEAN DEFAULT FALSE, CHECKED_OUT BOOLEAN DEFAULT FALSE, CACHED BOOLEAN DEFAULT FALSE, "
        "LAST_SAVED DATETIME, PRIMARY KEY FILENAME_IDX (FILENAME))");
    // The same index name in a second table, as the cache schema has it.
    db_.Execute("CREATE TABLE UPLOADS (FILENAME WIDEVARCHAR(1024), LASTCHANGE DATETIME, DONE BOOLEAN DEFAULT FALSE, "
                "PRIMARY KEY FILENAME_IDX (FILENAME))");
    db_.Execute("insert into files (DOC_ID, FILENAME, IGNORE, CACHED) values (1, 'a.docx', null, true)");
    db_.Execute("insert into Files (DOC_ID, FileName, IGNORE, CHECKED_OUT) values (2, 'b.docx', true, true)");
    db_.Execute("insert into FILES (DOC_ID, filename, OLE_IGNORE) values (3, 'c.docx', TRUE)");
  }
  Variant One(const std::string& sql) {
    const ResultSet r = db_.Query(sql);
    return r.rows.empty() ? Variant() : r.rows[0][0];
  }
  Database db_{"MEMORY"};
};

TEST_F(DialectOnSqlite, AcceptsTheStatementsTheAddInWrites) {
  struct Case {
    const char* sql;
    Variant expected;
  };
  const Case cases[] = {
      {"select count(*) from FILES where coalesce(IGNORE,FALSE)=FALSE", std::int32_t{2}},
      {"select count(*) from files where coalesce(IGNORE,0)=0", std::int32_t{2}},
      {"select count(*) from FILES where CACHED=true", std::int32_t{1}},
      {"select count(*) from FILES where CHECKED_OUT<>true", std::int32_t{2}},
      {"select count(*) from FILES where CACHED=false and coalesce(IGNORE,FALSE)=FALSE and (INIT=false)",
       std::int32_t{1}},
      {"select cast(OLE_IGNORE as integer) from FILES where doc_id=3", std::int32_t{1}},
      {"select cast(OLE_IGNORE as integer) from FILES where doc_id=1", std::int32_t{0}},
      {"select 'x' || IGNORE from FILES where doc_id=1", Variant::Null()},
      {"select 'x' || FILENAME from FILES where doc_id=1", "xa.docx"},
      {"select case when CACHED then 'Y' else 'N' end from FILES where DOC_ID=2", "N"},
      {"select cast(DOC_ID as VarChar(512)) from FILES where doc_id=2", "2"},
      {"select top 1 FILENAME from FILES order by DOC_ID desc", "c.docx"},
      {"select top 1 f.FILENAME from FILES f left join UPLOADS u on u.filename=f.filename order by 1", "a.docx"},
      {"select sum(DOC_ID) from fIlEs", std::int32_t{6}},
  };
  for (const Case& c : cases) EXPECT_EQ(One(c.sql), c.expected) << c.sql;
}

TEST_F(DialectOnSqlite, NowIsLocalDaysSince1899AndTwoSecondsIsTheConstant) {
  const double before = foundation::Now();
  const double now = One("select now").AsDouble();
  const double after = foundation::Now();
  EXPECT_GE(now, before);
  EXPECT_LE(now, after);

  // A change stamped one second ago is not yet two seconds old; three seconds ago is.
  const double second = 1.0 / 86400;
  db_.Execute("insert into UPLOADS (FILENAME, LASTCHANGE) values ('fresh', ?)", std::vector<Variant>{Variant::FromDateTime(now - second)});
  db_.Execute("insert into UPLOADS (FILENAME, LASTCHANGE) values ('settled', ?)",
              std::vector<Variant>{Variant::FromDateTime(now - 3 * second)});
  const ResultSet r = db_.Query("select FILENAME from UPLOADS where (lastchange+0.00002315)<now and DONE=false");
  ASSERT_EQ(r.rows.size(), 1u);
  EXPECT_EQ(r.rows[0][0].AsString(), "settled");

  db_.Execute("update FILES set CACHED=true, LAST_SAVED=NOW where doc_id=2");
  const Variant saved = One("select LAST_SAVED from FILES where doc_id=2");
  ASSERT_EQ(saved.kind(), Variant::Kind::DateTime);
  EXPECT_LT(std::fabs(saved.AsDateTime() - foundation::Now()), 60 * second);
}

}  // namespace
}  // namespace quillorn::data
