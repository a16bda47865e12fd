// IDTExtensibility2 as the Office hosts call it: a dual interface whose five
// methods are the add-in's lifecycle. Declared here because MinGW's headers do
// not carry it; the layout and the ids are the published ones.
#pragma once

#include <windows.h>
#include <oaidl.h>

namespace quillorn::win {

// How the host loaded the add-in (ext_ConnectMode).
enum ConnectMode : int { ext_cm_AfterStartup = 0, ext_cm_Startup = 1, ext_cm_External = 2, ext_cm_CommandLine = 3 };
// Why the host unloads it (ext_DisconnectMode).
enum DisconnectMode : int { ext_dm_HostShutdown = 0, ext_dm_UserClosed = 1 };

// Dispatch ids of the five methods, for hosts that call through IDispatch.
enum ExtensibilityDispId : DISPID {
  kDispOnConnection = 1,
  kDispOnDisconnection = 2,
  kDispOnAddInsUpdate = 3,
  kDispOnStartupComplete = 4,
  kDispOnBeginShutdown = 5,
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct IDTExtensibility2 : public IDispatch {
  virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* Application, ConnectMode mode, IDispatch* AddInInst,
                                                 SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnDisconnection(DisconnectMode mode, SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;
};
#pragma GCC diagnostic pop

}  // namespace quillorn::win
