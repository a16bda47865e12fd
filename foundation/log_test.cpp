#include "foundation/log.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::foundation {
namespace {

namespace fs = std::filesystem;
using testing::ReadAll;
using testing::TempFolder;
using testing::WriteAll;

const std::string kSep = std::string(41, '-') + "\r\n\r\n";

TDateTime FixedClock() { return EncodeDateTime(2024, 3, 7, 9, 5, 3, 0); }

class LogTest : public ::testing::Test {
 protected:
  LogTest() : scope_(context_) {
    fs::create_directories(app_.Path() / "app");
    fs::create_directories(app_.Path() / "data");
    context_.AppDir = (app_.Path() / "app" / "").string();
    context_.AppDataDir = (app_.Path() / "data" / "").string();
    SetLogClock(&FixedClock);
  }
  ~LogTest() override { SetLogClock(nullptr); }

  static std::string Stamp() { return DateToStr(FixedClock()) + " " + TimeToStr(FixedClock()); }
  fs::path Data(const char* name) const { return app_.Path() / "data" / name; }
  fs::path App(const char* name) const { return app_.Path() / "app" / name; }
  size_t FilesIn(const char* sub) const {
    return static_cast<size_t>(std::distance(fs::directory_iterator(app_.Path() / sub), fs::directory_iterator()));
  }

  TempFolder app_;
  LogContext context_;
  ContextScope scope_;
};

TEST_F(LogTest, TraceRecordsAreAppendedByteForByte) {
  context_.TraceEnabled = true;
  LogTrace("AddInCreate", "started");
  LogTrace("CacheDir", "");
  LogTrace("Multi", "line one\r\nline two\n");
  const std::string expected = Stamp() + "\tAddInCreate\tstarted\r\n" + kSep + Stamp() + "\tCacheDir\t\r\n" + kSep +
                               Stamp() + "\tMulti\tline one\r\nline two\n\r\n" + kSep;
  EXPECT_EQ(ReadAll(Data(kTraceFileName)), expected);
  EXPECT_EQ(FilesIn("data"), 1u);
  EXPECT_EQ(FilesIn("app"), 0u);
}

TEST_F(LogTest, TraceOffTouchesNoFile) {
  LogTrace("AddInCreate", "started");
  EXPECT_EQ(FilesIn("data"), 0u);
  EXPECT_EQ(FilesIn("app"), 0u);
}

TEST_F(LogTest, ExceptionRecordShapesAndRouting) {
  const std::runtime_error boom("Key violation");
  struct Case {
    bool trace;
    const std::exception* e;
    const char* msg;
    std::string line;
  };
  const Case cases[] = {
      {false, nullptr, "no exception here", "\tdm.FetchData\rno exception here"},
      {false, &boom, "", "\tdm.FetchData\rKey violation"},
      {true, &boom, "select * from DOCS", "\tdm.FetchData\rKey violation\rselect * from DOCS"},
      {true, nullptr, "", "\tdm.FetchData\r"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    fs::remove(Data(kTraceFileName));
    fs::remove(Data(kExceptFileName));
    context_.TraceEnabled = c.trace;
    context_.ProcName = "dm.FetchData";
    LogException(c.e, c.msg);
    EXPECT_EQ(context_.ProcName, "");
    const fs::path written = Data(c.trace ? kTraceFileName : kExceptFileName);
    EXPECT_EQ(ReadAll(written), Stamp() + c.line + "\r\n" + kSep);
    EXPECT_EQ(FilesIn("data"), 1u);
  }
}

TEST_F(LogTest, MissingDataFolderFallsBackToAppFolder) {
  fs::remove_all(app_.Path() / "data");
  context_.TraceEnabled = true;
  LogTrace("Where", "What");
  context_.TraceEnabled = false;
  LogException(nullptr, "lost data folder");
  EXPECT_TRUE(fs::exists(App(kTraceFileName)));
  EXPECT_TRUE(fs::exists(App(kExceptFileName)));
  EXPECT_FALSE(fs::exists(app_.Path() / "data"));
}

TEST_F(LogTest, FailuresNeverReachTheCaller) {
  // A folder in the place of the log file makes every open fail, also for root.
  fs::create_directories(Data(kTraceFileName));
  fs::create_directories(Data(kExceptFileName));
  context_.TraceEnabled = true;
  context_.ProcName = "dm.Login";
  LogTrace("Where", "What");
  LogException(nullptr, "nobody hears this");
  EXPECT_EQ(context_.ProcName, "");
  context_.TraceEnabled = false;
  LogException(nullptr, "nor this");

  LogContext nowhere;
  nowhere.TraceEnabled = true;
  nowhere.AppDir = (app_.Path() / "missing" / "deeper" / "").string();
  ContextScope inner(nowhere);
  LogTrace("Where", "What");
  LogException(nullptr, "gone");
  EXPECT_FALSE(fs::exists(app_.Path() / "missing"));
  EXPECT_THROW(AppendAndRotate((app_.Path() / "missing" / "x.txt").string(), "x"), std::exception);
}

TEST_F(LogTest, RotatesOnlyAboveTwoMebibytesInWholeBlocks) {
  struct Case {
    long long finalSize;
    bool rotated;
  };
  const Case cases[] = {{2097152 - 1, false}, {2097152, false},    {2097152 + 127, false},
                        {2097280, true},      {2097280 + 50, true}, {3000000, true}};
  const std::string record(100, 'r');
  for (const Case& c : cases) {
    SCOPED_TRACE(c.finalSize);
    const fs::path log = Data("rot.txt");
    const fs::path bak = Data("rot.txt.bak");
    fs::remove(log);
    WriteAll(bak, "an older generation");
    const std::string before(static_cast<size_t>(c.finalSize) - record.size(), 'x');
    WriteAll(log, before);
    AppendAndRotate(log.string(), record);
    EXPECT_EQ(fs::exists(log), !c.rotated);
    EXPECT_EQ(FilesIn("data"), c.rotated ? 1u : 2u);
    EXPECT_EQ(fs::file_size(c.rotated ? bak : log), static_cast<uintmax_t>(c.finalSize));
    if (!c.rotated) {
      EXPECT_EQ(ReadAll(bak), "an older generation");
    }
  }
}

TEST_F(LogTest, TraceRotationStartsAFreshLog) {
  context_.TraceEnabled = true;
  WriteAll(Data(kTraceFileName), std::string(2097280, 'x'));
  LogTrace("Where", "What");
  EXPECT_FALSE(fs::exists(Data(kTraceFileName)));
  const fs::path bak = Data("AddIn Trace.txt.bak");
  ASSERT_TRUE(fs::exists(bak));
  LogTrace("Next", "record");
  EXPECT_EQ(ReadAll(Data(kTraceFileName)), Stamp() + "\tNext\trecord\r\n" + kSep);
  EXPECT_EQ(FilesIn("data"), 2u);
}

TEST(LogContextTest, ScopesNestAndStayOnTheirThread) {
  LogContext& processDefault = CurrentContext();
  LogContext outer, inner;
  {
    ContextScope a(outer);
    EXPECT_EQ(&CurrentContext(), &outer);
    {
      ContextScope b(inner);
      EXPECT_EQ(&CurrentContext(), &inner);
      LogContext* seen = nullptr;
      std::thread([&] { seen = &CurrentContext(); }).join();
      EXPECT_EQ(seen, &processDefault);
    }
    EXPECT_EQ(&CurrentContext(), &outer);
  }
  EXPECT_EQ(&CurrentContext(), &processDefault);
}

class SimpleLoggerTest : public LogTest {
 protected:
  SimpleLoggerTest() {
    logger_.TraceFilename = Data("simple trace.txt").string();
    logger_.ExceptionFilename = Data("simple except.txt").string();
    logger_.ProcName = "dm.Commit";
  }
  TSimpleLogger logger_;
};

TEST_F(SimpleLoggerTest, LineLayouts) {
  const std::string date = DateToStr(FixedClock());
  logger_.Trace("sent", "");
  logger_.Trace("sent", "3 rows");
  EXPECT_EQ(ReadAll(Data("simple trace.txt")),
            "dm.Commit\t" + Stamp() + "\tsent\r\n" + "dm.Commit\t" + Stamp() + "\tsent --> 3 rows\r\n");

  const std::runtime_error multi("first\r\nsecond\r\nthird");
  logger_.Exception(nullptr, "plain");
  logger_.Exception(&multi, "");
  logger_.Exception(&multi, "context");
  EXPECT_EQ(ReadAll(Data("simple except.txt")),
            "dm.Commit\t" + Stamp() + "\t\tplain\r\n\r\n" +                        //
                "dm.Commit\t" + date + "\tfirst\r\tsecond\r\tthird\r\n\r\n" +      //
                "dm.Commit\t" + Stamp() + "\tfirst\r\tsecond\r\tthird\tcontext\r\n\r\n");
}

TEST_F(SimpleLoggerTest, WritersAreSerialisedAndFailuresSwallowed) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < kLines; ++i) logger_.Trace("thread " + std::to_string(t), std::to_string(i));
    });
  }
  for (auto& thread : threads) thread.join();
  const std::string text = ReadAll(Data("simple trace.txt"));
  const std::string oneLine = "dm.Commit\t" + Stamp() + "\tthread 0 --> 0\r\n";
  size_t lines = 0;
  for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at + 2)) ++lines;
  EXPECT_EQ(lines, static_cast<size_t>(kThreads * kLines));
  EXPECT_NE(text.find(oneLine), std::string::npos);

  TSimpleLogger unnamed;  // no file names, as the program leaves them
  unnamed.Trace("x", "y");
  unnamed.Exception(nullptr, "z");
  SimpleLogger().Trace("global", "");
}

}  // namespace
}  // namespace quillorn::foundation
