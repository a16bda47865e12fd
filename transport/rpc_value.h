// The value tree of remote calls: every parameter, result and recorded change is
// one of these nodes. A container owns its children; the holder TRpcValue owns
// one node or none. Nothing here knows about sessions, ciphers or HTTP.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/datetime.h"
#include "platform/variant.h"
#include "transport/rpc_node_pool.h"

namespace quillorn::transport {

// In the order of their ordinals; rpc_Variant only names a requested conversion.
enum class TRpcValueTypes : std::uint8_t {
  rpc_Null,
  rpc_Variable,
  rpc_Function,
  rpc_Exception,
  rpc_Array,
  rpc_Record,
  rpc_DataSet,
  rpc_Text,
  rpc_String,
  rpc_WideString,
  rpc_Boolean,
  rpc_Integer,
  rpc_Cardinal,
  rpc_LargeInt,
  rpc_Float,
  rpc_Currency,
  rpc_DateTime,
  rpc_ByteStream,
  rpc_OID,
  rpc_ByteArray,
  rpc_Variant,
};

// The letters that stand before "=" on the wire ("X", "FC", "DS" ...); empty for rpc_Variant.
std::string_view TypeCode(TRpcValueTypes type) noexcept;
// The tag's own name ("rpc_Text"), used in conversion messages.
std::string_view TypeName(TRpcValueTypes type) noexcept;
// The class name ("TRpcRecord"), used in decoder messages.
std::string_view ClassName(TRpcValueTypes type) noexcept;

// Wire format errors and conversion errors of the value classes.
class ERpcInfo : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
// Errors of the table side: field type mapping and change recording.
class ERpcDB : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Currency is fixed point with four decimals: 12.34 is held as 123400.
inline constexpr std::int64_t kCurrencyScale = 10000;
// The nesting limit that the transport passes to the decoder.
inline constexpr int kRpcMaxDepth = 1000;

class TRpcHugeString;
class TRpcValue;

class TRpcValueObject {
 public:
  virtual ~TRpcValueObject() = default;
  virtual TRpcValueTypes ValueType() const noexcept = 0;
  virtual std::unique_ptr<TRpcValueObject> Clone() const = 0;
  virtual bool Equals(const TRpcValueObject& other) const = 0;

  // Nodes come from the node pool: a decoded result holds one per value.
  static void* operator new(std::size_t size) { return PoolAllocate(size); }
  static void operator delete(void* block, std::size_t size) noexcept { PoolFree(block, size); }

  // Writes this node's code behind what `out` holds.
  void to_Code(TRpcHugeString& out) const;
  // The code as one byte per character, and as a byte array.
  std::string toCode() const;
  std::vector<std::uint8_t> toCodeEx() const;

  // Typed reads, converting between the scalar types; a conversion without
  // meaning raises ERpcInfo "Can not convert <type> to <type>.".
  std::string AsString() const;  // exceptions give their text form
  std::int32_t AsInteger() const;
  std::uint32_t AsCardinal() const;
  std::int64_t AsLargeInt() const;
  double AsFloat() const;
  bool AsBoolean() const;
  std::int64_t AsCurrency() const;  // scaled by kCurrencyScale
  foundation::TDateTime AsDateTime() const;
  std::string AsBytes() const;  // byte payloads as they are; text as UTF-8
  platform::Variant AsVariant() const;

 protected:
  TRpcValueObject() = default;
  TRpcValueObject(const TRpcValueObject&) = default;
  TRpcValueObject& operator=(const TRpcValueObject&) = default;
};

using TRpcObjectPtr = std::unique_ptr<TRpcValueObject>;

// One class per scalar tag; T is how the value is held.
template <TRpcValueTypes kType, typename T>
class TRpcScalarValue final : public TRpcValueObject {
 public:
  using ValueTypeT = T;
  static constexpr TRpcValueTypes kValueType = kType;

  TRpcScalarValue() = default;
  explicit TRpcScalarValue(T value) : value_(std::move(value)) {}

  TRpcValueTypes ValueType() const noexcept override { return kType; }
  std::unique_ptr<TRpcValueObject> Clone() const override { return std::make_unique<TRpcScalarValue>(*this); }
  bool Equals(const TRpcValueObject& other) const override {
    if (other.ValueType() != kType) return false;
    const T& theirs = static_cast<const TRpcScalarValue&>(other).value_;
    if constexpr (std::is_floating_point_v<T>) {
      return value_ == theirs || (value_ != value_ && theirs != theirs);  // NaN equals NaN here
    } else {
      return value_ == theirs;
    }
  }

  const T& Value() const noexcept { return value_; }
  T& Value() noexcept { return value_; }
  void SetValue(T value) { value_ = std::move(value); }

 private:
  T value_{};
};

using TRpcTextValue = TRpcScalarValue<TRpcValueTypes::rpc_Text, std::string>;            // UTF-8
using TRpcStringValue = TRpcScalarValue<TRpcValueTypes::rpc_String, std::string>;        // bytes
using TRpcWideStringValue = TRpcScalarValue<TRpcValueTypes::rpc_WideString, std::u16string>;
using TRpcVariableName = TRpcScalarValue<TRpcValueTypes::rpc_Variable, std::string>;     // UTF-8
using TRpcBooleanValue = TRpcScalarValue<TRpcValueTypes::rpc_Boolean, bool>;
using TRpcIntegerValue = TRpcScalarValue<TRpcValueTypes::rpc_Integer, std::int32_t>;
using TRpcCardinalValue = TRpcScalarValue<TRpcValueTypes::rpc_Cardinal, std::uint32_t>;
using TRpcLargeIntValue = TRpcScalarValue<TRpcValueTypes::rpc_LargeInt, std::int64_t>;
using TRpcOIDValue = TRpcScalarValue<TRpcValueTypes::rpc_OID, std::int64_t>;
using TRpcFloatValue = TRpcScalarValue<TRpcValueTypes::rpc_Float, double>;
using TRpcCurrencyValue = TRpcScalarValue<TRpcValueTypes::rpc_Currency, std::int64_t>;  // scaled
using TRpcDateTimeValue = TRpcScalarValue<TRpcValueTypes::rpc_DateTime, foundation::TDateTime>;
using TRpcByteStream = TRpcScalarValue<TRpcValueTypes::rpc_ByteStream, std::string>;     // bytes
using TRpcByteArray = TRpcScalarValue<TRpcValueTypes::rpc_ByteArray, std::string>;       // bytes

class TRpcArray;
class TRpcRecord;
class TRpcFunctionInfo;
class TRpcExceptionValue;
class TRpcDataSet;

// A one-slot holder; an empty slot is null. Assigning frees what stood there,
// Release hands the node over without freeing it.
class TRpcValue {
 public:
  TRpcValue() = default;
  TRpcValue(TRpcObjectPtr object) : object_(std::move(object)) {}  // NOLINT: a holder is its node
  template <typename T, typename = std::enable_if_t<std::is_base_of_v<TRpcValueObject, T>>>
  TRpcValue(std::unique_ptr<T> object) : object_(std::move(object)) {}  // NOLINT
  TRpcValue(TRpcValue&&) noexcept = default;
  TRpcValue& operator=(TRpcValue&&) noexcept = default;
  TRpcValue(const TRpcValue& other) : object_(other.object_ ? other.object_->Clone() : nullptr) {}
  TRpcValue& operator=(const TRpcValue& other) {
    if (this != &other) object_ = other.object_ ? other.object_->Clone() : nullptr;
    return *this;
  }

  bool IsNull() const noexcept { return object_ == nullptr; }
  TRpcValueTypes ValueType() const noexcept {
    return object_ ? object_->ValueType() : TRpcValueTypes::rpc_Null;
  }
  const TRpcValueObject* Get() const noexcept { return object_.get(); }
  TRpcValueObject* Get() noexcept { return object_.get(); }
  void Set(TRpcObjectPtr object) { object_ = std::move(object); }
  TRpcObjectPtr Release() noexcept { return std::move(object_); }
  void Clear() noexcept { object_.reset(); }

  // Typed reads; null gives the empty value of the type.
  std::string AsString() const;
  std::int32_t AsInteger() const;
  std::uint32_t AsCardinal() const;
  std::int64_t AsLargeInt() const;
  double AsFloat() const;
  bool AsBoolean() const;
  std::int64_t AsCurrency() const;
  foundation::TDateTime AsDateTime() const;
  std::string AsBytes() const;
  platform::Variant AsVariant() const;  // null gives a Null variant

  // The node as a container class; anything else raises ERpcInfo
  // "Unable to convert <type> to <type>.".
  const TRpcArray& AsArray() const;
  TRpcArray& AsArray();
  const TRpcRecord& AsRecord() const;  // a function call is a record too
  TRpcRecord& AsRecord();
  const TRpcFunctionInfo& AsFunction() const;
  const TRpcExceptionValue& AsException() const;
  const TRpcDataSet& AsDataSet() const;
  TRpcDataSet& AsDataSet();

  std::string toCode() const;  // an empty slot is "X=;"
  std::vector<std::uint8_t> toCodeEx() const;
  // Reads one object at `at` (zero based) and moves `at` behind it.
  static TRpcValue FromCode(std::string_view code, std::int64_t& at, int maxDepth = kRpcMaxDepth);
  // Reads one object that must fill the whole code.
  static TRpcValue FromCode(std::string_view code, int maxDepth = kRpcMaxDepth);

  friend bool operator==(const TRpcValue& a, const TRpcValue& b);

 private:
  TRpcObjectPtr object_;
};

// Results are decoded into a holder of their own name.
using TRpcValueResult = TRpcValue;

class TRpcArray final : public TRpcValueObject {
 public:
  TRpcValueTypes ValueType() const noexcept override { return TRpcValueTypes::rpc_Array; }
  std::unique_ptr<TRpcValueObject> Clone() const override { return std::make_unique<TRpcArray>(*this); }
  bool Equals(const TRpcValueObject& other) const override;

  std::size_t Count() const noexcept { return items_.size(); }
  void SetCount(std::size_t count) { items_.resize(count); }  // new slots are holes
  void Reserve(std::size_t count) { items_.reserve(count); }
  const TRpcValue& operator[](std::size_t index) const { return items_.at(index); }
  TRpcValue& operator[](std::size_t index) { return items_.at(index); }
  // Assigning beyond the end grows the array with holes.
  TRpcValue& At(std::size_t index);
  void Append(TRpcValue value) { items_.push_back(std::move(value)); }
  void Delete(std::size_t index) { items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index)); }

 private:
  std::vector<TRpcValue> items_;
};

// Names of record fields and data set fields compare so: ASCII letters without
// regard to case, every other byte as it is.
inline bool SameNameIgnoringCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 32);
    if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 32);
    if (x != y) return false;
  }
  return true;
}

// The typed reads by name that a record and a data set's current row share: a
// missing or null field reads as the empty value of its type. Owner supplies
// NamedValue(name), the node under the name or nullptr.
template <typename Owner>
class TRpcNamedReads {
 public:
  bool GetNull(std::string_view name) const noexcept { return Named(name) == nullptr; }
  std::string GetString(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsString() : std::string();
  }
  std::int32_t GetInteger(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsInteger() : 0;
  }
  std::int64_t GetLargeInt(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsLargeInt() : 0;
  }
  bool GetBoolean(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsBoolean() : false;
  }
  double GetFloat(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsFloat() : 0.0;
  }
  std::int64_t GetCurrency(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsCurrency() : 0;
  }
  foundation::TDateTime GetDateTime(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsDateTime() : 0.0;
  }
  std::string GetByteStream(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsBytes() : std::string();
  }
  platform::Variant GetVariant(std::string_view name) const {
    const auto* o = Named(name);
    return o ? o->AsVariant() : platform::Variant();
  }

 protected:
  ~TRpcNamedReads() = default;

 private:
  const TRpcValueObject* Named(std::string_view name) const noexcept {
    return static_cast<const Owner&>(*this).NamedValue(name);
  }
};

// Named values in the order they were first set; lookup ignores ASCII case.
class TRpcRecord : public TRpcValueObject, public TRpcNamedReads<TRpcRecord> {
 public:
  struct Field {
    std::string Name;  // UTF-8
    TRpcValue Value;
  };

  TRpcValueTypes ValueType() const noexcept override { return TRpcValueTypes::rpc_Record; }
  std::unique_ptr<TRpcValueObject> Clone() const override { return std::make_unique<TRpcRecord>(*this); }
  bool Equals(const TRpcValueObject& other) const override;

  std::size_t Count() const noexcept { return fields_.size(); }
  const Field& FieldAt(std::size_t index) const { return fields_.at(index); }
  Field& FieldAt(std::size_t index) { return fields_.at(index); }
  void Reserve(std::size_t count) { fields_.reserve(count); }
  // -1 when the name isn't there.
  std::ptrdiff_t IndexOf(std::string_view name) const noexcept;
  // The node under `name`, or nullptr for a missing or null field.
  const TRpcValueObject* Find(std::string_view name) const noexcept;
  // The slot under `name`, created at the end if missing.
  TRpcValue& Slot(std::string_view name);
  void Set(std::string_view name, TRpcValue value) { Slot(name) = std::move(value); }
  // Appends without looking for the name; for builders that know names are new.
  void AppendField(std::string name, TRpcValue value) {
    fields_.push_back(Field{std::move(name), std::move(value)});
  }
  bool Remove(std::string_view name);
  void Clear() noexcept { fields_.clear(); }

  void SetNull(std::string_view name);
  void SetText(std::string_view name, std::string_view utf8);
  void SetString(std::string_view name, std::string_view bytes);
  void SetWideString(std::string_view name, std::u16string_view text);
  void SetBoolean(std::string_view name, bool value);
  void SetInteger(std::string_view name, std::int32_t value);
  void SetCardinal(std::string_view name, std::uint32_t value);
  void SetLargeInt(std::string_view name, std::int64_t value);
  void SetFloat(std::string_view name, double value);
  void SetCurrency(std::string_view name, std::int64_t scaled);
  void SetDateTime(std::string_view name, foundation::TDateTime value);
  void SetByteStream(std::string_view name, std::string_view bytes);
  void SetByteArray(std::string_view name, std::string_view bytes);
  // Stores the value that `code` encodes, so that coded data passes through unchanged.
  void SetCode(std::string_view name, std::string_view code);

 protected:
  std::vector<Field, TRpcPoolAllocator<Field>> fields_;

 private:
  friend class TRpcNamedReads<TRpcRecord>;
  const TRpcValueObject* NamedValue(std::string_view name) const noexcept { return Find(name); }
};

// A data set row carries its own names, in the order of the set's fields.
using TRpcDataRow = TRpcRecord;

// A call: the function's name and its parameters as a record. Only with the
// function marker does it encode as a call ("FC=name;RE=..."); without it it
// is written as the bare record. Every call the client sends carries the marker.
class TRpcFunctionInfo final : public TRpcRecord {
 public:
  TRpcFunctionInfo() = default;
  explicit TRpcFunctionInfo(std::string name, bool marker = true)
      : name_(std::move(name)), marker_(marker) {}

  TRpcValueTypes ValueType() const noexcept override {
    return marker_ ? TRpcValueTypes::rpc_Function : TRpcValueTypes::rpc_Record;
  }
  std::unique_ptr<TRpcValueObject> Clone() const override { return std::make_unique<TRpcFunctionInfo>(*this); }
  bool Equals(const TRpcValueObject& other) const override;

  const std::string& Name() const noexcept { return name_; }
  void SetName(std::string name) { name_ = std::move(name); }
  bool FunctionMarker() const noexcept { return marker_; }
  void SetFunctionMarker(bool marker) noexcept { marker_ = marker; }

 private:
  std::string name_;  // UTF-8
  bool marker_ = true;
};

// A failure carried as a value: code, message and an optional data value.
class TRpcExceptionValue final : public TRpcValueObject {
 public:
  TRpcExceptionValue() = default;
  TRpcExceptionValue(std::int32_t code, std::string message, TRpcValue data = {})
      : code_(code), message_(std::move(message)), data_(std::move(data)) {}

  TRpcValueTypes ValueType() const noexcept override { return TRpcValueTypes::rpc_Exception; }
  std::unique_ptr<TRpcValueObject> Clone() const override { return std::make_unique<TRpcExceptionValue>(*this); }
  bool Equals(const TRpcValueObject& other) const override;

  std::int32_t Code() const noexcept { return code_; }
  void SetCode(std::int32_t code) noexcept { code_ = code; }
  const std::string& Message() const noexcept { return message_; }  // UTF-8
  void SetMessage(std::string message) { message_ = std::move(message); }
  const TRpcValue& Data() const noexcept { return data_; }
  TRpcValue& Data() noexcept { return data_; }
  // The message, or "#<code>:<message>" when the code isn't 0.
  std::string TextForm() const;

 private:
  std::int32_t code_ = 0;
  std::string message_;
  TRpcValue data_;
};

// Builders for the common cases.
template <typename T>
std::unique_ptr<T> MakeValue(typename T::ValueTypeT value) {
  return std::make_unique<T>(std::move(value));
}
inline TRpcValue TextValue(std::string_view utf8) { return MakeValue<TRpcTextValue>(std::string(utf8)); }
inline TRpcValue IntegerValue(std::int32_t v) { return MakeValue<TRpcIntegerValue>(v); }
inline TRpcValue BooleanValue(bool v) { return MakeValue<TRpcBooleanValue>(v); }

}  // namespace quillorn::transport
