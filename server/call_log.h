// A line per remote call for the server's operator: time, session, function,
// duration and outcome. Wraps functions without changing what they answer; a
// line that cannot be written is dropped, never turned into a failed call.
#pragma once

#include <mutex>
#include <optional>
#include <ostream>
#include <string>

#include "server/function_table.h"

namespace quillorn::server {

class CallLog {
 public:
  explicit CallLog(std::ostream& out) : out_(&out) {}

  // `function` as it is, plus its line after each call.
  RpcFunction Wrap(std::string name, RpcFunction function);

  // The session of the request that the calling thread serves, as the HTTP
  // side saw it; the functions themselves never learn it.
  static void SetCurrentSession(std::optional<std::string> id);

  // Also for lines of the server's own, such as start and stop.
  void Write(const std::string& line);

 private:
  std::ostream* out_;
  std::mutex mutex_;
};

}  // namespace quillorn::server
