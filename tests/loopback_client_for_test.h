// The client module as the add-in configures it, pointed at a server on
// 127.0.0.1, with a main loop of its own. Test code only.
#pragma once

#include <string>

#include "platform/queue_main_loop.h"
#include "transport/rpc_client_module.h"
#include "transport/rpc_http_client.h"

namespace quillorn::testing {

struct LoopbackClient {
  LoopbackClient(int port, int autoRepost) {
    http.SetServerAddr("127.0.0.1");
    http.SetServerPort(std::to_string(port));
    http.SetTimeouts(5, 20);
    module.ModuleFileName = "/cms";
    module.Compression = transport::TRpcCompressLevel::cMax;
    module.EncryptionKey = 8;
    module.SecureKey = "K7r@vQ2x";
    module.AutoSessions = true;
    module.AutoRepost = autoRepost;
  }

  platform::QueueMainLoop loop;
  transport::TRpcHttpClient http{loop};
  transport::TRpcClientModule module{http};
};

}  // namespace quillorn::testing
