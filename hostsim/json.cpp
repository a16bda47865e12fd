// Two-space indented output, so that a saved document can be read and edited
// by hand when a test or a demo needs a particular file.
#include "hostsim/json.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace quillorn::hostsim {

Json& Json::Push(Json value) {
  type_ = Type::Array;
  items_.push_back(std::move(value));
  return items_.back();
}

Json& Json::Set(std::string key, Json value) {
  type_ = Type::Object;
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    if (keys_[i] == key) return items_[i] = std::move(value);
  }
  keys_.push_back(std::move(key));
  items_.push_back(std::move(value));
  return items_.back();
}

const Json& Json::operator[](std::string_view key) const {
  static const Json kNull;
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    if (keys_[i] == key) return items_[i];
  }
  return kNull;
}

bool Json::Has(std::string_view key) const {
  for (const auto& k : keys_) {
    if (k == key) return true;
  }
  return false;
}

namespace {

void DumpString(std::string& out, const std::string& s) {
  out += '"';
  for (char c : s) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += buf;
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

class Parser {
 public:
  explicit Parser(std::string_view text) : s_(text) {}

  Json ParseDocument() {
    Json v = Value(0);
    Blank();
    if (pos_ != s_.size()) Fail("trailing text");
    return v;
  }

 private:
  [[noreturn]] void Fail(const char* what) const {
    throw std::runtime_error(std::string("JSON: ") + what + " at offset " + std::to_string(pos_));
  }
  void Blank() {
    while (pos_ < s_.size() && (s_[pos_] == ' ' || s_[pos_] == '\n' || s_[pos_] == '\r' || s_[pos_] == '\t')) ++pos_;
  }
  bool Eat(char c) {
    Blank();
    if (pos_ < s_.size() && s_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }
  void Expect(char c) {
    if (!Eat(c)) Fail("unexpected character");
  }
  bool Word(std::string_view w) {
    if (s_.substr(pos_, w.size()) == w) {
      pos_ += w.size();
      return true;
    }
    return false;
  }

  Json Value(int depth) {
    if (depth > 64) Fail("nesting too deep");
    Blank();
    if (pos_ >= s_.size()) Fail("unexpected end");
    char c = s_[pos_];
    if (c == '{') {
      ++pos_;
      Json obj = Json::MakeObject();
      if (Eat('}')) return obj;
      do {
        Blank();
        std::string key = String();
        Expect(':');
        obj.Set(std::move(key), Value(depth + 1));
      } while (Eat(','));
      Expect('}');
      return obj;
    }
    if (c == '[') {
      ++pos_;
      Json arr = Json::MakeArray();
      if (Eat(']')) return arr;
      do {
        arr.Push(Value(depth + 1));
      } while (Eat(','));
      Expect(']');
      return arr;
    }
    if (c == '"') return Json(String());
    if (Word("true")) return Json(true);
    if (Word("false")) return Json(false);
    if (Word("null")) return Json();
    return Number();
  }

  Json Number() {
    double d = 0;
    auto [end, ec] = std::from_chars(s_.data() + pos_, s_.data() + s_.size(), d);
    if (ec != std::errc() || !std::isfinite(d)) Fail("bad value");
    pos_ = static_cast<std::size_t>(end - s_.data());
    return Json(d);
  }

  std::string String() {
    if (pos_ >= s_.size() || s_[pos_] != '"') Fail("expected text");
    ++pos_;
    std::string out;
    while (true) {
      if (pos_ >= s_.size()) Fail("unterminated text");
      char c = s_[pos_++];
      if (c == '"') return out;
      if (c != '\\') {
        out += c;
        continue;
      }
      if (pos_ >= s_.size()) Fail("unterminated escape");
      char e = s_[pos_++];
      switch (e) {
        case '"': out += '"'; break;
        case '\\': out += '\\'; break;
        case '/': out += '/'; break;
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 't': out += '\t'; break;
        case 'b': out += '\b'; break;
        case 'f': out += '\f'; break;
        case 'u': {
          if (pos_ + 4 > s_.size()) Fail("short escape");
          unsigned cp = 0;
          auto [end, ec] = std::from_chars(s_.data() + pos_, s_.data() + pos_ + 4, cp, 16);
          if (ec != std::errc() || end != s_.data() + pos_ + 4) Fail("bad escape");
          pos_ += 4;
          if (cp < 0x80) {
            out += static_cast<char>(cp);
          } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
          } else {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
          }
          break;
        }
        default: Fail("bad escape");
      }
    }
  }

  std::string_view s_;
  std::size_t pos_ = 0;
};

}  // namespace

void Json::DumpTo(std::string& out, int indent) const {
  const std::string pad(static_cast<std::size_t>(indent + 2), ' ');
  switch (type_) {
    case Type::Null: out += "null"; break;
    case Type::Bool: out += bool_ ? "true" : "false"; break;
    case Type::Number: {
      char buf[32];
      auto [end, ec] = std::to_chars(buf, buf + sizeof buf, number_);
      out.append(buf, ec == std::errc() ? end : buf);
      break;
    }
    case Type::String: DumpString(out, string_); break;
    case Type::Array:
      if (items_.empty()) {
        out += "[]";
        break;
      }
      out += "[\n";
      for (std::size_t i = 0; i < items_.size(); ++i) {
        out += pad;
        items_[i].DumpTo(out, indent + 2);
        out += i + 1 < items_.size() ? ",\n" : "\n";
      }
      out += std::string(static_cast<std::size_t>(indent), ' ') + "]";
      break;
    case Type::Object:
      if (items_.empty()) {
        out += "{}";
        break;
      }
      out += "{\n";
      for (std::size_t i = 0; i < items_.size(); ++i) {
        out += pad;
        DumpString(out, keys_[i]);
        out += ": ";
        items_[i].DumpTo(out, indent + 2);
        out += i + 1 < items_.size() ? ",\n" : "\n";
      }
      out += std::string(static_cast<std::size_t>(indent), ' ') + "}";
      break;
  }
}

std::string Json::Dump() const {
  std::string out;
  DumpTo(out, 0);
  out += '\n';
  return out;
}

Json Json::Parse(std::string_view text) { return Parser(text).ParseDocument(); }

}  // namespace quillorn::hostsim
