// Arguments go to Invoke in reverse order, as IDispatch wants them. Trailing
// left-out arguments are not passed at all and inner ones pass as
// DISP_E_PARAMNOTFOUND, which is how Office tells "use your default".
#include "platform/win32/dispatch_object.h"

#include <atomic>
#include <cctype>
#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "platform/win32/com_ptr.h"
#include "platform/win32/com_variant.h"
#include "platform/win32/this_module.h"
#include "platform/win32/wide_text.h"

namespace quillorn::platform {
namespace {

// Lets WrapDispatch recognise a server of ours and give back the object behind
// it. The id carries this module's load address: a server made by another module
// (a second copy of this code in another DLL or program) is a foreign object to
// us and is called through Invoke like any host's.
const GUID& ObjectDispatchIid() {
  static const GUID iid = [] {
    GUID g = {0x6e0f5a52, 0x3c1b, 0x4f7e, {}};
    const auto base = reinterpret_cast<std::uintptr_t>(ThisModule());
    for (int i = 0; i < 8; ++i) g.Data4[i] = static_cast<unsigned char>(base >> (8 * i));
    return g;
  }();
  return iid;
}

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

// Owns the argument block of one Invoke.
class Arguments {
 public:
  Arguments(std::span<const Variant> args, const Variant* put_value) {
    std::size_t count = args.size();
    while (count > 0 && args[count - 1].IsEmpty()) --count;
    const std::size_t total = count + (put_value != nullptr ? 1 : 0);
    values_.resize(total);
    for (auto& v : values_) ::VariantInit(&v);
    // Reverse order: the last argument first; a put's value sits in front of all.
    std::size_t slot = total;
    for (std::size_t i = 0; i < count; ++i) {
      VARIANT& v = values_[--slot];
      if (args[i].IsEmpty()) {
        v.vt = VT_ERROR;
        v.scode = DISP_E_PARAMNOTFOUND;
      } else {
        ToComVariant(args[i], v);
      }
    }
    if (put_value != nullptr) ToComVariant(*put_value, values_[0]);
    params_.rgvarg = values_.empty() ? nullptr : values_.data();
    params_.cArgs = static_cast<UINT>(total);
    if (put_value != nullptr) {
      params_.rgdispidNamedArgs = &put_id_;
      params_.cNamedArgs = 1;
    }
  }
  ~Arguments() {
    for (auto& v : values_) ::VariantClear(&v);
  }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  DISPPARAMS* params() { return &params_; }
  bool PutsObject() const { return !values_.empty() && params_.cNamedArgs == 1 && values_[0].vt == VT_DISPATCH; }

 private:
  std::vector<VARIANT> values_;
  DISPID put_id_ = DISPID_PROPERTYPUT;
  DISPPARAMS params_{nullptr, nullptr, 0, 0};
};

class ExcepInfo {
 public:
  ExcepInfo() { ZeroMemory(&info_, sizeof info_); }
  ~ExcepInfo() {
    ::SysFreeString(info_.bstrSource);
    ::SysFreeString(info_.bstrDescription);
    ::SysFreeString(info_.bstrHelpFile);
  }
  ExcepInfo(const ExcepInfo&) = delete;
  ExcepInfo& operator=(const ExcepInfo&) = delete;
  EXCEPINFO* get() { return &info_; }

  [[noreturn]] void Raise() {
    if (info_.pfnDeferredFillIn != nullptr) info_.pfnDeferredFillIn(&info_);
    const std::int32_t code = info_.scode != 0 ? static_cast<std::int32_t>(info_.scode) : info_.wCode;
    std::string message = Utf8FromUtf16(info_.bstrDescription);
    if (message.empty()) message = HResultText(info_.scode != 0 ? info_.scode : DISP_E_EXCEPTION);
    throw HostError(message, code, Utf8FromUtf16(info_.bstrSource));
  }

 private:
  EXCEPINFO info_;
};

class DispatchObject final : public AutomationObject {
 public:
  explicit DispatchObject(IDispatch* dispatch) : dispatch_(dispatch) {}

  IDispatch* Dispatch() const { return dispatch_.get(); }

  Variant GetProperty(std::string_view name, std::span<const Variant> args) override {
    return Invoke(name, DISPATCH_PROPERTYGET, args, nullptr);
  }
  void PutProperty(std::string_view name, std::span<const Variant> args, const Variant& value) override {
    Invoke(name, DISPATCH_PROPERTYPUT, args, &value);
  }
  Variant CallMethod(std::string_view name, std::span<const Variant> args) override {
    return Invoke(name, DISPATCH_METHOD, args, nullptr);
  }

 private:
  DISPID IdOf(std::string_view name) {
    std::string key = Lower(name);
    if (auto it = ids_.find(key); it != ids_.end()) return it->second;
    std::wstring wide = Utf16FromUtf8(name);
    LPOLESTR names[1] = {wide.data()};
    DISPID id = DISPID_UNKNOWN;
    const HRESULT hr = dispatch_->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) {
      throw HostError("Unknown name \"" + std::string(name) + "\": " + HResultText(hr), static_cast<std::int32_t>(hr));
    }
    ids_.emplace(std::move(key), id);
    return id;
  }

  Variant Invoke(std::string_view name, WORD flags, std::span<const Variant> args, const Variant* put_value) {
    const DISPID id = IdOf(name);
    Arguments arguments(args, put_value);
    ComVariant result;
    ExcepInfo excep;
    UINT arg_error = 0;
    HRESULT hr = dispatch_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, arguments.params(),
                                   put_value != nullptr ? nullptr : result.get(), excep.get(), &arg_error);
    if (hr == DISP_E_MEMBERNOTFOUND) {
      // Properties with arguments are methods in some object models and the other
      // way round; VB asks for both at once, and so do we on the second try.
      WORD retry = 0;
      if (flags == DISPATCH_PROPERTYGET || flags == DISPATCH_METHOD) retry = DISPATCH_PROPERTYGET | DISPATCH_METHOD;
      if (flags == DISPATCH_PROPERTYPUT && arguments.PutsObject()) retry = DISPATCH_PROPERTYPUTREF;
      if (retry != 0) {
        hr = dispatch_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, retry, arguments.params(),
                               put_value != nullptr ? nullptr : result.get(), excep.get(), &arg_error);
      }
    }
    if (hr == DISP_E_EXCEPTION) excep.Raise();
    if (FAILED(hr)) {
      throw HostError("\"" + std::string(name) + "\" failed: " + HResultText(hr), static_cast<std::int32_t>(hr));
    }
    return FromComVariant(result.ref());
  }

  ComPtr<IDispatch> dispatch_;
  std::map<std::string, DISPID, std::less<>> ids_;
};

// Member names served by ObjectDispatch get one id each, the same for every
// object of the process, so that a caller's cached ids stay right.
class NameTable {
 public:
  DISPID IdOf(std::string_view name) {
    std::lock_guard guard(lock_);
    std::string key = Lower(name);
    if (auto it = ids_.find(key); it != ids_.end()) return it->second;
    const DISPID id = kFirstId + static_cast<DISPID>(names_.size());
    names_.emplace_back(name);
    ids_.emplace(std::move(key), id);
    return id;
  }
  bool NameOf(DISPID id, std::string& name) {
    std::lock_guard guard(lock_);
    if (id < kFirstId || static_cast<std::size_t>(id - kFirstId) >= names_.size()) return false;
    name = names_[static_cast<std::size_t>(id - kFirstId)];
    return true;
  }

 private:
  static constexpr DISPID kFirstId = 1000;
  std::mutex lock_;
  std::map<std::string, DISPID, std::less<>> ids_;
  std::vector<std::string> names_;
};

NameTable& Names() {
  static NameTable table;
  return table;
}

void FillException(EXCEPINFO* info, const std::string& message, const std::string& source, HRESULT code) {
  if (info == nullptr) return;
  ZeroMemory(info, sizeof *info);
  info->bstrDescription = ::SysAllocString(Utf16FromUtf8(message).c_str());
  info->bstrSource = ::SysAllocString(Utf16FromUtf8(source).c_str());
  info->scode = code;
}

// COM interfaces are released through Release, never deleted through a base
// pointer, so their missing virtual destructor is by design.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// An AutomationObject served to COM. Exceptions never cross into the caller's
// frames: each one becomes DISP_E_EXCEPTION with its text in the EXCEPINFO.
class ObjectDispatch final : public IDispatch {
 public:
  explicit ObjectDispatch(ObjectRef object) : object_(std::move(object)) {}
  virtual ~ObjectDispatch() = default;

  const ObjectRef& Object() const { return object_; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    if (out == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == ObjectDispatchIid()) {
      *out = static_cast<IDispatch*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
    if (info != nullptr) *info = nullptr;
    return DISP_E_BADINDEX;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    if (names == nullptr || ids == nullptr) return E_POINTER;
    // Any name gets an id: a member that is missing raises when it is used, as
    // the object decides that and not a table of ours.
    for (UINT i = 0; i < count; ++i) ids[i] = i == 0 ? Names().IdOf(Utf8FromUtf16(names[i])) : DISPID_UNKNOWN;
    return count > 1 ? DISP_E_UNKNOWNNAME : S_OK;
  }

  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                                   EXCEPINFO* excep, UINT* arg_error) override {
    std::string name;
    if (!Names().NameOf(id, name)) return DISP_E_MEMBERNOTFOUND;
    const UINT total = params != nullptr ? params->cArgs : 0;
    const UINT named = params != nullptr ? params->cNamedArgs : 0;
    const bool put = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    if (put ? (named != 1 || params->rgdispidNamedArgs[0] != DISPID_PROPERTYPUT || total < 1) : named != 0) {
      return DISP_E_NONAMEDARGS;
    }
    try {
      std::vector<Variant> args;
      const UINT positional = put ? total - 1 : total;
      args.reserve(positional);
      for (UINT i = 0; i < positional; ++i) {
        // rgvarg holds them last first; with a put, its value is rgvarg[0].
        const UINT slot = total - 1 - i;
        try {
          args.push_back(FromComVariant(params->rgvarg[slot]));
        } catch (const HostError&) {
          if (arg_error != nullptr) *arg_error = slot;
          return DISP_E_TYPEMISMATCH;
        }
      }
      Variant value;
      if (put) {
        object_->PutProperty(name, args, FromComVariant(params->rgvarg[0]));
      } else if (flags == DISPATCH_PROPERTYGET) {
        value = object_->GetProperty(name, args);
      } else {
        value = object_->CallMethod(name, args);
      }
      if (result != nullptr) ToComVariant(value, *result);
      return S_OK;
    } catch (const HostError& e) {
      FillException(excep, e.what(), e.source(), e.code() != 0 ? static_cast<HRESULT>(e.code()) : E_FAIL);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    } catch (const std::exception& e) {
      FillException(excep, e.what(), {}, E_FAIL);
    } catch (...) {
      FillException(excep, "Unknown failure", {}, E_UNEXPECTED);
    }
    return DISP_E_EXCEPTION;
  }

 private:
  ObjectRef object_;
  std::atomic<ULONG> refs_{1};
};

}  // namespace

ObjectRef WrapDispatch(IDispatch* dispatch) {
  if (dispatch == nullptr) return nullptr;
  ComPtr<IUnknown> ours;
  if (SUCCEEDED(dispatch->QueryInterface(ObjectDispatchIid(), reinterpret_cast<void**>(ours.Put())))) {
    return static_cast<ObjectDispatch*>(static_cast<IDispatch*>(ours.get()))->Object();
  }
  return std::make_shared<DispatchObject>(dispatch);
}

IDispatch* DispatchFor(const ObjectRef& object) {
  if (!object) return nullptr;
  if (auto* wrapped = dynamic_cast<DispatchObject*>(object.get())) {
    IDispatch* dispatch = wrapped->Dispatch();
    dispatch->AddRef();
    return dispatch;
  }
  return new ObjectDispatch(object);  // starts with the caller's reference
}

}  // namespace quillorn::platform
