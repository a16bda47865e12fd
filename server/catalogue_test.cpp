#include "server/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/call_log.h"
#include "server/function_table.h"
#include "server/server_limits.h"
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

// The refusals the client reads back and a plain youthere are the reference server test's, through
// the client module.
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
      {Call("select", "SELECT * FROM GROUPS", true), Exception("no such table: GROUPS")},
  };
  for (const auto& c : cases) EXPECT_EQ(table.Process(c.code), c.reply) << c.code;
  // Nothing of the refused statements ran.
  EXPECT_EQ(store.Select("SELECT COUNT(*) FROM USERS").Rows.at(0).at(0).integer, 3);
}

// Calls run in order and each answers in its place: a code that is no call, an
// unknown function, and a result that would take the whole reply past the
// answer limit each become an exception there; the calls around them go on.
TEST(FunctionTable, EachCallAnswersInItsPlaceWithinTheAnswerLimit) {
  FunctionTable table;
  RegisterDefaultFunctions(table);
  table.Register("big", [](const transport::TRpcRecord&) { return transport::TextValue(std::string(100, 'x')); });
  table.SetAnswerLimit(60);
  EXPECT_TRUE(table.Contains("big"));
  const std::string tooLarge = Exception(AnswerTooLargeMessage(60));
  struct Case {
    std::string code;
    std::string reply;
  };
  const std::vector<Case> cases = {
      {.code = "FC=youthere;RE=0;FC=youthere;RE=0;", .reply = "B=T;B=T;"},
      {.code = "FC=big;RE=0;", .reply = tooLarge},
      {.code = "FC=youthere;RE=0;FC=big;RE=0;FC=youthere;RE=0;", .reply = "B=T;" + tooLarge + "B=T;"},
      {.code = "B=T;", .reply = Exception("Function call expected.")},
      {.code = "FC=nothing;RE=0;", .reply = Exception(FunctionTable::UnknownFunctionMessage("nothing"))},
  };
  for (const auto& c : cases) EXPECT_EQ(table.Process(c.code), c.reply) << c.code;
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

  // Time, session ("-" for none), function, duration, outcome; a message's line breaks become spaces.
  const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\t";
  std::istringstream in(out.str());
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  using ::testing::MatchesRegex;
  const std::string took = "\t[0-9]+\\.[0-9]{3} ms\t";
  EXPECT_THAT(lines, ::testing::ElementsAre(MatchesRegex(time + "S1\tyouthere" + took + "ok"),
                                            MatchesRegex(time + "S1\tselect" + took + "failed: no such table: GROUPS"),
                                            MatchesRegex(time + "-\todd" + took + "failed: #3:Access denied")));
}

}  // namespace
}  // namespace quillorn::server
