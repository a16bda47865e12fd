#include "server/sql_policy.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "server/store.h"

namespace quillorn::server {
namespace {

constexpr char kClientUpsert[] =
    "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:1014', 'Y') "
    "matching (D_TYPE,CODE)";

// By default "execsql" runs the page-format upsert as the client sends it and
// nothing else, however it is dressed up.
TEST(SqlPolicy, ExecSqlTakesOnlyTheClientsUpsert) {
  struct Case {
    std::string sql;
    bool allowed;
  };
  const std::vector<Case> cases = {
      {.sql = kClientUpsert, .allowed = true},
      {.sql =
           "UPDATE OR INSERT INTO CODES ( d_type , code , val ) VALUES ('TEMPLATE_SETTNG','KEEP_PG_FORMAT:7',"
           "'N')\n MATCHING (d_type, code);",
       .allowed = true},
      {.sql = "UPDATE Users SET WEB_PASSWORD='x', P_ADMIN='Y'", .allowed = false},
      {.sql = std::string(kClientUpsert) + "; UPDATE Users SET P_ADMIN='Y'", .allowed = false},
      {.sql = std::string(kClientUpsert) + " -- and more", .allowed = false},
      {.sql = "update or insert into Users (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:1', "
              "'Y') "
              "matching (D_TYPE,CODE)",
       .allowed = false},
      {.sql = "update or insert into codes (D_TYPE,CODE,VAL) values ('WEB_SERVER', 'KEEP_PG_FORMAT:1', 'Y') "
              "matching (D_TYPE,CODE)",
       .allowed = false},
      {.sql = "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:1'' "
              "OR ''1', 'Y') matching (D_TYPE,CODE)",
       .allowed = false},
      {.sql = "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:1', "
              "(select WEB_PASSWORD from Users)) matching (D_TYPE,CODE)",
       .allowed = false},
      {.sql = "CREATE TRIGGER t AFTER INSERT ON CODES BEGIN UPDATE Users SET P_ADMIN='Y'; END",
       .allowed = false},
      {.sql = "PRAGMA locking_mode=EXCLUSIVE", .allowed = false},
      {.sql = "ATTACH 'x.db' AS x", .allowed = false},
      {.sql = "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:1, 'Y') "
              "matching (D_TYPE,CODE)",
       .allowed = false},
      {.sql = "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:', 'Y') "
              "matching (D_TYPE,CODE)",
       .allowed = false},
      {.sql = "", .allowed = false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(IsClientExecSql(c.sql), c.allowed) << c.sql;
    if (c.allowed) {
      EXPECT_NO_THROW(CheckExecSql(SqlPolicy::ClientStatements, c.sql));
    } else {
      try {
        CheckExecSql(SqlPolicy::ClientStatements, c.sql);
        ADD_FAILURE() << "not refused: " << c.sql;
      } catch (const StoreError& e) {
        EXPECT_EQ(e.what(), kNotAClientStatement);
      }
    }
    EXPECT_NO_THROW(CheckExecSql(SqlPolicy::AnyStatement, c.sql));
  }
}

TEST(SqlPolicy, SubmitTakesOnlyTheTablesTheClientCommits) {
  for (const char* table : {"DOCS", "codes", "PUBLISHED_DOCS", "Forms"}) {
    EXPECT_NO_THROW(CheckSubmitTable(SqlPolicy::ClientStatements, table)) << table;
  }
  for (const char* table : {"Users", "GROUPS", "USER_GROUP_LINKS", "ORGANISATION", "DOCS2", ""}) {
    EXPECT_THROW(CheckSubmitTable(SqlPolicy::ClientStatements, table), StoreError) << table;
    EXPECT_NO_THROW(CheckSubmitTable(SqlPolicy::AnyStatement, table)) << table;
  }
}

}  // namespace
}  // namespace quillorn::server
