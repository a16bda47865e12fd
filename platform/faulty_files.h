// The system's services with faults put into the files on purpose, chosen by a
// part of the file's name: a file that cannot be written, a disk that fills up
// half-way through a write, a file that is gone when it is read (another
// process took it), a file that cannot be deleted (a host holds it open). The simulator and the tests use it to show that no work is
// lost; the client never does. Everything else passes to the wrapped services.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system_services.h"

namespace quillorn::platform {

struct FileFault {
  enum class Kind {
    WriteRefused,  // the file cannot be made: nothing is written
    DiskFull,      // half of the bytes are written, then the write fails
    Vanished,      // the file is deleted just before it is read
    DeleteRefused, // the file stays, as one a host holds open
  };
  Kind kind = Kind::WriteRefused;
  std::string nameContains;  // matched against the file name without its folder
  int times = 1;             // operations it takes before it is spent; -1 for all
};

class FaultyFiles final : public SystemServices {
 public:
  // `inner` must outlive this object.
  explicit FaultyFiles(SystemServices& inner) : inner_(inner) {}

  void Add(FileFault fault) { faults_.push_back(std::move(fault)); }
  // The file operations a fault took, in order ("WriteRefused DOCS.000").
  const std::vector<std::string>& Taken() const noexcept { return taken_; }

  std::string ModulePath() const override { return inner_.ModulePath(); }
  std::string LocalAppDataFolder() const override { return inner_.LocalAppDataFolder(); }
  std::string DocumentsFolder() const override { return inner_.DocumentsFolder(); }
  std::string TempFolder() const override { return inner_.TempFolder(); }
  std::uint32_t TickCount() const override { return inner_.TickCount(); }
  std::string GetEnvironmentVariable(std::string_view name) const override {
    return inner_.GetEnvironmentVariable(name);
  }
  std::string UserName() const override { return inner_.UserName(); }
  std::string ExecutableName() const override { return inner_.ExecutableName(); }
  std::uint32_t ProcessId() const override { return inner_.ProcessId(); }
  bool CopyFile(std::string_view from, std::string_view to, bool fail_if_exists) override {
    return inner_.CopyFile(from, to, fail_if_exists);
  }
  bool ShellCopyFile(std::string_view from, std::string_view to) override { return inner_.ShellCopyFile(from, to); }
  bool DeleteFile(std::string_view path) override;
  bool FileExists(std::string_view path) const override { return inner_.FileExists(path); }
  bool ShellOpen(std::string_view path) override { return inner_.ShellOpen(path); }
  std::vector<std::string> ListFiles(std::string_view folder) override { return inner_.ListFiles(folder); }
  bool CreateFolders(std::string_view path) override { return inner_.CreateFolders(path); }

  bool ReadFile(std::string_view path, std::string& content) override;
  bool WriteFile(std::string_view path, std::string_view content) override;

 private:
  // The fault of that kind for this file, counted as taken; null when none applies.
  const FileFault* Take(FileFault::Kind kind, std::string_view path);

  SystemServices& inner_;
  std::vector<FileFault> faults_;
  std::vector<std::string> taken_;
};

}  // namespace quillorn::platform
