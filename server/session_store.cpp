#include "server/session_store.h"

#include <cstdio>

#include "transport/secure_random.h"

namespace quillorn::server {

void ServerKeyState::RestartStreams() {
  Read.SetKey(ServerKey + ClientHello);
  Write.SetKey(ClientKey + ServerHello);
}

SessionStore::SessionStore(std::size_t most, std::chrono::milliseconds idle,
                           std::function<Clock::time_point()> now)
    : most_(most == 0 ? 1 : most), idle_(idle), now_(std::move(now)) {}

void SessionStore::ForgetIdle(Clock::time_point now) {
  while (!recent_.empty() &&
         std::chrono::duration_cast<std::chrono::milliseconds>(now - recent_.back().used) > idle_) {
    ForgetLeastRecent();
  }
}

void SessionStore::ForgetLeastRecent() {
  index_.erase(recent_.back().session.Id);
  recent_.pop_back();
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
  const Clock::time_point now = now_();
  ForgetIdle(now);
  while (index_.size() >= most_) ForgetLeastRecent();
  recent_.push_front(Entry{ServerSession{id, std::nullopt}, now});
  index_[id] = recent_.begin();
  return recent_.front().session;
}

ServerSession* SessionStore::Find(const std::string& id) {
  const Clock::time_point now = now_();
  ForgetIdle(now);
  auto it = index_.find(id);
  if (it == index_.end()) return nullptr;
  recent_.splice(recent_.begin(), recent_, it->second);
  it->second->used = now;
  return &it->second->session;
}

bool SessionStore::Close(const std::string& id) {
  auto it = index_.find(id);
  if (it == index_.end()) return false;
  recent_.erase(it->second);
  index_.erase(it);
  return true;
}

}  // namespace quillorn::server
