#include "server/upsert.h"

#include <cctype>
#include <cstddef>

namespace quillorn::server {
namespace {

bool IsNameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$';
}

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  void SkipBlanks() {
    while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_])) != 0) ++at_;
  }
  bool AtEnd() {
    SkipBlanks();
    return at_ >= text_.size();
  }
  // A keyword as a whole word, in any letter case.
  bool Keyword(std::string_view word) {
    SkipBlanks();
    if (text_.size() - at_ < word.size()) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
      if (std::tolower(static_cast<unsigned char>(text_[at_ + i])) != word[i]) return false;
    }
    if (at_ + word.size() < text_.size() && IsNameChar(text_[at_ + word.size()])) return false;
    at_ += word.size();
    return true;
  }
  bool Char(char c) {
    SkipBlanks();
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  // A plain or double-quoted name, as written.
  std::optional<std::string> Name() {
    SkipBlanks();
    const std::size_t start = at_;
    if (at_ < text_.size() && text_[at_] == '"') {
      if (!SkipQuoted()) return std::nullopt;
    } else {
      while (at_ < text_.size() && IsNameChar(text_[at_])) ++at_;
    }
    if (at_ == start) return std::nullopt;
    return std::string(text_.substr(start, at_ - start));
  }
  // "(" item ["," item]... ")": each item as written, trimmed; commas and
  // parentheses inside quotes or nested parentheses don't count.
  std::optional<std::vector<std::string>> List() {
    if (!Char('(')) return std::nullopt;
    std::vector<std::string> items;
    std::size_t start = at_;
    int depth = 0;
    while (at_ < text_.size()) {
      const char c = text_[at_];
      if (c == '\'' || c == '"') {
        if (!SkipQuoted()) return std::nullopt;
        continue;
      }
      if (c == '(') ++depth;
      if (c == ')' && depth-- == 0) {
        if (!Push(items, start)) return std::nullopt;
        ++at_;
        return items;
      }
      if (c == ',' && depth == 0) {
        if (!Push(items, start)) return std::nullopt;
        start = at_ + 1;
      }
      ++at_;
    }
    return std::nullopt;
  }

 private:
  // Past a quoted literal or name; a doubled quote stays inside it.
  bool SkipQuoted() {
    const char quote = text_[at_++];
    while (at_ < text_.size()) {
      if (text_[at_++] != quote) continue;
      if (at_ < text_.size() && text_[at_] == quote) {
        ++at_;
        continue;
      }
      return true;
    }
    return false;
  }
  bool Push(std::vector<std::string>& items, std::size_t start) {
    std::string_view item = text_.substr(start, at_ - start);
    while (!item.empty() && std::isspace(static_cast<unsigned char>(item.front())) != 0)
      item.remove_prefix(1);
    while (!item.empty() && std::isspace(static_cast<unsigned char>(item.back())) != 0) item.remove_suffix(1);
    if (item.empty()) return false;
    items.emplace_back(item);
    return true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

std::string Upper(std::string name) {
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

}  // namespace

std::optional<std::vector<std::string>> RewriteUpsert(std::string_view sql) {
  Reader r(sql);
  if (!r.Keyword("update") || !r.Keyword("or") || !r.Keyword("insert") || !r.Keyword("into"))
    return std::nullopt;
  const auto table = r.Name();
  if (!table) return std::nullopt;
  const auto columns = r.List();
  if (!columns || !r.Keyword("values")) return std::nullopt;
  const auto values = r.List();
  if (!values || values->size() != columns->size() || !r.Keyword("matching")) return std::nullopt;
  const auto keys = r.List();
  if (!keys) return std::nullopt;
  r.Char(';');
  if (!r.AtEnd()) return std::nullopt;

  // Names compare without regard to case, as SQL names do here.
  auto valueOf = [&](const std::string& column) -> const std::string* {
    for (std::size_t i = 0; i < columns->size(); ++i) {
      if (Upper((*columns)[i]) == Upper(column)) return &(*values)[i];
    }
    return nullptr;
  };
  std::string where;
  for (const std::string& key : *keys) {
    const std::string* value = valueOf(key);
    if (value == nullptr) return std::nullopt;
    where += (where.empty() ? " WHERE " : " AND ") + key + " = " + *value;
  }
  std::string set, names, selected;
  for (std::size_t i = 0; i < columns->size(); ++i) {
    const std::string sep = i == 0 ? "" : ", ";
    set += sep + (*columns)[i] + " = " + (*values)[i];
    names += sep + (*columns)[i];
    selected += sep + (*values)[i];
  }
  return std::vector<std::string>{
      "UPDATE " + *table + " SET " + set + where,
      "INSERT INTO " + *table + " (" + names + ") SELECT " + selected + " WHERE NOT EXISTS (SELECT 1 FROM " +
          *table + where + ")",
  };
}

}  // namespace quillorn::server
