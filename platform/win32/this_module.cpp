#include "platform/win32/this_module.h"

#include <vector>

#include "platform/win32/wide_text.h"

namespace quillorn::platform {

HINSTANCE ThisModule() noexcept {
  HMODULE module = nullptr;
  // The handle of whichever file holds this function: the DLL when we are one.
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ThisModule), &module);
  return module;
}

std::string ModuleFileName(HMODULE module) {
  std::vector<wchar_t> buffer(MAX_PATH + 1);
  for (int round = 0; round < 6; ++round) {
    const DWORD n = ::GetModuleFileNameW(module, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (n == 0) return {};
    // A name that did not fit comes back cut to the buffer's size.
    if (n < buffer.size()) return Utf8FromUtf16(std::wstring_view(buffer.data(), n));
    buffer.resize(buffer.size() * 4);
  }
  return {};
}

}  // namespace quillorn::platform
