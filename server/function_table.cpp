#include "server/function_table.h"

#include <cstdint>

#include "server/server_limits.h"
#include "transport/codec.h"

namespace quillorn::server {

using transport::TRpcValue;

void FunctionTable::Register(const std::string& name, RpcFunction function) {
  functions_[name] = std::move(function);
}

bool FunctionTable::Contains(const std::string& name) const { return functions_.count(name) > 0; }

std::string FunctionTable::UnknownFunctionMessage(std::string_view name) {
  return "Unknown function: " + std::string(name);
}

std::string FunctionTable::Process(std::string_view code) const {
  std::string out;
  std::int64_t at = 0;
  const auto size = static_cast<std::int64_t>(code.size());
  while (at < size) {
    TRpcValue call = TRpcValue::FromCode(code, at, transport::kRpcMaxDepth);
    TRpcValue result;
    if (call.ValueType() != transport::TRpcValueTypes::rpc_Function) {
      result = TRpcValue(std::make_unique<transport::TRpcExceptionValue>(0, "Function call expected."));
    } else {
      const auto& function = call.AsFunction();
      auto it = functions_.find(function.Name());
      if (it == functions_.end()) {
        result = TRpcValue(std::make_unique<transport::TRpcExceptionValue>(
            0, UnknownFunctionMessage(function.Name())));
      } else {
        try {
          result = it->second(function);
        } catch (const std::exception& e) {
          result = TRpcValue(std::make_unique<transport::TRpcExceptionValue>(0, e.what()));
        }
      }
    }
    std::string piece = result.toCode();
    if (piece.size() > answer_limit_ || out.size() > answer_limit_ - piece.size()) {
      piece =
          TRpcValue(std::make_unique<transport::TRpcExceptionValue>(0, AnswerTooLargeMessage(answer_limit_)))
              .toCode();
    }
    out += piece;
  }
  return out;
}

void RegisterDefaultFunctions(FunctionTable& table) {
  table.Register("youthere", [](const transport::TRpcRecord&) { return transport::BooleanValue(true); });
}

}  // namespace quillorn::server
