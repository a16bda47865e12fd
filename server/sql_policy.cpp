#include "server/sql_policy.h"

#include <cctype>
#include <string>
#include <vector>

#include "server/store.h"

namespace quillorn::server {
namespace {

bool SameNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

// Words, single punctuation marks and quoted literals (quotes kept, a doubled
// quote inside); nothing when the text holds anything else: a comment, a
// double quote, an unclosed literal.
std::vector<std::string_view> Tokens(std::string_view sql, bool& ok) {
  std::vector<std::string_view> tokens;
  ok = true;
  std::size_t at = 0;
  while (at < sql.size()) {
    const unsigned char c = static_cast<unsigned char>(sql[at]);
    if (std::isspace(c) != 0) {
      ++at;
    } else if (std::isalnum(c) != 0 || c == '_') {
      const std::size_t start = at;
      while (at < sql.size() && (std::isalnum(static_cast<unsigned char>(sql[at])) != 0 || sql[at] == '_'))
        ++at;
      tokens.push_back(sql.substr(start, at - start));
    } else if (c == '\'') {
      const std::size_t start = at++;
      for (;;) {
        if (at >= sql.size()) {
          ok = false;
          return {};
        }
        if (sql[at] == '\'' && (at + 1 >= sql.size() || sql[at + 1] != '\'')) break;
        at += sql[at] == '\'' ? 2 : 1;
      }
      ++at;
      tokens.push_back(sql.substr(start, at - start));
    } else if (c == '(' || c == ')' || c == ',' || c == ';') {
      tokens.push_back(sql.substr(at++, 1));
    } else {
      ok = false;
      return {};
    }
  }
  return tokens;
}

bool IsSettingCode(std::string_view literal) {
  constexpr std::string_view kPrefix = "'KEEP_PG_FORMAT:";
  if (literal.size() <= kPrefix.size() + 1 || !literal.starts_with(kPrefix) || literal.back() != '\'')
    return false;
  const std::string_view number = literal.substr(kPrefix.size(), literal.size() - kPrefix.size() - 1);
  for (const char c : number) {
    if (std::isdigit(static_cast<unsigned char>(c)) == 0) return false;
  }
  return true;
}

}  // namespace

bool IsClientExecSql(std::string_view sql) {
  bool ok = false;
  std::vector<std::string_view> tokens = Tokens(sql, ok);
  if (!ok) return false;
  if (!tokens.empty() && tokens.back() == ";") tokens.pop_back();
  // Words match in any letter case; "*" stands for the setting's code, "?"
  // for its value; quoted literals match exactly.
  static constexpr std::string_view kShape[] = {"update",   "or",     "insert", "into", "codes",
                                                "(",        "D_TYPE", ",",      "CODE", ",",
                                                "VAL",      ")",      "values", "(",    "'TEMPLATE_SETTNG'",
                                                ",",        "*",      ",",      "?",    ")",
                                                "matching", "(",      "D_TYPE", ",",    "CODE",
                                                ")"};
  if (tokens.size() != std::size(kShape)) return false;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    const std::string_view want = kShape[i];
    const std::string_view got = tokens[i];
    const bool match = want == "*"       ? IsSettingCode(got)
                       : want == "?"     ? got == "'Y'" || got == "'N'"
                       : want[0] == '\'' ? got == want
                                         : SameNoCase(got, want);
    if (!match) return false;
  }
  return true;
}

bool IsClientSubmitTable(std::string_view table) {
  for (const std::string_view name : {"DOCS", "CODES", "PUBLISHED_DOCS", "FORMS"}) {
    if (SameNoCase(table, name)) return true;
  }
  return false;
}

void CheckExecSql(SqlPolicy policy, std::string_view sql) {
  if (policy == SqlPolicy::ClientStatements && !IsClientExecSql(sql)) {
    throw StoreError(std::string(kNotAClientStatement));
  }
}

void CheckSubmitTable(SqlPolicy policy, std::string_view table) {
  if (policy == SqlPolicy::ClientStatements && !IsClientSubmitTable(table)) {
    throw StoreError(std::string(kNotAClientTable));
  }
}

}  // namespace quillorn::server
