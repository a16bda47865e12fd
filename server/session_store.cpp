#include "server/session_store.h"

#include <cstdio>

#include "transport/secure_random.h"

namespace quillorn::server {

void ServerKeyState::RestartStreams() {
  Read.SetKey(ServerKey + ClientHello);
  Write.SetKey(ClientKey + ServerHello);
}

ServerSession& SessionStore::Open() {
  // A running number keeps ids unique; the random part keeps them unguessable.
  const std::string noise = transport::SecureRandomBytes(6);
  char buf[64];
  std::snprintf(buf, sizeof buf, "%llu", static_cast<unsigned long long>(++next_));
  std::string id = buf;
  id.push_back('X');
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (unsigned char b : noise) {
    id.push_back(kHex[b >> 4]);
    id.push_back(kHex[b & 15]);
  }
  auto session = std::make_unique<ServerSession>();
  session->Id = id;
  ServerSession& ref = *session;
  sessions_[id] = std::move(session);
  return ref;
}

ServerSession* SessionStore::Find(const std::string& id) {
  auto it = sessions_.find(id);
  return it == sessions_.end() ? nullptr : it->second.get();
}

bool SessionStore::Close(const std::string& id) { return sessions_.erase(id) > 0; }

}  // namespace quillorn::server
