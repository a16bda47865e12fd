#include "data/tdm.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "data/data_test_support.h"

namespace quillorn::data {
namespace {

using testing::DeadPort;
using testing::Instance;

// The statements of the fetches an instance sent, in order.
std::vector<std::string> Fetches(const testing::TracedContext& traced) {
  const std::string trace = traced.Trace(), mark = "\tSERVER CALL from FetchData\tselect SQL: ";
  std::vector<std::string> out;
  for (std::size_t at = trace.find(mark); at != std::string::npos; at = trace.find(mark, at + 1)) {
    const std::size_t from = at + mark.size();
    out.push_back(trace.substr(from, trace.find("\r\n", from) - from));
  }
  return out;
}

TEST(Tdm, ReturnToOnlineFetchesWhatStillComesFromTheCache) {
  // All from the cache, then all live but the templates; the logo is never fetched again.
  for (const bool live : {false, true}) {
    Instance instance(DeadPort());
    Tdm& dm = *instance.dm;
    std::vector<bool> reported;
    dm.FReachableEvent = [&](Tdm& sender, bool reachable) { reported.push_back(&sender == &dm && reachable); };
    dm.Live = {.mUsersLive = live, .mGroupsLive = live, .mUserGroupLinksLive = live, .mCodesLive = live,
               .mDocFieldsLive = live};
    dm.SetIsServerReachable(true);  // the first report: the start-up fetches anyway
    dm.SetIsServerReachable(false);
    dm.SetIsServerReachable(false);
    EXPECT_TRUE(Fetches(instance.traced).empty());
    dm.SetIsServerReachable(true);
    dm.SetIsServerReachable(true);
    const std::vector<std::string> all = {kDocFieldsSql, kUsersSql, kUserGroupLinksSql, kGroupsSql, kCodesSql,
                                          kTemplatesSql};
    EXPECT_EQ(Fetches(instance.traced), live ? std::vector<std::string>{kTemplatesSql} : all);
    EXPECT_EQ(reported, (std::vector<bool>{true, false, false, true, true}));
  }
}

TEST(Tdm, ShutDownClosesTheCacheAndKeepsThePingStopped) {
  Instance instance(DeadPort());
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblFiles);
  dm.Connection.HttpClientConnectFail();
  instance.loop.AdvanceAndRun(kReconnectPingIntervalMs);  // the reconnect ping, given up
  ASSERT_TRUE(instance.WaitFor(dm.Connection.ResultFromCommitToServer));
  dm.ShutDown();
  EXPECT_FALSE(dm.Cache.CacheDB().Connected());
  dm.Connection.HttpClientDisconnect();
  instance.loop.AdvanceAndRun(2 * kReconnectPingIntervalMs);
  EXPECT_EQ(instance.traced.Count("Ping server", "function (non-blocking): youthere"), 1);
  // A bad port range in quillorn.ini means no module at all.
  foundation::testing::WriteAll(instance.traced.folder.Path() / kQuillornIniName,
                                "[CONNECTION SETTINGS]\r\nPortRange=49201\r\n");
  EXPECT_THROW(instance.Create(), std::invalid_argument);
}

}  // namespace
}  // namespace quillorn::data
