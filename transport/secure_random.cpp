#include "transport/secure_random.h"

#include <cstdint>
#include <random>

namespace quillorn::transport {

// std::random_device is the portable door to the OS generator here: libstdc++
// reads getrandom or /dev/urandom on Linux and rand_s (RtlGenRandom) with
// MinGW-w64, and never falls back to a seeded engine on those targets. It is made
// per call so that no state is shared between threads.
std::string SecureRandomBytes(std::size_t count) {
  std::random_device device;
  std::string out;
  out.reserve(count + 4);
  while (out.size() < count) {
    const auto word = static_cast<std::uint32_t>(device());
    for (int i = 0; i < 4 && out.size() < count; ++i) {
      out.push_back(static_cast<char>((word >> (8 * i)) & 0xFFu));
    }
  }
  return out;
}

}  // namespace quillorn::transport
