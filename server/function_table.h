// The server's remote functions, registered by name: each takes the call's
// parameters and returns a value or throws. Running a batch never stops at a
// failing call: its place among the results holds an exception value instead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "transport/rpc_value.h"

namespace quillorn::server {

using RpcFunction = std::function<transport::TRpcValue(const transport::TRpcRecord& params)>;

class FunctionTable {
 public:
  void Register(const std::string& name, RpcFunction function);
  bool Contains(const std::string& name) const;

  // Runs the calls of `code` in order; their results' code, one behind the other.
  // A result that would take the whole past the answer limit is an exception
  // in its place. Raises ERpcInfo when the code itself does not decode.
  std::string Process(std::string_view code) const;
  void SetAnswerLimit(std::size_t bytes) noexcept { answer_limit_ = bytes; }

  // What an unknown function gives in its result's place.
  static std::string UnknownFunctionMessage(std::string_view name);

 private:
  std::map<std::string, RpcFunction> functions_;
  std::size_t answer_limit_ = SIZE_MAX;
};

// The functions every server answers: "youthere" gives true.
void RegisterDefaultFunctions(FunctionTable& table);

}  // namespace quillorn::server
