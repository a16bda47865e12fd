// Test code only: the reference catalogue ("youthere", "select", "execsql") on
// 127.0.0.1 over a store of its own, with every statement it was sent kept for
// the test to read, and a data module pointed at it with tracing on. Never used
// by the client itself.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "data/connection_test_support.h"
#include "data/settings.h"
#include "data/tdm.h"
#include "foundation/context.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"
#include "platform/system_services.h"
#include "server/catalogue.h"
#include "server/function_table.h"
#include "server/rpc_server.h"
#include "server/store.h"

namespace quillorn::data::testing {

class CatalogueServer {
 public:
  // `extra` may add or replace functions after the catalogue's.
  explicit CatalogueServer(std::function<void(server::FunctionTable&)> extra = {})
      : store_(folder_.Path()), server_(server::ServerOptions{}, Functions(std::move(extra))) {
    port_ = server_.Start();
  }
  int Port() const { return port_; }
  server::ServerStore& Store() { return store_; }
  void Exec(const std::string& sql) { store_.Execute(sql); }
  // Every "sql" of "select" and "execsql", in the order they came.
  std::vector<std::string> Statements() const {
    std::lock_guard<std::mutex> lock(*mutex_);
    return *statements_;
  }

 private:
  server::FunctionTable Functions(std::function<void(server::FunctionTable&)> extra) {
    server::FunctionTable table;
    for (auto& [name, function] : server::Catalogue(store_)) {
      table.Register(name, [function = std::move(function), statements = statements_,
                            mutex = mutex_](const transport::TRpcRecord& params) {
        {
          std::lock_guard<std::mutex> lock(*mutex);
          if (!params.GetNull("sql")) statements->push_back(params.GetString("sql"));
        }
        return function(params);
      });
    }
    if (extra) extra(table);
    return table;
  }

  foundation::testing::TempFolder folder_;
  server::ServerStore store_;
  std::shared_ptr<std::vector<std::string>> statements_ = std::make_shared<std::vector<std::string>>();
  std::shared_ptr<std::mutex> mutex_ = std::make_shared<std::mutex>();
  server::RpcServer server_;
  int port_ = 0;
};

// One add-in instance's data module on a server port, tracing into its folder.
struct DmInstance {
  explicit DmInstance(int port) {
    cache = traced.folder.Dir() + "Cache/";
    std::filesystem::create_directories(cache);
    foundation::testing::WriteAll(traced.folder.Path() / kAddInIniName,
                                  "[Connection Settings]\r\nPort=" + std::to_string(port) +
                                      "\r\nLocal_Address=127.0.0.1\r\n");
    dm = std::make_unique<Tdm>(TdmFolders{app.Dir(), traced.folder.Dir(), cache}, false, loop, system,
                               traced.context);
  }
  // Online as after a first successful ping.
  void GoOnline() { ASSERT_TRUE(dm->ConnectToServer(true)); }

  foundation::testing::TempFolder app;
  TracedContext traced;
  std::string cache;
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  platform::FakeSystemServices system;
  std::unique_ptr<Tdm> dm;
};

}  // namespace quillorn::data::testing
