// The client's key state for one session and module (TRpcCryptClient) and the
// session that holds it. Plain data: the module decides every transition, and
// nothing here ever talks to the network.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "transport/rpc_crypt.h"

namespace quillorn::transport {

struct TRpcCryptClient {
  bool HaveHello = false;
  bool HaveStart = false;
  bool AllReady = false;
  std::int32_t ControlCounter = 0;
  std::string ClientHello, ServerHello, ClientKey, ServerKey;
  std::string ControlKey;  // of the message now under way
  std::unique_ptr<TRpcCrypt> Read, Write;
};

// A session as the server's cookie opened it; an empty Id is the state before
// any session (or after one closed), which may still hold key state.
struct TRpcClientSession {
  std::string Id;
  std::map<std::string, std::unique_ptr<TRpcCryptClient>> Objects;
};

}  // namespace quillorn::transport
