#include "win/tests/sim_com_application.h"

#include <map>

#include "platform/win32/com_variant.h"
#include "platform/win32/dispatch_object.h"

namespace quillorn::wincheck {

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class SimConnectionPoint final : public IConnectionPoint {
 public:
  SimConnectionPoint(IConnectionPointContainer* owner, const IID& events) : owner_(owner), events_(events) {}
  std::map<DWORD, platform::ComPtr<IDispatch>> sinks;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    if (riid == IID_IUnknown || riid == IID_IConnectionPoint) {
      *out = static_cast<IConnectionPoint*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return owner_->AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return owner_->Release(); }
  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
    *iid = events_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** out) override {
    *out = owner_;
    owner_->AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
    // Office holds its sinks by the event interface, and asks for it first.
    platform::ComPtr<IDispatch> events;
    if (FAILED(sink->QueryInterface(events_, reinterpret_cast<void**>(events.Put())))) return CONNECT_E_CANNOTCONNECT;
    *cookie = next_++;
    sinks[*cookie] = events;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
    return sinks.erase(cookie) != 0 ? S_OK : CONNECT_E_NOCONNECTION;
  }
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  IConnectionPointContainer* owner_;
  IID events_;
  DWORD next_ = 1;
};

SimComApplication::SimComApplication(platform::ObjectRef application, const IID& events)
    : inner_(platform::ComPtr<IDispatch>::Adopt(platform::DispatchFor(std::move(application)))),
      events_(events),
      point_(new SimConnectionPoint(this, events)) {}

SimComApplication::~SimComApplication() { delete point_; }

ULONG STDMETHODCALLTYPE SimComApplication::Release() {
  const ULONG left = --refs_;
  if (left == 0) delete this;
  return left;
}

std::size_t SimComApplication::SinkCount() const { return point_->sinks.size(); }

HRESULT STDMETHODCALLTYPE SimComApplication::QueryInterface(REFIID riid, void** out) {
  if (out == nullptr) return E_POINTER;
  if (riid == IID_IUnknown || riid == IID_IDispatch) {
    *out = static_cast<IDispatch*>(this);
  } else if (riid == IID_IConnectionPointContainer) {
    *out = static_cast<IConnectionPointContainer*>(this);
  } else {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE SimComApplication::EnumConnectionPoints(IEnumConnectionPoints**) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE SimComApplication::FindConnectionPoint(REFIID riid, IConnectionPoint** out) {
  if (out == nullptr) return E_POINTER;
  if (riid != events_) {
    *out = nullptr;
    return CONNECT_E_NOCONNECTION;
  }
  *out = point_;
  point_->AddRef();
  return S_OK;
}

void SimComApplication::Fire(DISPID id, std::vector<VARIANT>& args) {
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  // A copy: a sink may unadvise inside its handler.
  auto sinks = point_->sinks;
  for (auto& [cookie, sink] : sinks) {
    sink->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr, nullptr, nullptr);
  }
}

VARIANT ObjectArg(const platform::Variant& value) {
  VARIANT v;
  platform::ToComVariant(value, v);
  return v;
}

VARIANT BoolArg(bool value) {
  VARIANT v;
  ::VariantInit(&v);
  v.vt = VT_BOOL;
  v.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  return v;
}

VARIANT BoolRef(VARIANT_BOOL* flag) {
  VARIANT v;
  ::VariantInit(&v);
  v.vt = VT_BYREF | VT_BOOL;
  v.pboolVal = flag;
  return v;
}

void ClearArgs(std::vector<VARIANT>& args) {
  for (auto& v : args) ::VariantClear(&v);  // by-reference slots are not freed
}

}  // namespace quillorn::wincheck
