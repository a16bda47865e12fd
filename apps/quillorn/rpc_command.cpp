// `quillorn rpc`: calls one remote function through the client module, with
// the session, key exchange and compression of the real add-in, and prints the
// result as JSON. A transport failure prints its text and exits 1; a result
// that is an exception value exits 3, so that a script can tell a refusal
// from a result.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "apps/quillorn/commands.h"
#include "platform/queue_main_loop.h"
#include "transport/rpc_client_module.h"
#include "transport/rpc_http_client.h"
#include "transport/value_json.h"

namespace quillorn::apps {
namespace {

constexpr int kNoAnswerStatus = 1;
constexpr int kExceptionStatus = 3;

struct RpcOptions {
  std::string server;
  std::string path = "/cms";
  bool no_encryption = false;
  std::string compression = "max";
  int timeout = 10;
  std::string function;
  std::vector<std::string> params;
};

transport::TRpcCompressLevel ParseLevel(const std::string& name) {
  if (name == "none") return transport::TRpcCompressLevel::cNone;
  if (name == "fast") return transport::TRpcCompressLevel::cFast;
  if (name == "default") return transport::TRpcCompressLevel::cDefault;
  return transport::TRpcCompressLevel::cMax;
}

// NAME=TEXT, NAME:int=N or NAME:bool=true|false.
void SetParam(transport::TRpcFunctionInfo& call, const std::string& param) {
  const auto eq = param.find('=');
  if (eq == std::string::npos || eq == 0) throw CLI::ValidationError("parameter", "expected NAME=VALUE: " + param);
  std::string name = param.substr(0, eq);
  const std::string value = param.substr(eq + 1);
  const auto colon = name.rfind(':');
  const std::string type = colon == std::string::npos ? "" : name.substr(colon + 1);
  if (colon != std::string::npos) name.resize(colon);
  if (type.empty() || type == "text") {
    call.SetText(name, value);
  } else if (type == "int") {
    try {
      call.SetInteger(name, std::stoi(value));
    } catch (const std::exception&) {
      throw CLI::ValidationError("parameter", "not an integer: " + param);
    }
  } else if (type == "bool") {
    if (value != "true" && value != "false") throw CLI::ValidationError("parameter", "true or false: " + param);
    call.SetBoolean(name, value == "true");
  } else {
    throw CLI::ValidationError("parameter", "unknown type '" + type + "' in " + param);
  }
}

void RunRpc(const RpcOptions& options) {
  const auto colon = options.server.rfind(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == options.server.size()) {
    throw CLI::ValidationError("--server", "expected HOST:PORT");
  }
  platform::QueueMainLoop loop;
  transport::TRpcHttpClient client(loop);
  client.SetServerAddr(options.server.substr(0, colon));
  client.SetServerPort(options.server.substr(colon + 1));
  client.SetTimeouts(5, options.timeout > 0 ? options.timeout : 300);
  transport::TRpcClientModule module(client);
  module.ModuleFileName = options.path;
  module.Compression = ParseLevel(options.compression);
  module.EncryptionKey = options.no_encryption ? 0 : 8;
  module.SecureKey = "K7r@vQ2x";
  module.AutoSessions = true;
  module.AutoRepost = 2;

  auto& call = module.Prepare(options.function);
  for (const auto& param : options.params) SetParam(call, param);
  try {
    transport::TRpcValue result = module.Execute(true, options.timeout, true);
    std::cout << transport::ValueToJsonText(result) << "\n";
    if (result.ValueType() == transport::TRpcValueTypes::rpc_Exception) throw CLI::RuntimeError(kExceptionStatus);
  } catch (const transport::ERpcExecuteError& e) {
    std::cerr << e.what() << "\n";
    throw CLI::RuntimeError(kNoAnswerStatus);
  } catch (const transport::ERpcClientError& e) {
    std::cerr << e.what() << "\n";
    throw CLI::RuntimeError(kNoAnswerStatus);
  }
}

}  // namespace

void RegisterRpcCommand(CLI::App& app) {
  auto options = std::make_shared<RpcOptions>();
  auto* rpc = app.add_subcommand("rpc", "call one remote function and print its result as JSON");
  rpc->add_option("--server", options->server, "HOST:PORT of the server")->required();
  rpc->add_option("--path", options->path, "module path")->capture_default_str();
  rpc->add_flag("--no-encryption", options->no_encryption, "send without the key exchange");
  rpc->add_option("--compression", options->compression, "none, fast, default or max")
      ->check(CLI::IsMember({"none", "fast", "default", "max"}))
      ->capture_default_str();
  rpc->add_option("--timeout", options->timeout, "seconds to wait; 0 waits without limit")->capture_default_str();
  rpc->add_option("function", options->function, "the remote function")->required();
  rpc->add_option("params", options->params, "NAME=TEXT, NAME:int=N or NAME:bool=true|false");
  rpc->footer("Exit status: 0 for a result; 3 when the result is an exception value (printed like any "
              "result: the server answered, and refused); 1 when no answer came (its text on stderr); "
              "other values for wrong arguments.");
  rpc->callback([options] { RunRpc(*options); });
}

}  // namespace quillorn::apps
