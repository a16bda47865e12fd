#include "data/remote_catalogue.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "data/data_test_support.h"
#include "data/fetching.h"

namespace quillorn::data {
namespace {

using testing::DeadPort;
using testing::Instance;
using testing::RefServer;
using transport::TRpcValue;

TRpcValue Call(const char* name) {
  auto call = std::make_unique<transport::TRpcFunctionInfo>(name);
  call->SetText("table", "DOCS");
  return TRpcValue(std::move(call));
}

TRpcValue OneCode() {
  auto set = std::make_unique<transport::TRpcDataSet>();
  set->AddField("D_TYPE", transport::TRpcFieldTypes::ft_String);
  set->AppendRow().SetText("D_TYPE", "WEB_SERVER");
  return TRpcValue(std::move(set));
}

TEST(RemoteCatalogue, ProcessRpcResultSortsEachReplyByFunctionAndShape) {
  const auto failure = [] { return TRpcValue(std::make_unique<transport::TRpcExceptionValue>(5, "gone")); };
  struct Case {
    const char* function;
    TRpcValue reply;
    bool expected = false;
    const char* logged = nullptr;  // the exception record's text
    bool sender = false;  // the reply came through the module, not from the loop's second run
    int copies = 0;       // how often the rows were copied into the cache table
  };
  std::vector<Case> cases;
  cases.push_back({.function = "select", .reply = OneCode(), .expected = true, .copies = 1});
  // Rows that come while the module thinks itself offline get a second run from the loop.
  cases.push_back({.function = "select", .reply = OneCode(), .expected = true, .sender = true, .copies = 2});
  const auto boolean = transport::BooleanValue(true);
  cases.push_back({.function = "select", .reply = failure(), 
                   .logged = "Server-side exception after Select:\r\n#5:gone"});
  cases.push_back({.function = "select", .reply = boolean, .logged = "Unexpected Result after Select"});
  cases.push_back({.function = "submit", .reply = transport::TextValue("CODES.004"), .expected = true});
  cases.push_back({.function = "sendfile", .reply = failure(), 
                   .logged = "Server-side exception after SendFile:\r\n#5:gone"});
  cases.push_back({.function = "sendfile", .reply = boolean, .logged = "Unexpected Result after SendFile"});
  cases.push_back({.function = "youthere", .reply = transport::BooleanValue(false)});
  cases.push_back({.function = "execsql", .reply = transport::BooleanValue(true)});
  for (Case& c : cases) {
    SCOPED_TRACE(std::string(c.function) + " " + c.reply.toCode());
    Instance instance(DeadPort());
    Tdm& dm = *instance.dm;
    dm.LoadFromCache(dm.tblCodes);
    TRpcValue data = Call(c.function);
    transport::TRpcClientModule* sender = c.sender ? &dm.Connection.ClientModule : nullptr;
    EXPECT_EQ(ProcessRpcResult(dm, &dm.tblCodes, &dm.monCodes, sender, data, c.reply), c.expected);
    instance.loop.RunUntilIdle();
    EXPECT_EQ(instance.traced.Count("CopyRpcDataSetRowsToLocal", "Rows: 1"), c.copies);
    EXPECT_FALSE(dm.mIsServerReachable());  // never online by itself
    EXPECT_EQ(instance.traced.Logged("after "), c.logged != nullptr);
    EXPECT_TRUE(c.logged == nullptr || instance.traced.Logged(c.logged));
    EXPECT_EQ(dm.tblCodes.RecordCount(), std::string(c.function) == "select" && c.expected ? 1 : 0);
  }
}

TEST(RemoteCatalogue, AGivenUpRequestIsTracedAndLeavesTheReaderWithTheCache) {
  struct Case {
    const char* function;
    const char* traced;  // the "SERVER CALL ABORTED" record; null: an exception record instead
  };
  for (const Case& c : {Case{"select", "function: select tblCodes"}, Case{"submit", "function: submit DOCS"},
                        Case{"youthere", "function: youthere"}, Case{"FormPreviewAvailable", nullptr}}) {
    SCOPED_TRACE(c.function);
    Instance instance(DeadPort(), {}, "Remote_Address=127.0.0.1\r\n");
    Tdm& dm = *instance.dm;
    dm.SetIsServerReachable(true);
    TRpcValue data = Call(c.function);
    const bool select = c.function == std::string("select");
    ProcessAbortedRequest(dm, select ? &dm.tblCodes : nullptr, data);
    EXPECT_TRUE(c.traced ? instance.traced.Traced("SERVER CALL ABORTED", c.traced)
                         : instance.traced.Logged("\rError communicating with the Server.\r\n"));
    EXPECT_EQ(dm.tblCodes.Active(), select);
    // A ping given up goes offline, and the next one tries the other server.
    EXPECT_EQ(dm.mIsServerReachable(), c.function != std::string("youthere"));
    EXPECT_EQ(dm.Settings.mUseLocalServer, c.function != std::string("youthere"));
  }

  // Through a fetch's own result object: the transport gives up after its reposts.
  RefServer server;
  Instance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  server.Server().SetFaultPlan([](const server::SeenRequest&) { return server::Fault{.Status = 500}; });
  EXPECT_FALSE(OpenDoc(dm, 5, Fetch::Refresh, Wait::No));
  dm.tblDoc.Close();
  ASSERT_TRUE(instance.WaitFor(dm.Results.DocResult));
  EXPECT_TRUE(instance.traced.Traced("SERVER CALL ABORTED", "function: select tblDoc"));
  EXPECT_TRUE(dm.tblDoc.Active());
}

}  // namespace
}  // namespace quillorn::data
