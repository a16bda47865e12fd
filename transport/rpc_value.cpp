#include "transport/rpc_value.h"

#include <cmath>
#include <limits>

#include "transport/codec.h"
#include "transport/utf16.h"

namespace quillorn::transport {
namespace {

using VT = TRpcValueTypes;

struct TypeInfo {
  std::string_view code;
  std::string_view name;
  std::string_view cls;
};

constexpr TypeInfo kTypes[] = {
    {"X", "rpc_Null", "TRpcValueObject"},
    {"V", "rpc_Variable", "TRpcVariableName"},
    {"FC", "rpc_Function", "TRpcFunctionInfo"},
    {"E", "rpc_Exception", "TRpcExceptionValue"},
    {"AR", "rpc_Array", "TRpcArray"},
    {"RE", "rpc_Record", "TRpcRecord"},
    {"DS", "rpc_DataSet", "TRpcDataSet"},
    {"T", "rpc_Text", "TRpcTextValue"},
    {"S", "rpc_String", "TRpcStringValue"},
    {"W", "rpc_WideString", "TRpcWideStringValue"},
    {"B", "rpc_Boolean", "TRpcBooleanValue"},
    {"I", "rpc_Integer", "TRpcIntegerValue"},
    {"K", "rpc_Cardinal", "TRpcCardinalValue"},
    {"L", "rpc_LargeInt", "TRpcLargeIntValue"},
    {"F", "rpc_Float", "TRpcFloatValue"},
    {"C", "rpc_Currency", "TRpcCurrencyValue"},
    {"D", "rpc_DateTime", "TRpcDateTimeValue"},
    {"BS", "rpc_ByteStream", "TRpcByteStream"},
    {"O", "rpc_OID", "TRpcOIDValue"},
    {"BA", "rpc_ByteArray", "TRpcByteArray"},
    {"", "rpc_Variant", "TRpcValue"},
};

[[noreturn]] void CanNot(VT from, VT to) {
  throw ERpcInfo("Can not convert " + std::string(TypeName(from)) + " to " + std::string(TypeName(to)) + ".");
}
[[noreturn]] void Unable(VT from, VT to) {
  throw ERpcInfo("Unable to convert " + std::string(TypeName(from)) + " to " + std::string(TypeName(to)) + ".");
}

template <typename T>
const typename T::ValueTypeT& V(const TRpcValueObject& o) {
  return static_cast<const T&>(o).Value();
}

bool IsTextual(VT t) {
  return t == VT::rpc_Text || t == VT::rpc_String || t == VT::rpc_WideString || t == VT::rpc_Variable;
}

// The integer reading of any scalar; `to` names the requested type in failures.
std::int64_t ToInt64(const TRpcValueObject& o, VT to) {
  const VT t = o.ValueType();
  auto from_double = [&](double d) {
    if (!std::isfinite(d) || std::fabs(d) >= 9.2e18) CanNot(t, to);
    return static_cast<std::int64_t>(std::llround(d));
  };
  switch (t) {
    case VT::rpc_Boolean: return V<TRpcBooleanValue>(o) ? 1 : 0;
    case VT::rpc_Integer: return V<TRpcIntegerValue>(o);
    case VT::rpc_Cardinal: return V<TRpcCardinalValue>(o);
    case VT::rpc_LargeInt: return V<TRpcLargeIntValue>(o);
    case VT::rpc_OID: return V<TRpcOIDValue>(o);
    case VT::rpc_Float: return from_double(V<TRpcFloatValue>(o));
    case VT::rpc_DateTime: return from_double(V<TRpcDateTimeValue>(o));
    case VT::rpc_Currency: return from_double(static_cast<double>(V<TRpcCurrencyValue>(o)) / kCurrencyScale);
    default: break;
  }
  if (IsTextual(t)) {
    const std::string text = o.AsString();
    if (text.empty()) return 0;
    try {
      const std::int64_t scaled = CurrencyFromCodeText(text);
      if (scaled % kCurrencyScale == 0) return scaled / kCurrencyScale;
    } catch (const ERpcInfo&) {
    }
  }
  CanNot(t, to);
}

}  // namespace

std::string_view TypeCode(TRpcValueTypes type) noexcept { return kTypes[static_cast<int>(type)].code; }
std::string_view TypeName(TRpcValueTypes type) noexcept { return kTypes[static_cast<int>(type)].name; }
std::string_view ClassName(TRpcValueTypes type) noexcept { return kTypes[static_cast<int>(type)].cls; }

// ---------------------------------------------------------------- value object

void TRpcValueObject::to_Code(TRpcHugeString& out) const { EncodeObject(this, out); }
std::string TRpcValueObject::toCode() const { return EncodeToCode(this); }
std::vector<std::uint8_t> TRpcValueObject::toCodeEx() const {
  TRpcHugeString out;
  EncodeObject(this, out);
  std::vector<std::uint8_t> bytes;
  out.JoinInto(bytes);
  return bytes;
}

std::string TRpcValueObject::AsString() const {
  const VT t = ValueType();
  switch (t) {
    case VT::rpc_Variable: return V<TRpcVariableName>(*this);
    case VT::rpc_Exception: return static_cast<const TRpcExceptionValue&>(*this).TextForm();
    case VT::rpc_Text: return V<TRpcTextValue>(*this);
    case VT::rpc_String: return V<TRpcStringValue>(*this);
    case VT::rpc_WideString: return Utf16ToUtf8(V<TRpcWideStringValue>(*this));
    case VT::rpc_Boolean: return V<TRpcBooleanValue>(*this) ? "True" : "False";
    case VT::rpc_Integer: return std::to_string(V<TRpcIntegerValue>(*this));
    case VT::rpc_Cardinal: return std::to_string(V<TRpcCardinalValue>(*this));
    case VT::rpc_LargeInt: return std::to_string(V<TRpcLargeIntValue>(*this));
    case VT::rpc_OID: return std::to_string(V<TRpcOIDValue>(*this));
    case VT::rpc_Float: return FloatToCodeText(V<TRpcFloatValue>(*this));
    case VT::rpc_Currency: return CurrencyToCodeText(V<TRpcCurrencyValue>(*this));
    case VT::rpc_DateTime: return DateTimeToCodeText(V<TRpcDateTimeValue>(*this));
    case VT::rpc_ByteStream: return V<TRpcByteStream>(*this);
    case VT::rpc_ByteArray: return V<TRpcByteArray>(*this);
    default: CanNot(t, VT::rpc_String);
  }
}

std::int32_t TRpcValueObject::AsInteger() const {
  const std::int64_t v = ToInt64(*this, VT::rpc_Integer);
  if (v < std::numeric_limits<std::int32_t>::min() || v > std::numeric_limits<std::int32_t>::max()) {
    CanNot(ValueType(), VT::rpc_Integer);
  }
  return static_cast<std::int32_t>(v);
}

std::uint32_t TRpcValueObject::AsCardinal() const {
  const std::int64_t v = ToInt64(*this, VT::rpc_Cardinal);
  if (v < 0 || v > std::numeric_limits<std::uint32_t>::max()) CanNot(ValueType(), VT::rpc_Cardinal);
  return static_cast<std::uint32_t>(v);
}

std::int64_t TRpcValueObject::AsLargeInt() const { return ToInt64(*this, VT::rpc_LargeInt); }

double TRpcValueObject::AsFloat() const {
  const VT t = ValueType();
  switch (t) {
    case VT::rpc_Float: return V<TRpcFloatValue>(*this);
    case VT::rpc_DateTime: return V<TRpcDateTimeValue>(*this);
    case VT::rpc_Currency: return static_cast<double>(V<TRpcCurrencyValue>(*this)) / kCurrencyScale;
    case VT::rpc_Boolean:
    case VT::rpc_Integer:
    case VT::rpc_Cardinal:
    case VT::rpc_LargeInt:
    case VT::rpc_OID: return static_cast<double>(ToInt64(*this, VT::rpc_Float));
    default: break;
  }
  if (IsTextual(t)) {
    const std::string text = AsString();
    try {
      return FloatFromCodeText(text);
    } catch (const ERpcInfo&) {
    }
  }
  CanNot(t, VT::rpc_Float);
}

bool TRpcValueObject::AsBoolean() const {
  const VT t = ValueType();
  switch (t) {
    case VT::rpc_Boolean: return V<TRpcBooleanValue>(*this);
    case VT::rpc_Float:
    case VT::rpc_DateTime: return AsFloat() != 0;
    case VT::rpc_Integer:
    case VT::rpc_Cardinal:
    case VT::rpc_LargeInt:
    case VT::rpc_OID: return ToInt64(*this, VT::rpc_Boolean) != 0;
    case VT::rpc_Currency: return V<TRpcCurrencyValue>(*this) != 0;
    default: break;
  }
  if (IsTextual(t)) return TextToBoolean(AsString());
  CanNot(t, VT::rpc_Boolean);
}

std::int64_t TRpcValueObject::AsCurrency() const {
  const VT t = ValueType();
  if (t == VT::rpc_Currency) return V<TRpcCurrencyValue>(*this);
  if (t == VT::rpc_Float || t == VT::rpc_DateTime) {
    const double scaled = AsFloat() * kCurrencyScale;
    if (!std::isfinite(scaled) || std::fabs(scaled) >= 9.2e18) CanNot(t, VT::rpc_Currency);
    return std::llround(scaled);
  }
  if (IsTextual(t)) {
    try {
      return CurrencyFromCodeText(AsString());
    } catch (const ERpcInfo&) {
      CanNot(t, VT::rpc_Currency);
    }
  }
  const std::int64_t v = ToInt64(*this, VT::rpc_Currency);
  if (v > std::numeric_limits<std::int64_t>::max() / kCurrencyScale ||
      v < std::numeric_limits<std::int64_t>::min() / kCurrencyScale) {
    CanNot(t, VT::rpc_Currency);
  }
  return v * kCurrencyScale;
}

foundation::TDateTime TRpcValueObject::AsDateTime() const {
  const VT t = ValueType();
  if (IsTextual(t)) {
    const std::string text = AsString();
    if (text.empty()) return 0;
    try {
      return DateTimeFromCodeText(text);
    } catch (const ERpcInfo&) {
      CanNot(t, VT::rpc_DateTime);
    }
  }
  if (t == VT::rpc_Boolean) CanNot(t, VT::rpc_DateTime);
  return AsFloat();
}

std::string TRpcValueObject::AsBytes() const { return AsString(); }

platform::Variant TRpcValueObject::AsVariant() const {
  const VT t = ValueType();
  switch (t) {
    case VT::rpc_Boolean: return platform::Variant(V<TRpcBooleanValue>(*this));
    case VT::rpc_Integer: return platform::Variant(V<TRpcIntegerValue>(*this));
    case VT::rpc_Cardinal: return platform::Variant(static_cast<std::int64_t>(V<TRpcCardinalValue>(*this)));
    case VT::rpc_LargeInt: return platform::Variant(V<TRpcLargeIntValue>(*this));
    case VT::rpc_OID: return platform::Variant(V<TRpcOIDValue>(*this));
    case VT::rpc_Float: return platform::Variant(V<TRpcFloatValue>(*this));
    case VT::rpc_Currency: return platform::Variant(AsFloat());
    case VT::rpc_DateTime: return platform::Variant::FromDateTime(V<TRpcDateTimeValue>(*this));
    case VT::rpc_Array:
    case VT::rpc_Record:
    case VT::rpc_Function:
    case VT::rpc_DataSet: CanNot(t, VT::rpc_Variant);
    default: return platform::Variant(AsString());
  }
}

// ---------------------------------------------------------------- holder

std::string TRpcValue::AsString() const { return object_ ? object_->AsString() : std::string(); }
std::int32_t TRpcValue::AsInteger() const { return object_ ? object_->AsInteger() : 0; }
std::uint32_t TRpcValue::AsCardinal() const { return object_ ? object_->AsCardinal() : 0; }
std::int64_t TRpcValue::AsLargeInt() const { return object_ ? object_->AsLargeInt() : 0; }
double TRpcValue::AsFloat() const { return object_ ? object_->AsFloat() : 0.0; }
bool TRpcValue::AsBoolean() const { return object_ ? object_->AsBoolean() : false; }
std::int64_t TRpcValue::AsCurrency() const { return object_ ? object_->AsCurrency() : 0; }
foundation::TDateTime TRpcValue::AsDateTime() const { return object_ ? object_->AsDateTime() : 0.0; }
std::string TRpcValue::AsBytes() const { return object_ ? object_->AsBytes() : std::string(); }
platform::Variant TRpcValue::AsVariant() const {
  return object_ ? object_->AsVariant() : platform::Variant::Null();
}

namespace {
template <typename T>
T& Cast(TRpcValueObject* o, VT want) {
  const VT have = o ? o->ValueType() : VT::rpc_Null;
  T* p = dynamic_cast<T*>(o);
  if (p == nullptr) Unable(have, want);
  return *p;
}
}  // namespace

const TRpcArray& TRpcValue::AsArray() const { return Cast<TRpcArray>(object_.get(), VT::rpc_Array); }
TRpcArray& TRpcValue::AsArray() { return Cast<TRpcArray>(object_.get(), VT::rpc_Array); }
const TRpcRecord& TRpcValue::AsRecord() const { return Cast<TRpcRecord>(object_.get(), VT::rpc_Record); }
TRpcRecord& TRpcValue::AsRecord() { return Cast<TRpcRecord>(object_.get(), VT::rpc_Record); }
const TRpcFunctionInfo& TRpcValue::AsFunction() const {
  return Cast<TRpcFunctionInfo>(object_.get(), VT::rpc_Function);
}
const TRpcExceptionValue& TRpcValue::AsException() const {
  return Cast<TRpcExceptionValue>(object_.get(), VT::rpc_Exception);
}

std::string TRpcValue::toCode() const { return EncodeToCode(object_.get()); }
std::vector<std::uint8_t> TRpcValue::toCodeEx() const {
  TRpcHugeString out;
  EncodeObject(object_.get(), out);
  std::vector<std::uint8_t> bytes;
  out.JoinInto(bytes);
  return bytes;
}
TRpcValue TRpcValue::FromCode(std::string_view code, std::int64_t& at, int maxDepth) {
  return TRpcValue(DecodeObject(code, at, maxDepth));
}
TRpcValue TRpcValue::FromCode(std::string_view code, int maxDepth) { return TRpcValue(DecodeObject(code, maxDepth)); }

bool operator==(const TRpcValue& a, const TRpcValue& b) {
  if (a.IsNull() || b.IsNull()) return a.IsNull() == b.IsNull();
  return a.object_->Equals(*b.object_);
}

// ---------------------------------------------------------------- containers

bool TRpcArray::Equals(const TRpcValueObject& other) const {
  if (other.ValueType() != VT::rpc_Array) return false;
  return items_ == static_cast<const TRpcArray&>(other).items_;
}

TRpcValue& TRpcArray::At(std::size_t index) {
  if (index >= items_.size()) items_.resize(index + 1);
  return items_[index];
}

bool TRpcRecord::Equals(const TRpcValueObject& other) const {
  if (other.ValueType() != ValueType()) return false;
  const auto& theirs = static_cast<const TRpcRecord&>(other).fields_;
  if (theirs.size() != fields_.size()) return false;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (fields_[i].Name != theirs[i].Name || !(fields_[i].Value == theirs[i].Value)) return false;
  }
  return true;
}

std::ptrdiff_t TRpcRecord::IndexOf(std::string_view name) const noexcept {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (SameNameIgnoringCase(fields_[i].Name, name)) return static_cast<std::ptrdiff_t>(i);
  }
  return -1;
}

const TRpcValueObject* TRpcRecord::Find(std::string_view name) const noexcept {
  const auto i = IndexOf(name);
  return i < 0 ? nullptr : fields_[static_cast<std::size_t>(i)].Value.Get();
}

TRpcValue& TRpcRecord::Slot(std::string_view name) {
  const auto i = IndexOf(name);
  if (i >= 0) return fields_[static_cast<std::size_t>(i)].Value;
  fields_.push_back(Field{std::string(name), TRpcValue()});
  return fields_.back().Value;
}

bool TRpcRecord::Remove(std::string_view name) {
  const auto i = IndexOf(name);
  if (i < 0) return false;
  fields_.erase(fields_.begin() + i);
  return true;
}

void TRpcRecord::SetNull(std::string_view name) { Slot(name).Clear(); }
void TRpcRecord::SetText(std::string_view name, std::string_view utf8) {
  Set(name, MakeValue<TRpcTextValue>(std::string(utf8)));
}
void TRpcRecord::SetString(std::string_view name, std::string_view bytes) {
  Set(name, MakeValue<TRpcStringValue>(std::string(bytes)));
}
void TRpcRecord::SetWideString(std::string_view name, std::u16string_view text) {
  Set(name, MakeValue<TRpcWideStringValue>(std::u16string(text)));
}
void TRpcRecord::SetBoolean(std::string_view name, bool value) { Set(name, MakeValue<TRpcBooleanValue>(value)); }
void TRpcRecord::SetInteger(std::string_view name, std::int32_t value) {
  Set(name, MakeValue<TRpcIntegerValue>(value));
}
void TRpcRecord::SetCardinal(std::string_view name, std::uint32_t value) {
  Set(name, MakeValue<TRpcCardinalValue>(value));
}
void TRpcRecord::SetLargeInt(std::string_view name, std::int64_t value) {
  Set(name, MakeValue<TRpcLargeIntValue>(value));
}
void TRpcRecord::SetFloat(std::string_view name, double value) { Set(name, MakeValue<TRpcFloatValue>(value)); }
void TRpcRecord::SetCurrency(std::string_view name, std::int64_t scaled) {
  Set(name, MakeValue<TRpcCurrencyValue>(scaled));
}
void TRpcRecord::SetDateTime(std::string_view name, foundation::TDateTime value) {
  Set(name, MakeValue<TRpcDateTimeValue>(value));
}
void TRpcRecord::SetByteStream(std::string_view name, std::string_view bytes) {
  Set(name, MakeValue<TRpcByteStream>(std::string(bytes)));
}
void TRpcRecord::SetByteArray(std::string_view name, std::string_view bytes) {
  Set(name, MakeValue<TRpcByteArray>(std::string(bytes)));
}
void TRpcRecord::SetCode(std::string_view name, std::string_view code) {
  TRpcObjectPtr decoded = DecodeObject(code);  // decoded before the slot is touched
  Slot(name).Set(std::move(decoded));
}

bool TRpcFunctionInfo::Equals(const TRpcValueObject& other) const {
  const auto* theirs = dynamic_cast<const TRpcFunctionInfo*>(&other);
  if (theirs == nullptr || theirs->name_ != name_ || theirs->marker_ != marker_) return false;
  return TRpcRecord::Equals(other);
}

bool TRpcExceptionValue::Equals(const TRpcValueObject& other) const {
  if (other.ValueType() != VT::rpc_Exception) return false;
  const auto& theirs = static_cast<const TRpcExceptionValue&>(other);
  return code_ == theirs.code_ && message_ == theirs.message_ && data_ == theirs.data_;
}

std::string TRpcExceptionValue::TextForm() const {
  if (code_ == 0) return message_;
  return "#" + std::to_string(code_) + ":" + message_;
}

}  // namespace quillorn::transport
