// Arbitrary bytes into the decoder: it must either raise ERpcInfo or give a tree
// whose code reads back to the same code. Any other outcome is a crash here.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "transport/codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillorn::transport;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  std::int64_t at = 0;
  while (at < static_cast<std::int64_t>(input.size())) {
    TRpcValue first;
    try {
      first = TRpcValue::FromCode(input, at, 200);
    } catch (const ERpcInfo&) {
      return 0;
    }
    const std::string code = first.toCode();
    TRpcValue second;
    try {
      second = TRpcValue::FromCode(code, 1000);
    } catch (const ERpcInfo&) {
      std::abort();  // our own code must always read back
    }
    if (second.toCode() != code) std::abort();
    if (!(TRpcValue::FromCode(second.toCode(), 1000) == second)) std::abort();
  }
  return 0;
}
