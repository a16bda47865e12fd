// A small check harness for the programs that run under Wine, where GoogleTest
// is not built: named cases, CHECK macros that report file and line and go on.
// check_main.cpp runs the cases whose names contain its first argument.
#pragma once

#include <cstdio>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace quillorn::wincheck {

inline std::vector<std::pair<const char*, void (*)()>> gCases;
inline int gFailures = 0;

inline bool Register(const char* name, void (*body)()) {
  gCases.emplace_back(name, body);
  return true;
}

inline void Fail(const char* file, int line, const std::string& what) {
  ++gFailures;
  std::printf("  FAILED %s:%d: %s\n", file, line, what.c_str());
}

template <typename A, typename B>
void CheckEqual(const A& a, const B& b, const char* text, const char* file, int line, const std::string& note) {
  if (a == b) return;
  std::ostringstream os;
  os << text << " (" << a << " vs " << b << ") " << note;
  Fail(file, line, os.str());
}

}  // namespace quillorn::wincheck

#define CHECK_CASE(name)                                                                                   \
  static void CheckCase_##name();                                                                         \
  [[maybe_unused]] static const bool check_registered_##name =                                            \
      ::quillorn::wincheck::Register(#name, &CheckCase_##name);                                           \
  static void CheckCase_##name()

#define CHECK(cond)                                                                  \
  do {                                                                               \
    if (!(cond)) ::quillorn::wincheck::Fail(__FILE__, __LINE__, "CHECK(" #cond ")"); \
  } while (0)
#define CHECK_EQ_NOTE(a, b, note) \
  ::quillorn::wincheck::CheckEqual((a), (b), #a " == " #b, __FILE__, __LINE__, (note))
#define CHECK_EQ(a, b) CHECK_EQ_NOTE(a, b, std::string())
// Passes when `expr` raises `Type`; `on_error` may inspect it as `e`.
#define CHECK_THROWS(Type, expr, on_error)                                                        \
  do {                                                                                            \
    bool raised_ = false;                                                                         \
    try {                                                                                         \
      (void)(expr);                                                                               \
    } catch (const Type& e) {                                                                     \
      raised_ = true;                                                                             \
      on_error;                                                                                   \
    }                                                                                             \
    if (!raised_) ::quillorn::wincheck::Fail(__FILE__, __LINE__, #expr " did not raise " #Type); \
  } while (0)
