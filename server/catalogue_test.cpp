#include "server/catalogue.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/call_log.h"
#include "server/function_table.h"
#include "transport/rpc_value.h"

namespace quillorn::server {
namespace {

using foundation::testing::TempFolder;

// A call with the one parameter "sql" in the value type the client uses for it.
std::string Call(const std::string& name, const std::string& sql, bool as_text) {
  auto call = std::make_unique<transport::TRpcFunctionInfo>(name);
  if (as_text) call->SetText("sql", sql);
  else call->SetString("sql", sql);
  return transport::TRpcValue(std::move(call)).toCode();
}

std::string Exception(std::string_view message) {
  return transport::TRpcValue(std::make_unique<transport::TRpcExceptionValue>(0, std::string(message))).toCode();
}

TEST(Catalogue, AnswersEachFunctionInTheShapeTheClientReads) {
  TempFolder folder;
  ServerStore store(folder.Path());
  FunctionTable table;
  RegisterCatalogue(table, store);
  struct Case {
    std::string code;
    std::string reply;
  };
  const std::vector<Case> cases = {
      {"FC=youthere;RE=0;", "B=T;"},
      {Call("execsql", "CREATE TABLE USERS (USER_ID INTEGER, LOGIN VARCHAR(30))", false), "B=T;"},
      // The add-in's byte strings are in its Windows code page: "M\xFCller" is Müller there.
      {Call("execsql", "INSERT INTO USERS VALUES (1, 'M\xFCller')", false), "B=T;"},
      {Call("execsql", "INSERT INTO USERS VALUES (2, 'Gr\xC3\xBC\xC3\x9F' || '\x80')", false), "B=T;"},
      {Call("execsql", "INSERT INTO USERS VALUES (3, 'Gr\xC3\xBC\xC3\x9F')", false), "B=T;"},
      {Call("select", "select LOGIN from USERS order by USER_ID", true),
       "DS=1;LOGIN:S,30,F;ROWS=3;RE=1;LOGIN:T=7\"M\xC3\xBCller\";RE=1;LOGIN:T=13\"Gr\xC3\x83\xC2\xBC\xC3\x83\xC5\xB8\xE2\x82\xAC\";"
       "RE=1;LOGIN:T=6\"Gr\xC3\xBC\xC3\x9F\";"},
      {Call("select", "SELECT COUNT(*) AS N FROM USERS WHERE LOGIN LIKE 'Gr%'", false),
       "DS=1;N:I,0,F;ROWS=1;RE=1;N:I=2;"},
      {"FC=select;RE=1;SQL:T=8\"SELECT 1\";", "DS=1;1:I,0,F;ROWS=1;RE=1;1:I=1;"},
      {"FC=select;RE=0;", Exception(kMissingSql)},
      {"FC=execsql;RE=1;sql:X=;", Exception(kMissingSql)},
      {Call("select", "DELETE FROM USERS", true), Exception(kNotReadOnly)},
      {Call("execsql", "DELETE FROM USERS; DROP TABLE USERS", false), Exception(kMoreThanOneStatement)},
      {Call("select", "SELECT * FROM GROUPS", true), Exception("no such table: GROUPS")},
  };
  for (const auto& c : cases) EXPECT_EQ(table.Process(c.code), c.reply) << c.code;
  // Nothing of the refused statements ran.
  EXPECT_EQ(store.Select("SELECT COUNT(*) FROM USERS").Rows.at(0).at(0).integer, 3);
}

TEST(CallLog, WritesOneLinePerCallWithSessionFunctionDurationAndOutcome) {
  std::ostringstream out;
  CallLog log(out);
  FunctionTable table;
  table.Register("youthere", log.Wrap("youthere", [](const transport::TRpcRecord&) {
                   return transport::BooleanValue(true);
                 }));
  table.Register("select", log.Wrap("select", [](const transport::TRpcRecord&) -> transport::TRpcValue {
                   throw StoreError("no such table:\nGROUPS");
                 }));
  table.Register("odd", log.Wrap("odd", [](const transport::TRpcRecord&) -> transport::TRpcValue {
                   return std::make_unique<transport::TRpcExceptionValue>(3, "Access denied");
                 }));

  CallLog::SetCurrentSession("S1");
  EXPECT_EQ(table.Process("FC=youthere;RE=0;"), "B=T;");
  // The wrapper passes the failure on; the table turns it into the call's exception.
  EXPECT_EQ(table.Process("FC=select;RE=0;"), Exception("no such table:\nGROUPS"));
  CallLog::SetCurrentSession(std::nullopt);
  EXPECT_EQ(table.Process("FC=odd;RE=0;"), "E=16\"#3:Access denied\";");

  std::vector<std::vector<std::string>> lines;
  std::istringstream in(out.str());
  for (std::string line; std::getline(in, line);) {
    std::vector<std::string> fields;
    std::istringstream parts(line);
    for (std::string field; std::getline(parts, field, '\t');) fields.push_back(field);
    lines.push_back(fields);
  }
  ASSERT_EQ(lines.size(), 3u) << out.str();
  const std::vector<std::vector<std::string>> expected = {
      {"S1", "youthere", "ok"}, {"S1", "select", "failed: no such table: GROUPS"}, {"-", "odd", "failed: #3:Access denied"}};
  for (std::size_t i = 0; i < lines.size(); ++i) {
    ASSERT_EQ(lines[i].size(), 5u) << out.str();
    EXPECT_EQ(lines[i][0].size(), std::string("2024-03-07 09:05:00").size()) << lines[i][0];
    EXPECT_EQ(lines[i][1], expected[i][0]);
    EXPECT_EQ(lines[i][2], expected[i][1]);
    EXPECT_TRUE(lines[i][3].ends_with(" ms")) << lines[i][3];
    EXPECT_EQ(lines[i][4], expected[i][2]);
  }
}

}  // namespace
}  // namespace quillorn::server
