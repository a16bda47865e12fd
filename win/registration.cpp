// HKLM\Software\Classes rather than HKCR: the add-in is registered for every
// user of the machine, and HKCR would write wherever a per-user class already
// sits. Office reads its add-in list for all users from HKLM\Software\Microsoft\Office.
#include "win/registration.h"

#include <shlobj.h>

#include "data/settings.h"
#include "foundation/paths.h"
#include "platform/win32/com_ptr.h"
#include "platform/win32/wide_text.h"
#include "win/addin_ids.h"

namespace quillorn::win {
namespace {

using platform::ComPtr;

constexpr wchar_t kFriendlyName[] = L"Quillorn";
constexpr wchar_t kDescription[] = L"Integral part of the Quillorn Document Management System";
// Loaded at start-up and connected.
constexpr DWORD kLoadBehavior = 3;

std::wstring GuidText(const GUID& guid) {
  wchar_t text[40] = {};
  ::StringFromGUID2(guid, text, 40);
  return text;
}

std::wstring ClassKey() { return L"Software\\Classes\\CLSID\\" + GuidText(kCLSID_QuillornInterface); }
std::wstring ProgIdKey() { return std::wstring(L"Software\\Classes\\") + kProgId; }
std::wstring AddInKey(const std::wstring& host) {
  return L"Software\\Microsoft\\Office\\" + host + L"\\Addins\\" + kProgId;
}

const std::vector<std::wstring>& AllHosts() {
  static const std::vector<std::wstring> hosts = {L"Word", L"Excel", L"PowerPoint", L"Publisher"};
  return hosts;
}

HRESULT WriteValue(const RegistryValue& value) {
  HKEY key = nullptr;
  LONG rc = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, value.key.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_WRITE | KEY_WOW64_64KEY, nullptr, &key, nullptr);
  if (rc != ERROR_SUCCESS) return HRESULT_FROM_WIN32(rc);
  if (value.is_number) {
    rc = ::RegSetValueExW(key, value.name.empty() ? nullptr : value.name.c_str(), 0, REG_DWORD,
                          reinterpret_cast<const BYTE*>(&value.number), sizeof value.number);
  } else {
    rc = ::RegSetValueExW(key, value.name.empty() ? nullptr : value.name.c_str(), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(value.text.c_str()),
                          static_cast<DWORD>((value.text.size() + 1) * sizeof(wchar_t)));
  }
  ::RegCloseKey(key);
  return HRESULT_FROM_WIN32(rc);
}

std::wstring TypeLibraryPath(const std::wstring& module_path) {
  const auto slash = module_path.find_last_of(L"\\/");
  return (slash == std::wstring::npos ? std::wstring() : module_path.substr(0, slash + 1)) + kTypeLibraryFile;
}

#define RETURN_IF_FAILED(expr)     \
  do {                             \
    const HRESULT hr_ = (expr);    \
    if (FAILED(hr_)) return hr_;   \
  } while (0)

// The library with its one dispatch interface (no members of its own: the host
// reaches the add-in through IDTExtensibility2) and the co-class over it.
HRESULT WriteTypeLibrary(const std::wstring& path) {
  ComPtr<ICreateTypeLib2> library;
  RETURN_IF_FAILED(::CreateTypeLib2(SYS_WIN64, const_cast<LPOLESTR>(path.c_str()), library.Put()));
  RETURN_IF_FAILED(library->SetName(const_cast<LPOLESTR>(kLibraryName)));
  RETURN_IF_FAILED(library->SetGuid(kLibId));
  RETURN_IF_FAILED(library->SetVersion(kLibraryMajor, kLibraryMinor));
  RETURN_IF_FAILED(library->SetDocString(const_cast<LPOLESTR>(kLibraryHelp)));
  RETURN_IF_FAILED(library->SetLcid(LOCALE_NEUTRAL));

  ComPtr<ITypeLib> stdole;
  RETURN_IF_FAILED(::LoadRegTypeLib(IID_StdOle, 2, 0, LOCALE_NEUTRAL, stdole.Put()));
  ComPtr<ITypeInfo> dispatch_info;
  RETURN_IF_FAILED(stdole->GetTypeInfoOfGuid(IID_IDispatch, dispatch_info.Put()));

  ComPtr<ICreateTypeInfo> iface;
  RETURN_IF_FAILED(library->CreateTypeInfo(const_cast<LPOLESTR>(kInterfaceName), TKIND_DISPATCH, iface.Put()));
  RETURN_IF_FAILED(iface->SetGuid(kIID_IQuillornInterface));
  RETURN_IF_FAILED(iface->SetDocString(const_cast<LPOLESTR>(kInterfaceHelp)));
  RETURN_IF_FAILED(iface->SetVersion(kLibraryMajor, kLibraryMinor));
  HREFTYPE dispatch_ref = 0;
  RETURN_IF_FAILED(iface->AddRefTypeInfo(dispatch_info.get(), &dispatch_ref));
  RETURN_IF_FAILED(iface->AddImplType(0, dispatch_ref));
  RETURN_IF_FAILED(iface->LayOut());

  ComPtr<ITypeInfo> iface_info;
  RETURN_IF_FAILED(iface->QueryInterface(IID_ITypeInfo, reinterpret_cast<void**>(iface_info.Put())));
  ComPtr<ICreateTypeInfo> coclass;
  RETURN_IF_FAILED(library->CreateTypeInfo(const_cast<LPOLESTR>(kCoClassName), TKIND_COCLASS, coclass.Put()));
  RETURN_IF_FAILED(coclass->SetGuid(kCLSID_QuillornInterface));
  RETURN_IF_FAILED(coclass->SetDocString(const_cast<LPOLESTR>(kCoClassHelp)));
  RETURN_IF_FAILED(coclass->SetVersion(kLibraryMajor, kLibraryMinor));
  RETURN_IF_FAILED(coclass->SetTypeFlags(TYPEFLAG_FCANCREATE));
  HREFTYPE iface_ref = 0;
  RETURN_IF_FAILED(coclass->AddRefTypeInfo(iface_info.get(), &iface_ref));
  RETURN_IF_FAILED(coclass->AddImplType(0, iface_ref));
  RETURN_IF_FAILED(coclass->SetImplTypeFlags(0, IMPLTYPEFLAG_FDEFAULT));
  RETURN_IF_FAILED(coclass->LayOut());
  return library->SaveAllChanges();
}

HRESULT RegisterTypeLibrary(const std::wstring& module_path) {
  const std::wstring path = TypeLibraryPath(module_path);
  RETURN_IF_FAILED(WriteTypeLibrary(path));
  ComPtr<ITypeLib> library;
  RETURN_IF_FAILED(::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.Put()));
  return ::RegisterTypeLib(library.get(), const_cast<LPOLESTR>(path.c_str()), nullptr);
}

}  // namespace

std::vector<std::wstring> RegisteredHosts(bool with_publisher) {
  std::vector<std::wstring> hosts(AllHosts().begin(), AllHosts().begin() + 3);
  if (with_publisher) hosts.push_back(L"Publisher");
  return hosts;
}

std::vector<RegistryValue> RegistrationValues(const std::wstring& module_path, bool with_publisher) {
  const std::wstring clsid = GuidText(kCLSID_QuillornInterface);
  std::vector<RegistryValue> values = {
      {ClassKey(), L"", kCoClassHelp},
      {ClassKey() + L"\\InprocServer32", L"", module_path},
      // Office calls its add-ins on its UI thread, in its single-threaded apartment.
      {ClassKey() + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
      {ClassKey() + L"\\ProgID", L"", kProgId},
      {ClassKey() + L"\\TypeLib", L"", GuidText(kLibId)},
      {ClassKey() + L"\\Version", L"", L"1.0"},
      {ProgIdKey(), L"", kCoClassHelp},
      {ProgIdKey() + L"\\CLSID", L"", clsid},
  };
  for (const std::wstring& host : RegisteredHosts(with_publisher)) {
    values.push_back({AddInKey(host), L"FriendlyName", kFriendlyName});
    values.push_back({AddInKey(host), L"Description", kDescription});
    values.push_back({AddInKey(host), L"LoadBehavior", L"", kLoadBehavior, true});
  }
  return values;
}

std::vector<std::wstring> RegistrationKeys() {
  std::vector<std::wstring> keys = {ClassKey(), ProgIdKey()};
  // Publisher's key too: it may stem from a registration when the setting said yes.
  for (const std::wstring& host : AllHosts()) keys.push_back(AddInKey(host));
  return keys;
}

HRESULT RegisterServer(const std::wstring& module_path, bool with_publisher) {
  for (const RegistryValue& value : RegistrationValues(module_path, with_publisher)) RETURN_IF_FAILED(WriteValue(value));
  return RegisterTypeLibrary(module_path);
}

HRESULT UnregisterServer(const std::wstring& module_path) {
  HRESULT result = S_OK;
  for (const std::wstring& key : RegistrationKeys()) {
    HKEY root = nullptr;
    LONG rc = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, &root);
    if (rc == ERROR_FILE_NOT_FOUND) continue;  // never written, or gone already
    if (rc == ERROR_SUCCESS) {
      rc = ::RegDeleteTreeW(root, nullptr);
      ::RegCloseKey(root);
      if (rc == ERROR_SUCCESS) rc = ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), KEY_WOW64_64KEY, 0);
    }
    if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND && SUCCEEDED(result)) result = HRESULT_FROM_WIN32(rc);
  }
  const HRESULT tlb = ::UnRegisterTypeLib(kLibId, kLibraryMajor, kLibraryMinor, LOCALE_NEUTRAL, SYS_WIN64);
  if (FAILED(tlb) && tlb != TYPE_E_REGISTRYACCESS && tlb != TYPE_E_CANTLOADLIBRARY && SUCCEEDED(result)) result = tlb;
  ::DeleteFileW(TypeLibraryPath(module_path).c_str());
  return result;
}

bool PublisherSupported(const std::wstring& module_path) {
  try {
    const std::string app_dir = foundation::ExtractFilePath(platform::Utf8FromUtf16(module_path));
    wchar_t local[MAX_PATH] = {};
    std::string app_data_dir = app_dir;
    if (SUCCEEDED(::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, local)) && local[0]) {
      app_data_dir = platform::Utf8FromUtf16(local) + "\\Quillorn\\";
    }
    std::string value;
    data::TdmSettings(app_dir, app_data_dir).loadSetting("Supported Office Apps", "Publisher", value, "no");
    return foundation::LowerCase(value) == "yes";
  } catch (...) {
    return false;
  }
}

}  // namespace quillorn::win
