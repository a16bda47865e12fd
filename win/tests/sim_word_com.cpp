#include "win/tests/sim_word_com.h"

#include <map>

#include "platform/win32/com_variant.h"
#include "platform/win32/dispatch_object.h"
#include "win/word_events.h"

namespace quillorn::wincheck {

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class SimWordConnectionPoint final : public IConnectionPoint {
 public:
  explicit SimWordConnectionPoint(IConnectionPointContainer* owner) : owner_(owner) {}
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
    *iid = win::kDIID_WordApplicationEvents4;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** out) override {
    *out = owner_;
    owner_->AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
    // Word holds its sinks by the event interface, and asks for it first.
    platform::ComPtr<IDispatch> events;
    if (FAILED(sink->QueryInterface(win::kDIID_WordApplicationEvents4, reinterpret_cast<void**>(events.Put())))) {
      return CONNECT_E_CANNOTCONNECT;
    }
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
  DWORD next_ = 1;
};

SimWordApplication::SimWordApplication(std::shared_ptr<hostsim::WordHost> host)
    : host_(std::move(host)),
      inner_(platform::ComPtr<IDispatch>::Adopt(platform::DispatchFor(host_->Application()))),
      point_(new SimWordConnectionPoint(this)) {
  host_->SetEventSink(this);
}

SimWordApplication::~SimWordApplication() {
  host_->SetEventSink(nullptr);
  delete point_;
}

ULONG STDMETHODCALLTYPE SimWordApplication::Release() {
  const ULONG left = --refs_;
  if (left == 0) delete this;
  return left;
}

std::size_t SimWordApplication::SinkCount() const { return point_->sinks.size(); }

HRESULT STDMETHODCALLTYPE SimWordApplication::QueryInterface(REFIID riid, void** out) {
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

HRESULT STDMETHODCALLTYPE SimWordApplication::EnumConnectionPoints(IEnumConnectionPoints**) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE SimWordApplication::FindConnectionPoint(REFIID riid, IConnectionPoint** out) {
  if (out == nullptr) return E_POINTER;
  if (riid != win::kDIID_WordApplicationEvents4) {
    *out = nullptr;
    return CONNECT_E_NOCONNECTION;
  }
  *out = point_;
  point_->AddRef();
  return S_OK;
}

void SimWordApplication::Fire(DISPID id, std::vector<VARIANT>& args) {
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  // A copy: a sink may unadvise inside its handler.
  auto sinks = point_->sinks;
  for (auto& [cookie, sink] : sinks) {
    sink->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr, nullptr, nullptr);
  }
}

namespace {

VARIANT ObjectArg(const platform::Variant& value) {
  VARIANT v;
  platform::ToComVariant(value, v);
  return v;
}

VARIANT BoolRef(VARIANT_BOOL* flag) {
  VARIANT v;
  ::VariantInit(&v);
  v.vt = VT_BYREF | VT_BOOL;
  v.pboolVal = flag;
  return v;
}

void ClearAll(std::vector<VARIANT>& args) {
  for (auto& v : args) ::VariantClear(&v);  // by-reference slots are not freed
}

}  // namespace

void SimWordApplication::DocumentChange() {
  std::vector<VARIANT> args;
  Fire(win::kWordDocumentChange, args);
}

void SimWordApplication::DocumentOpen(const platform::Variant& doc) {
  std::vector<VARIANT> args{ObjectArg(doc)};
  Fire(win::kWordDocumentOpen, args);
  ClearAll(args);
}

void SimWordApplication::DocumentBeforeClose(const platform::Variant& doc, bool& cancel) {
  VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
  std::vector<VARIANT> args{ObjectArg(doc), BoolRef(&flag)};
  Fire(win::kWordDocumentBeforeClose, args);
  ClearAll(args);
  cancel = last_cancel = flag != VARIANT_FALSE;
}

void SimWordApplication::DocumentBeforePrint(const platform::Variant& doc, bool& cancel) {
  VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
  std::vector<VARIANT> args{ObjectArg(doc), BoolRef(&flag)};
  Fire(win::kWordDocumentBeforePrint, args);
  ClearAll(args);
  cancel = last_cancel = flag != VARIANT_FALSE;
}

void SimWordApplication::DocumentBeforeSave(const platform::Variant& doc, bool& save_as_ui, bool& cancel) {
  VARIANT_BOOL ui = save_as_ui ? VARIANT_TRUE : VARIANT_FALSE;
  VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
  std::vector<VARIANT> args{ObjectArg(doc), BoolRef(&ui), BoolRef(&flag)};
  Fire(win::kWordDocumentBeforeSave, args);
  ClearAll(args);
  save_as_ui = last_save_as_ui = ui != VARIANT_FALSE;
  cancel = last_cancel = flag != VARIANT_FALSE;
}

void SimWordApplication::WindowActivate(const platform::Variant& doc, const platform::Variant& window) {
  std::vector<VARIANT> args{ObjectArg(doc), ObjectArg(window)};
  Fire(win::kWordWindowActivate, args);
  ClearAll(args);
}

void SimWordApplication::WindowDeactivate(const platform::Variant& doc, const platform::Variant& window) {
  std::vector<VARIANT> args{ObjectArg(doc), ObjectArg(window)};
  Fire(win::kWordWindowDeactivate, args);
  ClearAll(args);
}

void SimWordApplication::Quit() {
  std::vector<VARIANT> args;
  Fire(win::kWordQuit, args);
}

}  // namespace quillorn::wincheck
