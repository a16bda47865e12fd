// How much one client may ask of the reference server, in one place: sizes,
// times, sessions and connections. The defaults admit the largest file the
// client sends and keep every other request from holding the server for long.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace quillorn::server {

inline constexpr std::size_t kMiB = std::size_t{1} << 20;

struct ServerLimits {
  // A request's body as it arrives, and its calls once inflated.
  std::size_t MaxBody = 320 * kMiB;
  std::size_t MaxInflated = 320 * kMiB;
  // The code of one reply's results; also the values one "select" may gather.
  std::size_t MaxAnswer = 320 * kMiB;
  // A statement that runs longer is stopped and its call answers an exception.
  std::chrono::milliseconds StatementTime{std::chrono::seconds(30)};
  // Sessions kept at most; beyond that, and after this long unused, the least
  // recently used is forgotten and its client has to shake hands again.
  std::size_t MaxSessions = 10000;
  std::chrono::milliseconds SessionIdle{std::chrono::minutes(30)};
  // A request's head and body must arrive within ReadTimeout, plus the time a
  // large body takes at kMinBodyRate; an idle connection is closed after
  // KeepAlive; a connection past MaxConnections is answered 503 at once.
  std::chrono::milliseconds ReadTimeout{std::chrono::seconds(10)};
  std::chrono::milliseconds KeepAlive{std::chrono::seconds(5)};
  std::size_t MaxConnections = 128;
};

// Bytes per second that a body needs to keep up to be given more time.
inline constexpr std::size_t kMinBodyRate = 256 * 1024;

// What a call is told when its answer would pass the limit.
inline std::string AnswerTooLargeMessage(std::size_t limit) {
  return "The answer would be larger than " + std::to_string(limit) + " bytes.";
}

}  // namespace quillorn::server
