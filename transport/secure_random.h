// The cipher-grade source of key halves. Never the plain runtime generator: a
// predictable key half would let anyone who saw the handshake read the session.
#pragma once

#include <cstddef>
#include <string>

namespace quillorn::transport {

// `count` bytes from the operating system's generator.
std::string SecureRandomBytes(std::size_t count);

}  // namespace quillorn::transport
