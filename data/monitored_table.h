// Lets a change monitor of the transport watch a Table: the table's fields in
// the wire's field types, its current values and the six events a monitor hooks.
// Only reads the table; recording and sending are the monitor's business.
#pragma once

#include "data/table.h"
#include "transport/dataset_monitor.h"

namespace quillorn::data {

// The wire's field type of a column, by its declared type; raises ERpcDB for a
// column without one.
transport::TRpcFieldTypes RpcFieldType(const FieldDef& field);

class MonitoredTable : public transport::IRpcMonitoredTable, private TableObserver {
 public:
  explicit MonitoredTable(Table& table);
  ~MonitoredTable() override;
  MonitoredTable(const MonitoredTable&) = delete;
  MonitoredTable& operator=(const MonitoredTable&) = delete;

  Table& table() const { return *table_; }

  std::size_t FieldCount() const override;
  transport::TRpcTableField FieldInfo(std::size_t index) const override;
  std::ptrdiff_t FindField(std::string_view name) const override;
  std::int64_t RecordCount() const override;
  bool IsNull(std::size_t field) const override;
  std::string AsText(std::size_t field) const override;
  std::string AsBlob(std::size_t field) const override;
  std::int64_t AsCurrency(std::size_t field) const override;
  foundation::TDateTime AsDateTime(std::size_t field) const override;
  platform::Variant AsVariant(std::size_t field) const override;
  transport::TRpcTableEvents& Events() override { return events_; }

 private:
  void OnTableEvent(Table& table, TableEvent event) override;
  Field At(std::size_t index) const { return table_->Fields(static_cast<int>(index)); }

  Table* table_;
  transport::TRpcTableEvents events_;
};

}  // namespace quillorn::data
