// The server's sessions and their key state: the mirror image of the client's
// TRpcCryptClient. Holds ciphers and ids only; never touches HTTP or the calls.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
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
  // A session with a fresh id: digits and letters only, never "=" or ";".
  ServerSession& Open();
  ServerSession* Find(const std::string& id);
  bool Close(const std::string& id);
  std::size_t Count() const noexcept { return sessions_.size(); }

 private:
  std::map<std::string, std::unique_ptr<ServerSession>> sessions_;
  std::uint64_t next_ = 0;
};

}  // namespace quillorn::server
