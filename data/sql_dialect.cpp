#include "data/sql_dialect.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <vector>

namespace quillorn::data {
namespace {

enum class TokenKind { Space, Word, Number, Quoted, Comment, Punct };

struct Token {
  TokenKind kind;
  std::string text;
};

bool IsWordStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool IsWordChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '$'; }

std::vector<Token> Tokenize(std::string_view sql) {
  std::vector<Token> tokens;
  size_t i = 0;
  const size_t n = sql.size();
  auto take = [&](TokenKind kind, size_t end) {
    tokens.push_back({kind, std::string(sql.substr(i, end - i))});
    i = end;
  };
  while (i < n) {
    const char c = sql[i];
    if (std::isspace(static_cast<unsigned char>(c))) {
      size_t j = i;
      while (j < n && std::isspace(static_cast<unsigned char>(sql[j]))) ++j;
      take(TokenKind::Space, j);
    } else if (c == '\'' || c == '"' || c == '`' || c == '[') {
      const char close = c == '[' ? ']' : c;
      size_t j = i + 1;
      while (j < n) {
        if (sql[j] == close) {
          // A doubled quote inside quotes is the quote itself.
          if (close != ']' && j + 1 < n && sql[j + 1] == close) {
            j += 2;
            continue;
          }
          ++j;
          break;
        }
        ++j;
      }
      take(TokenKind::Quoted, std::min(j, n));
    } else if (c == '-' && i + 1 < n && sql[i + 1] == '-') {
      size_t j = sql.find('\n', i);
      take(TokenKind::Comment, j == std::string_view::npos ? n : j);
    } else if (c == '/' && i + 1 < n && sql[i + 1] == '*') {
      size_t j = sql.find("*/", i + 2);
      take(TokenKind::Comment, j == std::string_view::npos ? n : j + 2);
    } else if (IsWordStart(c)) {
      size_t j = i;
      while (j < n && IsWordChar(sql[j])) ++j;
      take(TokenKind::Word, j);
    } else if (std::isdigit(static_cast<unsigned char>(c))) {
      size_t j = i;
      while (j < n && (std::isalnum(static_cast<unsigned char>(sql[j])) || sql[j] == '.')) ++j;
      take(TokenKind::Number, j);
    } else {
      take(TokenKind::Punct, i + 1);
    }
  }
  return tokens;
}

bool Is(const Token& t, std::string_view word) {
  if (t.kind != TokenKind::Word || t.text.size() != word.size()) return false;
  for (size_t k = 0; k < word.size(); ++k) {
    if (std::tolower(static_cast<unsigned char>(t.text[k])) != std::tolower(static_cast<unsigned char>(word[k]))) {
      return false;
    }
  }
  return true;
}

bool IsPunct(const Token& t, char c) { return t.kind == TokenKind::Punct && t.text.size() == 1 && t.text[0] == c; }

bool Significant(const Token& t) { return t.kind != TokenKind::Space && t.kind != TokenKind::Comment; }

// Index of the next significant token after `i`, or tokens.size().
size_t NextSig(const std::vector<Token>& tokens, size_t i) {
  for (size_t j = i + 1; j < tokens.size(); ++j) {
    if (Significant(tokens[j])) return j;
  }
  return tokens.size();
}

// Words after which a column-level PRIMARY KEY may be followed by a bracket.
bool IsClauseWord(const Token& t) {
  for (std::string_view w : {"default", "check", "references", "collate", "generated", "as", "constraint",
                             "on", "not", "asc", "desc", "autoincrement", "unique", "null"}) {
    if (Is(t, w)) return true;
  }
  return false;
}

void TrimTrailingSpace(std::string& out) {
  while (!out.empty() && std::isspace(static_cast<unsigned char>(out.back()))) out.pop_back();
}

}  // namespace

std::string RewriteSql(std::string_view sql) {
  const std::vector<Token> tokens = Tokenize(sql);
  std::string out;
  out.reserve(sql.size() + 16);

  struct PendingLimit {
    int depth;
    std::string count;
  };
  std::vector<PendingLimit> limits;
  int depth = 0;
  size_t prevSig = tokens.size();  // index of the previous significant token

  auto flushLimits = [&](int atDepth) {
    while (!limits.empty() && limits.back().depth == atDepth) {
      TrimTrailingSpace(out);
      out += " LIMIT ";
      out += limits.back().count;
      limits.pop_back();
    }
  };

  for (size_t i = 0; i < tokens.size(); ++i) {
    const Token& t = tokens[i];
    if (!Significant(t)) {
      out += t.text;
      continue;
    }
    if (IsPunct(t, '(')) {
      ++depth;
    } else if (IsPunct(t, ')')) {
      flushLimits(depth);
      --depth;
    } else if (IsPunct(t, ';')) {
      flushLimits(depth);
    } else if (Is(t, "select")) {
      const size_t top = NextSig(tokens, i);
      if (top < tokens.size() && Is(tokens[top], "top")) {
        const size_t count = NextSig(tokens, top);
        if (count < tokens.size() && tokens[count].kind == TokenKind::Number) {
          out += t.text;
          limits.push_back({depth, tokens[count].text});
          i = count;  // the blank after the count is copied by the next round
          prevSig = count;
          continue;
        }
      }
    } else if (Is(t, "now")) {
      const size_t next = NextSig(tokens, i);
      const bool call = next < tokens.size() && IsPunct(tokens[next], '(');
      const bool qualified = prevSig < tokens.size() && IsPunct(tokens[prevSig], '.');
      if (!call && !qualified) {
        out += kNowFunction;
        out += "()";
        prevSig = i;
        continue;
      }
    } else if (Is(t, "primary")) {
      const size_t key = NextSig(tokens, i);
      if (key < tokens.size() && Is(tokens[key], "key")) {
        const size_t name = NextSig(tokens, key);
        if (name < tokens.size() && (tokens[name].kind == TokenKind::Word || tokens[name].kind == TokenKind::Quoted) &&
            !IsClauseWord(tokens[name])) {
          const size_t open = NextSig(tokens, name);
          if (open < tokens.size() && IsPunct(tokens[open], '(')) {
            out += "CONSTRAINT ";
            out += tokens[name].text;
            out += " PRIMARY KEY ";
            i = open - 1;  // the bracket is handled by the next round
            prevSig = name;
            continue;
          }
        }
      }
    }
    out += t.text;
    prevSig = i;
  }
  flushLimits(depth);
  // Unbalanced brackets leave limits behind; they go at the end rather than vanish.
  while (!limits.empty()) {
    TrimTrailingSpace(out);
    out += " LIMIT " + limits.back().count;
    limits.pop_back();
  }
  return out;
}

std::string SqlSafeString(const std::string& S) {
  std::string out;
  out.reserve(S.size());
  for (char c : S) {
    out += c;
    if (c == '\'') out += '\'';
  }
  return out;
}

}  // namespace quillorn::data
