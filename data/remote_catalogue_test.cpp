#include "data/remote_catalogue.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "data/fetch_test_support.h"
#include "data/fetching.h"
#include "data/tdm.h"

namespace quillorn::data {
namespace {

using testing::DeadPort;
using testing::FetchInstance;
using testing::FetchServer;
using transport::TRpcValue;

TRpcValue Call(const char* name, const char* table = nullptr) {
  auto call = std::make_unique<transport::TRpcFunctionInfo>(name);
  if (table != nullptr) call->SetText("table", table);
  return TRpcValue(std::move(call));
}

TRpcValue Failure(int code, const char* text) {
  return TRpcValue(std::make_unique<transport::TRpcExceptionValue>(code, text));
}

TRpcValue OneCode() {
  auto set = std::make_unique<transport::TRpcDataSet>();
  set->AddField("D_TYPE", transport::TRpcFieldTypes::ft_String);
  set->AddField("CODE", transport::TRpcFieldTypes::ft_String);
  set->AppendRow().SetText("D_TYPE", "WEB_SERVER");
  return TRpcValue(std::move(set));
}

// An exception record as the trace file holds it while tracing is on.
bool Logged(const FetchInstance& instance, const std::string& message) {
  return instance.traced.Trace().find("\r" + message + "\r\n") != std::string::npos;
}

TEST(RemoteCatalogue, ProcessRpcResultSortsEachReplyByFunctionAndShape) {
  struct Case {
    const char* function;
    std::function<TRpcValue()> reply;
    bool expected;
    const char* logged;  // the exception record's text, or null for none
    const char* traceWhere = nullptr;
    const char* traceWhat = nullptr;
  };
  const std::vector<Case> cases = {
      {"select", OneCode, true, nullptr, "ProcessRpcResult", "select"},
      {"select", [] { return Failure(5, "no such view"); }, false, "Server-side exception after Select:\r\n#5:no such view"},
      {"select", [] { return transport::BooleanValue(true); }, false, "Unexpected Result after Select"},
      {"submit", [] { return transport::TextValue("CODES.004"); }, true, nullptr},
      {"sendfile", [] { return transport::IntegerValue(0); }, true, nullptr, "ProcessRpcResult",
       "function: sendfile \r\tresult: 0"},
      {"sendfile", [] { return Failure(0, "disk full"); }, false, "Server-side exception after SendFile:\r\ndisk full"},
      {"sendfile", [] { return transport::BooleanValue(true); }, false, "Unexpected Result after SendFile"},
      {"youthere", [] { return transport::BooleanValue(false); }, false, nullptr},
      {"execsql", [] { return transport::BooleanValue(true); }, false, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.function) + " " + (c.logged ? c.logged : ""));
    FetchInstance instance(DeadPort());
    Tdm& dm = *instance.dm;
    dm.LoadFromCache(dm.tblFiles);
    dm.LoadFromCache(dm.tblCodes);
    TRpcValue data = Call(c.function);
    TRpcValue reply = c.reply();
    EXPECT_EQ(ProcessRpcResult(dm, &dm.tblCodes, &dm.monCodes, nullptr, data, reply), c.expected);
    const std::string trace = instance.traced.Trace();
    if (c.logged != nullptr) {
      EXPECT_TRUE(Logged(instance, c.logged)) << trace;
    } else {
      EXPECT_EQ(trace.find("after "), std::string::npos) << trace;
    }
    if (c.traceWhere != nullptr) {
      EXPECT_TRUE(instance.traced.Traced(c.traceWhere, c.traceWhat)) << trace;
    }
    // Only a data set reaches the table.
    EXPECT_EQ(dm.tblCodes.RecordCount(), std::string(c.function) == "select" && c.expected ? 1 : 0);
  }
}

TEST(RemoteCatalogue, SendFileReplyClearsTheMarkOfThatDocumentOnly) {
  FetchInstance instance(DeadPort());
  Tdm& dm = *instance.dm;
  OpenFiles(dm);
  instance.Cache("insert into FILES (DOC_ID, FILENAME, CACHED) values (5, 'a.docx', true)");
  instance.Cache("insert into FILES (DOC_ID, FILENAME, CACHED) values (6, 'b.docx', true)");
  TRpcValue data = Call("sendfile");
  TRpcValue reply = transport::IntegerValue(5);
  EXPECT_TRUE(ProcessRpcResult(dm, nullptr, nullptr, nullptr, data, reply));
  EXPECT_EQ(Tdm::MyVarToStrDef(dm.cacheLookup("select count(*) from FILES where CACHED=true"), ""), "1");
  EXPECT_EQ(Tdm::MyVarToStrDef(dm.cacheLookup("select DOC_ID from FILES where CACHED=true"), ""), "6");
}

TEST(RemoteCatalogue, YouThereTrueGoesOnlineInTheDeferredPass) {
  // A live server: going online sends the refetches, and a dead one would fail
  // them and turn the state back at once.
  FetchServer server;
  FetchInstance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  dm.Connection.HttpClientConnectFail();  // offline, the reconnect ping running
  ASSERT_TRUE(dm.Connection.Timer1.Enabled());
  TRpcValue data = Call("youthere");
  TRpcValue yes = transport::BooleanValue(true);
  EXPECT_TRUE(ProcessRpcResult(dm, nullptr, nullptr, &dm.Connection.ClientModule, data, yes));
  EXPECT_FALSE(dm.mIsServerReachable());  // not inside the reply's event
  instance.loop.RunUntilIdle();
  EXPECT_TRUE(dm.mIsServerReachable());
  EXPECT_FALSE(dm.Connection.Timer1.Enabled());
}

TEST(RemoteCatalogue, RowsThatArriveWhileOfflineGetASecondPassButNeverMakeItOnline) {
  FetchInstance instance(DeadPort());
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblCodes);
  TRpcValue data = Call("select");
  TRpcValue reply = OneCode();
  EXPECT_TRUE(ProcessRpcResult(dm, &dm.tblCodes, &dm.monCodes, &dm.Connection.ClientModule, data, reply));
  instance.loop.RunUntilIdle();
  const std::string trace = instance.traced.Trace();
  const std::string record = "\tProcessRpcResult\tfunction: select tblCodes\r\tCopyRpcDataSetRowsToLocal\tRows: 1\r\n";
  const std::size_t first = trace.find(record);
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(trace.find(record, first + 1), std::string::npos);
  EXPECT_EQ(dm.tblCodes.RecordCount(), 1);
  EXPECT_FALSE(dm.mIsServerReachable());
}

TEST(RemoteCatalogue, ProcessAbortedRequestTracesAndFallsBackToTheCache) {
  struct Case {
    TRpcValue data;
    bool withTable;
    const char* traced;  // the "SERVER CALL ABORTED" record's text, or null
    const char* logged;
  };
  std::vector<Case> cases;
  cases.push_back({Call("select"), true, "function: select tblCodes", nullptr});
  cases.push_back({Call("submit", "DOCS"), false, "function: submit DOCS", nullptr});
  cases.push_back({Call("youthere"), false, "function: youthere", nullptr});
  cases.push_back({Call("sendfile"), false, nullptr, "Error communicating with the Server."});
  cases.push_back({Call("FormPreviewAvailable"), false, nullptr, "Error communicating with the Server."});
  for (Case& c : cases) {
    const std::string function = c.data.AsFunction().Name();
    SCOPED_TRACE(function);
    FetchInstance instance(DeadPort());
    Tdm& dm = *instance.dm;
    dm.SetIsServerReachable(true);
    ProcessAbortedRequest(dm, c.withTable ? &dm.tblCodes : nullptr, c.data);
    if (c.traced != nullptr) {
      EXPECT_TRUE(instance.traced.Traced("SERVER CALL ABORTED", c.traced));
    }
    if (c.logged != nullptr) {
      EXPECT_TRUE(Logged(instance, c.logged));
    }
    // The reader gets the cache's rows.
    EXPECT_EQ(dm.tblCodes.Active(), c.withTable);
    EXPECT_EQ(dm.mIsServerReachable(), function != "youthere");
  }
}

TEST(RemoteCatalogue, AGivenUpFetchLeavesTheReaderWithTheCache) {
  FetchServer server;
  FetchInstance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  server.Server().SetFaultPlan([](const server::SeenRequest&) { return server::Fault{500, false}; });
  auto aborted = instance.loop.CreateEvent();
  auto handler = dm.Results.DocResult->RequestAborted;
  dm.Results.DocResult->RequestAborted = [&](transport::TRpcClientModule* sender, TRpcValue& data, TRpcValue& r) {
    handler(sender, data, r);
    aborted->Set();
  };
  EXPECT_FALSE(OpenDoc(dm, 5, Fetch::Refresh, Wait::No));
  dm.tblDoc.Close();
  ASSERT_EQ(instance.loop.Wait(*aborted, testing::kWaitMs), platform::MainLoop::WaitResult::Signaled);
  EXPECT_TRUE(instance.traced.Traced("SERVER CALL ABORTED", "function: select tblDoc"));
  EXPECT_TRUE(dm.tblDoc.Active());
}

TEST(RemoteCatalogue, StatementsStandAsTheServerTakesThem) {
  EXPECT_EQ(DocPermissionsSql(12, 3),
            "select 12 as doc_id, 3 as user_id, p_create, p_edit, p_delete, p_move, p_view, p_approve, p_revise, "
            "p_checkout, p_print_unctrl, p_export, p_change_permission from get_doc_permissions(12, 3)");
}

}  // namespace
}  // namespace quillorn::data
