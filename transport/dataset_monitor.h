// Records what happens to a table (inserts, updates with before and after rows,
// deletes) as the change record that travels to the server. It only listens to
// the table's events and reads its current row; it never writes to the table.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "foundation/datetime.h"
#include "platform/variant.h"
#include "transport/rpc_dataset.h"
#include "transport/rpc_value.h"

namespace quillorn::transport {

// The six events a monitor puts itself in front of. The table calls them at the
// named moments; an empty slot is no handler.
struct TRpcTableEvents {
  std::function<void()> BeforeEdit;
  std::function<void()> BeforeDelete;
  std::function<void()> BeforeInsert;
  std::function<void()> AfterCancel;
  std::function<void()> AfterPost;
  std::function<void()> AfterDelete;
};

struct TRpcTableField {
  std::string Name;
  TRpcFieldTypes Type = TRpcFieldTypes::ft_Unknown;
  std::int32_t Size = 0;
  bool Required = false;
  bool Calculated = false;  // never recorded
  bool Blob = false;        // recorded as a byte stream, whatever its type
};

// What a monitor needs of a table. The data layer's table class offers it; its
// own field types are mapped to TRpcFieldTypes there, and a type it can't map
// raises ERpcDB "Unknown or unsupported Field Type".
class IRpcMonitoredTable {
 public:
  virtual ~IRpcMonitoredTable() = default;
  virtual std::size_t FieldCount() const = 0;
  virtual TRpcTableField FieldInfo(std::size_t index) const = 0;
  virtual std::ptrdiff_t FindField(std::string_view name) const = 0;  // -1 when missing
  virtual std::int64_t RecordCount() const = 0;
  // The current row's values.
  virtual bool IsNull(std::size_t field) const = 0;
  virtual std::string AsText(std::size_t field) const = 0;  // text fields as UTF-8, byte fields as bytes
  virtual std::string AsBlob(std::size_t field) const = 0;
  virtual std::int64_t AsCurrency(std::size_t field) const = 0;  // scaled by kCurrencyScale
  virtual foundation::TDateTime AsDateTime(std::size_t field) const = 0;
  virtual platform::Variant AsVariant(std::size_t field) const = 0;
  virtual TRpcTableEvents& Events() = 0;
};

inline constexpr std::string_view kUnsupportedFieldType = "Unknown or unsupported Field Type";

// The recorder behind an active monitor.
class TRpcDataSetRecorder {
 public:
  explicit TRpcDataSetRecorder(IRpcMonitoredTable* table);

  void BeforeChange();
  void AfterChange();
  void CancelChange();

  bool Changed() const noexcept { return actions_ != nullptr && actions_->Count() > 0; }
  // The change record, AR[actions, data set], or null when nothing waits. A
  // pending row stays behind for the change that is still under way.
  TRpcValue ExtractChanges();
  // The record ExtractChanges would give, left where it is: a caller writes it
  // down first and lets it go with ExtractChanges only once that worked.
  TRpcValue PeekChanges() const;

 private:
  void StartRecord();
  void AppendCurrentRow();
  void DeletePendingRow();

  IRpcMonitoredTable* table_;
  std::unique_ptr<TRpcArray> actions_;
  std::unique_ptr<TRpcDataSet> rows_;
  std::int64_t remembered_count_ = 0;
  bool pending_ = false;
};

// Links a table to a recorder while Active.
class TRpcDataSetMonitor {
 public:
  TRpcDataSetMonitor() = default;
  ~TRpcDataSetMonitor();
  TRpcDataSetMonitor(const TRpcDataSetMonitor&) = delete;
  TRpcDataSetMonitor& operator=(const TRpcDataSetMonitor&) = delete;

  IRpcMonitoredTable* DataSet() const noexcept { return table_; }
  void SetDataSet(IRpcMonitoredTable* table);  // deactivates first
  bool Active() const noexcept { return recorder_ != nullptr; }
  void SetActive(bool active);

  bool Changed() const noexcept { return recorder_ && recorder_->Changed(); }
  TRpcValue ExtractChanges();
  TRpcValue PeekChanges() const;

 private:
  IRpcMonitoredTable* table_ = nullptr;
  std::unique_ptr<TRpcDataSetRecorder> recorder_;
  TRpcTableEvents saved_;
};

}  // namespace quillorn::transport
