#include "transport/value_json.h"

#include <cstdint>
#include <limits>
#include <type_traits>

#include "transport/rpc_dataset.h"
#include "transport/utf16.h"

namespace quillorn::transport {
namespace {

using json = nlohmann::ordered_json;
using VT = TRpcValueTypes;

[[noreturn]] void Bad(const std::string& what) { throw ERpcInfo("Invalid value JSON: " + what); }

std::string Hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

std::string Unhex(const std::string& hex) {
  auto nibble = [&](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    Bad("\"hex\" holds a non-hex character");
  };
  if (hex.size() % 2 != 0) Bad("\"hex\" has an odd length");
  std::string out(hex.size() / 2, '\0');
  for (std::size_t i = 0; i < out.size(); ++i) {
    out[i] = static_cast<char>(nibble(hex[2 * i]) << 4 | nibble(hex[2 * i + 1]));
  }
  return out;
}

template <typename T>
const typename T::ValueTypeT& V(const TRpcValueObject& o) {
  return static_cast<const T&>(o).Value();
}

json Fields(const TRpcRecord& record) {
  json fields = json::array();
  for (std::size_t i = 0; i < record.Count(); ++i) {
    const auto& f = record.FieldAt(i);
    fields.push_back(json::array({f.Name, ValueToJson(f.Value.Get())}));
  }
  return fields;
}

const json& Member(const json& j, const char* name) {
  const auto it = j.find(name);
  if (it == j.end()) Bad(std::string("missing \"") + name + "\"");
  return *it;
}

template <typename T>
T Number(const json& j, const char* name) {
  const json& v = Member(j, name);
  if (!v.is_number()) Bad(std::string("\"") + name + "\" is no number");
  if constexpr (std::is_floating_point_v<T>) {
    return v.get<T>();
  } else {
    // nlohmann would truncate silently; a value out of range is refused instead.
    if (!v.is_number_integer()) Bad(std::string("\"") + name + "\" is no integer");
    if (v.is_number_unsigned()) {
      const auto u = v.get<std::uint64_t>();
      if (u > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) Bad(std::string("\"") + name + "\" is out of range");
      return static_cast<T>(u);
    }
    const auto i = v.get<std::int64_t>();
    if (i < static_cast<std::int64_t>(std::numeric_limits<T>::min()) ||
        (i > 0 && static_cast<std::uint64_t>(i) > static_cast<std::uint64_t>(std::numeric_limits<T>::max()))) {
      Bad(std::string("\"") + name + "\" is out of range");
    }
    return static_cast<T>(i);
  }
}

std::string Str(const json& j, const char* name) {
  const json& v = Member(j, name);
  if (!v.is_string()) Bad(std::string("\"") + name + "\" is no string");
  return v.get<std::string>();
}

void ReadFields(const json& list, TRpcRecord& record) {
  if (!list.is_array()) Bad("\"fields\" is no array");
  for (const json& pair : list) {
    if (!pair.is_array() || pair.size() != 2 || !pair[0].is_string()) Bad("a field is no [name, value] pair");
    record.Set(pair[0].get<std::string>(), ValueFromJson(pair[1]));
  }
}

template <typename T>
TRpcValue Make(typename T::ValueTypeT v) {
  return MakeValue<T>(std::move(v));
}

}  // namespace

json ValueToJson(const TRpcValueObject* object) {
  if (object == nullptr) return json{{"t", "X"}};
  const TRpcValueObject& o = *object;
  const VT type = o.ValueType();
  json j{{"t", std::string(TypeCode(type))}};
  switch (type) {
    case VT::rpc_Null:
    case VT::rpc_Variant: j["t"] = "X"; break;
    case VT::rpc_Text: j["v"] = V<TRpcTextValue>(o); break;
    case VT::rpc_Variable: j["v"] = V<TRpcVariableName>(o); break;
    case VT::rpc_WideString: j["v"] = Utf16ToUtf8(V<TRpcWideStringValue>(o)); break;
    case VT::rpc_String: j["hex"] = Hex(V<TRpcStringValue>(o)); break;
    case VT::rpc_ByteStream: j["hex"] = Hex(V<TRpcByteStream>(o)); break;
    case VT::rpc_ByteArray: j["hex"] = Hex(V<TRpcByteArray>(o)); break;
    case VT::rpc_Boolean: j["v"] = V<TRpcBooleanValue>(o); break;
    case VT::rpc_Integer: j["v"] = V<TRpcIntegerValue>(o); break;
    case VT::rpc_Cardinal: j["v"] = V<TRpcCardinalValue>(o); break;
    case VT::rpc_LargeInt: j["v"] = V<TRpcLargeIntValue>(o); break;
    case VT::rpc_OID: j["v"] = V<TRpcOIDValue>(o); break;
    case VT::rpc_Float: j["v"] = V<TRpcFloatValue>(o); break;
    case VT::rpc_Currency: j["v"] = V<TRpcCurrencyValue>(o); break;
    case VT::rpc_DateTime: j["v"] = V<TRpcDateTimeValue>(o); break;
    case VT::rpc_Exception: {
      const auto& e = static_cast<const TRpcExceptionValue&>(o);
      j["code"] = e.Code();
      j["msg"] = e.Message();
      if (!e.Data().IsNull()) j["data"] = ValueToJson(e.Data().Get());
      break;
    }
    case VT::rpc_Array: {
      const auto& a = static_cast<const TRpcArray&>(o);
      json items = json::array();
      for (std::size_t i = 0; i < a.Count(); ++i) items.push_back(ValueToJson(a[i].Get()));
      j["items"] = std::move(items);
      break;
    }
    case VT::rpc_Record: j["fields"] = Fields(static_cast<const TRpcRecord&>(o)); break;
    case VT::rpc_Function: {
      const auto& call = static_cast<const TRpcFunctionInfo&>(o);
      j["name"] = call.Name();
      j["fields"] = Fields(call);
      break;
    }
    case VT::rpc_DataSet: {
      const auto& set = static_cast<const TRpcDataSet&>(o);
      json defs = json::array();
      for (std::size_t i = 0; i < set.FieldCount(); ++i) {
        const auto& d = set.FieldDef(i);
        defs.push_back(json::array({d.Name, std::string(FieldTypeCode(d.Type)), d.Size, d.Required}));
      }
      json rows = json::array();
      for (std::size_t i = 0; i < set.RowCount(); ++i) {
        const TRpcDataRow* row = set.Row(i);
        rows.push_back(row ? Fields(*row) : json(nullptr));
      }
      j["fields"] = std::move(defs);
      j["rows"] = std::move(rows);
      break;
    }
  }
  return j;
}

TRpcValue ValueFromJson(const json& j) {
  if (!j.is_object()) Bad("a value is no object");
  const std::string t = Str(j, "t");
  if (t == "X") return {};
  if (t == "T") return Make<TRpcTextValue>(Str(j, "v"));
  if (t == "V") return Make<TRpcVariableName>(Str(j, "v"));
  if (t == "W") return Make<TRpcWideStringValue>(Utf8ToUtf16(Str(j, "v")));
  if (t == "S") return Make<TRpcStringValue>(Unhex(Str(j, "hex")));
  if (t == "BS") return Make<TRpcByteStream>(Unhex(Str(j, "hex")));
  if (t == "BA") return Make<TRpcByteArray>(Unhex(Str(j, "hex")));
  if (t == "B") {
    const json& v = Member(j, "v");
    if (!v.is_boolean()) Bad("\"v\" is no boolean");
    return BooleanValue(v.get<bool>());
  }
  if (t == "I") return Make<TRpcIntegerValue>(Number<std::int32_t>(j, "v"));
  if (t == "K") return Make<TRpcCardinalValue>(Number<std::uint32_t>(j, "v"));
  if (t == "L") return Make<TRpcLargeIntValue>(Number<std::int64_t>(j, "v"));
  if (t == "O") return Make<TRpcOIDValue>(Number<std::int64_t>(j, "v"));
  if (t == "F") return Make<TRpcFloatValue>(Number<double>(j, "v"));
  if (t == "C") return Make<TRpcCurrencyValue>(Number<std::int64_t>(j, "v"));
  if (t == "D") return Make<TRpcDateTimeValue>(Number<double>(j, "v"));
  if (t == "E") {
    auto e = std::make_unique<TRpcExceptionValue>(Number<std::int32_t>(j, "code"), Str(j, "msg"));
    if (const auto it = j.find("data"); it != j.end()) e->Data() = ValueFromJson(*it);
    return TRpcValue(std::move(e));
  }
  if (t == "AR") {
    const json& items = Member(j, "items");
    if (!items.is_array()) Bad("\"items\" is no array");
    auto array = std::make_unique<TRpcArray>();
    for (const json& item : items) array->Append(ValueFromJson(item));
    return TRpcValue(std::move(array));
  }
  if (t == "RE") {
    auto record = std::make_unique<TRpcRecord>();
    ReadFields(Member(j, "fields"), *record);
    return TRpcValue(std::move(record));
  }
  if (t == "FC") {
    auto call = std::make_unique<TRpcFunctionInfo>(Str(j, "name"));
    ReadFields(Member(j, "fields"), *call);
    return TRpcValue(std::move(call));
  }
  if (t == "DS") {
    auto set = std::make_unique<TRpcDataSet>();
    const json& defs = Member(j, "fields");
    if (!defs.is_array()) Bad("\"fields\" is no array");
    for (const json& d : defs) {
      if (!d.is_array() || d.size() != 4 || !d[0].is_string() || !d[1].is_string() || !d[2].is_number_integer() ||
          !d[3].is_boolean()) {
        Bad("a field definition is no [name, type, size, required]");
      }
      TRpcFieldTypes type{};
      if (!FieldTypeFromCode(d[1].get<std::string>(), type)) Bad("unknown field type " + d[1].get<std::string>());
      set->AddField(d[0].get<std::string>(), type, d[2].get<std::int32_t>(), d[3].get<bool>());
    }
    const json& rows = Member(j, "rows");
    if (!rows.is_array()) Bad("\"rows\" is no array");
    for (const json& row : rows) {
      if (row.is_null()) {
        set->AppendRow(nullptr);
      } else {
        ReadFields(row, set->AppendRow());
      }
    }
    return TRpcValue(std::move(set));
  }
  Bad("unknown type \"" + t + "\"");
}

std::string ValueToJsonText(const TRpcValue& value) {
  return ValueToJson(value).dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace quillorn::transport
