// The two log files: "AddIn Trace.txt" (LogTrace, and exceptions while tracing)
// and "AddIn Except.txt". Callable from anywhere at any moment; a failure to
// write loses the record and never reaches the caller.
#pragma once

#include <exception>
#include <mutex>
#include <string>
#include <string_view>

#include "foundation/context.h"
#include "foundation/datetime.h"

namespace quillorn::foundation {

inline constexpr char kTraceFileName[] = "AddIn Trace.txt";
inline constexpr char kExceptFileName[] = "AddIn Except.txt";
inline constexpr long long kRotateAboveBytes = 2097152;

void WriteTraceRecord(std::string_view Where, std::string_view What) noexcept;

// Does nothing unless tracing is on; then the cost is one test of the switch.
inline void LogTrace(std::string_view Where, std::string_view What) noexcept {
  if (!CurrentContext().TraceEnabled) return;
  WriteTraceRecord(Where, What);
}

// Always writes; prints ProcName and then clears it. E may be null.
void LogException(const std::exception* E, std::string_view Msg) noexcept;
inline void LogException(const std::exception& E, std::string_view Msg = {}) noexcept {
  LogException(&E, Msg);
}

// The clock that stamps records (both the free functions and TSimpleLogger).
// Tests fix it; null restores Now.
using LogClock = TDateTime (*)();
void SetLogClock(LogClock clock) noexcept;

// The folder the free functions write to: AppDataDir if it exists, else AppDir.
std::string LogFolder(const LogContext& context);

// Appends `record` to `path`, then rotates the file to "<path>.bak" when its size,
// taken in 128-byte units, passes kRotateAboveBytes. Throws on failure.
void AppendAndRotate(const std::string& path, std::string_view record);

// The small logger with its own lock and line layout; one global instance exists
// (SimpleLogger()), and nothing in the add-in calls it.
class TSimpleLogger {
 public:
  std::string ExceptionFilename;
  std::string TraceFilename;
  std::string ProcName;

  void Exception(const std::exception* E, std::string_view Msg) noexcept;
  void Trace(std::string_view Msg, std::string_view Detail) noexcept;

 private:
  std::mutex fLock;
};

TSimpleLogger& SimpleLogger();

}  // namespace quillorn::foundation
