// TQuillornInterface: the COM object an Office host creates by the add-in's
// ProgID. It gives the host IDTExtensibility2 and turns each of its calls into
// the module's lifecycle callbacks, on the host's UI thread; it owns the module
// and the Windows platform objects for the module's whole life.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "addin/addin_module.h"
#include "platform/system_services.h"
#include "platform/win32/com_ptr.h"
#include "platform/win32/windows_main_loop.h"
#include "platform/win32/windows_prompts.h"
#include "win/event_sink.h"
#include "win/extensibility.h"

namespace quillorn::win {

// Objects and locks alive in this DLL; DllCanUnloadNow says no while any is.
std::atomic<long>& ModuleUsage();

// The host as the module's HostType, from Application.Name ("Microsoft Word" ...).
addin::HostType HostTypeOfApplication(const platform::Variant& application);

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class TQuillornInterface final : public IDTExtensibility2 {
 public:
  TQuillornInterface();
  ~TQuillornInterface();
  TQuillornInterface(const TQuillornInterface&) = delete;
  TQuillornInterface& operator=(const TQuillornInterface&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                                   EXCEPINFO* excep, UINT* arg_error) override;

  HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* Application, ConnectMode mode, IDispatch* AddInInst,
                                         SAFEARRAY** custom) override;
  HRESULT STDMETHODCALLTYPE OnDisconnection(DisconnectMode mode, SAFEARRAY** custom) override;
  HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) override;
  HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) override;
  HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) override;

 private:
  void ReportError(std::exception_ptr error);
  void Disconnect();

  std::atomic<ULONG> refs_{1};
  std::unique_ptr<platform::WindowsMainLoop> loop_;
  std::unique_ptr<platform::WindowsPrompts> prompts_;
  std::unique_ptr<platform::SystemServices> system_;
  std::unique_ptr<addin::TAddInModule> module_;
  platform::ComPtr<EventSink> sink_;
  bool startup_complete_ = false;
  bool shutdown_begun_ = false;
};
#pragma GCC diagnostic pop

}  // namespace quillorn::win
