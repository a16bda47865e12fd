// A small JSON tree, writer and reader for the simulated documents' file form.
// Not a general JSON library: no streaming, numbers are doubles, text is UTF-8
// passed through as it stands (escapes of control characters only).
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillorn::hostsim {

class Json {
 public:
  enum class Type { Null, Bool, Number, String, Array, Object };

  Json() = default;
  Json(bool b) : type_(Type::Bool), bool_(b) {}
  Json(int n) : type_(Type::Number), number_(n) {}
  Json(double n) : type_(Type::Number), number_(n) {}
  Json(std::string s) : type_(Type::String), string_(std::move(s)) {}
  Json(const char* s) : type_(Type::String), string_(s) {}
  static Json MakeArray() { Json j; j.type_ = Type::Array; return j; }
  static Json MakeObject() { Json j; j.type_ = Type::Object; return j; }

  Type type() const noexcept { return type_; }
  bool AsBool(bool fallback = false) const { return type_ == Type::Bool ? bool_ : fallback; }
  double AsNumber(double fallback = 0) const { return type_ == Type::Number ? number_ : fallback; }
  int AsInt(int fallback = 0) const { return type_ == Type::Number ? static_cast<int>(number_) : fallback; }
  std::string AsString(std::string fallback = {}) const { return type_ == Type::String ? string_ : fallback; }

  // Arrays
  Json& Push(Json value);
  const std::vector<Json>& Items() const noexcept { return items_; }
  // Objects: keys keep their order
  Json& Set(std::string key, Json value);
  const Json& operator[](std::string_view key) const;  // Null when missing
  bool Has(std::string_view key) const;

  std::string Dump() const;
  // Raises std::runtime_error with the offset of the fault.
  static Json Parse(std::string_view text);

 private:
  void DumpTo(std::string& out, int indent) const;

  Type type_ = Type::Null;
  bool bool_ = false;
  double number_ = 0;
  std::string string_;
  std::vector<Json> items_;
  std::vector<std::string> keys_;
};

}  // namespace quillorn::hostsim
