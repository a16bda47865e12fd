// A simulated host's Application made a real COM server for the harness: its
// object model as an IDispatch, and one connection point for the host's event
// interface through which events are fired by dispatch id, arguments in their
// declared order, the way an Office host calls an add-in's sink.
#pragma once

#include <windows.h>
#include <ocidl.h>
#include <olectl.h>

#include <cstddef>
#include <vector>

#include "platform/automation.h"
#include "platform/variant.h"
#include "platform/win32/com_ptr.h"

namespace quillorn::wincheck {

class SimConnectionPoint;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class SimComApplication : public IDispatch, public IConnectionPointContainer {
 public:
  SimComApplication(platform::ObjectRef application, const IID& events);
  virtual ~SimComApplication();
  SimComApplication(const SimComApplication&) = delete;
  SimComApplication& operator=(const SimComApplication&) = delete;

  // Sinks currently advised.
  std::size_t SinkCount() const;
  // Fires `id` at every sink; a VT_BYREF slot shows afterwards what the sinks
  // left in it. The caller owns and clears the arguments.
  void Fire(DISPID id, std::vector<VARIANT>& args_in_order);

  // The Cancel and SaveAsUI values the sinks gave back for the last event.
  bool last_cancel = false;
  bool last_save_as_ui = false;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override { return inner_->GetTypeInfoCount(count); }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT i, LCID lcid, ITypeInfo** info) override {
    return inner_->GetTypeInfo(i, lcid, info);
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT n, LCID lcid, DISPID* ids) override {
    return inner_->GetIDsOfNames(riid, names, n, lcid, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* p, VARIANT* r,
                                   EXCEPINFO* e, UINT* a) override {
    return inner_->Invoke(id, riid, lcid, flags, p, r, e, a);
  }
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** out) override;
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** out) override;

 private:
  platform::ComPtr<IDispatch> inner_;
  IID events_;
  SimConnectionPoint* point_;
  ULONG refs_ = 1;
};
#pragma GCC diagnostic pop

// Event arguments as a host passes them. A Boolean by reference points at `flag`,
// which must outlive the call.
VARIANT ObjectArg(const platform::Variant& value);
VARIANT BoolArg(bool value);
VARIANT BoolRef(VARIANT_BOOL* flag);
void ClearArgs(std::vector<VARIANT>& args);

}  // namespace quillorn::wincheck
