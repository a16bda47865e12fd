// A small check harness for the programs that run under Wine, where GoogleTest
// is not built: named cases, CHECK macros that report file and line and go on,
// and a main that runs the cases whose names contain the first argument.
#pragma once

#include <cstdio>
#include <exception>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace quillorn::wincheck {

struct Case {
  const char* name;
  std::function<void()> body;
};

inline std::vector<Case>& Cases() {
  static std::vector<Case> cases;
  return cases;
}

inline int& Failures() {
  static int failures = 0;
  return failures;
}

struct Register {
  Register(const char* name, std::function<void()> body) { Cases().push_back({name, std::move(body)}); }
};

inline void Fail(const char* file, int line, const std::string& what) {
  ++Failures();
  std::printf("  FAILED %s:%d: %s\n", file, line, what.c_str());
  std::fflush(stdout);
}

template <typename A, typename B>
void CheckEqual(const A& a, const B& b, const char* text_a, const char* text_b, const char* file, int line,
                const std::string& note) {
  if (a == b) return;
  std::ostringstream os;
  os << text_a << " == " << text_b << " (" << a << " vs " << b << ")";
  if (!note.empty()) os << " [" << note << "]";
  Fail(file, line, os.str());
}

// Runs every case whose name contains `filter`; 0 when all passed.
inline int RunAll(const std::string& filter) {
  int ran = 0;
  for (const Case& c : Cases()) {
    if (!filter.empty() && std::string(c.name).find(filter) == std::string::npos) continue;
    ++ran;
    const int before = Failures();
    std::printf("[ RUN  ] %s\n", c.name);
    std::fflush(stdout);
    try {
      c.body();
    } catch (const std::exception& e) {
      Fail(__FILE__, __LINE__, std::string("unexpected exception: ") + e.what());
    } catch (...) {
      Fail(__FILE__, __LINE__, "unexpected exception");
    }
    std::printf("[ %s ] %s\n", Failures() == before ? " OK " : "FAIL", c.name);
    std::fflush(stdout);
  }
  std::printf("%d cases, %d failed checks\n", ran, Failures());
  return ran == 0 || Failures() != 0 ? 1 : 0;
}

}  // namespace quillorn::wincheck

#define WINCHECK_CONCAT2(a, b) a##b
#define WINCHECK_CONCAT(a, b) WINCHECK_CONCAT2(a, b)
#define CHECK_CASE(name)                                                                              \
  static void WINCHECK_CONCAT(CheckCase_, name)();                                                   \
  static ::quillorn::wincheck::Register WINCHECK_CONCAT(check_register_, name)(#name,                \
                                                                              &WINCHECK_CONCAT(CheckCase_, name)); \
  static void WINCHECK_CONCAT(CheckCase_, name)()

#define CHECK(cond)                                                               \
  do {                                                                            \
    if (!(cond)) ::quillorn::wincheck::Fail(__FILE__, __LINE__, "CHECK(" #cond ")"); \
  } while (0)
#define CHECK_EQ(a, b) ::quillorn::wincheck::CheckEqual((a), (b), #a, #b, __FILE__, __LINE__, std::string())
#define CHECK_EQ_NOTE(a, b, note) ::quillorn::wincheck::CheckEqual((a), (b), #a, #b, __FILE__, __LINE__, (note))
// Passes when `expr` raises `Type`; `on_error` may inspect it as `e`.
#define CHECK_THROWS(Type, expr, on_error)                                              \
  do {                                                                                  \
    bool raised_ = false;                                                               \
    try {                                                                               \
      (void)(expr);                                                                     \
    } catch (const Type& e) {                                                           \
      raised_ = true;                                                                   \
      on_error;                                                                         \
    }                                                                                   \
    if (!raised_) ::quillorn::wincheck::Fail(__FILE__, __LINE__, #expr " did not raise " #Type); \
  } while (0)
