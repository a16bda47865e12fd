// Rows of the server's database as a data set for the wire: field definitions
// from the declared column types, values in each field type's value type.
// Never loses a value: a column whose data do not fit its declared type is
// widened (32 to 64 bits, whole numbers to floats, numbers to text).
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "server/store.h"
#include "transport/rpc_dataset.h"

namespace quillorn::server {

struct WireField {
  transport::TRpcFieldTypes Type = transport::TRpcFieldTypes::ft_Unknown;
  std::int32_t Size = 0;
  bool operator==(const WireField&) const = default;
};

// The wire type of a declared SQL type; ft_Unknown when the declaration says
// nothing (an expression, or no type at all), so that the data decide.
WireField FieldForDeclType(std::string_view declType);

// Raises StoreError when a date or currency column holds text that is neither.
std::unique_ptr<transport::TRpcDataSet> ToDataSet(const StoreRows& rows);

}  // namespace quillorn::server
