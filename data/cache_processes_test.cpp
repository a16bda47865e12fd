// Several host processes on one cache file: this test program starts copies of
// itself that run ChildProcess.Helper with their orders in the environment.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "data/cache_store.h"
#include "foundation/context.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/real_files_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;
namespace fs = std::filesystem;

constexpr char kChildVariable[] = "QUILLORN_DATA_CHILD";
constexpr int kRowsPerWriter = 200;
constexpr auto kBound = std::chrono::seconds(30);

// Waits for a file another process makes; false when the bound passes first.
bool WaitForFile(const fs::path& file) {
  const auto deadline = std::chrono::steady_clock::now() + kBound;
  while (!fs::exists(file)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

void WriteRows(CacheStore& store, const std::string& prefix, int base) {
  Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
  store.LoadFromCache(files);
  for (int i = 0; i < kRowsPerWriter; ++i) {
    files.Append();
    files.FieldByName("DOC_ID").SetValue(base + i);
    files.FieldByName("FILENAME").SetValue(prefix + std::to_string(i));
    files.Post();
    ASSERT_TRUE(store.cacheExecSQL("update FILES set CACHED=true, LAST_SAVED=NOW where DOC_ID=" + std::to_string(base + i)));
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
  foundation::LogContext context;
  context.AppDataDir = dir;
  foundation::ContextScope scope(context);
  CacheStore store(dir, quillorn::platform::testing::RealFiles());
  if (mode == "write") {
    WriteRows(store, "child" + std::to_string(base) + "-", base);
  } else if (mode == "hold") {
    Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
    store.LoadFromCache(files);
    foundation::testing::WriteAll(fs::path(dir) / "ready", "");
    ASSERT_TRUE(WaitForFile(fs::path(dir) / "release"));
  }
}

class CacheProcesses : public ::testing::Test {
 protected:
  void SetUp() override {
    context_.AppDataDir = folder_.Dir();
    fs::create_directories(folder_.Path() / "Cache");
  }
  std::string CacheDir() const { return (folder_.Path() / "Cache" / "").string(); }
  // Runs a child to its end on a thread of its own; its exit status lands in `status`.
  std::thread StartChild(const std::string& orders, int& status) {
    const std::string exe = fs::read_symlink("/proc/self/exe").string();
    const std::string command = std::string(kChildVariable) + "='" + orders + "' '" + exe +
                                "' --gtest_filter=ChildProcess.Helper > '" + folder_.Dir() + "child-" +
                                std::to_string(children_++) + ".log' 2>&1";
    return std::thread([command, &status] { status = std::system(command.c_str()); });
  }

  TempFolder folder_;
  foundation::LogContext context_;
  foundation::ContextScope scope_{context_};
  int children_ = 0;
};

TEST_F(CacheProcesses, WritersInSeveralProcessesLoseNoRow) {
  {
    CacheStore first(CacheDir(), quillorn::platform::testing::RealFiles());
    Table files(first.CacheDB(), "FILES", "FILENAME", "tblFiles");
    first.LoadFromCache(files);
  }
  int status1 = -1, status2 = -1;
  std::thread child1 = StartChild("write " + CacheDir() + " 10000", status1);
  std::thread child2 = StartChild("write " + CacheDir() + " 20000", status2);
  CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
  WriteRows(store, "parent-", 30000);
  child1.join();
  child2.join();
  EXPECT_EQ(status1, 0) << foundation::testing::ReadAll(folder_.Path() / "child-0.log");
  EXPECT_EQ(status2, 0) << foundation::testing::ReadAll(folder_.Path() / "child-1.log");
  EXPECT_EQ(store.cacheLookup("select count(*), sum(cast(CACHED as integer)) from FILES"),
            Variant(platform::VariantList{std::int32_t{3 * kRowsPerWriter}, std::int32_t{3 * kRowsPerWriter}}));
}

TEST_F(CacheProcesses, AMismatchWhileAnotherProcessHoldsTheFileKeepsIt) {
  int status = -1;
  std::thread child = StartChild("hold " + CacheDir(), status);
  const bool ready = WaitForFile(folder_.Path() / "Cache" / "ready");
  if (ready) {
    // Another version of the add-in left its number while the child works on the file.
    Database plain("CacheDB");
    plain.FileName = CacheDir() + "cache.dat";
    plain.Open();
    plain.Execute("update VER set VER_NO=7");
    plain.Execute("insert into FILES (DOC_ID, FILENAME) values (1, 'kept.docx')");
    plain.Close();

    CacheStore store(CacheDir(), quillorn::platform::testing::RealFiles());
    Table files(store.CacheDB(), "FILES", "FILENAME", "tblFiles");
    store.LoadFromCache(files);
    EXPECT_EQ(files.RecordCount(), 1);
    EXPECT_EQ(store.cacheLookup("select VER_NO from VER"), Variant(std::int32_t{7}));
  }
  foundation::testing::WriteAll(folder_.Path() / "Cache" / "release", "");
  child.join();
  ASSERT_TRUE(ready);
  EXPECT_EQ(status, 0) << foundation::testing::ReadAll(folder_.Path() / "child-0.log");

  // With the other process gone the same file is rebuilt.
  CacheStore later(CacheDir(), quillorn::platform::testing::RealFiles());
  Table files(later.CacheDB(), "FILES", "FILENAME", "tblFiles");
  later.LoadFromCache(files);
  EXPECT_EQ(files.RecordCount(), 0);
  EXPECT_EQ(later.cacheLookup("select VER_NO from VER"), Variant(std::int32_t{8}));
}

}  // namespace
}  // namespace quillorn::data
