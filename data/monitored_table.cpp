#include "data/monitored_table.h"

#include <cmath>

#include "foundation/paths.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

using transport::TRpcFieldTypes;

TRpcFieldTypes RpcFieldType(const FieldDef& field) {
  const std::string decl = foundation::UpperCase(field.declType);
  switch (field.kind) {
    case FieldKind::Integer: return TRpcFieldTypes::ft_Integer;
    case FieldKind::Float: return TRpcFieldTypes::ft_Float;
    case FieldKind::Boolean: return TRpcFieldTypes::ft_Boolean;
    case FieldKind::String:
      if (decl.rfind("WIDE", 0) == 0) return TRpcFieldTypes::ft_WideString;
      return TRpcFieldTypes::ft_String;
    case FieldKind::DateTime:
      return foundation::Trim(decl) == "DATE" ? TRpcFieldTypes::ft_Date : TRpcFieldTypes::ft_DateTime;
    case FieldKind::Blob: return TRpcFieldTypes::ft_Blob;
    case FieldKind::Memo: return TRpcFieldTypes::ft_Memo;
    case FieldKind::Unknown: break;
  }
  throw transport::ERpcDB(std::string(transport::kUnsupportedFieldType));
}

MonitoredTable::MonitoredTable(Table& table) : table_(&table) { table_->AddObserver(this); }

MonitoredTable::~MonitoredTable() { table_->RemoveObserver(this); }

std::size_t MonitoredTable::FieldCount() const { return table_->FieldDefs().size(); }

transport::TRpcTableField MonitoredTable::FieldInfo(std::size_t index) const {
  const FieldDef& def = table_->FieldDefs().at(index);
  transport::TRpcTableField info;
  info.Name = def.name;
  info.Type = RpcFieldType(def);
  info.Size = def.kind == FieldKind::String ? def.size : 0;
  info.Required = def.required;
  info.Blob = def.kind == FieldKind::Blob || def.kind == FieldKind::Memo;
  info.Calculated = def.calculated;
  return info;
}

std::ptrdiff_t MonitoredTable::FindField(std::string_view name) const {
  const auto& defs = table_->FieldDefs();
  for (std::size_t i = 0; i < defs.size(); ++i) {
    if (foundation::SameText(defs[i].name, name)) return static_cast<std::ptrdiff_t>(i);
  }
  return -1;
}

std::int64_t MonitoredTable::RecordCount() const { return table_->RecordCount(); }

bool MonitoredTable::IsNull(std::size_t field) const { return At(field).IsNull(); }

std::string MonitoredTable::AsText(std::size_t field) const { return At(field).AsString(); }

std::string MonitoredTable::AsBlob(std::size_t field) const { return At(field).AsString(); }

std::int64_t MonitoredTable::AsCurrency(std::size_t field) const {
  return std::llround(At(field).AsFloat() * static_cast<double>(transport::kCurrencyScale));
}

foundation::TDateTime MonitoredTable::AsDateTime(std::size_t field) const { return At(field).AsDateTime(); }

platform::Variant MonitoredTable::AsVariant(std::size_t field) const { return At(field).Value(); }

void MonitoredTable::OnTableEvent(Table&, TableEvent event) {
  // Copied before the call: a handler may switch the monitor off and so
  // replace the slots while one of them runs.
  std::function<void()> handler;
  switch (event) {
    case TableEvent::BeforeEdit: handler = events_.BeforeEdit; break;
    case TableEvent::BeforeDelete: handler = events_.BeforeDelete; break;
    case TableEvent::BeforeInsert: handler = events_.BeforeInsert; break;
    case TableEvent::AfterCancel: handler = events_.AfterCancel; break;
    case TableEvent::AfterPost: handler = events_.AfterPost; break;
    case TableEvent::AfterDelete: handler = events_.AfterDelete; break;
    default: return;
  }
  if (handler) handler();
}

}  // namespace quillorn::data
