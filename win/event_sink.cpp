#include "win/event_sink.h"

#include <ocidl.h>

#include "platform/automation.h"
#include "platform/win32/com_variant.h"

namespace quillorn::win {

using platform::ComPtr;
using platform::HostError;
using platform::Variant;

VARIANTARG& EventArgs::Slot(unsigned index) const {
  if (index >= Count()) throw HostError("The host passed " + std::to_string(Count()) + " event arguments");
  return params_->rgvarg[params_->cArgs - 1 - index];
}

Variant EventArgs::At(unsigned index) const { return platform::FromComVariant(Slot(index)); }

void EventArgs::SetBool(unsigned index, bool value) {
  VARIANTARG& slot = Slot(index);
  const VARIANT_BOOL flag = value ? VARIANT_TRUE : VARIANT_FALSE;
  if (slot.vt == (VT_BYREF | VT_BOOL) && slot.pboolVal != nullptr) {
    *slot.pboolVal = flag;
  } else if (slot.vt == (VT_BYREF | VT_VARIANT) && slot.pvarVal != nullptr) {
    ::VariantClear(slot.pvarVal);
    slot.pvarVal->vt = VT_BOOL;
    slot.pvarVal->boolVal = flag;
  }
}

ComPtr<EventSink> EventSink::Connect(IDispatch* source, const IID& events, std::map<DISPID, EventHandler> handlers,
                                     EventErrorHandler on_error) {
  if (source == nullptr) throw HostError("No host object to sink events from");
  ComPtr<IConnectionPointContainer> container;
  HRESULT hr = source->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(container.Put()));
  if (FAILED(hr)) throw HostError("The host object has no events: " + platform::HResultText(hr), hr);
  ComPtr<IConnectionPoint> point;
  hr = container->FindConnectionPoint(events, point.Put());
  if (FAILED(hr)) throw HostError("The host object has no such event interface: " + platform::HResultText(hr), hr);
  auto sink = ComPtr<EventSink>::Adopt(new EventSink(events, std::move(handlers), std::move(on_error)));
  DWORD cookie = 0;
  hr = point->Advise(static_cast<IDispatch*>(sink.get()), &cookie);
  if (FAILED(hr)) throw HostError("The host refused the event sink: " + platform::HResultText(hr), hr);
  sink->point_ = point;
  sink->cookie_ = cookie;
  return sink;
}

void EventSink::Disconnect() {
  if (!point_) return;
  ComPtr<IConnectionPoint> point = point_;  // Unadvise may release the last other reference
  point_ = ComPtr<IConnectionPoint>();
  point->Unadvise(cookie_);
  cookie_ = 0;
}

HRESULT STDMETHODCALLTYPE EventSink::QueryInterface(REFIID riid, void** out) {
  if (out == nullptr) return E_POINTER;
  // The host asks for its own event interface when it checks the sink.
  if (riid == IID_IUnknown || riid == IID_IDispatch || riid == events_) {
    *out = static_cast<IDispatch*>(this);
    AddRef();
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE EventSink::Release() {
  const ULONG left = --refs_;
  if (left == 0) delete this;
  return left;
}

HRESULT STDMETHODCALLTYPE EventSink::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 0;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE EventSink::GetTypeInfo(UINT, LCID, ITypeInfo** info) {
  if (info != nullptr) *info = nullptr;
  return DISP_E_BADINDEX;
}

HRESULT STDMETHODCALLTYPE EventSink::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) {
  return DISP_E_UNKNOWNNAME;  // hosts fire events by id only
}

HRESULT STDMETHODCALLTYPE EventSink::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                                            EXCEPINFO*, UINT*) {
  if (result != nullptr) ::VariantInit(result);
  auto it = handlers_.find(id);
  if (it == handlers_.end()) return S_OK;  // an event we do not handle
  ComPtr<IDispatch> keep(this);             // a handler may disconnect us
  try {
    EventArgs args(params);
    it->second(args);
  } catch (...) {
    if (on_error_) {
      try {
        on_error_(std::current_exception());
      } catch (...) {
      }
    }
  }
  // The host goes on with its event either way; failures are ours to report.
  return S_OK;
}

}  // namespace quillorn::win
