// Values and calls across IDispatch: every Variant kind there and back, the
// forms hosts hand out, argument order and left-out arguments, and failures
// raised by a COM object arriving as HostError with the host's text and code.
#include <windows.h>
#include <oaidl.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "platform/automation.h"
#include "platform/win32/com_ptr.h"
#include "platform/win32/com_variant.h"
#include "platform/win32/dispatch_object.h"
#include "platform/win32/wide_text.h"
#include "win/tests/check.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

using namespace quillorn::platform;

namespace {

std::string Describe(const Variant& v) {
  std::string kind(KindName(v.kind()));
  switch (v.kind()) {
    case Variant::Kind::Object: return kind + (v.HasObject() ? "(object)" : "(Nothing)");
    case Variant::Kind::Array: {
      std::string out = kind + "[";
      for (const auto& item : v.AsArray()) out += Describe(item) + ",";
      return out + "]";
    }
    case Variant::Kind::Empty:
    case Variant::Kind::Null: return kind;
    default: return kind + "(" + v.AsString() + ")";
  }
}

// Same kind and same value; objects by identity.
bool Same(const Variant& a, const Variant& b) {
  if (a.kind() != b.kind()) return false;
  if (a.kind() == Variant::Kind::Object) {
    return a.HasObject() == b.HasObject() && (!a.HasObject() || a.AsObject() == b.AsObject());
  }
  if (a.kind() == Variant::Kind::Array) {
    const auto& x = a.AsArray();
    const auto& y = b.AsArray();
    if (x.size() != y.size()) return false;
    for (std::size_t i = 0; i < x.size(); ++i) {
      if (!Same(x[i], y[i])) return false;
    }
    return true;
  }
  if (a.kind() == Variant::Kind::Double) {
    // NaN is not equal to itself; the bits must survive.
    const double p = a.AsDouble(), q = b.AsDouble();
    return std::memcmp(&p, &q, sizeof p) == 0;
  }
  return a == b;
}

class Recorder final : public AutomationObject {
 public:
  Variant GetProperty(std::string_view name, std::span<const Variant>) override {
    throw HostError("no " + std::string(name));
  }
  void PutProperty(std::string_view, std::span<const Variant>, const Variant&) override {}
  Variant CallMethod(std::string_view, std::span<const Variant>) override { return {}; }
};

std::vector<Variant> EveryKind(const ObjectRef& object) {
  return {
      Variant(),
      Variant::Null(),
      Variant(true),
      Variant(false),
      Variant(std::int32_t{0}),
      Variant(std::numeric_limits<std::int32_t>::min()),
      Variant(std::numeric_limits<std::int32_t>::max()),
      Variant(std::int64_t{1} << 40),
      Variant(std::numeric_limits<std::int64_t>::min()),
      Variant(0.1),
      Variant(-1e300),
      Variant(std::numeric_limits<double>::quiet_NaN()),
      Variant(""),
      Variant("cmsID"),
      Variant("Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC \xF0\x9F\x93\x84"),  // two-byte, three-byte, surrogate pair
      Variant(std::string("a\0b", 3)),
      Variant::FromDateTime(45000.75),
      Variant::FromDateTime(-1.5),
      Variant(object),
      Variant(ObjectRef{}),
      Variant(VariantList{}),
      Variant(VariantList{Variant(1), Variant("two"), Variant::Null(), Variant(VariantList{Variant(3.5), Variant(object)})}),
  };
}

CHECK_CASE(VariantRoundTripsThroughVARIANT) {
  auto object = std::make_shared<Recorder>();
  for (const Variant& value : EveryKind(object)) {
    ComVariant com(value);
    const Variant back = FromComVariant(com.ref());
    CHECK_EQ_NOTE(Same(value, back), true, Describe(value) + " came back as " + Describe(back));
  }
}

CHECK_CASE(VariantTakesTheExpectedComTypes) {
  struct Row {
    Variant value;
    VARTYPE vt;
  };
  const Row rows[] = {
      {Variant(), VT_EMPTY},       {Variant::Null(), VT_NULL},        {Variant(true), VT_BOOL},
      {Variant(7), VT_I4},         {Variant(std::int64_t{7}), VT_I8}, {Variant(7.0), VT_R8},
      {Variant("x"), VT_BSTR},     {Variant::FromDateTime(1), VT_DATE}, {Variant(ObjectRef{}), VT_DISPATCH},
      {Variant(VariantList{}), VT_ARRAY | VT_VARIANT},
  };
  for (const Row& row : rows) {
    ComVariant com(row.value);
    CHECK_EQ_NOTE(com.ref().vt, row.vt, Describe(row.value));
  }
  ComVariant yes(Variant(true));
  CHECK_EQ(yes.ref().boolVal, VARIANT_TRUE);  // -1, not 1: hosts compare with it
  ComVariant text(Variant("Gr\xC3\xBC\xC3\x9F" "e"));
  CHECK_EQ(::SysStringLen(text.ref().bstrVal), 5u);
  CHECK(std::wstring(text.ref().bstrVal) == L"Gr\u00FC\u00DFe");
}

CHECK_CASE(HostFormsOfValuesAreRead) {
  auto check = [](VARIANT& v, const Variant& expected, const char* what) {
    const Variant got = FromComVariant(v);
    CHECK_EQ_NOTE(Same(got, expected), true, std::string(what) + ": " + Describe(got));
    ::VariantClear(&v);
  };
  VARIANT v;
  ::VariantInit(&v);
  v.vt = VT_I2; v.iVal = -5; check(v, Variant(-5), "VT_I2");
  v.vt = VT_UI1; v.bVal = 200; check(v, Variant(200), "VT_UI1");
  v.vt = VT_UI4; v.ulVal = 0xFFFFFFFFu; check(v, Variant(std::int64_t{0xFFFFFFFF}), "VT_UI4 above int32");
  v.vt = VT_R4; v.fltVal = 0.5f; check(v, Variant(0.5), "VT_R4");
  v.vt = VT_CY; v.cyVal.int64 = 12345; check(v, Variant(1.2345), "VT_CY");
  v.vt = VT_ERROR; v.scode = DISP_E_PARAMNOTFOUND; check(v, Variant(), "left-out argument");
  VARIANT_BOOL cancel = VARIANT_TRUE;
  v.vt = VT_BYREF | VT_BOOL; v.pboolVal = &cancel; check(v, Variant(true), "Cancel by reference");
  VARIANT inner;
  ::VariantInit(&inner);
  inner.vt = VT_BSTR;
  inner.bstrVal = ::SysAllocString(L"inner");
  v.vt = VT_BYREF | VT_VARIANT; v.pvarVal = &inner;
  check(v, Variant("inner"), "VARIANT by reference");
  ::VariantClear(&inner);
  v.vt = VT_BSTR; v.bstrVal = nullptr; check(v, Variant(""), "null BSTR");

  // A range's values: two dimensions counted from 1, read as rows.
  SAFEARRAYBOUND bounds[2] = {{2, 1}, {3, 1}};
  SAFEARRAY* grid = ::SafeArrayCreate(VT_VARIANT, 2, bounds);
  for (LONG r = 1; r <= 2; ++r) {
    for (LONG c = 1; c <= 3; ++c) {
      LONG at[2] = {r, c};
      VARIANT cell;
      ::VariantInit(&cell);
      cell.vt = VT_I4;
      cell.lVal = r * 10 + c;
      ::SafeArrayPutElement(grid, at, &cell);
    }
  }
  v.vt = VT_ARRAY | VT_VARIANT; v.parray = grid;
  check(v, Variant(VariantList{Variant(VariantList{11, 12, 13}), Variant(VariantList{21, 22, 23})}), "2-D range");

  SAFEARRAYBOUND one = {2, 0};
  SAFEARRAY* names = ::SafeArrayCreate(VT_BSTR, 1, &one);
  LONG i0 = 0, i1 = 1;
  BSTR a = ::SysAllocString(L"A"), b = ::SysAllocString(L"B");
  ::SafeArrayPutElement(names, &i0, a);
  ::SafeArrayPutElement(names, &i1, b);
  ::SysFreeString(a);
  ::SysFreeString(b);
  v.vt = VT_ARRAY | VT_BSTR; v.parray = names;
  check(v, Variant(VariantList{"A", "B"}), "array of BSTR");

  v.vt = VT_RECORD; v.pvRecord = nullptr; v.pRecInfo = nullptr;
  CHECK_THROWS(HostError, FromComVariant(v), (void)e);
  v.vt = VT_EMPTY;
}

// A COM object written the way a host's are: its own ids, arguments in reverse,
// failures through EXCEPINFO. It records what it was called with.
class HostLikeDispatch final : public IDispatch {
 public:
  enum : DISPID { kEcho = 1, kValue = 2, kFail = 3, kArgs = 4, kDeferred = 5 };

  WORD last_flags = 0;
  std::vector<VARTYPE> last_types;  // positional arguments, first to last
  std::vector<Variant> stored = std::vector<Variant>(4);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    if (riid == IID_IUnknown || riid == IID_IDispatch) {
      *out = static_cast<IDispatch*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs; }  // lives on the test's stack
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override {
    *n = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
    const std::wstring name = names[0];
    const struct {
      const wchar_t* name;
      DISPID id;
    } table[] = {{L"Echo", kEcho}, {L"Value", kValue}, {L"Fail", kFail}, {L"Args", kArgs}, {L"Deferred", kDeferred}};
    for (const auto& row : table) {
      if (::lstrcmpiW(row.name, name.c_str()) == 0) {
        ids[0] = row.id;
        return S_OK;
      }
    }
    ids[0] = DISPID_UNKNOWN;
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* p, VARIANT* result,
                                   EXCEPINFO* excep, UINT*) override {
    last_flags = flags;
    const bool put = (flags & DISPATCH_PROPERTYPUT) != 0;
    const UINT positional = p->cArgs - (put ? 1 : 0);
    last_types.clear();
    for (UINT i = 0; i < positional; ++i) last_types.push_back(p->rgvarg[p->cArgs - 1 - i].vt);
    switch (id) {
      case kEcho:  // returns its first argument
        if (positional < 1) return DISP_E_BADPARAMCOUNT;
        return ::VariantCopy(result, &p->rgvarg[p->cArgs - 1]);
      case kValue: {  // Value(index) get and put, as an indexed property
        if (positional != 1) return DISP_E_BADPARAMCOUNT;
        const LONG index = p->rgvarg[p->cArgs - 1].lVal;
        if (index < 0 || index > 3) return DISP_E_BADINDEX;
        if (put) {
          if (p->cNamedArgs != 1 || p->rgdispidNamedArgs[0] != DISPID_PROPERTYPUT) return DISP_E_PARAMNOTOPTIONAL;
          stored[static_cast<std::size_t>(index)] = FromComVariant(p->rgvarg[0]);
          return S_OK;
        }
        if (flags == DISPATCH_METHOD) return DISP_E_MEMBERNOTFOUND;
        ToComVariant(stored[static_cast<std::size_t>(index)], *result);
        return S_OK;
      }
      case kFail:
        excep->bstrDescription = ::SysAllocString(L"The requested member of the collection does not exist.");
        excep->bstrSource = ::SysAllocString(L"Microsoft Word");
        excep->scode = static_cast<SCODE>(0x800A16E0);
        return DISP_E_EXCEPTION;
      case kDeferred:
        excep->pfnDeferredFillIn = [](EXCEPINFO* e) -> HRESULT {
          e->bstrDescription = ::SysAllocString(L"filled in later");
          e->wCode = 1004;
          return S_OK;
        };
        return DISP_E_EXCEPTION;
      case kArgs:  // the number of arguments it received
        if (result != nullptr) {
          result->vt = VT_I4;
          result->lVal = static_cast<LONG>(positional);
        }
        return S_OK;
      default: return DISP_E_MEMBERNOTFOUND;
    }
  }

  ULONG refs = 1;
};

CHECK_CASE(CallsThroughAHostsIDispatch) {
  HostLikeDispatch host;
  {
    const Variant object(WrapDispatch(&host));
    auto object_value = std::make_shared<Recorder>();
    for (const Variant& value : EveryKind(object_value)) {
      if (value.IsEmpty()) continue;  // a left-out argument is not passed
      const Variant back = object.Call("Echo", {value});
      CHECK_EQ_NOTE(Same(value, back), true, Describe(value) + " came back as " + Describe(back));
    }
    CHECK_EQ(host.last_flags, DISPATCH_METHOD);

    object.Put("Value", Variant("stamped"), {Variant(2)});
    CHECK_EQ(host.last_flags, DISPATCH_PROPERTYPUT);
    CHECK_EQ(object.Get("value", {Variant(2)}).AsString(), std::string("stamped"));
    CHECK_EQ(host.last_flags, DISPATCH_PROPERTYGET);
    // A property asked for as a method is retried the way VB asks.
    CHECK_EQ(object.Call("Value", {Variant(2)}).AsString(), std::string("stamped"));
    CHECK_EQ(host.last_flags, DISPATCH_METHOD | DISPATCH_PROPERTYGET);

    // Trailing left-out arguments are dropped, inner ones go as "not found".
    CHECK_EQ(object.Call("Args", {Variant(1), Variant(), Variant(3), Variant(), Variant()}).AsInt(), 3);
    CHECK(host.last_types == (std::vector<VARTYPE>{VT_I4, VT_ERROR, VT_I4}));
    CHECK_EQ(object.Call("Args").AsInt(), 0);

    CHECK_THROWS(HostError, object.Call("Fail"), {
      CHECK_EQ(std::string(e.what()), std::string("The requested member of the collection does not exist."));
      CHECK_EQ(e.code(), static_cast<std::int32_t>(0x800A16E0));
      CHECK_EQ(e.source(), std::string("Microsoft Word"));
    });
    CHECK_THROWS(HostError, object.Call("Deferred"), {
      CHECK_EQ(std::string(e.what()), std::string("filled in later"));
      CHECK_EQ(e.code(), 1004);
    });
    CHECK_THROWS(HostError, object.Get("Value", {Variant(9)}),
                 CHECK_EQ(e.code(), static_cast<std::int32_t>(DISP_E_BADINDEX)));
    CHECK_THROWS(HostError, object.Get("NoSuchMember"),
                 CHECK_EQ(e.code(), static_cast<std::int32_t>(DISP_E_UNKNOWNNAME)));
  }
  CHECK_EQ(host.refs, 1u);  // every reference taken was given back
}

// Our objects served to COM: what a host (or the harness's simulated host) sees.
// Member names compare without regard to case, as the seam requires.
bool Is(std::string_view name, const char* member) { return ::lstrcmpiA(std::string(name).c_str(), member) == 0; }

class Counter final : public AutomationObject {
 public:
  std::vector<Variant> last_args;
  Variant value = Variant(0);

  Variant GetProperty(std::string_view name, std::span<const Variant> args) override {
    last_args.assign(args.begin(), args.end());
    if (Is(name, "Count")) return value;
    if (Is(name, "Args")) return Variant(VariantList(args.begin(), args.end()));
    throw HostError("The requested member of the collection does not exist.", 5941, "Simulated Word");
  }
  void PutProperty(std::string_view name, std::span<const Variant>, const Variant& v) override {
    if (!Is(name, "Count")) throw HostError("read-only");
    value = v;
  }
  Variant CallMethod(std::string_view name, std::span<const Variant> args) override {
    last_args.assign(args.begin(), args.end());
    if (Is(name, "Boom")) throw std::runtime_error("not a host error");
    return Variant(static_cast<std::int32_t>(args.size()));
  }
};

CHECK_CASE(OurObjectsServedAsIDispatch) {
  auto counter = std::make_shared<Counter>();
  ComPtr<IDispatch> dispatch = ComPtr<IDispatch>::Adopt(DispatchFor(counter));
  CHECK(dispatch);
  // Crossing back gives the same object, not a wrapper around a wrapper.
  CHECK(WrapDispatch(dispatch.get()) == counter);

  auto id_of = [&](const wchar_t* name) {
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR names[1] = {const_cast<LPOLESTR>(name)};
    CHECK_EQ(dispatch->GetIDsOfNames(IID_NULL, names, 1, 0, &id), S_OK);
    return id;
  };
  CHECK_EQ(id_of(L"count"), id_of(L"COUNT"));  // names compare without regard to case

  // Put: the value in rgvarg[0] under DISPID_PROPERTYPUT.
  VARIANT value;
  ::VariantInit(&value);
  value.vt = VT_I4;
  value.lVal = 42;
  DISPID put_id = DISPID_PROPERTYPUT;
  DISPPARAMS put{&value, &put_id, 1, 1};
  CHECK_EQ(dispatch->Invoke(id_of(L"Count"), IID_NULL, 0, DISPATCH_PROPERTYPUT, &put, nullptr, nullptr, nullptr), S_OK);
  CHECK(counter->value == Variant(42));

  // Arguments arrive in the caller's order although COM passes them reversed.
  VARIANT args[3];
  for (auto& a : args) ::VariantInit(&a);
  args[2].vt = VT_I4; args[2].lVal = 1;
  args[1].vt = VT_ERROR; args[1].scode = DISP_E_PARAMNOTFOUND;
  args[0].vt = VT_BSTR; args[0].bstrVal = ::SysAllocString(L"three");
  DISPPARAMS call{args, nullptr, 3, 0};
  ComVariant result;
  CHECK_EQ(dispatch->Invoke(id_of(L"Args"), IID_NULL, 0, DISPATCH_PROPERTYGET, &call, result.get(), nullptr, nullptr), S_OK);
  CHECK(Same(FromComVariant(result.ref()), Variant(VariantList{Variant(1), Variant(), Variant("three")})));
  ::VariantClear(&args[0]);

  // A HostError becomes an EXCEPINFO with its text, source and code.
  EXCEPINFO excep{};
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  CHECK_EQ(dispatch->Invoke(id_of(L"Missing"), IID_NULL, 0, DISPATCH_PROPERTYGET, &none, result.get(), &excep, nullptr),
           DISP_E_EXCEPTION);
  CHECK(std::wstring(excep.bstrDescription) == L"The requested member of the collection does not exist.");
  CHECK(std::wstring(excep.bstrSource) == L"Simulated Word");
  CHECK_EQ(excep.scode, 5941);
  ::SysFreeString(excep.bstrDescription);
  ::SysFreeString(excep.bstrSource);

  // Any other exception is stopped at the boundary too.
  EXCEPINFO other{};
  CHECK_EQ(dispatch->Invoke(id_of(L"Boom"), IID_NULL, 0, DISPATCH_METHOD, &none, result.get(), &other, nullptr),
           DISP_E_EXCEPTION);
  CHECK(std::wstring(other.bstrDescription) == L"not a host error");
  ::SysFreeString(other.bstrDescription);
  ::SysFreeString(other.bstrSource);

  CHECK_EQ(dispatch->Invoke(987654, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr),
           DISP_E_MEMBERNOTFOUND);
}

}  // namespace
