// The system services on Windows. Names in system_services.h collide with the
// A/W macros of the Windows headers; they are undone here, after the includes.
#include <windows.h>
#include <shellapi.h>
#include <shlobj.h>

#undef CopyFile
#undef DeleteFile
#undef GetEnvironmentVariable

#include <string>
#include <vector>

#include "platform/system_services.h"
#include "platform/win32/this_module.h"
#include "platform/win32/wide_text.h"

namespace quillorn::platform {
namespace {

// Calls `get(buffer, size)` with a growing buffer until the answer fits; the
// call returns the length it wrote, or the size it needs, or 0 for none.
template <typename Get>
std::wstring GrowingBuffer(Get get) {
  std::vector<wchar_t> buffer(MAX_PATH + 1);
  for (int round = 0; round < 8; ++round) {
    const DWORD n = get(buffer.data(), static_cast<DWORD>(buffer.size()));
    if (n == 0) return {};
    if (n < buffer.size()) return std::wstring(buffer.data(), n);
    buffer.resize(std::max<std::size_t>(buffer.size() * 2, n + 1));
  }
  return {};
}

std::string ShellFolder(int csidl) {
  wchar_t path[MAX_PATH] = {};
  if (FAILED(::SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, path))) return {};
  std::string text = Utf8FromUtf16(path);
  while (text.size() > 3 && text.back() == '\\') text.pop_back();
  return text;
}

class WindowsSystemServices final : public SystemServices {
 public:
  std::string ModulePath() const override { return ModuleFileName(ThisModule()); }
  std::string LocalAppDataFolder() const override { return ShellFolder(CSIDL_LOCAL_APPDATA); }
  std::string DocumentsFolder() const override { return ShellFolder(CSIDL_PERSONAL); }
  std::string TempFolder() const override {
    return Utf8FromUtf16(GrowingBuffer([](wchar_t* buf, DWORD size) { return ::GetTempPathW(size, buf); }));
  }
  std::uint32_t TickCount() const override { return ::GetTickCount(); }

  std::string GetEnvironmentVariable(std::string_view name) const override {
    const std::wstring key = Utf16FromUtf8(name);
    return Utf8FromUtf16(GrowingBuffer(
        [&key](wchar_t* buf, DWORD size) { return ::GetEnvironmentVariableW(key.c_str(), buf, size); }));
  }

  std::string UserName() const override {
    wchar_t name[257] = {};  // UNLEN + 1
    DWORD size = sizeof name / sizeof name[0];
    if (!::GetUserNameW(name, &size)) return {};
    return Utf8FromUtf16(name);
  }

  std::string ExecutableName() const override {
    const std::string path = ModuleFileName(nullptr);
    const auto slash = path.find_last_of("\\/");
    return slash == std::string::npos ? path : path.substr(slash + 1);
  }

  std::uint32_t ProcessId() const override { return ::GetCurrentProcessId(); }

  bool ShellCopyFile(std::string_view from, std::string_view to) override {
    // Both path lists end in an extra null, as the interface requires.
    std::wstring source = Utf16FromUtf8(from);
    source.push_back(L'\0');
    std::wstring target = Utf16FromUtf8(to);
    target.push_back(L'\0');
    SHFILEOPSTRUCTW operation{};
    operation.hwnd = nullptr;
    operation.wFunc = FO_COPY;
    operation.pFrom = source.c_str();
    operation.pTo = target.c_str();
    return ::SHFileOperationW(&operation) == 0 && !operation.fAnyOperationsAborted;
  }
  bool CopyFile(std::string_view from, std::string_view to, bool fail_if_exists) override {
    return ::CopyFileW(Utf16FromUtf8(from).c_str(), Utf16FromUtf8(to).c_str(), fail_if_exists ? TRUE : FALSE) != 0;
  }

  bool DeleteFile(std::string_view path) override { return ::DeleteFileW(Utf16FromUtf8(path).c_str()) != 0; }

  bool FileExists(std::string_view path) const override {
    const DWORD attributes = ::GetFileAttributesW(Utf16FromUtf8(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
  }

  bool ShellOpen(std::string_view path) override {
    const HINSTANCE result =
        ::ShellExecuteW(nullptr, L"open", Utf16FromUtf8(path).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    // Values above 32 mean it started; the return is an int in a handle's clothes.
    return reinterpret_cast<INT_PTR>(result) > 32;
  }
};

}  // namespace

std::unique_ptr<SystemServices> CreateSystemServices() { return std::make_unique<WindowsSystemServices>(); }

}  // namespace quillorn::platform
