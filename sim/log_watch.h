// Tells apart what each simulated add-in wrote to the shared log files: the
// bytes that appear while an instance is current belong to it. Reads the real
// files after the writers, never writes or truncates them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quillorn::sim {

// One record of a log file, as the narration shows it.
struct LogRecord {
  std::string owner;  // the instance that was current, empty for none
  bool except = false;  // from "AddIn Except.txt"
  std::string where;
  std::string what;
};

class LogWatch {
 public:
  // `folder` holds the two files and ends in a path delimiter.
  explicit LogWatch(std::string folder);
  LogWatch(const LogWatch&) = delete;
  LogWatch& operator=(const LogWatch&) = delete;

  // From now on what is written belongs to `owner`; what was written before
  // goes to whoever was current until now. Scopes nest.
  void Enter(const std::string& owner);
  void Leave();
  // Collects what was written so far, without changing who is current.
  void Collect();

  // Everything the owner wrote, both files, in the order it came.
  const std::string& TextOf(const std::string& owner);
  bool Contains(const std::string& owner, std::string_view text);
  // Records that came since the last call, in order.
  std::vector<LogRecord> TakeNewRecords();

 private:
  struct File {
    std::string path;
    bool except;
    std::uintmax_t position = 0;
    std::string partial;  // the unfinished end of a record seen so far
  };
  void CollectFile(File& file, const std::string& owner);
  const std::string& Current() const;

  std::vector<File> files_;
  std::vector<std::string> stack_;
  std::map<std::string, std::string, std::less<>> text_;
  std::vector<LogRecord> fresh_;
};

// Enter on construction, Leave on destruction.
class LogOwnerScope {
 public:
  LogOwnerScope(LogWatch& watch, const std::string& owner) : watch_(watch) { watch_.Enter(owner); }
  ~LogOwnerScope() { watch_.Leave(); }
  LogOwnerScope(const LogOwnerScope&) = delete;
  LogOwnerScope& operator=(const LogOwnerScope&) = delete;

 private:
  LogWatch& watch_;
};

}  // namespace quillorn::sim
