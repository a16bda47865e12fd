#include "server/procedure_calls.h"

#include <cctype>
#include <optional>
#include <vector>

namespace quillorn::server {
namespace {

bool IsNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$'; }

bool StartsWithNoCase(std::string_view text, std::size_t at, std::string_view word) {
  if (text.size() - at < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (std::toupper(static_cast<unsigned char>(text[at + i])) != std::toupper(static_cast<unsigned char>(word[i]))) {
      return false;
    }
  }
  return true;
}

void SkipBlanks(std::string_view text, std::size_t& at) {
  while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])) != 0) ++at;
}

// "(" integer ["," integer ...] ")" with blanks anywhere between; the integers
// as written, and `at` past the closing parenthesis.
std::optional<std::vector<std::string>> IntegerArguments(std::string_view text, std::size_t& at) {
  std::size_t pos = at;
  SkipBlanks(text, pos);
  if (pos >= text.size() || text[pos] != '(') return std::nullopt;
  ++pos;
  std::vector<std::string> args;
  for (;;) {
    SkipBlanks(text, pos);
    const std::size_t start = pos;
    if (pos < text.size() && (text[pos] == '-' || text[pos] == '+')) ++pos;
    const std::size_t digits = pos;
    while (pos < text.size() && std::isdigit(static_cast<unsigned char>(text[pos])) != 0) ++pos;
    if (pos == digits) return std::nullopt;
    args.emplace_back(text.substr(start, pos - start));
    SkipBlanks(text, pos);
    if (pos >= text.size()) return std::nullopt;
    if (text[pos] == ')') break;
    if (text[pos] != ',') return std::nullopt;
    ++pos;
  }
  at = pos + 1;
  return args;
}

std::string ViewDoc(const std::string& id) { return "(SELECT * FROM DOCS WHERE DOC_ID = " + id + ")"; }

std::string DocPermissions(const std::string& user) {
  std::string sql = "(SELECT ";
  bool first = true;
  for (std::string_view right : kDocRightsColumns) {
    const std::string column(right);
    if (!first) sql += ", ";
    first = false;
    sql += "CASE WHEN coalesce(usr." + column +
           ", 'N') = 'Y' OR EXISTS (SELECT 1 FROM USER_GROUP_LINKS lnk JOIN GROUPS grp ON grp.GROUP_ID = "
           "lnk.GROUP_ID WHERE lnk.USER_ID = usr.USER_ID AND grp." +
           column + " = 'Y') THEN 'Y' ELSE 'N' END AS " + column;
  }
  return sql + " FROM Users usr WHERE usr.USER_ID = " + user + ")";
}

// The replacement of a procedure call that starts at `at`, or nothing.
std::optional<std::string> Procedure(std::string_view sql, std::size_t& at) {
  struct Known {
    std::string_view name;
    std::size_t arity;
  };
  static constexpr Known kKnown[] = {{"VIEW_DOC", 1}, {"get_doc_permissions", 2}};
  for (const Known& known : kKnown) {
    if (!StartsWithNoCase(sql, at, known.name)) continue;
    std::size_t end = at + known.name.size();
    if (end < sql.size() && IsNameChar(sql[end])) continue;
    const auto args = IntegerArguments(sql, end);
    if (!args || args->size() != known.arity) continue;
    at = end;
    return known.arity == 1 ? ViewDoc(args->at(0)) : DocPermissions(args->at(1));
  }
  return std::nullopt;
}

}  // namespace

std::string RewriteProcedureCalls(std::string_view sql) {
  std::string out;
  out.reserve(sql.size());
  std::size_t at = 0;
  while (at < sql.size()) {
    const char c = sql[at];
    if (c == '\'' || c == '"') {
      // A quoted literal or name goes over whole; a doubled quote stays inside it.
      std::size_t end = at + 1;
      while (end < sql.size()) {
        if (sql[end] == c) {
          if (end + 1 < sql.size() && sql[end + 1] == c) {
            end += 2;
            continue;
          }
          break;
        }
        ++end;
      }
      end = end < sql.size() ? end + 1 : end;
      out.append(sql.substr(at, end - at));
      at = end;
      continue;
    }
    if (IsNameChar(c)) {
      const bool wordStart = at == 0 || !IsNameChar(sql[at - 1]);
      if (wordStart) {
        if (auto replaced = Procedure(sql, at)) {
          out += *replaced;
          continue;
        }
      }
      // The rest of the word, so that a name is never matched from its middle.
      std::size_t end = at;
      while (end < sql.size() && IsNameChar(sql[end])) ++end;
      out.append(sql.substr(at, end - at));
      at = end;
      continue;
    }
    out += c;
    ++at;
  }
  return out;
}

}  // namespace quillorn::server
