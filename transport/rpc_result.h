// TRpcResult: the handler of one or more calls' replies, and the error that a
// blocking call raises. Handlers always run on the main thread; a result object
// must outlive every request that names it (the module holds it shared).
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "transport/rpc_value.h"

namespace quillorn::transport {

class TRpcClientModule;

class TRpcResult {
 public:
  // `sender` is the module the reply came through; `data` the call as sent.
  using Handler = std::function<void(TRpcClientModule* sender, TRpcValue& data, TRpcValue& result)>;

  Handler OnReturn;        // the decoded result, in the call's order
  Handler RequestAborted;  // the request was given up; `result` is empty
  Handler PreparingCall;   // before sending; clearing `data` drops the call
};

// What Execute raises: the wait's outcome as a code beside the message.
class ERpcExecuteError : public std::runtime_error {
 public:
  ERpcExecuteError(std::int32_t code, const std::string& message)
      : std::runtime_error(message), code_(code) {}
  std::int32_t Code() const noexcept { return code_; }

 private:
  std::int32_t code_;
};

// Misuse of the module itself ("No Data defined. ...").
class ERpcClientError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quillorn::transport
