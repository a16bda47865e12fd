// Office connects an add-in loaded at start-up with ext_cm_Startup and then calls
// OnStartupComplete; one connected later (by the user, or by automation) never
// gets that call, so start-up complete runs from OnConnection then. Likewise a
// user who unloads the add-in sends no OnBeginShutdown: OnDisconnection runs it.
#include "win/quillorn_interface.h"

#include <string>

#include "foundation/paths.h"
#include "platform/automation.h"
#include "platform/win32/com_variant.h"
#include "platform/win32/dispatch_object.h"
#include "platform/win32/platform_readers.h"
#include "platform/win32/this_module.h"
#include "win/addin_ids.h"
#include "win/host_events.h"

namespace quillorn::win {

using platform::ComPtr;
using platform::Variant;

std::atomic<long>& ModuleUsage() {
  static std::atomic<long> usage{0};
  return usage;
}

addin::HostType HostTypeOfApplication(const Variant& application) {
  const std::string name = foundation::LowerCase(application.Get("Name").AsString());
  if (name.find("excel") != std::string::npos) return addin::HostType::ohaExcel;
  if (name.find("powerpoint") != std::string::npos) return addin::HostType::ohaPowerPoint;
  if (name.find("publisher") != std::string::npos) return addin::HostType::ohaPublisher;
  return addin::HostType::ohaWord;
}

TQuillornInterface::TQuillornInterface() { ++ModuleUsage(); }

TQuillornInterface::~TQuillornInterface() {
  Disconnect();
  --ModuleUsage();
}

ULONG STDMETHODCALLTYPE TQuillornInterface::Release() {
  const ULONG left = --refs_;
  if (left == 0) delete this;
  return left;
}

HRESULT STDMETHODCALLTYPE TQuillornInterface::QueryInterface(REFIID riid, void** out) {
  if (out == nullptr) return E_POINTER;
  if (riid == IID_IUnknown || riid == IID_IDispatch || riid == kIID_IDTExtensibility2 ||
      riid == kIID_IQuillornInterface) {
    *out = static_cast<IDTExtensibility2*>(this);
    AddRef();
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

void TQuillornInterface::ReportError(std::exception_ptr error) {
  if (!module_) return;
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    bool handled = false;
    module_->AddInModuleError(&e, handled);
  } catch (...) {
    bool handled = false;
    module_->AddInModuleError(nullptr, handled);
  }
}

HRESULT STDMETHODCALLTYPE TQuillornInterface::OnConnection(IDispatch* Application, ConnectMode mode, IDispatch*,
                                                           SAFEARRAY**) {
  if (module_) return S_OK;  // one module per object, as per host process
  try {
    platform::InstallPlatformReaders();
    loop_ = std::make_unique<platform::WindowsMainLoop>();
    prompts_ = std::make_unique<platform::WindowsPrompts>();
    system_ = platform::CreateSystemServices();
    addin::AddInHost host;
    host.Application = platform::WrapDispatch(Application);
    host.Type = HostTypeOfApplication(Variant(host.Application));
    host.Loop = loop_.get();
    host.Prompts = prompts_.get();
    host.System = system_.get();
    host.ModulePath = platform::ModuleFileName(platform::ThisModule());
    module_ = std::make_unique<addin::TAddInModule>(std::move(host));
    loop_->SetExceptionHandler([this](std::exception_ptr e) { ReportError(e); });
    module_->AddInModuleCreate();
    module_->AddInModuleAddInInitialize();
    try {
      sink_ = ConnectHostEvents(Application, *module_, [this](std::exception_ptr e) { ReportError(e); });
    } catch (...) {
      // Without the host's events the commands still work; start-up goes on.
      ReportError(std::current_exception());
    }
    if (mode != ext_cm_Startup) OnStartupComplete(nullptr);
    return S_OK;
  } catch (...) {
    ReportError(std::current_exception());
    return S_OK;  // the host would only disable the add-in; the log says why
  }
}

HRESULT STDMETHODCALLTYPE TQuillornInterface::OnStartupComplete(SAFEARRAY**) {
  if (!module_ || startup_complete_) return S_OK;
  startup_complete_ = true;
  module_->AddInModuleAddInStartupComplete();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TQuillornInterface::OnBeginShutdown(SAFEARRAY**) {
  if (!module_) return S_OK;
  shutdown_begun_ = true;
  module_->AddInModuleAddInBeginShutdown();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TQuillornInterface::OnAddInsUpdate(SAFEARRAY**) { return S_OK; }

HRESULT STDMETHODCALLTYPE TQuillornInterface::OnDisconnection(DisconnectMode, SAFEARRAY**) {
  if (!module_) return S_OK;
  if (!shutdown_begun_) OnBeginShutdown(nullptr);
  module_->AddInModuleAddInFinalize();
  Disconnect();
  return S_OK;
}

void TQuillornInterface::Disconnect() {
  if (sink_) {
    sink_->Disconnect();
    sink_ = ComPtr<EventSink>();
  }
  if (module_) {
    module_->AddInModuleDestroy();
    module_.reset();
  }
  loop_.reset();  // after the module: its timers live on the loop
  prompts_.reset();
  system_.reset();
}

// ---- IDispatch, for hosts that call the five methods late-bound ----------------

HRESULT STDMETHODCALLTYPE TQuillornInterface::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 0;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TQuillornInterface::GetTypeInfo(UINT, LCID, ITypeInfo** info) {
  if (info != nullptr) *info = nullptr;
  return DISP_E_BADINDEX;
}

HRESULT STDMETHODCALLTYPE TQuillornInterface::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  static const struct {
    const wchar_t* name;
    DISPID id;
  } kMethods[] = {{L"OnConnection", kDispOnConnection},
                  {L"OnDisconnection", kDispOnDisconnection},
                  {L"OnAddInsUpdate", kDispOnAddInsUpdate},
                  {L"OnStartupComplete", kDispOnStartupComplete},
                  {L"OnBeginShutdown", kDispOnBeginShutdown}};
  HRESULT result = S_OK;
  for (UINT i = 0; i < count; ++i) {
    ids[i] = DISPID_UNKNOWN;
    for (const auto& m : kMethods) {
      if (i == 0 && ::lstrcmpiW(names[i], m.name) == 0) ids[i] = m.id;
    }
    if (ids[i] == DISPID_UNKNOWN) result = DISP_E_UNKNOWNNAME;
  }
  return result;
}

HRESULT STDMETHODCALLTYPE TQuillornInterface::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                                                     EXCEPINFO*, UINT*) {
  if (result != nullptr) ::VariantInit(result);
  const UINT n = params != nullptr ? params->cArgs : 0;
  auto arg = [&](UINT index) -> VARIANTARG& { return params->rgvarg[n - 1 - index]; };
  auto as_dispatch = [](const VARIANTARG& v) -> IDispatch* {
    if (v.vt == VT_DISPATCH) return v.pdispVal;
    if (v.vt == (VT_BYREF | VT_DISPATCH) && v.ppdispVal != nullptr) return *v.ppdispVal;
    return nullptr;
  };
  auto as_int = [](const VARIANTARG& v) -> int {
    try {
      return platform::FromComVariant(v).AsInt();
    } catch (...) {
      return 0;
    }
  };
  switch (id) {
    case kDispOnConnection:
      if (n < 2) return DISP_E_BADPARAMCOUNT;
      return OnConnection(as_dispatch(arg(0)), static_cast<ConnectMode>(as_int(arg(1))),
                          n > 2 ? as_dispatch(arg(2)) : nullptr, nullptr);
    case kDispOnDisconnection:
      if (n < 1) return DISP_E_BADPARAMCOUNT;
      return OnDisconnection(static_cast<DisconnectMode>(as_int(arg(0))), nullptr);
    case kDispOnAddInsUpdate: return OnAddInsUpdate(nullptr);
    case kDispOnStartupComplete: return OnStartupComplete(nullptr);
    case kDispOnBeginShutdown: return OnBeginShutdown(nullptr);
    default: return DISP_E_MEMBERNOTFOUND;
  }
}

}  // namespace quillorn::win
