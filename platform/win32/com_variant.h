// Variant <-> VARIANT: the only place where the client's values take COM's form.
// BSTRs are UTF-16, text here UTF-8; arrays become SAFEARRAYs of VARIANT; objects
// cross as IDispatch both ways. Never leaks a BSTR, an array or a reference.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <string>
#include <string_view>

#include "platform/variant.h"

namespace quillorn::platform {

// Fills `out` (which must be VT_EMPTY or cleared); the caller owns it and clears
// it with VariantClear. Empty becomes VT_EMPTY; as an argument the caller turns it
// into a left-out optional argument.
void ToComVariant(const Variant& value, VARIANT& out);

// Reads any VARIANT an Office host hands out: by-reference values are followed,
// narrower integers and floats widen, VT_DECIMAL and VT_CY become Double, a
// left-out argument (VT_ERROR DISP_E_PARAMNOTFOUND) is Empty, a two-dimensional
// array becomes a list of rows. Raises HostError for what has no Variant form.
Variant FromComVariant(const VARIANT& value);

// The system's text for an HRESULT ("" when it has none), without the line break.
std::string HResultText(HRESULT hr);

// An owned VARIANT, cleared when it goes.
class ComVariant {
 public:
  ComVariant() { ::VariantInit(&v_); }
  explicit ComVariant(const Variant& value) : ComVariant() { ToComVariant(value, v_); }
  ~ComVariant() { ::VariantClear(&v_); }
  ComVariant(const ComVariant&) = delete;
  ComVariant& operator=(const ComVariant&) = delete;
  VARIANT* get() noexcept { return &v_; }
  const VARIANT& ref() const noexcept { return v_; }

 private:
  VARIANT v_;
};

}  // namespace quillorn::platform
