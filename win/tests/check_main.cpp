// The entry of a check program: COM on this thread as a host's UI thread has it
// (single-threaded apartment), then every case whose name contains the first
// argument. 0 when some ran and all passed.
#include <objbase.h>

#include <cstdio>
#include <exception>
#include <string>

#include "win/tests/check.h"

using namespace quillorn::wincheck;

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // a case that hangs still shows its name
  if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  const std::string filter = argc > 1 ? argv[1] : "";
  int ran = 0;
  for (const auto& [name, body] : gCases) {
    if (std::string(name).find(filter) == std::string::npos) continue;
    ++ran;
    const int before = gFailures;
    std::printf("[ RUN  ] %s\n", name);
    try {
      body();
    } catch (const std::exception& e) {
      Fail(__FILE__, __LINE__, std::string("unexpected exception: ") + e.what());
    } catch (...) {
      Fail(__FILE__, __LINE__, "unexpected exception");
    }
    std::printf("[ %s ] %s\n", gFailures == before ? " OK " : "FAIL", name);
  }
  std::printf("%d cases, %d failed checks\n", ran, gFailures);
  ::CoUninitialize();
  return ran == 0 || gFailures != 0 ? 1 : 0;
}
