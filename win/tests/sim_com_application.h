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

#include <cstddef>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/automation.h"
#include "platform/variant.h"
#include "platform/win32/com_ptr.h"

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
  SimComApplication(const platform::ObjectRef& object, const IID& events);

  std::size_t SinkCount() const { return sinks_.size(); }
  // Fires `id` at every sink; a flag shows afterwards what the sinks left in it.
  void Fire(DISPID id, const std::vector<EventArg>& args);

  // The flags and positional argument types of the last call, first argument first.
  WORD last_flags = 0;
  std::vector<VARTYPE> last_types;
  // Asked before each call reaches the object; anything but S_OK is the answer.
  std::function<HRESULT(WORD flags, EXCEPINFO* excep)> answer;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override { return inner_->GetTypeInfoCount(count); }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT n, LCID lcid, DISPID* ids) override {
    return inner_->GetIDsOfNames(riid, names, n, lcid, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* p, VARIANT* r,
                                   EXCEPINFO* e, UINT* a) override;
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** out) override;
  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
    *iid = events_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** out) override {
    return QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(out));
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
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
  platform::Variant GetProperty(std::string_view name, std::span<const platform::Variant> args) override;
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
