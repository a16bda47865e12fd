// The JSON picture of a value tree, for diagnostics (`quillorn wire decode|encode`):
// one object per value with "t" first, byte payloads as lower-case hex. Never used on the wire.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "transport/rpc_value.h"

namespace quillorn::transport {

nlohmann::ordered_json ValueToJson(const TRpcValueObject* object);  // nullptr is {"t":"X"}
inline nlohmann::ordered_json ValueToJson(const TRpcValue& value) { return ValueToJson(value.Get()); }
// Raises ERpcInfo for a JSON object that is no value picture.
TRpcValue ValueFromJson(const nlohmann::ordered_json& json);

// One line of JSON text; bytes that are no UTF-8 become U+FFFD.
std::string ValueToJsonText(const TRpcValue& value);

}  // namespace quillorn::transport
