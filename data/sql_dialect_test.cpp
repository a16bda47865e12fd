#include "data/sql_dialect.h"

#include <gtest/gtest.h>



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

}  // namespace
}  // namespace quillorn::data
