// The operating system as the client sees it: its folders, the tick count, the
// environment, the user, the process, and plain file operations. Answers "empty"
// or false where the system has no answer; never shows anything to the user.
// (Windows headers make some of these names macros; win32/ #undefs them.)
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quillorn::platform {

// File operations on the real file system with CopyFileW's rules, for
// implementations that have nothing better.
bool CopyFileByStandardLibrary(std::string_view from, std::string_view to, bool fail_if_exists) noexcept;
bool DeleteFileByStandardLibrary(std::string_view path) noexcept;
bool ReadFileByStandardLibrary(std::string_view path, std::string& content) noexcept;
bool WriteFileByStandardLibrary(std::string_view path, std::string_view content) noexcept;
std::vector<std::string> ListFilesByStandardLibrary(std::string_view folder) noexcept;
bool CreateFoldersByStandardLibrary(std::string_view path) noexcept;

class SystemServices {
 public:
  virtual ~SystemServices() = default;

  // The file of this module: the add-in DLL on Windows (GetModuleFileNameW on
  // the DLL's own handle, not the host's), the executable elsewhere.
  virtual std::string ModulePath() const = 0;
  // SHGetFolderPathW(CSIDL_LOCAL_APPDATA); elsewhere $XDG_DATA_HOME or
  // ~/.local/share. No trailing delimiter; empty when the system has none.
  virtual std::string LocalAppDataFolder() const = 0;
  // SHGetFolderPathW(CSIDL_PERSONAL); elsewhere $XDG_DOCUMENTS_DIR, ~/Documents or ~.
  virtual std::string DocumentsFolder() const = 0;
  // GetTempPathW: with a trailing delimiter.
  virtual std::string TempFolder() const = 0;
  // GetTickCount: milliseconds since boot, wrapping at 2^32.
  virtual std::uint32_t TickCount() const = 0;
  // GetEnvironmentVariableW; a variable that is not set reads as empty.
  virtual std::string GetEnvironmentVariable(std::string_view name) const = 0;
  // GetUserNameW: the login name of the current user.
  virtual std::string UserName() const = 0;
  // The file name (no folder) of the process's executable, e.g. "WINWORD.EXE".
  virtual std::string ExecutableName() const = 0;
  virtual std::uint32_t ProcessId() const = 0;

  // CopyFileW: false when it failed, or when `to` exists and `fail_if_exists`.
  virtual bool CopyFile(std::string_view from, std::string_view to, bool fail_if_exists) = 0;
  // The shell's copy (SHFileOperationW, FO_COPY, no owner window), which
  // overwrites; true when it reported success. Elsewhere the standard
  // library's copy does the same.
  virtual bool ShellCopyFile(std::string_view from, std::string_view to) {
    return CopyFileByStandardLibrary(from, to, false);
  }
  // DeleteFileW: false when nothing was deleted.
  virtual bool DeleteFile(std::string_view path) = 0;
  // True for an existing file, false for a folder or nothing.
  virtual bool FileExists(std::string_view path) const = 0;
  // ShellExecuteW "open"; elsewhere xdg-open. False when nothing could be started.
  virtual bool ShellOpen(std::string_view path) = 0;

  // Whole files, the way every file of the client's own is read and written.
  // ReadFile: the bytes into `content`, opened with sharing for others, so a
  // document its host holds open can still be read; false (and `content`
  // empty) when the file cannot be opened or read.
  virtual bool ReadFile(std::string_view path, std::string& content) {
    return ReadFileByStandardLibrary(path, content);
  }
  // Replaces the file with `content`; true only when every byte was written
  // and the file closed. A false may leave part of a file behind: a caller
  // that must never leave half a file removes it.
  virtual bool WriteFile(std::string_view path, std::string_view content) {
    return WriteFileByStandardLibrary(path, content);
  }
  // The names, without folder, of the plain files directly in `folder`, in no
  // set order; empty when the folder cannot be read.
  virtual std::vector<std::string> ListFiles(std::string_view folder) { return ListFilesByStandardLibrary(folder); }
  // Makes the folder and the missing folders above it; true when it exists afterwards.
  virtual bool CreateFolders(std::string_view path) { return CreateFoldersByStandardLibrary(path); }
};

// The services of the system this was built for.
std::unique_ptr<SystemServices> CreateSystemServices();


// Values a test sets; files are the real ones, shell opens are only recorded.
class FakeSystemServices final : public SystemServices {
 public:
  std::string module_path = "/opt/quillorn/QuillornAddIn.dll";
  std::string local_app_data;
  std::string documents;
  std::string temp = "/tmp/";
  std::uint32_t tick_count = 0;
  std::map<std::string, std::string, std::less<>> environment;
  std::string user_name = "tester";
  std::string executable_name = "quillorn";
  std::uint32_t process_id = 4242;
  bool shell_open_result = true;
  std::vector<std::string> shell_opened;

  std::string ModulePath() const override { return module_path; }
  std::string LocalAppDataFolder() const override { return local_app_data; }
  std::string DocumentsFolder() const override { return documents; }
  std::string TempFolder() const override { return temp; }
  std::uint32_t TickCount() const override { return tick_count; }
  std::string GetEnvironmentVariable(std::string_view name) const override;
  std::string UserName() const override { return user_name; }
  std::string ExecutableName() const override { return executable_name; }
  std::uint32_t ProcessId() const override { return process_id; }
  bool CopyFile(std::string_view from, std::string_view to, bool fail_if_exists) override {
    return CopyFileByStandardLibrary(from, to, fail_if_exists);
  }
  bool DeleteFile(std::string_view path) override { return DeleteFileByStandardLibrary(path); }
  bool FileExists(std::string_view path) const override;
  bool ShellOpen(std::string_view path) override;
};

}  // namespace quillorn::platform
