// The server's sessions and their key state: the mirror image of the client's
// TRpcCryptClient. Keeps a bounded number, forgetting the least recently used
// and those idle too long. Holds ciphers and ids only; never touches HTTP or
// the calls.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>

#include "transport/rpc_crypt.h"

namespace quillorn::server {

struct ServerKeyState {
  bool HaveHello = false;
  bool AllReady = false;
  std::string ClientHello, ServerHello, ClientKey, ServerKey;
  transport::TRpcCrypt Read, Write;

  // Both streams from their start, as after the handshake and on a RESET.
  void RestartStreams();
};

struct ServerSession {
  std::string Id;
  // Absent until a HELLO; a server that declines encryption never has one.
  std::optional<ServerKeyState> Keys;
};

class SessionStore {
 public:
  using Clock = std::chrono::steady_clock;

  explicit SessionStore(std::size_t most = SIZE_MAX,
                        std::chrono::milliseconds idle = std::chrono::milliseconds::max(),
                        std::function<Clock::time_point()> now = Clock::now);

  // A session with a fresh id: digits and letters only, never "=" or ";".
  // A full store forgets its least recently used session first.
  ServerSession& Open();
  // Null for an id never given, closed, forgotten or idle past the limit; a
  // session found counts as used now.
  ServerSession* Find(const std::string& id);
  bool Close(const std::string& id);
  std::size_t Count() const noexcept { return index_.size(); }

 private:
  struct Entry {
    ServerSession session;
    Clock::time_point used;
  };
  void ForgetIdle(Clock::time_point now);
  void ForgetLeastRecent();

  std::size_t most_;
  std::chrono::milliseconds idle_;
  std::function<Clock::time_point()> now_;
  std::list<Entry> recent_;  // the most recently used first; nodes never move in memory
  std::map<std::string, std::list<Entry>::iterator, std::less<>> index_;
  std::uint64_t next_ = 0;
};

}  // namespace quillorn::server
