// Waiting on, reading from and writing to a connected socket that another
// library accepted, each with a bound: what the reference server needs of the
// system to keep a slow or idle client from holding a connection for ever.
// Never opens, accepts or closes a socket.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace quillorn::platform {

// A descriptor on POSIX systems, a SOCKET handle on Windows.
using NativeSocket = std::uintptr_t;

enum class SocketWait {
  Ready,     // bytes to read, or room to write
  TimedOut,  // nothing within the time given
  Broken,    // the peer has gone or the socket failed: a read or write says which
};

SocketWait WaitToRead(NativeSocket socket, std::chrono::milliseconds timeout);
SocketWait WaitToWrite(NativeSocket socket, std::chrono::milliseconds timeout);

// What one call gives: the bytes moved, 0 when the peer closed (read only),
// -1 on failure. Writing to a closed peer never raises a signal.
std::ptrdiff_t ReadSocket(NativeSocket socket, char* data, std::size_t size);
std::ptrdiff_t WriteSocket(NativeSocket socket, const char* data, std::size_t size);

// Ends both directions at once, so that a thread blocked on the socket returns.
void ShutdownSocket(NativeSocket socket);

}  // namespace quillorn::platform
