#include "win/tests/sim_com_application.h"

#include <stdexcept>

#include "platform/win32/com_variant.h"
#include "platform/win32/dispatch_object.h"

namespace quillorn::wincheck {

using platform::Variant;

SimComApplication::SimComApplication(const platform::ObjectRef& object, const IID& events)
    : inner_(platform::ComPtr<IDispatch>::Adopt(platform::DispatchFor(object))), events_(events) {}

ULONG STDMETHODCALLTYPE SimComApplication::Release() {
  const ULONG left = --refs_;
  if (left == 0) delete this;
  return left;
}

HRESULT STDMETHODCALLTYPE SimComApplication::QueryInterface(REFIID riid, void** out) {
  if (riid == IID_IUnknown || riid == IID_IDispatch) {
    *out = static_cast<IDispatch*>(this);
  } else if (riid == IID_IConnectionPointContainer) {
    *out = static_cast<IConnectionPointContainer*>(this);
  } else if (riid == IID_IConnectionPoint) {
    *out = static_cast<IConnectionPoint*>(this);
  } else {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE SimComApplication::Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* p,
                                                    VARIANT* r, EXCEPINFO* e, UINT* a) {
  last_flags = flags;
  last_types.clear();
  // Reversed, and a put's value (the named argument) sits in front of them all.
  for (UINT i = p->cArgs; i > p->cNamedArgs; --i) last_types.push_back(p->rgvarg[i - 1].vt);
  const HRESULT refused = answer ? answer(flags, e) : S_OK;
  return refused != S_OK ? refused : inner_->Invoke(id, riid, lcid, flags, p, r, e, a);
}

HRESULT STDMETHODCALLTYPE SimComApplication::FindConnectionPoint(REFIID riid, IConnectionPoint** out) {
  if (riid == events_) return QueryInterface(IID_IConnectionPoint, reinterpret_cast<void**>(out));
  *out = nullptr;
  return CONNECT_E_NOCONNECTION;
}

HRESULT STDMETHODCALLTYPE SimComApplication::Advise(IUnknown* sink, DWORD* cookie) {
  // Office holds its sinks by the event interface, and asks for it first.
  platform::ComPtr<IDispatch> held;
  if (FAILED(sink->QueryInterface(events_, reinterpret_cast<void**>(held.Put())))) return CONNECT_E_CANNOTCONNECT;
  *cookie = next_cookie_++;
  sinks_[*cookie] = held;
  return S_OK;
}

void SimComApplication::Fire(DISPID id, const std::vector<EventArg>& args) {
  const std::size_t n = args.size();
  std::vector<VARIANT> slots(n), boxes(n);  // COM's order is the reverse; a late-bound flag's VARIANT
  for (std::size_t i = 0; i < n; ++i) {
    VARIANT& slot = slots[n - 1 - i];
    if (args[i].flag == nullptr) {
      platform::ToComVariant(args[i].value, slot);
    } else if (args[i].late_bound) {
      boxes[i].vt = VT_BOOL;
      boxes[i].boolVal = *args[i].flag;
      slot.vt = VT_BYREF | VT_VARIANT;
      slot.pvarVal = &boxes[i];
    } else {
      slot.vt = VT_BYREF | VT_BOOL;
      slot.pboolVal = args[i].flag;
    }
  }
  DISPPARAMS params{slots.data(), nullptr, static_cast<UINT>(n), 0};
  auto sinks = sinks_;  // a copy: a sink may unadvise inside its handler
  for (auto& [cookie, sink] : sinks) {
    sink->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr, nullptr, nullptr);
  }
  for (std::size_t i = 0; i < n; ++i) {
    if (args[i].late_bound && boxes[i].vt == VT_BOOL) *args[i].flag = boxes[i].boolVal;
    ::VariantClear(&slots[i]);  // by-reference slots leave what they point at alone
    ::VariantClear(&boxes[i]);
  }
}

Variant SimObject::GetProperty(std::string_view name, std::span<const Variant> args) {
  const auto is = [&](const char* member) { return ::lstrcmpiA(std::string(name).c_str(), member) == 0; };
  if (is("Name")) return Variant(name_);
  if (is("Value")) return values_[args.empty() ? 0 : args[0].AsInt()];
  if (is("Fail")) {
    throw platform::HostError("The requested member of the collection does not exist.",
                              static_cast<std::int32_t>(0x800A16E0), "Microsoft Word");
  }
  if (is("Boom")) throw std::runtime_error("not a host error");
  if (args.size() == 1) return args[0];
  return Variant(platform::VariantList(args.begin(), args.end()));
}

}  // namespace quillorn::wincheck
