#include "sim/sim_system_services.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "foundation/paths.h"

namespace quillorn::sim {
namespace {

std::string Join(const std::string& folder, std::string_view name) {
  return foundation::IncludeTrailingPathDelimiter(folder) + std::string(name);
}

}  // namespace

std::string SimModulePath(const std::string& home) { return Join(Join(home, "Program"), "QuillornAddIn.dll"); }

SimSystemServices::SimSystemServices(const std::string& home, const platform::Clock& clock, std::string executable,
                                     std::uint32_t process_id,
                                     std::map<std::string, std::string, std::less<>> environment)
    : clock_(clock),
      module_path_(SimModulePath(home)),
      local_app_data_(home),
      documents_(Join(home, "Documents")),
      temp_(foundation::IncludeTrailingPathDelimiter(Join(home, "Temp"))),
      executable_(std::move(executable)),
      process_id_(process_id),
      environment_(std::move(environment)) {
  std::error_code ec;
  for (const std::string& folder : {foundation::ExtractFilePath(module_path_), documents_, temp_}) {
    std::filesystem::create_directories(foundation::PathFromUtf8(folder), ec);
  }
}

std::string SimSystemServices::GetEnvironmentVariable(std::string_view name) const {
  // Windows looks names up without regard to case.
  for (const auto& [key, value] : environment_) {
    if (foundation::SameText(key, name)) return value;
  }
  return {};
}

bool SimSystemServices::CopyFile(std::string_view from, std::string_view to, bool fail_if_exists) {
  return platform::CopyFileByStandardLibrary(from, to, fail_if_exists);
}

bool SimSystemServices::DeleteFile(std::string_view path) { return platform::DeleteFileByStandardLibrary(path); }

bool SimSystemServices::FileExists(std::string_view path) const { return foundation::FileExists(path); }

bool SimSystemServices::ShellOpen(std::string_view path) {
  shell_opened_.emplace_back(path);
  return true;
}

std::uint32_t SimSystemServices::TickCount() const {
  std::lock_guard<std::mutex> lock(tick_mutex_);
  const std::uint64_t now = clock_.NowMs();
  if (now != last_read_ms_) {
    last_read_ms_ = now;
    reads_in_ms_ = 0;
    return static_cast<std::uint32_t>(now);
  }
  return static_cast<std::uint32_t>(now + ++reads_in_ms_);
}

}  // namespace quillorn::sim
