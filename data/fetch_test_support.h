// Test code only: a reference server on 127.0.0.1 with the server tables the
// fetches read (the document and rights procedures are the catalogue's own),
// noting the statements it was sent, with a reply a test may force. Never used
// by the client itself.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "data/connection_test_support.h"
#include "data/settings.h"
#include "data/tdm.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"
#include "platform/system_services.h"
#include "server/catalogue.h"
#include "server/rpc_server.h"
#include "server/function_table.h"
#include "server/store.h"

namespace quillorn::data::testing {

inline constexpr const char* kServerSchema[] = {
    "CREATE TABLE DOCS (DOC_ID INTEGER PRIMARY KEY, DOC_NO INTEGER, SEQ INTEGER, DOC_NAME VARCHAR(512), "
    "VER VARCHAR(10), DOC_TYPE_ID INTEGER, STATUS CHAR(1), STATUS_DATE DATETIME, NOTES BLOB, IS_CURRENT CHAR(1), "
    "FILE_TYPE INTEGER, FRAMEWORK INTEGER, SOURCE BLOB)",
    "CREATE TABLE Users (USER_ID INTEGER, LOGIN VARCHAR(31), GIVEN_NAMES VARCHAR(40), SURNAME VARCHAR(20), "
    "DESIGNATION VARCHAR(20), EMAIL VARCHAR(100), P_CREATE CHAR(1), P_EDIT CHAR(1), P_DELETE CHAR(1), "
    "P_MOVE CHAR(1), P_VIEW CHAR(1), P_APPROVE CHAR(1), P_REVISE CHAR(1), P_CHECKOUT CHAR(1), "
    "P_PRINT_UNCTRL CHAR(1), P_EXPORT CHAR(1), P_CHANGE_PERMISSION CHAR(1), IS_DELETED CHAR(1), "
    "IS_WEB_USER CHAR(1))",
    "CREATE TABLE GROUPS (GROUP_ID INTEGER, GROUP_NAME VARCHAR(30), P_CREATE CHAR(1), P_EDIT CHAR(1), "
    "P_DELETE CHAR(1), P_MOVE CHAR(1), P_VIEW CHAR(1), P_APPROVE CHAR(1), P_REVISE CHAR(1), P_CHECKOUT CHAR(1), "
    "P_PRINT_UNCTRL CHAR(1), P_EXPORT CHAR(1), P_CHANGE_PERMISSION CHAR(1))",
    "CREATE TABLE USER_GROUP_LINKS (USER_ID INTEGER, GROUP_ID INTEGER)",
    "CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))",
    "CREATE VIEW GET_DOC_FIELDS AS SELECT CODE, VAL FROM CODES WHERE D_TYPE = 'DOC_FIELD'",
    "CREATE TABLE FORMS (DOC_NO INTEGER, TEMPLATE_NAME VARCHAR(30), HTML_FORM BLOB, LAST_EXTRACTED DATETIME, "
    "FIELDS_USED TEXT, REGISTER_NAME VARCHAR(100))",
    "CREATE TABLE ORGANISATION (LOGO BLOB)",
};

class FetchServer {
 public:
  FetchServer() : store_(folder_.Path()), server_(server::ServerOptions{}, Functions()) {
    for (const char* sql : kServerSchema) store_.Execute(sql);
    port_ = server_.Start();
  }
  int Port() const { return port_; }
  void Exec(const std::string& sql) { store_.Execute(sql); }
  server::RpcServer& Server() { return server_; }
  std::vector<std::string> Statements() const {
    std::lock_guard<std::mutex> lock(*shared_->mutex);
    return shared_->statements;
  }
  // While set, "select" answers with this instead of running the statement.
  void ForceReply(std::function<transport::TRpcValue()> reply) {
    std::lock_guard<std::mutex> lock(*shared_->mutex);
    shared_->forced = std::move(reply);
  }

 private:
  struct Shared {
    std::shared_ptr<std::mutex> mutex = std::make_shared<std::mutex>();
    std::vector<std::string> statements;
    std::function<transport::TRpcValue()> forced;
  };

  server::FunctionTable Functions() {
    server::FunctionTable table;
    server::RpcFunction select;
    for (auto& [name, function] : server::Catalogue(store_)) {
      if (name == "select") select = function;
      table.Register(name, std::move(function));
    }
    table.Register("select", [this, select](const transport::TRpcRecord& params) {
      const std::string sql = params.GetString("sql");
      std::function<transport::TRpcValue()> forced;
      {
        std::lock_guard<std::mutex> lock(*shared_->mutex);
        shared_->statements.push_back(sql);
        forced = shared_->forced;
      }
      if (forced) return forced();
      return select(params);
    });
    return table;
  }

  foundation::testing::TempFolder folder_;
  server::ServerStore store_;
  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
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

// One add-in instance's data module pointed at `port` on 127.0.0.1, tracing
// into its own folder, with a manual clock.
struct FetchInstance {
  explicit FetchInstance(int port) {
    cache = traced.folder.Dir() + "Cache/";
    std::filesystem::create_directories(cache);
    foundation::testing::WriteAll(traced.folder.Path() / kAddInIniName,
                                  "[Connection Settings]\r\nPort=" + std::to_string(port) +
                                      "\r\nLocal_Address=127.0.0.1\r\nLocal_Timeout=5\r\n");
    dm = std::make_unique<Tdm>(TdmFolders{app.Dir(), traced.folder.Dir(), cache}, false, loop, system,
                               traced.context);
    dm->AddIn = &addIn;
    dm->UserID = 3;
  }
  // Online as after the start-up's first ping.
  void GoOnline() { ASSERT_TRUE(dm->ConnectToServer(true)); }
  void Cache(const std::string& sql) { ASSERT_TRUE(dm->cacheExecSQL(sql)) << sql; }

  // Pumps until the result object's return handler has run; false on timeout.
  bool WaitForReturn(transport::TRpcResult& result) {
    auto done = loop.CreateEvent();
    auto handler = result.OnReturn;
    result.OnReturn = [&, handler](transport::TRpcClientModule* sender, transport::TRpcValue& data,
                                   transport::TRpcValue& reply) {
      handler(sender, data, reply);
      done->Set();
    };
    const bool ok = loop.Wait(*done, kWaitMs) == platform::MainLoop::WaitResult::Signaled;
    result.OnReturn = handler;
    return ok;
  }

  foundation::testing::TempFolder app;
  TracedContext traced;
  std::string cache;
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  platform::FakeSystemServices system;
  RecordingAddIn addIn;
  std::unique_ptr<Tdm> dm;
};

}  // namespace quillorn::data::testing
