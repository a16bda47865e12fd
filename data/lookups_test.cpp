#include "data/lookups.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/catalogue_test_support.h"
#include "transport/rpc_value.h"

namespace quillorn::data {
namespace {

using testing::CatalogueServer;
using testing::DmInstance;

std::string Text(const Variant& value) { return Tdm::MyVarToStrDef(value, "{NULL}"); }

// While tracing, exception records stand among the trace lines.
std::string Exceptions(const DmInstance& instance) { return instance.traced.Trace(); }

TEST(Lookup, GivesNullScalarOrTheFirstRowByColumnPosition) {
  CatalogueServer server;
  server.Exec("CREATE TABLE T (A INTEGER, B VARCHAR(10), C VARCHAR(10))");
  server.Exec("INSERT INTO T VALUES (1, 'one', 'uno')");
  server.Exec("INSERT INTO T VALUES (2, NULL, 'dos')");
  server.Exec("INSERT INTO T VALUES (3, 'three', 'tres')");
  DmInstance instance(server.Port());
  instance.GoOnline();
  struct Case {
    const char* sql;
    Variant::Kind kind;
    std::vector<std::string> values;  // Text of the scalar, or of each element
  };
  const std::vector<Case> cases = {
      {"select A from T where A=1", Variant::Kind::Int32, {"1"}},
      {"select B from T where A=3", Variant::Kind::Text, {"three"}},
      {"select B from T where A=2", Variant::Kind::Null, {"{NULL}"}},
      {"select A from T where A=99", Variant::Kind::Null, {"{NULL}"}},
      {"select A, B, C from T where A>1 order by A", Variant::Kind::Array, {"2", "{NULL}", "dos"}},
      {"select A, B from T where A=99", Variant::Kind::Array, {"{NULL}", "{NULL}"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    const Variant value = lookup(*instance.dm, c.sql);
    ASSERT_EQ(value.kind(), c.kind);
    std::vector<std::string> got;
    if (value.kind() == Variant::Kind::Array) {
      for (const Variant& item : value.AsArray()) got.push_back(Text(item));
    } else {
      got.push_back(Text(value));
    }
    EXPECT_EQ(got, c.values);
    EXPECT_TRUE(instance.traced.Traced("SERVER CALL: select (WAIT FOR RESULT)", std::string("SQL: ") + c.sql));
  }
  EXPECT_EQ(instance.traced.context.ProcName, "");
}

TEST(Lookup, ThreePartFormBuildsTheStatementTheServerRuns) {
  CatalogueServer server;
  server.Exec("CREATE TABLE T (A INTEGER, B VARCHAR(10))");
  server.Exec("INSERT INTO T VALUES (5, 'five')");
  DmInstance instance(server.Port());
  instance.GoOnline();
  EXPECT_EQ(Text(lookup(*instance.dm, "B", "T", "A=5")), "five");
  EXPECT_EQ(Text(lookup(*instance.dm, "A, B", "T", "")), "5;five");
  const auto seen = server.Statements();
  ASSERT_GE(seen.size(), 2u);
  EXPECT_EQ(seen[seen.size() - 2], "Select B from T where A=5");
  EXPECT_EQ(seen.back(), "Select A, B from T");
}

TEST(Lookup, RepliesOtherThanADataSetLeaveZeroAndAreLogged) {
  CatalogueServer server([](server::FunctionTable& table) {
    table.Register("select", [](const transport::TRpcRecord& params) -> transport::TRpcValue {
      if (params.GetString("sql") == "odd") return transport::TextValue("not rows");
      throw std::runtime_error("no such table: NOPE");
    });
  });
  DmInstance instance(server.Port());
  instance.GoOnline();
  struct Case {
    const char* sql;
    const char* logged;
  };
  const std::vector<Case> cases = {
      {"select X from NOPE", "\tdm.lookup\rServer-side exception after Select:\rno such table: NOPE\r\n"},
      {"odd", "\tdm.lookup\rUnexpected Result after Select\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    const Variant value = lookup(*instance.dm, c.sql);
    ASSERT_EQ(value.kind(), Variant::Kind::Int32);
    EXPECT_EQ(value.AsInt(), 0);
    EXPECT_NE(Exceptions(instance).find(c.logged), std::string::npos) << Exceptions(instance);
  }
  EXPECT_EQ(Exceptions(instance).find("after Select:\r\n"), std::string::npos);
}

TEST(Lookup, WithoutAServerTheTransportFailureReachesTheCaller) {
  DmInstance instance(testing::DeadPort());
  EXPECT_FALSE(instance.dm->mIsServerReachable());
  EXPECT_ANY_THROW(lookup(*instance.dm, "select 1"));
  EXPECT_ANY_THROW(lookup(*instance.dm, "1", "T", ""));
  EXPECT_ANY_THROW(ExecSQL(*instance.dm, "delete from T"));
}

TEST(ExecSQL, TrueOnlyForTheBooleanTrue) {
  CatalogueServer server([](server::FunctionTable& table) {
    table.Register("execsql", [](const transport::TRpcRecord& params) -> transport::TRpcValue {
      const std::string sql = params.GetString("sql");
      if (sql == "answer false") return transport::BooleanValue(false);
      if (sql == "answer 1") return transport::IntegerValue(1);
      throw std::runtime_error("near \"" + sql + "\": syntax error");
    });
  });
  DmInstance instance(server.Port());
  instance.GoOnline();
  struct Case {
    const char* sql;
    bool result;
    const char* logged;  // "" for nothing
  };
  const std::vector<Case> cases = {
      {"answer false", false, ""},
      {"answer 1", false, "\tdm.ExecSQL\rUnexpected Result after Execsql\r\n"},
      {"updat x", false, "\tdm.ExecSQL\rServer-side exception after Execsql:\r\nnear \"updat x\": syntax error\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    EXPECT_EQ(ExecSQL(*instance.dm, c.sql), c.result);
    EXPECT_TRUE(instance.traced.Traced("SERVER CALL:  execsql (WAIT FOR RESULT)", std::string("SQL: ") + c.sql));
    if (*c.logged != '\0') {
      EXPECT_NE(Exceptions(instance).find(c.logged), std::string::npos) << Exceptions(instance);
    }
  }
}

TEST(ExecSQL, ChangesTheServersRows) {
  CatalogueServer server;
  server.Exec("CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))");
  DmInstance instance(server.Port());
  instance.GoOnline();
  ASSERT_TRUE(ExecSQL(*instance.dm, "insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', "
                                    "'KEEP_PG_FORMAT:12', 'Y')"));
  EXPECT_EQ(Text(lookup(*instance.dm, "VAL", "CODES", "CODE='KEEP_PG_FORMAT:12'")), "Y");
}

TEST(GetCodeVal, ReadsTheCachedCodesByTypeAndCode) {
  DmInstance instance(testing::DeadPort());
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblCodes);
  for (const char* sql : {"insert into CODES values ('APP_OPTION', 'DEF_REVIEW', '12')",
                          "insert into CODES values ('FW3', 'DEF_REVIEW', '26')",
                          "insert into CODES values ('WEB_SERVER', 'URL', NULL)"}) {
    ASSERT_TRUE(dm.cacheExecSQL(sql));
  }
  dm.tblCodes.Refresh();
  struct Case {
    const char* dtype;
    const char* code;
    const char* value;
  };
  const std::vector<Case> cases = {
      {"APP_OPTION", "DEF_REVIEW", "12"},
      {"FW3", "DEF_REVIEW", "26"},
      {"FW4", "DEF_REVIEW", ""},
      {"WEB_SERVER", "URL", ""},
      {"APP_OPTION", "URL", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(getCodeVal(dm, c.dtype, c.code), c.value) << c.dtype << " " << c.code;
  }
}

}  // namespace
}  // namespace quillorn::data
