// The module this code was linked into: the add-in DLL inside a host, the program
// itself in a test. Window classes and the module's own path are taken from it,
// never from the host's process.
#pragma once

#include <windows.h>

#include <string>

namespace quillorn::platform {

HINSTANCE ThisModule() noexcept;
// The full file name of `module` (null: the process's executable); "" when unknown.
std::string ModuleFileName(HMODULE module);

}  // namespace quillorn::platform
