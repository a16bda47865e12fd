// A simulated Word made a real COM server for the harness: its Application as
// an IDispatch that also has a connection point for Word's application events,
// firing them by their published ids with Cancel and SaveAsUI by reference, the
// way Word calls an add-in's sink.
#pragma once

#include <windows.h>
#include <ocidl.h>
#include <olectl.h>

#include <memory>
#include <vector>

#include "hostsim/events.h"
#include "hostsim/word.h"
#include "platform/win32/com_ptr.h"

namespace quillorn::wincheck {

class SimWordConnectionPoint;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class SimWordApplication final : public IDispatch, public IConnectionPointContainer, private hostsim::WordEvents {
 public:
  explicit SimWordApplication(std::shared_ptr<hostsim::WordHost> host);
  ~SimWordApplication();

  // Sinks currently advised.
  std::size_t SinkCount() const;
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
  void Fire(DISPID id, std::vector<VARIANT>& args_in_order);
  void DocumentChange() override;
  void DocumentOpen(const platform::Variant& doc) override;
  void DocumentBeforeClose(const platform::Variant& doc, bool& cancel) override;
  void DocumentBeforePrint(const platform::Variant& doc, bool& cancel) override;
  void DocumentBeforeSave(const platform::Variant& doc, bool& save_as_ui, bool& cancel) override;
  void WindowActivate(const platform::Variant& doc, const platform::Variant& window) override;
  void WindowDeactivate(const platform::Variant& doc, const platform::Variant& window) override;
  void Quit() override;

  std::shared_ptr<hostsim::WordHost> host_;
  platform::ComPtr<IDispatch> inner_;
  SimWordConnectionPoint* point_;
  ULONG refs_ = 1;
};
#pragma GCC diagnostic pop

}  // namespace quillorn::wincheck
