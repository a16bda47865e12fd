// What DllRegisterServer writes and DllUnregisterServer takes away again: the
// class and its ProgID for all users, the type library, and the Office add-in
// keys of each supported host. Unregistration removes only keys that are ours.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace quillorn::win {

struct RegistryValue {
  std::wstring key;   // below HKEY_LOCAL_MACHINE
  std::wstring name;  // "" for the key's default value
  std::wstring text;  // REG_SZ, unless is_number
  DWORD number = 0;   // REG_DWORD when is_number
  bool is_number = false;
};

// The hosts the add-in registers with: Word, Excel and PowerPoint, and Publisher
// when its setting says "yes" (read from QuillornAddIn.ini as the module reads it).
std::vector<std::wstring> RegisteredHosts(bool with_publisher);
// Every value registration writes for a module at `module_path`.
std::vector<RegistryValue> RegistrationValues(const std::wstring& module_path, bool with_publisher);
// The keys unregistration deletes, each with all below it.
std::vector<std::wstring> RegistrationKeys();

// Both return S_OK or the failure's HRESULT; both also handle the type library.
HRESULT RegisterServer(const std::wstring& module_path, bool with_publisher);
HRESULT UnregisterServer(const std::wstring& module_path);

// The Publisher setting of the module at `module_path` for the user running
// the registration.
bool PublisherSupported(const std::wstring& module_path);

}  // namespace quillorn::win
