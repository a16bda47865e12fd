// The operating system as one simulated host process sees it: folders inside
// the simulation's home, the tick count of the simulation's clock, its own
// environment and executable name. Files are the real ones; shell opens are
// only recorded. Never reads the real user's folders or environment.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/system_services.h"

namespace quillorn::sim {

class SimSystemServices final : public platform::SystemServices {
 public:
  // `home` without a trailing delimiter; `clock` must outlive this object.
  SimSystemServices(const std::string& home, const platform::Clock& clock, std::string executable,
                    std::uint32_t process_id, std::map<std::string, std::string, std::less<>> environment);

  std::string ModulePath() const override { return module_path_; }
  std::string LocalAppDataFolder() const override { return local_app_data_; }
  std::string DocumentsFolder() const override { return documents_; }
  std::string TempFolder() const override { return temp_; }
  // GetTickCount wraps at 2^32 as the real one does. The clock stands still
  // between steps, but a real tick count moves while a process works: each
  // further read within the same simulated millisecond is one later, so that a
  // loop waiting for the next tick (a fresh cache file name) ends. The first
  // read of a millisecond is the clock itself.
  std::uint32_t TickCount() const override;
  std::string GetEnvironmentVariable(std::string_view name) const override;
  std::string UserName() const override { return "simuser"; }
  std::string ExecutableName() const override { return executable_; }
  std::uint32_t ProcessId() const override { return process_id_; }
  bool CopyFile(std::string_view from, std::string_view to, bool fail_if_exists) override;
  bool DeleteFile(std::string_view path) override;
  bool FileExists(std::string_view path) const override;
  bool ShellOpen(std::string_view path) override;

  const std::vector<std::string>& ShellOpened() const noexcept { return shell_opened_; }

 private:
  const platform::Clock& clock_;
  std::string module_path_;
  std::string local_app_data_;
  std::string documents_;
  std::string temp_;
  std::string executable_;
  std::uint32_t process_id_;
  mutable std::mutex tick_mutex_;
  mutable std::uint64_t last_read_ms_ = 0;
  mutable std::uint64_t reads_in_ms_ = 0;
  std::map<std::string, std::string, std::less<>> environment_;
  std::vector<std::string> shell_opened_;
};

// Where the simulated add-in's module file stands inside `home`.
std::string SimModulePath(const std::string& home);

}  // namespace quillorn::sim
