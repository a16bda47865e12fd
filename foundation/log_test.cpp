#include "foundation/log.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include "foundation/guarded.h"
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

// Where each record goes and its bytes: trace records while tracing, exceptions among
// them then, else in their own file; nothing at all for a trace while tracing is off.
TEST_F(LogTest, RecordShapesAndRouting) {
  const std::runtime_error boom("Key violation");
  struct Case {
    bool trace;
    const std::exception* e;
    const char* msg;
    std::string bytes;  // an exception record's start with its routine; other rows are LogTrace("Multi", msg)
    const char* file;
  };
  const Case cases[] = {
      {.trace = true, .msg = "line one\r\nline two\n", .bytes = "\tMulti\tline one\r\nline two\n", .file = kTraceFileName},
      {.trace = false, .msg = "started", .bytes = "", .file = nullptr},
      {.trace = false, .msg = "no exception here", .bytes = "\tdm.FetchData\rno exception here", .file = kExceptFileName},
      {.trace = false, .e = &boom, .msg = "", .bytes = "\tdm.FetchData\rKey violation", .file = kExceptFileName},
      {.trace = true, .e = &boom, .msg = "select * from DOCS", .bytes = "\tdm.FetchData\rKey violation\rselect * from DOCS",
       .file = kTraceFileName},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.bytes);
    fs::remove(Data(kTraceFileName));
    fs::remove(Data(kExceptFileName));
    context_.TraceEnabled = c.trace;
    context_.ProcName = "dm.FetchData";
    if (c.bytes.starts_with("\tdm.")) {
      LogException(c.e, c.msg);
      EXPECT_EQ(context_.ProcName, "");
    } else {
      LogTrace("Multi", c.msg);
    }
    EXPECT_EQ(FilesIn("data"), c.file ? 1u : 0u);
    if (c.file) {
      EXPECT_EQ(ReadAll(Data(c.file)), Stamp() + c.bytes + "\r\n" + kSep);
    }
  }
  EXPECT_EQ(FilesIn("app"), 0u);
}

// A guarded block's failure of any kind goes to the exception log under the
// routine's text, and nothing leaves the block; a quiet one leaves no record.
TEST_F(LogTest, GuardedBlocksLogWhatFailsAndQuietOnesNothing) {
  context_.ProcName = "SaveToCache";
  Guarded("first", [] { throw std::runtime_error("Disk full"); });
  context_.ProcName = "SaveToCache";
  Guarded("second", [] { throw 42; });
  Quietly([] { throw std::runtime_error("absent shape"); });
  EXPECT_EQ(ReadAll(Data(kExceptFileName)), Stamp() + "\tSaveToCache\rDisk full\rfirst\r\n" + kSep + Stamp() +
                                                "\tSaveToCache\rsecond\r\n" + kSep);
}

TEST_F(LogTest, MissingDataFolderFallsBackToAppFolder) {
  fs::remove_all(app_.Path() / "data");
  context_.TraceEnabled = true;
  LogTrace("Where", "What");
  context_.TraceEnabled = false;
  LogException(nullptr, "lost data folder");
  EXPECT_TRUE(fs::exists(App(kTraceFileName)));
  EXPECT_TRUE(fs::exists(App(kExceptFileName)));
}

// On the real clock, records of the same second after the first reuse its conversion to local time.
TEST_F(LogTest, RecordsBearTheLocalTimeOfTheirWriting) {
  SetLogClock(nullptr);
  context_.TraceEnabled = true;
  const auto now = [] { return DateToStr(Now()) + " " + TimeToStr(Now()); };
  for (int i = 0; i < 3; ++i) {
    fs::remove(Data(kTraceFileName));
    const std::string before = now();
    LogTrace("Where", "What");
    const std::string after = now();
    const std::string record = ReadAll(Data(kTraceFileName));
    const std::string stamp = record.substr(0, record.find('\t'));
    EXPECT_TRUE(stamp == before || stamp == after) << stamp << " between " << before << " and " << after;
  }
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
  EXPECT_THROW(AppendAndRotate((app_.Path() / "missing" / "x.txt").string(), "x"), std::exception);
  EXPECT_THROW(AppendAndRotate("", "x"), std::exception);
}

// The size is counted in whole blocks of 128 bytes: 2 MiB and 127 bytes stays.
TEST_F(LogTest, RotatesOnlyAboveTwoMebibytesInWholeBlocks) {
  const std::string record(100, 'r');
  for (const long long finalSize : {2097152LL + 127, 2097280LL}) {
    SCOPED_TRACE(finalSize);
    const bool rotated = finalSize == 2097280;
    const fs::path log = Data("rot.txt");
    const fs::path bak = Data("rot.txt.bak");
    fs::remove(log);
    WriteAll(bak, "an older generation");
    WriteAll(log, std::string(static_cast<size_t>(finalSize) - record.size(), 'x'));
    AppendAndRotate(log.string(), record);
    EXPECT_EQ(fs::exists(log), !rotated);
    EXPECT_EQ(fs::file_size(rotated ? bak : log), static_cast<uintmax_t>(finalSize));
    if (!rotated) {
      EXPECT_EQ(ReadAll(bak), "an older generation");
    }
  }
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

  TSimpleLogger unnamed;  // no file names, as the program leaves them: nothing is written, nothing raised
  unnamed.Trace("x", "y");
  unnamed.Exception(nullptr, "z");
  SimpleLogger().Trace("global", "");
}

}  // namespace
}  // namespace quillorn::foundation
