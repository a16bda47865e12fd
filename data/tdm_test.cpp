#include "data/tdm.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "data/connection_test_support.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;
using foundation::testing::WriteAll;
using testing::DeadPort;
using testing::PingServer;
using testing::TracedContext;

// One add-in instance's surroundings: its folders (the log context's folder is
// AppDataDir), a loop on a manual clock and the system as a test sets it.
struct Instance {
  explicit Instance(const std::string& cacheDir = {}) {
    cache = cacheDir.empty() ? traced.folder.Dir() + "Cache/" : cacheDir;
    std::filesystem::create_directories(cache);
  }
  TdmFolders Folders() const { return {app.Dir(), traced.folder.Dir(), cache}; }
  std::unique_ptr<Tdm> Create(bool cloud = false) {
    return std::make_unique<Tdm>(Folders(), cloud, loop, system, traced.context);
  }
  void WriteAddInIni(const std::string& body) const {
    WriteAll(traced.folder.Path() / kAddInIniName, body);
  }

  TempFolder app;
  TracedContext traced;
  std::string cache;
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  platform::FakeSystemServices system;
};

TEST(Tdm, CreateReadsSettingsOpensMemoryTablesAndLeavesTheCacheAlone) {
  Instance instance;
  instance.WriteAddInIni("[Connection Settings]\r\nPort=8123\r\nLocal_Address=dms1\r\n");
  WriteAll(instance.traced.folder.Path() / kQuillornIniName, "[CONNECTION SETTINGS]\r\nPortRange=49300 - 49210\r\n");
  auto dm = instance.Create();
  EXPECT_EQ(dm->Settings.ServerPort, "8123");
  EXPECT_EQ(dm->CurrentServerAddress(), "dms1");
  EXPECT_EQ(dm->Settings.PortRange, (TPortRange{49210, 49300}));
  EXPECT_TRUE(dm->tblWebFields.Active());
  ASSERT_TRUE(dm->tblReviewIntervals.Active());
  EXPECT_EQ(dm->tblReviewIntervals.RecordCount(), 29);
  EXPECT_FALSE(std::filesystem::exists(instance.cache + "cache.dat"));
  EXPECT_FALSE(dm->Connection.mIsServerReachable);
  EXPECT_TRUE(dm->Connection.mStartUp);
  EXPECT_FALSE(dm->Connection.Timer1.Enabled());
  EXPECT_TRUE(instance.traced.Traced("Tdm Create", ""));
  EXPECT_TRUE(instance.traced.Traced("CloudExportFolder:", ""));
  EXPECT_EQ(instance.traced.context.ProcName, "");
}

TEST(Tdm, BadPortRangeMeansNoModule) {
  Instance instance;
  WriteAll(instance.traced.folder.Path() / kQuillornIniName, "[CONNECTION SETTINGS]\r\nPortRange=49201\r\n");
  EXPECT_THROW(instance.Create(), std::invalid_argument);
}

// The statements of the fetches this instance sent, in order.
std::vector<std::string> Fetches(const TracedContext& traced) {
  const std::string trace = traced.Trace();
  const std::string mark = "\tSERVER CALL from FetchData\tselect SQL: ";
  std::vector<std::string> out;
  for (std::size_t at = trace.find(mark); at != std::string::npos; at = trace.find(mark, at + 1)) {
    const std::size_t from = at + mark.size();
    out.push_back(trace.substr(from, trace.find("\r\n", from) - from));
  }
  return out;
}

TEST(Tdm, ReturnToOnlineFetchesWhatStillComesFromTheCache) {
  struct Case {
    const char* name;
    std::vector<bool*(*)(Tdm&)> live;  // flags raised before the change
    std::vector<std::string> fetches;
  };
  const std::vector<Case> cases = {
      {"all from the cache",
       {},
       {kDocFieldsSql, kUsersSql, kUserGroupLinksSql, kGroupsSql, kCodesSql, kTemplatesSql}},
      {"users and codes live",
       {[](Tdm& d) { return &d.Live.mUsersLive; }, [](Tdm& d) { return &d.Live.mCodesLive; }},
       {kDocFieldsSql, kUserGroupLinksSql, kGroupsSql, kTemplatesSql}},
      {"all live but the templates (the logo is never refetched)",
       {[](Tdm& d) { return &d.Live.mDocFieldsLive; }, [](Tdm& d) { return &d.Live.mUsersLive; },
        [](Tdm& d) { return &d.Live.mUserGroupLinksLive; }, [](Tdm& d) { return &d.Live.mGroupsLive; },
        [](Tdm& d) { return &d.Live.mCodesLive; }},
       {kTemplatesSql}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Instance instance;
    instance.WriteAddInIni("[Connection Settings]\r\nPort=" + std::to_string(DeadPort()) +
                           "\r\nLocal_Address=127.0.0.1\r\n");
    auto dm = instance.Create();
    std::vector<bool> reported;
    dm->FReachableEvent = [&](Tdm& sender, bool reachable) {
      EXPECT_EQ(&sender, dm.get());
      reported.push_back(reachable);
    };
    for (auto flag : c.live) *flag(*dm) = true;
    dm->SetIsServerReachable(true);  // the first report: start-up fetches anyway
    EXPECT_TRUE(Fetches(instance.traced).empty());
    dm->SetIsServerReachable(false);
    dm->SetIsServerReachable(false);
    EXPECT_TRUE(Fetches(instance.traced).empty());
    dm->SetIsServerReachable(true);
    EXPECT_EQ(Fetches(instance.traced), c.fetches);
    dm->SetIsServerReachable(true);
    EXPECT_EQ(Fetches(instance.traced), c.fetches);
    EXPECT_EQ(reported, (std::vector<bool>{true, false, false, true, true}));
  }
}

TEST(Tdm, BlockingPingWithTheModulesOwnSessionSettings) {
  // The server expects the service's key, cipher and compression: only the
  // component design values get a true through.
  PingServer server;
  Instance instance;
  instance.WriteAddInIni("[Connection Settings]\r\nPort=" + std::to_string(server.Port()) +
                         "\r\nLocal_Address=127.0.0.1\r\n");
  auto dm = instance.Create();
  std::vector<bool> reported;
  dm->FReachableEvent = [&](Tdm&, bool reachable) { reported.push_back(reachable); };
  EXPECT_TRUE(dm->ConnectToServer(true));
  EXPECT_TRUE(dm->mIsServerReachable());
  EXPECT_EQ(reported, std::vector<bool>{true});
  EXPECT_EQ(server.Calls(), 1);
  for (const auto& seen : server.Server().Seen()) EXPECT_EQ(seen.Target.rfind("/cms?", 0), 0u) << seen.Target;
}

TEST(Tdm, ShutDownClosesTheCacheAndKeepsThePingStopped) {
  Instance instance;
  instance.WriteAddInIni("[Connection Settings]\r\nPort=" + std::to_string(DeadPort()) +
                         "\r\nLocal_Address=127.0.0.1\r\n");
  auto dm = instance.Create();
  dm->LoadFromCache(dm->tblFiles);
  ASSERT_TRUE(dm->Cache.CacheDB().Connected());
  dm->Connection.HttpClientConnectFail();
  ASSERT_TRUE(dm->Connection.Timer1.Enabled());
  dm->ShutDown();
  EXPECT_TRUE(instance.traced.Traced("Tdm.ShutDown...", ""));
  EXPECT_TRUE(dm->Connection.mShutDown);
  EXPECT_FALSE(dm->Cache.CacheDB().Connected());
  EXPECT_FALSE(dm->Connection.Timer1.Enabled());
  dm->Connection.HttpClientDisconnect();
  EXPECT_FALSE(dm->Connection.Timer1.Enabled());
  instance.loop.AdvanceAndRun(2 * kReconnectPingIntervalMs);
  EXPECT_FALSE(instance.traced.Traced("Ping server", "function (non-blocking): youthere"));
}

TEST(Tdm, DestroyDeletesTheSessionsTempFiles) {
  Instance instance;
  TempFolder temp;
  const std::string kept = (temp.Path() / "kept.docx").string();
  WriteAll(kept, "not ours");
  std::vector<std::string> files = {(temp.Path() / "a.docx").string(), (temp.Path() / "b.pdf").string()};
  for (const auto& f : files) WriteAll(f, "extracted");
  const std::string missing = (temp.Path() / "gone.xlsx").string();
  {
    auto dm = instance.Create();
    dm->TempFiles = {files[0], missing, files[1]};
  }
  for (const auto& f : files) {
    EXPECT_FALSE(std::filesystem::exists(f)) << f;
    EXPECT_TRUE(instance.traced.Traced("DeleteFile", f));
  }
  EXPECT_TRUE(std::filesystem::exists(kept));
  EXPECT_TRUE(instance.traced.Traced("Could not delete file:", missing));
  EXPECT_FALSE(instance.traced.Traced("Could not delete file:", files[0]));
}

TEST(Tdm, TwoInstancesShareOneCacheAndKeepTheirOwnState) {
  TempFolder shared;
  Instance word(shared.Dir());
  Instance excel(shared.Dir());
  word.WriteAddInIni("[Connection Settings]\r\nPort=" + std::to_string(DeadPort()) +
                     "\r\nLocal_Address=127.0.0.1\r\n");
  auto wordDm = word.Create();
  auto excelDm = excel.Create();
  wordDm->LoadFromCache(wordDm->tblFiles);
  ASSERT_TRUE(wordDm->cacheExecSQL(
      "insert into FILES (DOC_ID, FILENAME, SESSION_ID) values (7, 'a.docx', 11)"));
  EXPECT_EQ(Tdm::MyVarToStrDef(excelDm->cacheLookup("select DOC_ID from FILES where SESSION_ID=11"), "0"), "7");

  wordDm->SetIsServerReachable(true);
  wordDm->SetIsServerReachable(false);
  wordDm->SetIsServerReachable(true);
  EXPECT_EQ(Fetches(word.traced).size(), 6u);
  EXPECT_TRUE(Fetches(excel.traced).empty());
  EXPECT_FALSE(excelDm->mIsServerReachable());
  // Each instance traces into its own folder.
  EXPECT_TRUE(word.traced.Traced("cacheLookup", "select DOC_ID from FILES where SESSION_ID=11") == false);
  EXPECT_TRUE(excel.traced.Traced("cacheLookup", "select DOC_ID from FILES where SESSION_ID=11"));
}

}  // namespace
}  // namespace quillorn::data
