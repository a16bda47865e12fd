#include "server/upsert.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/catalogue.h"
#include "server/function_table.h"
#include "server/store.h"
#include "transport/rpc_value.h"

namespace quillorn::server {
namespace {

using foundation::testing::TempFolder;

// The page-format statement as the client sends it through execsql.
std::string PageFormatCall(const std::string& docNo, const std::string& flag) {
  auto call = std::make_unique<transport::TRpcFunctionInfo>("execsql");
  call->SetString(
      "sql", "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:" +
                 docNo + "', '" + flag + "') matching (D_TYPE,CODE)");
  return transport::TRpcValue(std::move(call)).toCode();
}

TEST(Upsert, ThePageFormatSettingIsInsertedOnceAndThenUpdatedOnTheClientPolicy) {
  TempFolder folder;
  ServerStore store(folder.Path());
  store.Execute("CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))");
  store.Execute("INSERT INTO CODES VALUES ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:7', 'N')");
  FunctionTable table;
  RegisterCatalogue(table, store, SqlPolicy::ClientStatements);
  const std::vector<std::pair<std::string, std::string>> calls = {{"7", "Y"}, {"12", "Y"}, {"12", "N"}};
  for (const auto& [docNo, flag] : calls)
    EXPECT_EQ(table.Process(PageFormatCall(docNo, flag)), "B=T;") << docNo;
  const StoreRows rows = store.Select("SELECT CODE || '=' || VAL FROM CODES ORDER BY CODE");
  std::vector<std::string> got;
  for (const auto& row : rows.Rows) got.push_back(row.at(0).bytes);
  EXPECT_EQ(got, (std::vector<std::string>{"KEEP_PG_FORMAT:12=N", "KEEP_PG_FORMAT:7=Y"}));
  // Its two statements go together or not at all: a failing second one takes
  // the first back.
  EXPECT_ANY_THROW(store.ExecuteAll({"UPDATE CODES SET VAL='X'", "INSERT INTO NOWHERE VALUES (1)"}));
  EXPECT_TRUE(store.Select("SELECT CODE FROM CODES WHERE VAL='X'").Rows.empty());
}

TEST(Upsert, RewritesOnlyTheUpsertAndLeavesQuotedTextAsItStands) {
  struct Case {
    std::string sql;
    std::vector<std::string> want;  // empty: not an upsert, left as it stands
  };
  const std::vector<Case> cases = {
      {.sql = "UPDATE OR INSERT INTO codes (D_TYPE, CODE, VAL) VALUES ('T', 'it''s, matching (x)', 'a,b') "
              "MATCHING (d_type, code);",
       .want =
           {"UPDATE codes SET D_TYPE = 'T', CODE = 'it''s, matching (x)', VAL = 'a,b' WHERE d_type = 'T' AND "
            "code = 'it''s, matching (x)'",
            "INSERT INTO codes (D_TYPE, CODE, VAL) SELECT 'T', 'it''s, matching (x)', 'a,b' WHERE NOT EXISTS "
            "(SELECT 1 FROM codes WHERE d_type = 'T' AND code = 'it''s, matching (x)')"}},
      {.sql = "update or insert into \"My T\" (A,B) values (1, lower('X)')) matching (A)",
       .want = {"UPDATE \"My T\" SET A = 1, B = lower('X)') WHERE A = 1",
                "INSERT INTO \"My T\" (A, B) SELECT 1, lower('X)') WHERE NOT EXISTS (SELECT 1 FROM \"My T\" "
                "WHERE A = 1)"}},
      {.sql = "insert into codes values ('update or insert into', 'x', 'y')"},
      {.sql = "update or insert into codes (A,B) values (1) matching (A)"},      // a value short
      {.sql = "update or insert into codes (A,B) values (1,2) matching (C)"},    // key not among the columns
      {.sql = "update or insert into codes (A,B) values (1,2) matching (A) x"},  // text behind it
      {.sql = "update or insert into codes (A,B) values (1,'2) matching (A)"},   // a quote left open
      {.sql = "update or insertinto codes (A) values (1) matching (A)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    const auto got = RewriteUpsert(c.sql);
    if (c.want.empty()) {
      EXPECT_FALSE(got.has_value());
    } else {
      ASSERT_TRUE(got.has_value());
      EXPECT_EQ(*got, c.want);
    }
  }
}

}  // namespace
}  // namespace quillorn::server
