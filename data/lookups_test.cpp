#include "data/lookups.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/data_test_support.h"

namespace quillorn::data {
namespace {

using testing::Instance;
using testing::RefServer;

std::string Text(const Variant& value) { return Tdm::MyVarToStrDef(value, "{NULL}"); }

TEST(Lookup, GivesNullAScalarOrTheFirstRowByColumnPosition) {
  RefServer server;
  server.Exec("CREATE TABLE T (A INTEGER, B VARCHAR(10), C VARCHAR(10))");
  server.Exec("INSERT INTO T VALUES (1, 'one', 'uno'), (2, NULL, 'dos')");
  Instance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  EXPECT_EQ(lookup(dm, "select A from T where A=1"), Variant(std::int32_t{1}));
  EXPECT_EQ(lookup(dm, "select B from T where A=2"), Variant::Null());
  // An array's first two values as text.
  EXPECT_EQ(Text(lookup(dm, "select B, C, A from T where A>1")), "{NULL};dos");
  EXPECT_EQ(Text(lookup(dm, "select A, B from T where A=99")), "{NULL};{NULL}");
  EXPECT_EQ(Text(lookup(dm, "C", "T", "A=1")), "uno");
  EXPECT_EQ(Text(lookup(dm, "B, C", "T", "")), "one;uno");
  EXPECT_TRUE(ExecSQL(dm, "insert into T values (3, 'three', 'tres')"));
  EXPECT_EQ(server.One("select B from T where A=3"), "three");
}

TEST(Lookup, RepliesOfAnotherShapeGiveZeroOrFalseAndAreLogged) {
  RefServer odd([](server::FunctionTable& table) {
    table.Register("select", [](const transport::TRpcRecord&) { return transport::TextValue("not rows"); });
    table.Register("execsql", [](const transport::TRpcRecord& params) {
      return params.GetString("sql") == "false" ? transport::BooleanValue(false) : transport::IntegerValue(1);
    });
  });
  RefServer failing;
  struct Case {
    RefServer& server;
    const char* sql;
    const char* logged;  // null: nothing
  };
  for (const Case& c : {Case{odd, "select 1", "\tdm.lookup\rUnexpected Result after Select\r\n"},
                        Case{failing, "select X from NOPE", "\rServer-side exception after Select:\rno such table"},
                        Case{odd, "false", nullptr},
                        Case{odd, "true", "\tdm.ExecSQL\rUnexpected Result after Execsql\r\n"},
                        Case{failing, "updat x", "\rServer-side exception after Execsql:\r\nnear \"updat\""}}) {
    SCOPED_TRACE(c.sql);
    Instance instance(c.server.Port());
    instance.GoOnline();
    if (std::string(c.sql).rfind("select", 0) == 0) {
      EXPECT_EQ(lookup(*instance.dm, c.sql), Variant(std::int32_t{0}));
    } else {
      EXPECT_FALSE(ExecSQL(*instance.dm, c.sql));
    }
    EXPECT_EQ(instance.traced.Logged("after "), c.logged != nullptr);
    EXPECT_TRUE(c.logged == nullptr || instance.traced.Logged(c.logged));
  }
}

}  // namespace
}  // namespace quillorn::data
