// One host event interface, sunk through the host's connection point: the host
// calls Invoke with the event's dispatch id, and the sink hands the arguments to
// the handler registered for that id. By-reference flags (Cancel, SaveAsUI)
// are written back to the host. No exception ever leaves Invoke.
#pragma once

#include <windows.h>
#include <oaidl.h>
#include <ocidl.h>

#include <atomic>
#include <exception>
#include <functional>
#include <map>

#include "platform/variant.h"
#include "platform/win32/com_ptr.h"

namespace quillorn::win {

// The arguments of one event, in their declared order (COM hands them reversed).
class EventArgs {
 public:
  explicit EventArgs(DISPPARAMS* params) : params_(params) {}
  unsigned Count() const { return params_ != nullptr ? params_->cArgs : 0; }
  // Raises HostError when the host passed fewer arguments.
  platform::Variant At(unsigned index) const;
  bool BoolAt(unsigned index) const { return At(index).AsBool(); }
  // Writes a by-reference Boolean back; a by-value argument is left alone.
  void SetBool(unsigned index, bool value);
  // Hands the by-reference flag at `index` (Cancel) to `handler` and writes what
  // the handler left in it back to the host.
  template <class F>
  void WithFlag(unsigned index, F&& handler) {
    bool flag = BoolAt(index);
    handler(flag);
    SetBool(index, flag);
  }

 private:
  VARIANTARG& Slot(unsigned index) const;
  DISPPARAMS* params_;
};

using EventHandler = std::function<void(EventArgs&)>;
using EventErrorHandler = std::function<void(std::exception_ptr)>;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class EventSink final : public IDispatch {
 public:
  // Advises a new sink on `source`'s connection point for `events`; raises
  // HostError when the source has none. Ids without a handler are ignored.
  static platform::ComPtr<EventSink> Connect(IDispatch* source, const IID& events,
                                             std::map<DISPID, EventHandler> handlers, EventErrorHandler on_error);
  // Unadvises; safe to call twice and from the destructor's owner.
  void Disconnect();
  bool Connected() const { return static_cast<bool>(point_); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                                   EXCEPINFO* excep, UINT* arg_error) override;

 private:
  EventSink(const IID& events, std::map<DISPID, EventHandler> handlers, EventErrorHandler on_error)
      : events_(events), handlers_(std::move(handlers)), on_error_(std::move(on_error)) {}
  ~EventSink() = default;

  IID events_;
  std::map<DISPID, EventHandler> handlers_;
  EventErrorHandler on_error_;
  platform::ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
  std::atomic<ULONG> refs_{1};
};
#pragma GCC diagnostic pop

}  // namespace quillorn::win
