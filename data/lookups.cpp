#include "data/lookups.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "data/fetching.h"
#include "data/proc_name_scope.h"
#include "data/remote_catalogue.h"
#include "foundation/context.h"
#include "foundation/log.h"
#include "transport/rpc_dataset.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

namespace {

using transport::TRpcValue;
using transport::TRpcValueTypes;

// The first row of a reply as a lookup value. Two or more columns give an
// array even when no row came, so that callers can index it blindly.
Variant FirstRowValue(const transport::TRpcDataSet& set) {
  const transport::TRpcDataRow* row = set.RowCount() > 0 ? set.Row(0) : nullptr;
  auto value = [&](std::size_t column) {
    // A reply row leaves out the fields that are null.
    if (row == nullptr) return Variant::Null();
    Variant v = row->GetVariant(set.FieldDef(column).Name);
    return v.IsEmpty() ? Variant::Null() : v;
  };
  if (set.FieldCount() > 1) {
    platform::VariantList fields;
    fields.reserve(set.FieldCount());
    for (std::size_t i = 0; i < set.FieldCount(); ++i) fields.push_back(value(i));
    return Variant(std::move(fields));
  }
  if (set.FieldCount() == 1) return value(0);
  return Variant::Null();
}

}  // namespace

Variant lookup(Tdm& dm, const std::string& SQL) {
  foundation::ContextScope scope(dm.Context());
  ProcNameScope proc("dm.lookup");
  Variant result(std::int32_t{0});
  transport::TRpcClientModule& module = dm.Connection.ClientModule;
  PrepareSelect(module, SQL);
  foundation::LogTrace("SERVER CALL: select (WAIT FOR RESULT)", "SQL: " + SQL);
  // No limit of our own: the transport's reposts decide when to give up.
  const TRpcValue reply = module.Execute(true, 0, true);
  switch (reply.ValueType()) {
    case TRpcValueTypes::rpc_DataSet:
      result = FirstRowValue(reply.AsDataSet());
      break;
    case TRpcValueTypes::rpc_Exception:
      foundation::LogException(nullptr, "Server-side exception after Select:\r" + reply.AsException().Message());
      break;
    default:
      foundation::LogException(nullptr, "Unexpected Result after Select");
      break;
  }
  return result;
}

Variant lookup(Tdm& dm, const std::string& Fields, const std::string& Table, const std::string& Where) {
  std::string sql = "Select " + Fields + " from " + Table;
  if (!Where.empty()) sql += " where " + Where;
  return lookup(dm, sql);
}

bool ExecSQL(Tdm& dm, const std::string& SQL) {
  foundation::ContextScope scope(dm.Context());
  ProcNameScope proc("dm.ExecSQL");
  foundation::LogTrace("SERVER CALL:  execsql (WAIT FOR RESULT)", "SQL: " + SQL);
  transport::TRpcClientModule& module = dm.Connection.ClientModule;
  PrepareExecSql(module, SQL);
  const TRpcValue reply = module.Execute(true, 0, true);
  switch (reply.ValueType()) {
    case TRpcValueTypes::rpc_Boolean:
      return reply.AsBoolean();
    case TRpcValueTypes::rpc_Exception:
      foundation::LogException(nullptr, "Server-side exception after Execsql:\r\n" + reply.AsException().Message());
      return false;
    default:
      foundation::LogException(nullptr, "Unexpected Result after Execsql");
      return false;
  }
}

std::string getCodeVal(Tdm& dm, const std::string& DType, const std::string& Code) {
  foundation::ContextScope scope(dm.Context());
  // A fetch that this may start lands later: the answer is what the cache holds now.
  OpenCodes(dm, Fetch::IfNeeded);
  const Variant value = dm.tblCodes.Lookup("d_type;code", Variant(platform::VariantList{DType, Code}), "val");
  return value.IsEmptyOrNull() ? std::string() : value.AsString();
}

}  // namespace quillorn::data
