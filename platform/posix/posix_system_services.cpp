// The system services on Linux and other POSIX systems.
#include <pwd.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "foundation/paths.h"
#include "platform/system_services.h"

extern char** environ;

namespace quillorn::platform {

namespace {

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::string(value) : std::string();
}

std::string HomeFolder() {
  std::string home = Env("HOME");
  if (!home.empty()) return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr)
    return found->pw_dir;
  return {};
}

std::string WithoutTrailingSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

bool IsDirectory(const std::string& path) {
  struct stat info {};
  return !path.empty() && stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string ExecutablePath() {
  std::error_code ec;
  const auto path = std::filesystem::read_symlink("/proc/self/exe", ec);
  return ec ? std::string() : foundation::Utf8FromPath(path);
}

// The first executable `name` on $PATH, or empty.
std::string FindOnPath(const std::string& name) {
  const std::string path = Env("PATH");
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find(':', start);
    if (end == std::string::npos) end = path.size();
    std::string dir = path.substr(start, end - start);
    if (!dir.empty()) {
      const std::string candidate = dir + "/" + name;
      struct stat info {};
      if (stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) && access(candidate.c_str(), X_OK) == 0)
        return candidate;
    }
    start = end + 1;
  }
  return {};
}

class PosixSystemServices final : public SystemServices {
 public:
  std::string ModulePath() const override { return ExecutablePath(); }

  std::string LocalAppDataFolder() const override {
    // The XDG rules ignore a relative value.
    const std::string xdg = Env("XDG_DATA_HOME");
    if (!xdg.empty() && xdg.front() == '/') return WithoutTrailingSlash(xdg);
    const std::string home = HomeFolder();
    return home.empty() ? std::string() : WithoutTrailingSlash(home) + "/.local/share";
  }

  std::string DocumentsFolder() const override {
    const std::string xdg = Env("XDG_DOCUMENTS_DIR");
    if (!xdg.empty() && xdg.front() == '/') return WithoutTrailingSlash(xdg);
    const std::string home = WithoutTrailingSlash(HomeFolder());
    if (home.empty()) return {};
    return IsDirectory(home + "/Documents") ? home + "/Documents" : home;
  }

  std::string TempFolder() const override {
    std::string temp = Env("TMPDIR");
    if (temp.empty() || !IsDirectory(temp)) temp = "/tmp";
    return foundation::IncludeTrailingPathDelimiter(WithoutTrailingSlash(temp));
  }

  std::uint32_t TickCount() const override {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto ms = static_cast<std::uint64_t>(now.tv_sec) * 1000u + static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
    return static_cast<std::uint32_t>(ms);
  }

  std::string GetEnvironmentVariable(std::string_view name) const override {
    const std::string key(name);
    if (key.empty() || key.find('=') != std::string::npos) return {};
    if (const char* value = std::getenv(key.c_str())) return value;
    // Windows looks names up regardless of case ("CLIENTNAME" for "clientname"),
    // and the client's code is written that way.
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
      const std::string_view pair(*entry);
      const auto eq = pair.find('=');
      if (eq != key.size()) continue;
      bool same = true;
      for (std::size_t i = 0; i < eq && same; ++i)
        same = std::tolower(static_cast<unsigned char>(pair[i])) == std::tolower(static_cast<unsigned char>(key[i]));
      if (same) return std::string(pair.substr(eq + 1));
    }
    return {};
  }

  std::string UserName() const override {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_name != nullptr)
      return found->pw_name;
    std::string user = Env("USER");
    return user.empty() ? Env("LOGNAME") : user;
  }

  std::string ExecutableName() const override { return foundation::ExtractFileName(ExecutablePath()); }

  std::uint32_t ProcessId() const override { return static_cast<std::uint32_t>(getpid()); }

  bool CopyFile(std::string_view from, std::string_view to, bool fail_if_exists) override {
    return CopyFileByStandardLibrary(from, to, fail_if_exists);
  }

  bool DeleteFile(std::string_view path) override { return DeleteFileByStandardLibrary(path); }

  bool FileExists(std::string_view path) const override { return foundation::FileExists(path); }

  bool ShellOpen(std::string_view path) override {
    const std::string opener = FindOnPath("xdg-open");
    if (opener.empty() || path.empty()) return false;
    const std::string target(path);
    // A shell starts the opener in the background and ends at once, so it is
    // reaped here and the opener, however long it runs, leaves no zombie.
    const char* argv[] = {"/bin/sh", "-c", "\"$0\" \"$1\" </dev/null >/dev/null 2>&1 &", opener.c_str(),
                          target.c_str(), nullptr};
    pid_t shell = 0;
    if (posix_spawn(&shell, "/bin/sh", nullptr, nullptr, const_cast<char* const*>(argv), environ) != 0) return false;
    int status = 0;
    while (waitpid(shell, &status, 0) < 0) {
      if (errno != EINTR) return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }
};

}  // namespace

std::unique_ptr<SystemServices> CreateSystemServices() { return std::make_unique<PosixSystemServices>(); }

}  // namespace quillorn::platform
