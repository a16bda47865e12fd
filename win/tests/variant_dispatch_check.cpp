// Values and calls across IDispatch, both ways at once: our caller's side
// (WrapDispatch) calls the simulated host, whose object our server's side
// (DispatchFor) serves. Every Variant kind goes there and back, calls keep their
// form and their left-out arguments, failures keep the host's text, source and
// code; and the forms hosts hand out that we never make are read.
#include <windows.h>
#include <oaidl.h>

#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform/automation.h"
#include "platform/win32/com_ptr.h"
#include "platform/win32/com_variant.h"
#include "platform/win32/dispatch_object.h"
#include "win/tests/check.h"
#include "win/tests/sim_com_application.h"

using namespace quillorn::platform;
using quillorn::wincheck::SimComApplication;
using quillorn::wincheck::SimObject;

namespace {

// Same kind and same value; objects by identity, doubles by their bits (NaN).
bool Same(const Variant& a, const Variant& b) {
  if (a.kind() != b.kind()) return false;
  if (a.kind() == Variant::Kind::Object) return a.HasObject() ? a.AsObject() == b.AsObject() : !b.HasObject();
  if (a.kind() == Variant::Kind::Double) {
    const double p = a.AsDouble(), q = b.AsDouble();
    return std::memcmp(&p, &q, sizeof p) == 0;
  }
  if (a.kind() != Variant::Kind::Array) return a == b;
  const auto &x = a.AsArray(), &y = b.AsArray();
  if (x.size() != y.size()) return false;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (!Same(x[i], y[i])) return false;
  }
  return true;
}

CHECK_CASE(CallsCrossIDispatchBothWaysWithTheirValuesAndFailures) {
  auto object = std::make_shared<SimObject>("object");
  auto app = ComPtr<SimComApplication>::Adopt(new SimComApplication(object, IID_NULL));
  {
    const Variant host(WrapDispatch(app.get()));
    const Variant every_kind[] = {
        Variant::Null(), Variant(true), Variant(false),
        Variant(std::numeric_limits<std::int32_t>::min()), Variant(std::numeric_limits<std::int32_t>::max()),
        Variant(std::numeric_limits<std::int64_t>::min()), Variant(std::int64_t{1} << 40),
        Variant(0.1), Variant(-1e300), Variant(std::numeric_limits<double>::quiet_NaN()),
        Variant(""), Variant("Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC \xF0\x9F\x93\x84"),  // two, three and four bytes
        Variant(std::string("a\0b", 3)), Variant::FromDateTime(45000.75), Variant::FromDateTime(-1.5),
        Variant(object),  // comes back as itself, not as a wrapper of a wrapper
        Variant(ObjectRef{}), Variant(VariantList{}),
        Variant(VariantList{Variant(1), Variant("two"), Variant::Null(), Variant(VariantList{Variant(3.5), Variant(object)})}),
    };
    for (std::size_t i = 0; i < std::size(every_kind); ++i) {
      CHECK_EQ_NOTE(Same(host.Call("Echo", {every_kind[i]}), every_kind[i]), true, "every_kind[" + std::to_string(i) + "]");
    }
    CHECK_EQ(app->last_flags, DISPATCH_METHOD);

    host.Put("Value", Variant("stamped"), {Variant(2)});
    CHECK_EQ(app->last_flags, DISPATCH_PROPERTYPUT);
    CHECK(app->last_types == std::vector<VARTYPE>{VT_I4});  // the value is no positional argument
    CHECK_EQ(host.Get("value", {Variant(2)}).AsString(), std::string("stamped"));
    CHECK_EQ(app->last_flags, DISPATCH_PROPERTYGET);
    // A host that has a property where a method was asked for is asked again as VB asks.
    app->answer = [](WORD flags, EXCEPINFO*) { return flags == DISPATCH_METHOD ? DISP_E_MEMBERNOTFOUND : S_OK; };
    CHECK_EQ(host.Call("Value", {Variant(2)}).AsString(), std::string("stamped"));
    CHECK_EQ(app->last_flags, DISPATCH_METHOD | DISPATCH_PROPERTYGET);
    app->answer = nullptr;

    // Trailing left-out arguments are dropped, inner ones go as "not found".
    const Variant args = host.Call("Echo", {Variant(1), Variant(), Variant(3), Variant(), Variant()});
    CHECK(Same(args, Variant(VariantList{Variant(1), Variant(), Variant(3)})));
    CHECK(app->last_types == (std::vector<VARTYPE>{VT_I4, VT_ERROR, VT_I4}));

    const struct {
      const char* member;
      std::function<HRESULT(WORD, EXCEPINFO*)> answer;
      std::string text;
      std::int32_t code;
      std::string source;
    } failures[] = {
        {.member = "Fail", .text = "The requested member of the collection does not exist.",
         .code = static_cast<std::int32_t>(0x800A16E0), .source = "Microsoft Word"},
        {.member = "Boom", .text = "not a host error", .code = E_FAIL},
        {.member = "Echo",
         .answer = [](WORD, EXCEPINFO* e) {
           e->pfnDeferredFillIn = [](EXCEPINFO* later) -> HRESULT {
             later->bstrDescription = ::SysAllocString(L"filled in later");
             later->wCode = 1004;
             return S_OK;
           };
           return DISP_E_EXCEPTION;
         },
         .text = "filled in later", .code = 1004},
        {.member = "Echo", .answer = [](WORD, EXCEPINFO*) { return DISP_E_BADINDEX; }, .code = DISP_E_BADINDEX},
    };
    for (const auto& f : failures) {
      app->answer = f.answer;
      CHECK_THROWS(HostError, host.Call(f.member), {
        if (!f.text.empty()) CHECK_EQ(std::string(e.what()), f.text);
        CHECK_EQ(e.code(), f.code);
        CHECK_EQ(e.source(), f.source);
      });
    }
  }
  // Names compare without regard to case; an id nobody handed out is no member.
  DISPID ids[2] = {};
  LPOLESTR names[2] = {const_cast<LPOLESTR>(L"count"), const_cast<LPOLESTR>(L"COUNT")};
  for (int i : {0, 1}) app->GetIDsOfNames(IID_NULL, &names[i], 1, 0, &ids[i]);
  CHECK_EQ(ids[0], ids[1]);
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  app->answer = nullptr;
  CHECK_EQ(app->Invoke(987654, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr), DISP_E_MEMBERNOTFOUND);
  CHECK_EQ(app->AddRef(), 2u);  // every reference the calls took was given back
  app->Release();
}

// Which VARIANT type each kind takes is shown by the round trip above (a wrong
// one comes back as another kind); what a trip there and back cannot show is
// the form hosts read: True as -1, and text as UTF-16.
CHECK_CASE(VariantsTakeTheFormsHostsRead) {
  CHECK_EQ(ComVariant(Variant(true)).ref().boolVal, VARIANT_TRUE);  // hosts compare with it
  ComVariant text(Variant("Gr\xC3\xBC\xC3\x9F" "e"));
  CHECK(std::wstring(text.ref().bstrVal, ::SysStringLen(text.ref().bstrVal)) == L"Gr\u00FC\u00DFe");
}

CHECK_CASE(HostFormsOfValuesAreRead) {
  auto check = [](VARIANT& v, const Variant& expected, const char* what) {
    const Variant got = FromComVariant(v);
    CHECK_EQ_NOTE(Same(got, expected), true, std::string(what) + " came back as " + std::string(KindName(got.kind())));
    ::VariantClear(&v);
  };
  VARIANT v;
  ::VariantInit(&v);
  v.vt = VT_I2; v.iVal = -5; check(v, Variant(-5), "VT_I2");
  v.vt = VT_UI4; v.ulVal = 0xFFFFFFFFu; check(v, Variant(std::int64_t{0xFFFFFFFF}), "VT_UI4 above int32");
  v.vt = VT_R4; v.fltVal = 0.5f; check(v, Variant(0.5), "VT_R4");
  v.vt = VT_CY; v.cyVal.int64 = 12345; check(v, Variant(1.2345), "VT_CY");
  v.vt = VT_BSTR; v.bstrVal = nullptr; check(v, Variant(""), "null BSTR");

  // A range's values: two dimensions counted from 1, read as rows.
  SAFEARRAYBOUND bounds[2] = {{2, 1}, {3, 1}};
  SAFEARRAY* grid = ::SafeArrayCreate(VT_VARIANT, 2, bounds);
  for (LONG r = 1; r <= 2; ++r) {
    for (LONG c = 1; c <= 3; ++c) {
      LONG at[2] = {r, c};
      ComVariant cell(Variant(static_cast<std::int32_t>(r * 10 + c)));
      ::SafeArrayPutElement(grid, at, cell.get());  // copies
    }
  }
  v.vt = VT_ARRAY | VT_VARIANT; v.parray = grid;
  check(v, Variant(VariantList{Variant(VariantList{11, 12, 13}), Variant(VariantList{21, 22, 23})}), "2-D range");

  // A typed array is read element by element in its own type.
  SAFEARRAY* longs = ::SafeArrayCreateVector(VT_I4, 0, 2);  // zeroed
  static_cast<LONG*>(longs->pvData)[1] = 7;
  v.vt = VT_ARRAY | VT_I4; v.parray = longs;
  check(v, Variant(VariantList{0, 7}), "array of VT_I4");

  v.vt = VT_RECORD; v.pvRecord = nullptr; v.pRecInfo = nullptr;
  CHECK_THROWS(HostError, FromComVariant(v), (void)e);
  v.vt = VT_EMPTY;
}

}  // namespace
