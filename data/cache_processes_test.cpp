// Several host processes on one cache file: this test program starts copies of
// itself that run ChildProcess.Helper with their orders in the environment.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "data/data_test_support.h"
#include "data/records.h"

namespace quillorn::data {
namespace {

using foundation::testing::ReadAll;
using foundation::testing::WriteAll;
using testing::DeadPort;
using testing::Instance;
namespace fs = std::filesystem;

constexpr char kChildVariable[] = "QUILLORN_DATA_CHILD";
constexpr int kRowsPerWriter = 200;

// Waits for a file another process makes; false when the bound passes first.
bool WaitForFile(const fs::path& file) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!fs::exists(file) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return fs::exists(file);
}

// As a document's first save does it: the FILES row, then its mark.
void WriteRows(Tdm& dm, const std::string& prefix, int base) {
  dm.LoadFromCache(dm.tblFiles);
  for (int i = base; i < base + kRowsPerWriter; ++i) {
    AppendFiles(dm.tblFiles, {.FILENAME = prefix + std::to_string(i), .DOC_ID = i});
    ASSERT_TRUE(dm.cacheExecSQL("update FILES set CACHED=true, LAST_SAVED=NOW where DOC_ID=" + std::to_string(i)));
  }
}

// Orders: "write <cachedir> <base>" or "hold <cachedir>".
TEST(ChildProcess, Helper) {
  const char* orders = std::getenv(kChildVariable);
  if (!orders) GTEST_SKIP() << "runs only as a child of the tests below";
  std::istringstream in(orders);
  std::string mode, dir;
  int base = 0;
  in >> mode >> dir >> base;
  Instance instance(DeadPort(), dir);
  if (mode == "write") return WriteRows(*instance.dm, "child", base);
  instance.dm->LoadFromCache(instance.dm->tblFiles);
  WriteAll(dir + "ready", "");
  ASSERT_TRUE(WaitForFile(dir + "release"));
}

// Runs a child to its end on a thread of its own; its exit status lands in `status`.
std::thread StartChild(const std::string& orders, const std::string& log, int& status) {
  const std::string command = std::string(kChildVariable) + "='" + orders + "' '" +
                              fs::read_symlink("/proc/self/exe").string() +
                              "' --gtest_filter=ChildProcess.Helper > '" + log + "' 2>&1";
  return std::thread([command, &status] { status = std::system(command.c_str()); });
}

TEST(CacheProcesses, WritersInSeveralProcessesLoseNoFilesRow) {
  Instance instance(DeadPort());
  instance.dm->LoadFromCache(instance.dm->tblFiles);
  int status1 = -1, status2 = -1;
  std::thread child1 = StartChild("write " + instance.cache + " 10000", instance.cache + "1.log", status1);
  std::thread child2 = StartChild("write " + instance.cache + " 20000", instance.cache + "2.log", status2);
  WriteRows(*instance.dm, "parent", 30000);
  child1.join();
  child2.join();
  EXPECT_EQ(status1, 0) << ReadAll(instance.cache + "1.log");
  EXPECT_EQ(status2, 0) << ReadAll(instance.cache + "2.log");
  EXPECT_EQ(instance.CacheText("select count(*), sum(cast(CACHED as integer)) from FILES"),
            std::to_string(3 * kRowsPerWriter) + ";" + std::to_string(3 * kRowsPerWriter));
}

TEST(CacheProcesses, AMismatchWhileAnotherProcessHoldsTheFileKeepsItAndTheNextOpenRebuildsIt) {
  Instance later(DeadPort());
  const std::string& cache = later.cache;
  int status = -1;
  std::thread child = StartChild("hold " + cache, cache + "child.log", status);
  const bool ready = WaitForFile(cache + "ready");
  if (ready) {
    // Another version of the add-in left its number while the child works on the file.
    Database plain("CacheDB");
    plain.FileName = cache + "cache.dat";
    plain.Open();
    plain.Execute("update VER set VER_NO=7");
    plain.Execute("insert into FILES (DOC_ID, FILENAME) values (1, 'kept.docx')");
    plain.Close();
    Instance instance(DeadPort(), cache);
    instance.dm->LoadFromCache(instance.dm->tblFiles);
    EXPECT_EQ(instance.dm->tblFiles.RecordCount(), 1);
  }
  WriteAll(cache + "release", "");
  child.join();
  ASSERT_TRUE(ready);
  EXPECT_EQ(status, 0) << ReadAll(cache + "child.log");
  // With the other process gone the same file is rebuilt.
  later.dm->LoadFromCache(later.dm->tblFiles);
  EXPECT_EQ(later.dm->tblFiles.RecordCount(), 0);
  EXPECT_EQ(later.CacheCount("select VER_NO from VER"), 8);
}

}  // namespace
}  // namespace quillorn::data
