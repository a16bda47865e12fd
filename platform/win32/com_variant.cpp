#include "platform/win32/com_variant.h"

#include <cstdio>
#include <limits>
#include <vector>

#include "platform/win32/com_ptr.h"
#include "platform/win32/dispatch_object.h"
#include "platform/win32/wide_text.h"

namespace quillorn::platform {
namespace {

[[noreturn]] void RaiseUnconvertible(VARTYPE vt) {
  char text[80];
  std::snprintf(text, sizeof text, "Could not convert variant of type (0x%04X)", static_cast<unsigned>(vt));
  throw HostError(text, static_cast<std::int32_t>(DISP_E_TYPEMISMATCH));
}

BSTR AllocText(const std::string& text) {
  const std::wstring wide = Utf16FromUtf8(text);
  BSTR b = ::SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  if (b == nullptr) throw std::bad_alloc();
  return b;
}

// A one-dimensional SAFEARRAY of VARIANT, lower bound 0.
SAFEARRAY* MakeArray(const VariantList& items) {
  SAFEARRAYBOUND bound{static_cast<ULONG>(items.size()), 0};
  SAFEARRAY* array = ::SafeArrayCreate(VT_VARIANT, 1, &bound);
  if (array == nullptr) throw std::bad_alloc();
  try {
    for (LONG i = 0; i < static_cast<LONG>(items.size()); ++i) {
      ComVariant element(items[static_cast<std::size_t>(i)]);
      const HRESULT hr = ::SafeArrayPutElement(array, &i, element.get());  // copies
      if (FAILED(hr)) throw HostError("Could not fill an array: " + HResultText(hr), static_cast<std::int32_t>(hr));
    }
  } catch (...) {
    ::SafeArrayDestroy(array);
    throw;
  }
  return array;
}

Variant ReadElement(SAFEARRAY* array, VARTYPE element_type, LONG* indices) {
  ComVariant element;
  HRESULT hr;
  if (element_type == VT_VARIANT) {
    hr = ::SafeArrayGetElement(array, indices, element.get());
  } else {
    // The element lands in the VARIANT's value field; its type says what it is,
    // and VariantClear then frees a BSTR or releases an interface as it must.
    hr = ::SafeArrayGetElement(array, indices, &element.get()->llVal);
    if (SUCCEEDED(hr)) element.get()->vt = element_type;
  }
  if (FAILED(hr)) throw HostError("Could not read an array: " + HResultText(hr), static_cast<std::int32_t>(hr));
  return FromComVariant(element.ref());
}

Variant FromArray(SAFEARRAY* array) {
  if (array == nullptr) return Variant(VariantList{});
  VARTYPE element_type = VT_EMPTY;
  if (FAILED(::SafeArrayGetVartype(array, &element_type))) RaiseUnconvertible(VT_ARRAY);
  const UINT dims = ::SafeArrayGetDim(array);
  auto bounds = [&](UINT dim, LONG& low, LONG& high) {
    if (FAILED(::SafeArrayGetLBound(array, dim, &low)) || FAILED(::SafeArrayGetUBound(array, dim, &high))) {
      RaiseUnconvertible(static_cast<VARTYPE>(VT_ARRAY | element_type));
    }
  };
  if (dims == 1) {
    LONG low = 0, high = -1;
    bounds(1, low, high);
    VariantList items;
    items.reserve(static_cast<std::size_t>(high >= low ? high - low + 1 : 0));
    for (LONG i = low; i <= high; ++i) items.push_back(ReadElement(array, element_type, &i));
    return Variant(std::move(items));
  }
  if (dims == 2) {
    // A range's values: rows first. The index vector follows the order of the
    // dimensions as the array was made (the system's documentation words the
    // memory layout the other way round).
    LONG row_low = 0, row_high = -1, col_low = 0, col_high = -1;
    bounds(1, row_low, row_high);
    bounds(2, col_low, col_high);
    VariantList rows;
    for (LONG r = row_low; r <= row_high; ++r) {
      VariantList row;
      for (LONG c = col_low; c <= col_high; ++c) {
        LONG indices[2] = {r, c};
        row.push_back(ReadElement(array, element_type, indices));
      }
      rows.emplace_back(std::move(row));
    }
    return Variant(std::move(rows));
  }
  RaiseUnconvertible(static_cast<VARTYPE>(VT_ARRAY | element_type));
}

}  // namespace

std::string HResultText(HRESULT hr) {
  wchar_t* buffer = nullptr;
  const DWORD n = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
      static_cast<DWORD>(hr), 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  std::string text;
  if (n != 0 && buffer != nullptr) text = Utf8FromUtf16(std::wstring_view(buffer, n));
  if (buffer != nullptr) ::LocalFree(buffer);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) text.pop_back();
  if (text.empty()) {
    char hex[32];
    std::snprintf(hex, sizeof hex, "HRESULT 0x%08lX", static_cast<unsigned long>(hr));
    text = hex;
  }
  return text;
}

void ToComVariant(const Variant& value, VARIANT& out) {
  ::VariantInit(&out);
  switch (value.kind()) {
    case Variant::Kind::Empty: break;
    case Variant::Kind::Null: out.vt = VT_NULL; break;
    case Variant::Kind::Bool:
      out.vt = VT_BOOL;
      out.boolVal = value.AsBool() ? VARIANT_TRUE : VARIANT_FALSE;
      break;
    case Variant::Kind::Int32:
      out.vt = VT_I4;
      out.lVal = value.AsInt();
      break;
    case Variant::Kind::Int64:
      out.vt = VT_I8;
      out.llVal = value.AsInt64();
      break;
    case Variant::Kind::Double:
      out.vt = VT_R8;
      out.dblVal = value.AsDouble();
      break;
    case Variant::Kind::Text:
      out.bstrVal = AllocText(value.AsString());
      out.vt = VT_BSTR;
      break;
    case Variant::Kind::DateTime:
      out.vt = VT_DATE;
      out.date = value.AsDateTime();
      break;
    case Variant::Kind::Object: {
      // Nothing crosses as a null dispatch pointer, as the hosts hand it out.
      out.pdispVal = value.HasObject() ? DispatchFor(value.AsObject()) : nullptr;
      out.vt = VT_DISPATCH;
      break;
    }
    case Variant::Kind::Array:
      out.parray = MakeArray(value.AsArray());
      out.vt = VT_ARRAY | VT_VARIANT;
      break;
  }
}

Variant FromComVariant(const VARIANT& value) {
  const VARTYPE vt = value.vt;
  if ((vt & VT_ARRAY) != 0) {
    SAFEARRAY* array = (vt & VT_BYREF) != 0 ? (value.pparray != nullptr ? *value.pparray : nullptr) : value.parray;
    return FromArray(array);
  }
  if ((vt & VT_BYREF) != 0) {
    if (vt == (VT_BYREF | VT_VARIANT)) {
      if (value.pvarVal == nullptr) return {};
      return FromComVariant(*value.pvarVal);
    }
    // A by-reference scalar: copy it out as its plain type.
    ComVariant plain;
    const HRESULT hr = ::VariantCopyInd(plain.get(), const_cast<VARIANT*>(&value));
    if (FAILED(hr)) RaiseUnconvertible(vt);
    return FromComVariant(plain.ref());
  }
  switch (vt) {
    case VT_EMPTY: return {};
    case VT_NULL: return Variant::Null();
    case VT_BOOL: return Variant(value.boolVal != VARIANT_FALSE);
    case VT_I1: return Variant(static_cast<std::int32_t>(value.cVal));
    case VT_UI1: return Variant(static_cast<std::int32_t>(value.bVal));
    case VT_I2: return Variant(static_cast<std::int32_t>(value.iVal));
    case VT_UI2: return Variant(static_cast<std::int32_t>(value.uiVal));
    case VT_I4: return Variant(static_cast<std::int32_t>(value.lVal));
    case VT_INT: return Variant(static_cast<std::int32_t>(value.intVal));
    case VT_UI4:
    case VT_UINT: {
      const std::uint32_t u = vt == VT_UI4 ? value.ulVal : value.uintVal;
      if (u <= static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
        return Variant(static_cast<std::int32_t>(u));
      }
      return Variant(static_cast<std::int64_t>(u));
    }
    case VT_I8: return Variant(static_cast<std::int64_t>(value.llVal));
    case VT_UI8:
      if (value.ullVal > static_cast<ULONGLONG>(std::numeric_limits<std::int64_t>::max())) {
        return Variant(static_cast<double>(value.ullVal));
      }
      return Variant(static_cast<std::int64_t>(value.ullVal));
    case VT_R4: return Variant(static_cast<double>(value.fltVal));
    case VT_R8: return Variant(value.dblVal);
    case VT_CY:
    case VT_DECIMAL: {
      double d = 0;
      const HRESULT hr = vt == VT_CY ? ::VarR8FromCy(value.cyVal, &d) : ::VarR8FromDec(const_cast<DECIMAL*>(&value.decVal), &d);
      if (FAILED(hr)) RaiseUnconvertible(vt);
      return Variant(d);
    }
    case VT_DATE: return Variant::FromDateTime(value.date);
    case VT_BSTR:
      if (value.bstrVal == nullptr) return Variant(std::string());
      return Variant(Utf8FromUtf16(std::wstring_view(value.bstrVal, ::SysStringLen(value.bstrVal))));
    case VT_DISPATCH: return Variant(WrapDispatch(value.pdispVal));
    case VT_UNKNOWN: {
      if (value.punkVal == nullptr) return Variant(ObjectRef{});
      ComPtr<IDispatch> dispatch;
      if (FAILED(value.punkVal->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(dispatch.Put())))) {
        RaiseUnconvertible(vt);
      }
      return Variant(WrapDispatch(dispatch.get()));
    }
    case VT_ERROR:
      if (value.scode == DISP_E_PARAMNOTFOUND) return {};
      return Variant(static_cast<std::int32_t>(value.scode));
    default: RaiseUnconvertible(vt);
  }
}

}  // namespace quillorn::platform
