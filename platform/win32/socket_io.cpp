// WSAPoll, the Windows form of poll(); Windows raises no signal on a broken connection.
#include "platform/socket_io.h"

#include <winsock2.h>

#include <algorithm>
#include <climits>

namespace quillorn::platform {
namespace {

SocketWait Wait(NativeSocket socket, SHORT events, std::chrono::milliseconds timeout) {
  WSAPOLLFD entry{};
  entry.fd = static_cast<SOCKET>(socket);
  entry.events = events;
  const auto ms = static_cast<INT>(std::clamp<std::chrono::milliseconds::rep>(timeout.count(), 0, INT_MAX));
  const int rc = ::WSAPoll(&entry, 1, ms);
  if (rc > 0) return (entry.revents & events) != 0 ? SocketWait::Ready : SocketWait::Broken;
  return rc == 0 ? SocketWait::TimedOut : SocketWait::Broken;
}

int Clamped(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, INT_MAX));
}

}  // namespace

SocketWait WaitToRead(NativeSocket socket, std::chrono::milliseconds timeout) {
  return Wait(socket, POLLRDNORM, timeout);
}

SocketWait WaitToWrite(NativeSocket socket, std::chrono::milliseconds timeout) {
  return Wait(socket, POLLWRNORM, timeout);
}

std::ptrdiff_t ReadSocket(NativeSocket socket, char* data, std::size_t size) {
  const int n = ::recv(static_cast<SOCKET>(socket), data, Clamped(size), 0);
  return n == SOCKET_ERROR ? -1 : n;
}

std::ptrdiff_t WriteSocket(NativeSocket socket, const char* data, std::size_t size) {
  const int n = ::send(static_cast<SOCKET>(socket), data, Clamped(size), 0);
  return n == SOCKET_ERROR ? -1 : n;
}

void ShutdownSocket(NativeSocket socket) {
  ::shutdown(static_cast<SOCKET>(socket), SD_BOTH);
}

}  // namespace quillorn::platform
