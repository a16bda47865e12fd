// The add-in's two log files in a folder of their own for one test, read back as
// records without their time stamps. Test code only; never used by the client.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "foundation/context.h"
#include "foundation/log.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::automation::testing {

class LogCapture {
 public:
  explicit LogCapture(bool trace_enabled = false) : scope_(context_) {
    context_.TraceEnabled = trace_enabled;
    context_.AppDir = folder_.Dir();
    context_.AppDataDir = folder_.Dir();
  }

  foundation::LogContext& Context() { return context_; }
  const foundation::testing::TempFolder& Folder() const { return folder_; }

  // Each record's text after the date and time and the tab behind them:
  // "Where\tWhat" for a trace, "ProcName\rmessage\rMsg" for an exception.
  std::vector<std::string> Traces() const { return Records(foundation::kTraceFileName); }
  std::vector<std::string> Exceptions() const {
    return Records(context_.TraceEnabled ? foundation::kTraceFileName : foundation::kExceptFileName);
  }
  // Only the Msg part of each exception record (what follows the last bare CR).
  std::vector<std::string> ExceptionTexts() const {
    std::vector<std::string> out;
    for (const auto& r : Exceptions()) {
      if (r.find('\r') == std::string::npos) continue;  // a trace record
      out.push_back(r.substr(r.rfind('\r') + 1));
    }
    return out;
  }
  void Clear() const {
    std::error_code ec;
    std::filesystem::remove(folder_.Path() / foundation::kTraceFileName, ec);
    std::filesystem::remove(folder_.Path() / foundation::kExceptFileName, ec);
  }

 private:
  std::vector<std::string> Records(const char* file) const {
    const std::string sep = "\r\n" + std::string(41, '-') + "\r\n\r\n";
    const std::string all = foundation::testing::ReadAll(folder_.Path() / file);
    std::vector<std::string> out;
    std::size_t pos = 0;
    while (pos < all.size()) {
      std::size_t end = all.find(sep, pos);
      if (end == std::string::npos) end = all.size();
      std::string record = all.substr(pos, end - pos);
      const std::size_t tab = record.find('\t');
      out.push_back(tab == std::string::npos ? record : record.substr(tab + 1));
      pos = end + sep.size();
    }
    return out;
  }

  foundation::testing::TempFolder folder_;
  foundation::LogContext context_;
  foundation::ContextScope scope_;
};

}  // namespace quillorn::automation::testing
