// The reference server's catalogue through the client module on 127.0.0.1, in
// process; the program itself is tested in server_program_test.cpp.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "foundation/datetime.h"
#include "foundation/temp_folder_for_test.h"
#include "server/catalogue.h"
#include "server/function_table.h"
#include "server/rpc_server.h"
#include "server/sql_dataset.h"
#include "server/store.h"
#include "tests/loopback_client_for_test.h"
#include "transport/rpc_dataset.h"

namespace quillorn {
namespace {

using transport::TRpcValue;
using transport::TRpcValueTypes;

constexpr int kCallTimeoutSeconds = 10;

using foundation::testing::ReadAll;
using foundation::testing::TempFolder;

// The client side as the add-in configures it, pointed at a port.
struct Client : testing::LoopbackClient {
  explicit Client(int port) : LoopbackClient(port, 2) {}

  TRpcValue YouThere() {
    module.Prepare("youthere");
    return module.Execute(true, kCallTimeoutSeconds, true);
  }
  // As FetchData and lookup send it: the statement as text.
  TRpcValue Select(const std::string& sql) {
    module.Prepare("select").SetText("sql", sql);
    return module.Execute(true, kCallTimeoutSeconds, true);
  }
  // As ExecSQL sends it: the statement as a byte string.
  TRpcValue ExecSql(const std::string& sql) {
    module.Prepare("execsql").SetString("sql", sql);
    return module.Execute(true, kCallTimeoutSeconds, true);
  }

};

class ReferenceServer : public ::testing::Test {
 protected:
  ReferenceServer() : store_(folder_.Path()), server_({}, Functions(store_)), client_(server_.Start()) {}

  static server::FunctionTable Functions(server::ServerStore& store) {
    server::FunctionTable table;
    server::RegisterCatalogue(table, store);
    return table;
  }

  void ExpectException(const TRpcValue& reply, std::string_view message) {
    ASSERT_EQ(reply.ValueType(), TRpcValueTypes::rpc_Exception) << reply.toCode();
    EXPECT_EQ(reply.AsException().TextForm(), message);
  }

  std::int64_t Count(const std::string& table) {
    return store_.Select("SELECT COUNT(*) FROM " + table).Rows.at(0).at(0).integer;
  }

  TempFolder folder_;
  server::ServerStore store_;
  server::RpcServer server_;
  Client client_;
};

// What the catalogue's own tests check byte for byte, here through the client
// module over a session: each value type of a row reaches the client as the
// server built it, a refusal comes back as an exception with nothing run, and
// the session goes on after it.
TEST_F(ReferenceServer, CallsThroughTheClientModule) {
  EXPECT_EQ(client_.YouThere().toCode(), "B=T;");
  ASSERT_TRUE(client_.ExecSql("CREATE TABLE SAMPLES (ID INTEGER PRIMARY KEY, SMALL SMALLINT, BIG BIGINT, "
                              "NAME VARCHAR(40), NOTES TEXT, IS_ON BOOLEAN, AMOUNT DOUBLE PRECISION, "
                              "PRICE MONEY, STAMP TIMESTAMP, DATA BLOB, LOOSE)")
                  .AsBoolean());
  ASSERT_TRUE(client_.ExecSql("INSERT INTO SAMPLES VALUES (1, -12, 5000000000, 'Quality manual', "
                              "'line one' || char(13, 10) || 'line \"two\";', 1, 2.5, 12.34, "
                              "'2024-03-07 09:05:00.5', X'00FF3B22', 'any'), (2, NULL, NULL, NULL, NULL, NULL, "
                              "NULL, NULL, NULL, NULL, NULL)")
                  .AsBoolean());
  const std::string sql = "SELECT * FROM SAMPLES ORDER BY ID";
  const TRpcValue reply = client_.Select(sql);
  ASSERT_EQ(reply.ValueType(), TRpcValueTypes::rpc_DataSet) << reply.toCode();
  EXPECT_EQ(reply.toCode(), TRpcValue(server::ToDataSet(store_.Select(sql))).toCode());
  const transport::TRpcDataRow& full = *reply.AsDataSet().Row(0);
  EXPECT_EQ(full.GetLargeInt("BIG"), 5000000000LL);
  EXPECT_EQ(full.GetString("NOTES"), "line one\r\nline \"two\";");
  EXPECT_EQ(full.GetCurrency("PRICE"), 123400);
  EXPECT_DOUBLE_EQ(full.GetDateTime("STAMP"), foundation::EncodeDateTime(2024, 3, 7, 9, 5, 0, 500));
  EXPECT_EQ(full.GetByteStream("DATA"), std::string("\x00\xFF;\"", 4));
  EXPECT_EQ(reply.AsDataSet().Row(1)->Count(), 1u) << "nulls left out";

  ExpectException(client_.Select("DELETE FROM SAMPLES"), server::kNotReadOnly);
  ExpectException(client_.ExecSql("DELETE FROM SAMPLES WHERE ID=1; DELETE FROM SAMPLES"),
                  server::kMoreThanOneStatement);
  EXPECT_EQ(Count("SAMPLES"), 2);
  EXPECT_TRUE(client_.ExecSql("DELETE FROM SAMPLES WHERE ID=1").AsBoolean());
  EXPECT_EQ(Count("SAMPLES"), 1);
}

}  // namespace
}  // namespace quillorn
