// The entry of a check program: COM on this thread as a host's UI thread has it
// (single-threaded apartment), then the cases.
#include <objbase.h>

#include <string>

#include "win/tests/check.h"

int main(int argc, char** argv) {
  if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  const int result = quillorn::wincheck::RunAll(argc > 1 ? argv[1] : std::string());
  ::CoUninitialize();
  return result;
}
