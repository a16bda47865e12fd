// What one client may ask of the server, tried past each limit: the server
// answers with a refusal in bounded time and memory, and goes on serving.
#include "server/server_limits.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
#include <fstream>
#include <future>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/rpc_endpoint.h"
#include "server/store.h"

namespace quillorn::server {
namespace {

using namespace std::chrono_literals;
using foundation::testing::TempFolder;

constexpr char kForever[] =
    "with recursive r(x) as (select 1 union all select x + 1 from r) select count(*) from r";

// The peak resident memory of this process, from the kernel's account.
std::size_t PeakMiB() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word == "VmHWM:") {
      std::size_t kib = 0;
      status >> kib;
      return kib / 1024;
    }
  }
  return 0;
}

// Runs `sql` on another thread; what it raised, or "rows". A statement still
// running after the bound is stopped, so that the test always ends.
std::string SelectWithin(ServerStore& store, const std::string& sql, std::chrono::seconds bound) {
  auto done = std::async(std::launch::async, [&] {
    try {
      store.Select(sql);
      return std::string("rows");
    } catch (const StoreError& e) {
      return std::string(e.what());
    }
  });
  if (done.wait_for(bound) != std::future_status::ready) {
    store.Stop();
    return "still running after " + std::to_string(bound.count()) + " s: " + done.get();
  }
  return done.get();
}

TEST(StoreLimits, ARunawayStatementIsStoppedByItsTimeAndTheStoreGoesOn) {
  TempFolder folder;
  ServerStore store(folder.Path(), {.StatementTime = 300ms});
  EXPECT_EQ(SelectWithin(store, kForever, 20s), ServerStore::TooLongMessage(300ms));
  EXPECT_EQ(store.Select("select 42").Rows.at(0).at(0).integer, 42);
  EXPECT_EQ(store.Execute("create table T (A integer)"), 0);
}

TEST(StoreLimits, StopInterruptsTheRunningStatementAndEveryLaterOne) {
  TempFolder folder;
  ServerStore store(folder.Path());
  auto running = std::async(std::launch::async, [&] { return SelectWithin(store, kForever, 20s); });
  // The statement may not have begun when Stop comes: either way it ends.
  store.Stop();
  ASSERT_EQ(running.wait_for(20s), std::future_status::ready);
  EXPECT_EQ(running.get(), kStoreStopping);
  EXPECT_THROW(store.Execute("create table T (A integer)"), StoreError);
}

TEST(StoreLimits, AnAnswerPastTheLimitIsRefusedBeforeItIsMade) {
  TempFolder folder;
  const std::size_t limit = 16 * kMiB;
  ServerStore store(folder.Path(), {.MaxAnswer = limit});
  for (const std::string sql :
       {"select zeroblob(400 * 1024 * 1024)", "select randomblob(20 * 1024 * 1024)",
        "with recursive r(x) as (select 1 union all select x + 1 from r where x < 100) "
        "select zeroblob(1024 * 1024) from r"}) {
    EXPECT_EQ(SelectWithin(store, sql, 20s), AnswerTooLargeMessage(limit)) << sql;
  }
  EXPECT_LT(PeakMiB(), 256u);
  EXPECT_EQ(SelectWithin(store, "select zeroblob(1024 * 1024)", 20s), "rows");
}

// 1 GiB of zeros in about a megabyte of zlib stream, made a slice at a time.
std::string InflatesToOneGiB() {
  z_stream zs{};
  // Run-length matching only: a gigabyte of zeros goes through in a moment.
  deflateInit2(&zs, 1, Z_DEFLATED, 15, 8, Z_RLE);
  const std::string zeros(kMiB, '\0');
  std::string out(2 * kMiB, '\0');
  for (int slice = 0; slice <= 1024; ++slice) {
    zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(zeros.data()));
    zs.avail_in = slice < 1024 ? static_cast<uInt>(zeros.size()) : 0;
    do {
      zs.next_out = reinterpret_cast<Bytef*>(out.data() + zs.total_out);
      zs.avail_out = static_cast<uInt>(out.size() - zs.total_out);
      deflate(&zs, slice < 1024 ? Z_NO_FLUSH : Z_FINISH);
    } while (zs.avail_in > 0);
  }
  out.resize(zs.total_out);
  deflateEnd(&zs);
  return out;
}

TEST(EndpointLimits, ABodyThatInflatesPastTheLimitIsRefusedWithMemoryBounded) {
  ServerLimits limits;
  limits.MaxInflated = 64 * kMiB;
  int calls = 0;
  RpcEndpoint endpoint(
      {.Encryption = false}, [&](std::string_view) { return ++calls, std::string(); }, limits);
  const EndpointReply reply = endpoint.Handle({"", std::nullopt, InflatesToOneGiB() + '\0'});
  EXPECT_EQ(reply.Status, 400);
  EXPECT_EQ(reply.Text, "The inflated message would be larger than 67108864 bytes.");
  EXPECT_EQ(calls, 0);
  EXPECT_LT(PeakMiB(), 512u);
}

TEST(EndpointLimits, SessionsAreBoundedAndAnIdleOneAnswersAsAnUnknownOne) {
  ServerLimits limits;
  limits.MaxSessions = 100;
  limits.SessionIdle = 30min;
  auto now = std::chrono::steady_clock::time_point{};
  RpcEndpoint endpoint(
      {.Encryption = false}, [](std::string_view) { return std::string(); }, limits, [&] { return now; });
  std::vector<std::string> ids;
  for (int i = 0; i < 1000; ++i) ids.push_back(endpoint.Handle({"HELLO", "NEW", ""}).SetCookie);
  EXPECT_EQ(endpoint.SessionCount(), 100u);
  EXPECT_EQ(endpoint.Handle({"", ids.front(), ""}).Status, 410);  // the least recently used went first
  EXPECT_EQ(endpoint.Handle({"", ids.back(), ""}).Status, 200);

  now += 20min;
  EXPECT_EQ(endpoint.Handle({"", ids.back(), ""}).Status, 200);
  now += 20min;
  EXPECT_EQ(endpoint.Handle({"", ids.back(), ""}).Status, 200);  // used 20 minutes ago
  EXPECT_EQ(endpoint.Handle({"", ids[950], ""}).Status, 410);    // unused for 40 minutes
  EXPECT_EQ(endpoint.SessionCount(), 1u);
}

}  // namespace
}  // namespace quillorn::server
