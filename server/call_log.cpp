#include "server/call_log.h"

#include <chrono>
#include <cstdio>
#include <exception>

#include "foundation/datetime.h"
#include "transport/rpc_value.h"

namespace quillorn::server {
namespace {

// Each request is served start to end on one thread of the HTTP server.
thread_local std::optional<std::string> current_session;

std::string Stamp() {
  return foundation::FormatDateTime("yyyy-mm-dd hh:nn:ss", foundation::Now(),
                                    foundation::InvariantFormatSettings());
}

std::string Milliseconds(std::chrono::steady_clock::duration elapsed) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f ms", std::chrono::duration<double, std::milli>(elapsed).count());
  return text;
}

// One line per call: line breaks of a message would split it.
std::string OneLine(std::string text) {
  for (char& c : text) {
    if (c == '\r' || c == '\n' || c == '\t') c = ' ';
  }
  return text;
}

}  // namespace

void CallLog::SetCurrentSession(std::optional<std::string> id) { current_session = std::move(id); }

void CallLog::Write(const std::string& line) {
  std::lock_guard lock(mutex_);
  try {
    *out_ << Stamp() << '\t' << line << std::endl;
  } catch (...) {  // NOLINT: the log never fails a call
  }
}

RpcFunction CallLog::Wrap(std::string name, RpcFunction function) {
  return [this, name = std::move(name), function = std::move(function)](const transport::TRpcRecord& params) {
    const auto start = std::chrono::steady_clock::now();
    const std::string session = current_session.value_or("-");
    auto line = [&](const std::string& outcome) {
      return session + '\t' + name + '\t' + Milliseconds(std::chrono::steady_clock::now() - start) + '\t' +
             OneLine(outcome);
    };
    transport::TRpcValue result;
    try {
      result = function(params);
    } catch (const std::exception& e) {
      Write(line(std::string("failed: ") + e.what()));
      throw;
    }
    Write(line(result.ValueType() == transport::TRpcValueTypes::rpc_Exception
                   ? "failed: " + result.AsException().TextForm()
                   : "ok"));
    return result;
  };
}

}  // namespace quillorn::server
