#include "foundation/log.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "foundation/paths.h"

namespace quillorn::foundation {
namespace {

constexpr std::string_view kSeparator = "-----------------------------------------";
constexpr std::string_view kLineEnd = "\r\n";

std::atomic<LogClock> gClock{nullptr};

// Now(), with its conversion to local time made once per second and thread.
// The C library may look at the zone's file again on every conversion (a
// system call each), and every record reads the clock twice; within one second
// the local date and time differ from the first reading's only by the
// milliseconds, so they are built the way Now() builds them.
TDateTime LogNow() {
  struct LocalSecond {
    std::time_t second = -1;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, sec = 0;
  };
  thread_local LocalSecond last;
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t second = system_clock::to_time_t(now);
  if (second != last.second) {
    // Our own reading may already stand in the next second; then that is the one kept.
    const TDateTime value = Now();
    int msec = 0;
    DecodeDate(value, last.year, last.month, last.day);
    DecodeTime(value, last.hour, last.minute, last.sec, msec);
    last.second = system_clock::to_time_t(system_clock::now()) == second ? second : -1;
    return value;
  }
  const int msec = static_cast<int>(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000);
  return EncodeDateTime(last.year, last.month, last.day, last.hour, last.minute, last.sec, msec < 0 ? 0 : msec);
}

TDateTime ReadClock() {
  const LogClock clock = gClock.load(std::memory_order_relaxed);
  return clock != nullptr ? clock() : LogNow();
}

// Date and time are read from the clock one after the other, as two readings.
std::string Stamp(char between) {
  std::string text = DateToStr(ReadClock());
  text += between;
  text += TimeToStr(ReadClock());
  return text;
}

void AppendSeparator(std::string& record) {
  record += kSeparator;
  record += kLineEnd;
  record += kLineEnd;
}

}  // namespace

void SetLogClock(LogClock clock) noexcept { gClock.store(clock, std::memory_order_relaxed); }

std::string LogFolder(const LogContext& context) {
  return DirectoryExists(context.AppDataDir) ? context.AppDataDir : context.AppDir;
}

namespace {

enum class Appended { Done, NotOpened };

// AppendAndRotate, except that a file that cannot be opened is reported, with
// nothing written, instead of raised.
Appended TryAppendAndRotate(const std::string& path, std::string_view record) {
  if (path.empty()) throw std::runtime_error("No log file name");
  const std::filesystem::path file = PathFromUtf8(path);
  long long size = 0;
  {
    // Binary, so that the line ends are the bytes written on every platform.
    std::ofstream out(file, std::ios::binary | std::ios::app);
    if (!out) return Appended::NotOpened;
    out.write(record.data(), static_cast<std::streamsize>(record.size()));
    out.flush();
    if (!out) throw std::runtime_error("Cannot write log file " + path);
    size = static_cast<long long>(out.tellp());
    if (size < 0) throw std::runtime_error("Cannot size log file " + path);
  }
  size = size / 128 * 128;
  if (size > kRotateAboveBytes) {
    const std::filesystem::path bak = PathFromUtf8(path + ".bak");
    std::error_code ec;
    if (std::filesystem::exists(bak, ec)) std::filesystem::remove(bak);
    std::filesystem::rename(file, bak);
  }
  return Appended::Done;
}

bool EndsInDelimiter(const std::string& folder) {
  return !folder.empty() && (folder.back() == '/' || folder.back() == '\\');
}

// Appends to the log `name` in LogFolder(context). A file that opens in
// AppDataDir shows that the folder is there as surely as asking would, and
// asking is a system call of its own on every record; so the folder is asked
// about only when that open fails (it may have been removed meanwhile).
void AppendToLog(const LogContext& context, const char* name, std::string_view record) {
  if (EndsInDelimiter(context.AppDataDir) &&
      TryAppendAndRotate(context.AppDataDir + name, record) == Appended::Done) {
    return;
  }
  AppendAndRotate(LogFolder(context) + name, record);
}

}  // namespace

void AppendAndRotate(const std::string& path, std::string_view record) {
  if (TryAppendAndRotate(path, record) == Appended::NotOpened) {
    throw std::runtime_error("Cannot open log file " + path);
  }
}

void WriteTraceRecord(std::string_view Where, std::string_view What) noexcept {
  try {
    const LogContext& context = CurrentContext();
    std::string record = Stamp(' ');
    record += '\t';
    record += Where;
    record += '\t';
    record += What;
    record += kLineEnd;
    AppendSeparator(record);
    AppendToLog(context, kTraceFileName, record);
  } catch (...) {
    // The record is lost; logging must never reach the caller.
  }
}

void LogException(const std::exception* E, std::string_view Msg) noexcept {
  LogContext& context = CurrentContext();
  try {
    // Exceptions stand among the trace lines while tracing, to keep time order.
    const char* name = context.TraceEnabled ? kTraceFileName : kExceptFileName;
    std::string record = Stamp(' ');
    record += '\t';
    record += context.ProcName;
    record += '\r';
    if (E == nullptr) {
      record += Msg;
    } else {
      record += E->what();
      if (!Msg.empty()) {
        record += '\r';
        record += Msg;
      }
    }
    record += kLineEnd;
    AppendSeparator(record);
    AppendToLog(context, name, record);
  } catch (...) {
    // Exception handlers everywhere call this as their last act: nothing may escape.
  }
  context.ProcName.clear();
}

void TSimpleLogger::Exception(const std::exception* E, std::string_view Msg) noexcept {
  try {
    std::lock_guard<std::mutex> guard(fLock);
    // The switch that would send these to the trace file is never set in this program.
    std::string line = ProcName;
    line += '\t';
    if (E == nullptr) {
      line += Stamp(' ');
      line += "\t\t";
      line += Msg;
    } else {
      // Continuation lines of the message stay indented under it.
      std::string message;
      for (const char* p = E->what(); *p != '\0'; ++p) {
        if (p[0] == '\r' && p[1] == '\n') {
          message += "\r\t";
          ++p;
        } else {
          message += *p;
        }
      }
      if (Msg.empty()) {
        line += DateToStr(ReadClock());
        line += '\t';
        line += message;
      } else {
        line += Stamp(' ');
        line += '\t';
        line += message;
        line += '\t';
        line += Msg;
      }
    }
    line += kLineEnd;
    line += kLineEnd;
    AppendAndRotate(ExceptionFilename, line);
  } catch (...) {
  }
}

void TSimpleLogger::Trace(std::string_view Msg, std::string_view Detail) noexcept {
  try {
    std::lock_guard<std::mutex> guard(fLock);
    std::string line = ProcName;
    line += '\t';
    line += Stamp(' ');
    line += '\t';
    line += Msg;
    if (!Detail.empty()) {
      line += " --> ";
      line += Detail;
    }
    line += kLineEnd;
    AppendAndRotate(TraceFilename, line);
  } catch (...) {
  }
}

TSimpleLogger& SimpleLogger() {
  static TSimpleLogger logger;
  return logger;
}

}  // namespace quillorn::foundation
