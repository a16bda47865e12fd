// The four exports of an in-process COM server, and the class object that makes
// TQuillornInterface. Registration writes for all users: regsvr32 must run with
// administrator rights, as any installer of a machine-wide add-in does.
#include <windows.h>
#include <objbase.h>
#include <olectl.h>

#include <atomic>
#include <new>

#include "platform/win32/this_module.h"
#include "platform/win32/wide_text.h"
#include "win/addin_ids.h"
#include "win/quillorn_interface.h"
#include "win/registration.h"

namespace quillorn::win {
namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class ClassFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    if (out == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IClassFactory) {
      *out = static_cast<IClassFactory*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  // The class object is static: its references keep nothing alive but the DLL.
  ULONG STDMETHODCALLTYPE AddRef() override {
    ++ModuleUsage();
    return 2;
  }
  ULONG STDMETHODCALLTYPE Release() override {
    --ModuleUsage();
    return 1;
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto* object = new (std::nothrow) TQuillornInterface();
    if (object == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = object->QueryInterface(riid, out);
    object->Release();  // the caller's reference, if any, is the only one left
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    if (lock) {
      ++ModuleUsage();
    } else {
      --ModuleUsage();
    }
    return S_OK;
  }
};
#pragma GCC diagnostic pop

ClassFactory gFactory;

std::wstring ModulePathWide() { return platform::Utf16FromUtf8(platform::ModuleFileName(platform::ThisModule())); }

}  // namespace
}  // namespace quillorn::win

extern "C" {

HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID riid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (clsid != quillorn::win::kCLSID_QuillornInterface) return CLASS_E_CLASSNOTAVAILABLE;
  return quillorn::win::gFactory.QueryInterface(riid, out);
}

HRESULT STDAPICALLTYPE DllCanUnloadNow() { return quillorn::win::ModuleUsage().load() == 0 ? S_OK : S_FALSE; }

HRESULT STDAPICALLTYPE DllRegisterServer() {
  try {
    const std::wstring path = quillorn::win::ModulePathWide();
    return quillorn::win::RegisterServer(path, quillorn::win::PublisherSupported(path));
  } catch (...) {
    return SELFREG_E_CLASS;
  }
}

HRESULT STDAPICALLTYPE DllUnregisterServer() {
  try {
    return quillorn::win::UnregisterServer(quillorn::win::ModulePathWide());
  } catch (...) {
    return SELFREG_E_CLASS;
  }
}

}  // extern "C"
