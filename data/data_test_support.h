// Test code only: the one fixture of the data tests. The reference server on
// 127.0.0.1 over a store of its own (catalogue, submit and sendfile, over the
// server tables the fetches and the commit read), noting every statement and
// every submit or sendfile; and one add-in instance's data module pointed at a
// port, on a manual clock, tracing into its own folder, with faults on its files
// a test may ask for. Never used by the client itself.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "data/change_capture.h"
#include "data/settings.h"
#include "data/tdm.h"
#include "foundation/context.h"
#include "foundation/log.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/clock.h"
#include "platform/faulty_files.h"
#include "platform/queue_main_loop.h"
#include "platform/system_services.h"
#include "platform/window_messages.h"
#include "server/catalogue.h"
#include "server/function_table.h"
#include "server/rpc_server.h"
#include "server/store.h"
#include "server/submit_functions.h"

namespace quillorn::data::testing {

// The limit of every wait in these tests, in real time.
inline constexpr std::uint32_t kWaitMs = 10000;

// A loopback port that was free a moment ago and where nothing listens now.
inline int DeadPort() {
  server::RpcServer gone({}, server::FunctionTable{});
  return gone.Start();
}

// An add-in instance's log context with tracing on (exception records land in
// the trace too), writing into its own folder.
struct TracedContext {
  foundation::testing::TempFolder folder;
  foundation::LogContext context;
  TracedContext() {
    context.TraceEnabled = true;
    context.AppDir = folder.Dir();
    context.AppDataDir = folder.Dir();
  }
  std::string Trace() const { return foundation::testing::ReadAll(folder.Path() / foundation::kTraceFileName); }
  // How often one record (where, what) stands in the trace file.
  int Count(const std::string& where, const std::string& what) const {
    const std::string trace = Trace(), record = "\t" + where + "\t" + what + "\r\n";
    int n = 0;
    for (auto at = trace.find(record); at != std::string::npos; at = trace.find(record, at + 1)) ++n;
    return n;
  }
  bool Traced(const std::string& where, const std::string& what) const { return Count(where, what) > 0; }
  bool Logged(const std::string& text) const { return Trace().find(text) != std::string::npos; }
};

// The server's tables as far as the client reads and writes them.
inline std::vector<std::string> ServerSchema() {
  const std::string rights = "P_CREATE CHAR(1), P_EDIT CHAR(1), P_DELETE CHAR(1), P_MOVE CHAR(1), P_VIEW CHAR(1), "
                             "P_APPROVE CHAR(1), P_REVISE CHAR(1), P_CHECKOUT CHAR(1), P_PRINT_UNCTRL CHAR(1), "
                             "P_EXPORT CHAR(1), P_CHANGE_PERMISSION CHAR(1)";
  return {"CREATE TABLE DOCS (DOC_ID INTEGER PRIMARY KEY, DOC_NO INTEGER, SEQ INTEGER, DOC_NAME VARCHAR(512), "
          "VER VARCHAR(10), DOC_TYPE_ID INTEGER, STATUS CHAR(1), STATUS_DATE DATETIME, NOTES BLOB, "
          "IS_CURRENT CHAR(1), FILE_TYPE INTEGER, FRAMEWORK INTEGER, SOURCE BLOB)",
          "CREATE TABLE Users (USER_ID INTEGER, LOGIN VARCHAR(31), GIVEN_NAMES VARCHAR(40), SURNAME VARCHAR(20), "
          "DESIGNATION VARCHAR(20), EMAIL VARCHAR(100), " + rights + ", IS_DELETED CHAR(1), IS_WEB_USER CHAR(1))",
          "CREATE TABLE GROUPS (GROUP_ID INTEGER, GROUP_NAME VARCHAR(30), " + rights + ")",
          "CREATE TABLE USER_GROUP_LINKS (USER_ID INTEGER, GROUP_ID INTEGER)",
          "CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))",
          "CREATE VIEW GET_DOC_FIELDS AS SELECT CODE, VAL FROM CODES WHERE D_TYPE = 'DOC_FIELD'",
          "CREATE TABLE FORMS (DOC_NO INTEGER, TEMPLATE_NAME VARCHAR(30), HTML_FORM BLOB, LAST_EXTRACTED DATETIME, "
          "FIELDS_USED TEXT, REGISTER_NAME VARCHAR(100))",
          "CREATE TABLE PUBLISHED_DOCS (DOC_NO INTEGER, SOURCE_TYPE CHAR(10), DOC_ID INTEGER)",
          "CREATE TABLE ORGANISATION (LOGO BLOB)"};
}

// One submit or sendfile as the server saw it, with the HTTP request it came in.
struct Seen {
  std::string function;
  int user_id = 0;
  std::string logname;
  std::size_t request = 0;
  bool operator==(const Seen&) const = default;
};

class RefServer {
 public:
  // `extra` may add or replace functions after the reference ones; port 0 is any free one.
  explicit RefServer(std::function<void(server::FunctionTable&)> extra = {}, int port = 0)
      : store_(folder_.Path()), server_(server::ServerOptions{.Port = port}, Functions(std::move(extra))) {
    for (const std::string& sql : ServerSchema()) store_.Execute(sql);
    port_ = server_.Start();
  }
  int Port() const { return port_; }
  server::RpcServer& Server() { return server_; }
  std::filesystem::path DataFolder() const { return folder_.Path(); }
  void Exec(const std::string& sql) { store_.Execute(sql); }
  // The first value the statement gives, as text; "<none>" without a row.
  std::string One(const std::string& sql) {
    const auto rows = store_.Select(sql).Rows;
    return rows.empty() ? "<none>" : rows[0][0].bytes;
  }
  // Every "sql" the functions were sent, in the order they came.
  std::vector<std::string> Statements() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return statements_;
  }
  std::vector<Seen> Calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }

 private:

  server::FunctionTable Functions(std::function<void(server::FunctionTable&)> extra) {
    server::FunctionTable table;
    auto functions = server::Catalogue(store_);
    for (auto& submit : server::SubmitFunctions(store_)) functions.push_back(std::move(submit));
    for (auto& [name, function] : functions) {
      table.Register(name, [this, name = name, function = function](const transport::TRpcRecord& params) {
        {
          std::lock_guard<std::mutex> lock(mutex_);
          if (name == "submit" || name == "sendfile") {
            calls_.push_back({name, params.GetInteger("user_id"), params.GetString("logname"), server_.Seen().size()});
          } else if (!params.GetNull("sql")) {
            statements_.push_back(params.GetString("sql"));
          }
        }
        return function(params);
      });
    }
    if (extra) extra(table);
    return table;
  }

  foundation::testing::TempFolder folder_;
  server::ServerStore store_;
  mutable std::mutex mutex_;
  std::vector<std::string> statements_;
  std::vector<Seen> calls_;
  server::RpcServer server_;
  int port_ = 0;
};

// Records what the data module asks of the add-in module.
struct RecordingAddIn final : AddInCallbacks {
  void RefreshDocFields() override { calls.emplace_back("RefreshDocFields"); }
  void PopulateCustomFields() override { calls.emplace_back("PopulateCustomFields"); }
  void RefreshTemplateQuery() override { calls.emplace_back("RefreshTemplateQuery"); }
  void SetQuillornRibbonButtonStates() override { calls.emplace_back("SetQuillornRibbonButtonStates"); }
  std::vector<std::string> calls;
};

// One add-in instance: its data module pointed at `port` on 127.0.0.1, over a
// cache folder of its own or one it shares with other instances.
struct Instance {
  explicit Instance(int port, std::string cacheDir = {}, std::string ini = {}) : cache(std::move(cacheDir)) {
    if (cache.empty()) cache = traced.folder.Dir() + "Cache/";
    std::filesystem::create_directories(cache);
    foundation::testing::WriteAll(traced.folder.Path() / kAddInIniName,
                                  "[Connection Settings]\r\nPort=" + std::to_string(port) +
                                      "\r\nLocal_Address=127.0.0.1\r\nLocal_Timeout=5\r\n" + ini);
    Create();
  }
  // A fresh data module, as at the host's start; the old one goes first.
  void Create() {
    dm.reset();
    dm = std::make_unique<Tdm>(TdmFolders{app.Dir(), traced.folder.Dir(), cache}, false, loop, files,
                               traced.context);
    dm->AddIn = &addIn;
    dm->Messages = messages.get();
    dm->sessionID = 77;
    // Every reply and give-up counted, whoever handles it and whenever it comes.
    for (auto* result : {&dm->Connection.ResultFromCommitToServer, &dm->Results.DocFieldsResult,
                         &dm->Results.DocResult, &dm->Results.UsersResult, &dm->Results.CodesResult,
                         &dm->Results.TemplatesResult, &dm->Results.DocPermissionsResult,
                         &dm->Results.WebFormResult, &dm->Results.LogoResult, &dm->Results.GroupsResult,
                         &dm->Results.UserGroupLinksResult}) {
      transport::TRpcResult* object = result->get();
      for (auto* handler : {&object->OnReturn, &object->RequestAborted}) {
        *handler = [this, object, inner = *handler](transport::TRpcClientModule* sender, transport::TRpcValue& data,
                                                    transport::TRpcValue& reply) {
          if (inner) inner(sender, data, reply);
          ++replies[object];
          replied->Set();
        };
      }
    }
  }
  // Online as after the start-up's first ping.
  void GoOnline() { ASSERT_TRUE(dm->ConnectToServer(true)); }
  void Cache(const std::string& sql) { ASSERT_TRUE(dm->cacheExecSQL(sql)) << sql; }
  // Pumps until `result` has had `count` replies (or give-ups) in all, then
  // runs what they posted; false on timeout.
  bool WaitFor(const std::shared_ptr<transport::TRpcResult>& result, int count = 1) {
    for (int round = 0; round < 100 && replies[result.get()] < count; ++round) {
      if (loop.Wait(*replied, kWaitMs) != platform::MainLoop::WaitResult::Signaled) break;
      replied->Reset();
    }
    loop.RunUntilIdle();
    return replies[result.get()] == count;
  }
  // The delta files waiting in the cache folder, table by table.
  std::vector<std::string> Deltas() {
    std::vector<std::string> names;
    for (const char* table : {"DOCS", "CODES", "FORMS", "PUBLISHED_DOCS"}) {
      for (auto& name : CacheFilesOf(files, cache, table)) names.push_back(name);
    }
    return names;
  }
  int CacheCount(const std::string& sql) { return dm->cacheLookup(sql).AsInt(); }
  std::string CacheText(const std::string& sql) { return Tdm::MyVarToStrDef(dm->cacheLookup(sql), ""); }

  foundation::testing::TempFolder app;
  TracedContext traced;
  std::string cache;
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  platform::FakeSystemServices system;
  platform::FaultyFiles files{system};
  std::unique_ptr<platform::WindowMessages> messages = platform::CreateInProcessWindowMessages();
  RecordingAddIn addIn;
  std::map<const transport::TRpcResult*, int> replies;
  std::unique_ptr<platform::WaitEvent> replied = loop.CreateEvent();
  std::unique_ptr<Tdm> dm;
};

}  // namespace quillorn::data::testing
