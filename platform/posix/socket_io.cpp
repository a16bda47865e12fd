// poll() rather than select(): a descriptor above FD_SETSIZE waits as well as any.
#include "platform/socket_io.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <climits>

namespace quillorn::platform {
namespace {

SocketWait Wait(NativeSocket socket, short events, std::chrono::milliseconds timeout) {
  pollfd entry{};
  entry.fd = static_cast<int>(socket);
  entry.events = events;
  const auto ms = static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(timeout.count(), 0, INT_MAX));
  for (;;) {
    const int rc = ::poll(&entry, 1, ms);
    if (rc > 0) return (entry.revents & events) != 0 ? SocketWait::Ready : SocketWait::Broken;
    if (rc == 0) return SocketWait::TimedOut;
    // A signal ends the wait early; the caller's loop counts the time anyway.
    if (errno == EINTR) return SocketWait::TimedOut;
    return SocketWait::Broken;
  }
}

}  // namespace

SocketWait WaitToRead(NativeSocket socket, std::chrono::milliseconds timeout) {
  return Wait(socket, POLLIN, timeout);
}

SocketWait WaitToWrite(NativeSocket socket, std::chrono::milliseconds timeout) {
  return Wait(socket, POLLOUT, timeout);
}

std::ptrdiff_t ReadSocket(NativeSocket socket, char* data, std::size_t size) {
  for (;;) {
    const ssize_t n = ::recv(static_cast<int>(socket), data, size, 0);
    if (n >= 0 || errno != EINTR) return n;
  }
}

std::ptrdiff_t WriteSocket(NativeSocket socket, const char* data, std::size_t size) {
  for (;;) {
    const ssize_t n = ::send(static_cast<int>(socket), data, size, MSG_NOSIGNAL);
    if (n >= 0 || errno != EINTR) return n;
  }
}

void ShutdownSocket(NativeSocket socket) {
  ::shutdown(static_cast<int>(socket), SHUT_RDWR);
}

}  // namespace quillorn::platform
