#include "transport/dataset_monitor.h"

#include "transport/codec.h"

namespace quillorn::transport {
namespace {

using VT = TRpcValueTypes;

// The value a row holds for one table field, or null for a value that a field of
// that type can't carry.
TRpcValue FieldValue(const IRpcMonitoredTable& table, std::size_t index, const TRpcTableField& field) {
  if (field.Blob) return MakeValue<TRpcByteStream>(table.AsBlob(index));
  switch (NaturalValueType(field.Type)) {
    case VT::rpc_Text: return MakeValue<TRpcTextValue>(table.AsText(index));
    case VT::rpc_String: return MakeValue<TRpcStringValue>(table.AsText(index));
    case VT::rpc_Currency: return MakeValue<TRpcCurrencyValue>(table.AsCurrency(index));
    case VT::rpc_DateTime: return MakeValue<TRpcDateTimeValue>(table.AsDateTime(index));
    case VT::rpc_Integer: return MakeValue<TRpcIntegerValue>(table.AsVariant(index).AsInt());
    case VT::rpc_LargeInt: return MakeValue<TRpcLargeIntValue>(table.AsVariant(index).AsInt64());
    case VT::rpc_Cardinal:
      return MakeValue<TRpcCardinalValue>(static_cast<std::uint32_t>(table.AsVariant(index).AsInt64()));
    case VT::rpc_Boolean: return MakeValue<TRpcBooleanValue>(table.AsVariant(index).AsBool());
    case VT::rpc_Float: return MakeValue<TRpcFloatValue>(table.AsVariant(index).AsDouble());
    case VT::rpc_ByteStream: return MakeValue<TRpcByteStream>(table.AsVariant(index).AsString());
    default: return {};
  }
}

}  // namespace

TRpcDataSetRecorder::TRpcDataSetRecorder(IRpcMonitoredTable* table) : table_(table) {
  if (table_ == nullptr) throw ERpcDB("Can not create TRpcDataSetRecorder without a DataSet");
}

void TRpcDataSetRecorder::StartRecord() {
  actions_ = std::make_unique<TRpcArray>();
  rows_ = std::make_unique<TRpcDataSet>();
  for (std::size_t i = 0; i < table_->FieldCount(); ++i) {
    const TRpcTableField field = table_->FieldInfo(i);
    if (!field.Calculated) rows_->AddField(field.Name, field.Type, field.Size, field.Required);
  }
  pending_ = false;
}

void TRpcDataSetRecorder::AppendCurrentRow() {
  auto row = std::make_unique<TRpcDataRow>();
  for (std::size_t i = 0; i < rows_->FieldCount(); ++i) {
    const std::string& name = rows_->FieldDef(i).Name;
    const std::ptrdiff_t index = table_->FindField(name);
    if (index < 0) continue;
    const auto at = static_cast<std::size_t>(index);
    const TRpcTableField field = table_->FieldInfo(at);
    if (field.Calculated || table_->IsNull(at)) continue;  // null simply doesn't stand in the row
    TRpcValue value = FieldValue(*table_, at, field);
    if (!value.IsNull()) row->AppendField(name, std::move(value));
  }
  rows_->AppendRow(std::move(row));
}

void TRpcDataSetRecorder::DeletePendingRow() {
  if (pending_ && rows_ && rows_->RowCount() > 0) rows_->DeleteRow(rows_->RowCount() - 1);
  pending_ = false;
}

void TRpcDataSetRecorder::BeforeChange() {
  if (!actions_) StartRecord();
  remembered_count_ = table_->RecordCount();
  DeletePendingRow();
  AppendCurrentRow();
  pending_ = true;
}

void TRpcDataSetRecorder::AfterChange() {
  if (!actions_) {
    StartRecord();
    remembered_count_ = 0;
  }
  const std::int64_t count = table_->RecordCount();
  if (count > remembered_count_) {
    DeletePendingRow();
    AppendCurrentRow();
    actions_->Append(IntegerValue(1));
  } else if (count < remembered_count_) {
    if (!pending_) throw ERpcDB("Row deleted without calling BeforeChange");
    pending_ = false;  // the row as it was before the deletion stays
    actions_->Append(IntegerValue(3));
  } else if (pending_) {
    pending_ = false;
    const std::string before = EncodeToCode(rows_->Row(rows_->RowCount() - 1));
    AppendCurrentRow();
    const std::string after = EncodeToCode(rows_->Row(rows_->RowCount() - 1));
    if (before == after) {
      // Saved without a change: neither row is kept and nothing is recorded.
      rows_->DeleteRow(rows_->RowCount() - 1);
      rows_->DeleteRow(rows_->RowCount() - 1);
    } else {
      actions_->Append(IntegerValue(2));
    }
  }
}

void TRpcDataSetRecorder::CancelChange() { DeletePendingRow(); }

TRpcValue TRpcDataSetRecorder::PeekChanges() const {
  if (!actions_ || actions_->Count() == 0) return {};
  std::unique_ptr<TRpcValueObject> rows = rows_->Clone();
  // The row of a change still under way is not part of the record yet.
  if (pending_) static_cast<TRpcDataSet&>(*rows).DeleteRow(rows_->RowCount() - 1);
  auto record = std::make_unique<TRpcArray>();
  record->Append(TRpcValue(actions_->Clone()));
  record->Append(TRpcValue(std::move(rows)));
  return TRpcValue(std::move(record));
}

TRpcValue TRpcDataSetRecorder::ExtractChanges() {
  if (!actions_) return {};
  std::unique_ptr<TRpcDataRow> pending_row;
  if (pending_) {
    if (actions_->Count() == 0) return {};
    const std::size_t last = rows_->RowCount() - 1;
    if (const TRpcDataRow* row = rows_->Row(last)) pending_row = std::make_unique<TRpcDataRow>(*row);
    rows_->DeleteRow(last);
  } else if (actions_->Count() == 0) {
    actions_.reset();
    rows_.reset();
    return {};
  }
  auto record = std::make_unique<TRpcArray>();
  record->Append(TRpcValue(std::move(actions_)));
  record->Append(TRpcValue(std::move(rows_)));
  if (pending_) {
    StartRecord();
    rows_->AppendRow(std::move(pending_row));
    pending_ = true;
  }
  return TRpcValue(std::move(record));
}

TRpcDataSetMonitor::~TRpcDataSetMonitor() { SetActive(false); }

void TRpcDataSetMonitor::SetDataSet(IRpcMonitoredTable* table) {
  SetActive(false);
  table_ = table;
}

void TRpcDataSetMonitor::SetActive(bool active) {
  if (active == Active()) return;
  if (!active) {
    if (table_ != nullptr) table_->Events() = std::move(saved_);
    saved_ = {};
    recorder_.reset();
    return;
  }
  recorder_ = std::make_unique<TRpcDataSetRecorder>(table_);
  TRpcTableEvents& events = table_->Events();
  saved_ = events;
  TRpcDataSetRecorder* recorder = recorder_.get();
  // Our step first, then whatever handler stood there before.
  auto chain = [](std::function<void()> own, std::function<void()> previous) {
    return [own = std::move(own), previous = std::move(previous)] {
      own();
      if (previous) previous();
    };
  };
  events.BeforeEdit = chain([recorder] { recorder->BeforeChange(); }, saved_.BeforeEdit);
  events.BeforeDelete = chain([recorder] { recorder->BeforeChange(); }, saved_.BeforeDelete);
  events.BeforeInsert = chain([recorder] { recorder->CancelChange(); }, saved_.BeforeInsert);
  events.AfterCancel = chain([recorder] { recorder->CancelChange(); }, saved_.AfterCancel);
  events.AfterPost = chain([recorder] { recorder->AfterChange(); }, saved_.AfterPost);
  events.AfterDelete = chain([recorder] { recorder->AfterChange(); }, saved_.AfterDelete);
}

TRpcValue TRpcDataSetMonitor::ExtractChanges() { return recorder_ ? recorder_->ExtractChanges() : TRpcValue(); }

TRpcValue TRpcDataSetMonitor::PeekChanges() const { return recorder_ ? recorder_->PeekChanges() : TRpcValue(); }

}  // namespace quillorn::transport
