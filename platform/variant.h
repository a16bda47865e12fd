// The value that crosses the late-bound seam: what a host property holds, what a
// method takes and returns. Mirrors the VARIANT kinds the add-in uses, so the
// Windows side converts one to one; text is UTF-8 here, UTF-16 only at COM.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quillorn::platform {

class AutomationObject;
using ObjectRef = std::shared_ptr<AutomationObject>;

// What a host raises: a failed member call, a missing item, a wrong password.
// Automation code tests existence by catching it.
class HostError : public std::runtime_error {
 public:
  explicit HostError(const std::string& message, std::int32_t code = 0, std::string source = {})
      : std::runtime_error(message), code_(code), source_(std::move(source)) {}
  std::int32_t code() const noexcept { return code_; }
  const std::string& source() const noexcept { return source_; }

 private:
  std::int32_t code_;
  std::string source_;
};

struct DateTimeValue {
  double days = 0;  // days since 1899-12-30, fraction = time of day
  bool operator==(const DateTimeValue&) const = default;
};

class Variant;
using VariantList = std::vector<Variant>;

class Variant {
 public:
  // Empty is "not given" (an optional argument left out, an unassigned value);
  // Null is the database null.
  enum class Kind { Empty, Null, Bool, Int32, Int64, Double, Text, DateTime, Object, Array };

  Variant() = default;
  Variant(bool v) : v_(v) {}
  Variant(std::int32_t v) : v_(v) {}
  Variant(std::int64_t v) : v_(v) {}
  Variant(double v) : v_(v) {}
  Variant(std::string v) : v_(std::move(v)) {}
  Variant(std::string_view v) : v_(std::string(v)) {}
  Variant(const char* v) : v_(std::string(v)) {}
  Variant(DateTimeValue v) : v_(v) {}
  Variant(ObjectRef v) : v_(std::move(v)) {}
  Variant(VariantList v) : v_(std::make_shared<const VariantList>(std::move(v))) {}

  static Variant Null() { Variant r; r.v_ = NullTag{}; return r; }
  static Variant FromDateTime(double days) { return Variant(DateTimeValue{days}); }

  Kind kind() const noexcept { return static_cast<Kind>(v_.index()); }
  bool IsEmpty() const noexcept { return kind() == Kind::Empty; }
  bool IsNull() const noexcept { return kind() == Kind::Null; }
  bool IsEmptyOrNull() const noexcept { return IsEmpty() || IsNull(); }
  bool IsObject() const noexcept { return kind() == Kind::Object; }
  // An object that is really there: false for Nothing (a null object, as a
  // host returns after the last of a chain), Empty and Null.
  bool HasObject() const noexcept { return IsObject() && std::get<ObjectRef>(v_) != nullptr; }

  // Conversions as the host's variant rules do them; a value that can't be
  // converted raises HostError ("Could not convert variant ...").
  bool AsBool() const;
  std::int32_t AsInt() const;
  std::int64_t AsInt64() const;
  double AsDouble() const;
  std::string AsString() const;  // Null and Empty give ""
  double AsDateTime() const;
  const ObjectRef& AsObject() const;  // raises unless an object (a null object raises too)
  const VariantList& AsArray() const;

  // Late-bound access on an object value, so that automation code reads like the
  // object model: doc.Get("CustomDocumentProperties").Get("Item", {"cmsID"}).
  Variant Get(std::string_view name, std::initializer_list<Variant> args = {}) const;
  void Put(std::string_view name, const Variant& value, std::initializer_list<Variant> args = {}) const;
  Variant Call(std::string_view name, std::initializer_list<Variant> args = {}) const;
  // The same with arguments built at run time.
  Variant GetWith(std::string_view name, std::span<const Variant> args) const;
  Variant CallWith(std::string_view name, std::span<const Variant> args) const;

  bool operator==(const Variant& other) const;

 private:
  struct NullTag {
    bool operator==(const NullTag&) const = default;
  };
  std::variant<std::monostate, NullTag, bool, std::int32_t, std::int64_t, double, std::string,
               DateTimeValue, ObjectRef, std::shared_ptr<const VariantList>>
      v_;
};

std::string_view KindName(Variant::Kind kind) noexcept;

}  // namespace quillorn::platform
