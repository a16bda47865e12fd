// The one simulated host the Windows checks serve over COM: any object model (a
// hostsim Application, or SimObject below) as a real IDispatch with one
// connection point for the host's event interface. Events are fired by dispatch
// id with their arguments in declared order, as an Office host calls a sink.
// Calls into the object are noted, and `answer` may refuse them the way a host's
// own objects do, to reach the caller's paths that our own server never takes.
#pragma once

#include <windows.h>
#include <ocidl.h>
#include <olectl.h>

#include <functional>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/automation.h"
#include "platform/variant.h"
#include "platform/win32/com_ptr.h"
#include "platform/win32/com_variant.h"
#include "platform/win32/dispatch_object.h"

namespace quillorn::wincheck {

// One event argument as a host passes it: a value, or a Boolean flag by
// reference (Cancel, Word's SaveAsUI) that the sink may change. `late_bound`
// passes the flag inside a VARIANT by reference, as late-bound callers do.
struct EventArg {
  platform::Variant value;
  VARIANT_BOOL* flag = nullptr;
  bool late_bound = false;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class SimComApplication final : public IDispatch, public IConnectionPointContainer, public IConnectionPoint {
 public:
  // Starts with one reference, the caller's; `events` is the only interface
  // its connection point offers.
  SimComApplication(const platform::ObjectRef& object, const IID& events)
      : inner_(platform::ComPtr<IDispatch>::Adopt(platform::DispatchFor(object))), events_(events) {}

  std::size_t SinkCount() const { return sinks_.size(); }

  // Fires `id` at every sink; a flag shows afterwards what the sinks left in it.
  void Fire(DISPID id, const std::vector<EventArg>& args) {
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
    }
  }

  // The flags and positional argument types of the last call, first argument first.
  WORD last_flags = 0;
  std::vector<VARTYPE> last_types;
  // Asked before each call reaches the object; anything but S_OK is the answer.
  std::function<HRESULT(WORD flags, EXCEPINFO* excep)> answer;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    *out = nullptr;
    if (riid == IID_IUnknown || riid == IID_IDispatch) *out = static_cast<IDispatch*>(this);
    if (riid == IID_IConnectionPointContainer) *out = static_cast<IConnectionPointContainer*>(this);
    if (riid == IID_IConnectionPoint) *out = static_cast<IConnectionPoint*>(this);
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override { return inner_->GetTypeInfoCount(count); }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT n, LCID lcid, DISPID* ids) override {
    return inner_->GetIDsOfNames(riid, names, n, lcid, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* p, VARIANT* r,
                                   EXCEPINFO* e, UINT* a) override {
    last_flags = flags;
    last_types.clear();
    // Reversed, and a put's value (the named argument) sits in front of them all.
    for (UINT i = p->cArgs; i > p->cNamedArgs; --i) last_types.push_back(p->rgvarg[i - 1].vt);
    const HRESULT refused = answer ? answer(flags, e) : S_OK;
    return refused != S_OK ? refused : inner_->Invoke(id, riid, lcid, flags, p, r, e, a);
  }
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** out) override {
    *out = nullptr;
    return riid == events_ ? QueryInterface(IID_IConnectionPoint, reinterpret_cast<void**>(out)) : CONNECT_E_NOCONNECTION;
  }
  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
    *iid = events_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** out) override {
    return QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(out));
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
    // Office holds its sinks by the event interface, and asks for it first.
    platform::ComPtr<IDispatch> held;
    if (FAILED(sink->QueryInterface(events_, reinterpret_cast<void**>(held.Put())))) return CONNECT_E_CANNOTCONNECT;
    *cookie = next_cookie_++;
    sinks_[*cookie] = held;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
    return sinks_.erase(cookie) != 0 ? S_OK : CONNECT_E_NOCONNECTION;
  }
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  ~SimComApplication() = default;

  platform::ComPtr<IDispatch> inner_;
  IID events_;
  std::map<DWORD, platform::ComPtr<IDispatch>> sinks_;
  DWORD next_cookie_ = 1;
  ULONG refs_ = 1;
};
#pragma GCC diagnostic pop

// An object of the simulated host: `Name` is its name, `Value(i)` an indexed
// property; `Fail` raises as a host's object model does, `Boom` as nothing but
// a bug would; any other member gives back its arguments, one as itself and
// more as a list.
class SimObject final : public platform::AutomationObject {
 public:
  explicit SimObject(std::string name) : name_(std::move(name)) {}
  platform::Variant GetProperty(std::string_view name, std::span<const platform::Variant> args) override {
    const auto is = [&](const char* member) { return ::lstrcmpiA(std::string(name).c_str(), member) == 0; };
    if (is("Name")) return platform::Variant(name_);
    if (is("Value")) return values_[args.empty() ? 0 : args[0].AsInt()];
    if (is("Fail")) {
      throw platform::HostError("The requested member of the collection does not exist.",
                                static_cast<std::int32_t>(0x800A16E0), "Microsoft Word");
    }
    if (is("Boom")) throw std::runtime_error("not a host error");
    if (args.size() == 1) return args[0];
    return platform::Variant(platform::VariantList(args.begin(), args.end()));
  }
  void PutProperty(std::string_view, std::span<const platform::Variant> args, const platform::Variant& value) override {
    values_[args.empty() ? 0 : args[0].AsInt()] = value;
  }
  platform::Variant CallMethod(std::string_view name, std::span<const platform::Variant> args) override {
    return GetProperty(name, args);
  }

 private:
  std::string name_;
  std::map<int, platform::Variant> values_;
};

}  // namespace quillorn::wincheck
