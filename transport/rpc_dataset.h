// Data sets as they travel: field definitions, then rows that are records of the
// fields that have a value. Also the field type catalogue and each type's natural
// value type. Never touches a database: tables reach it through the monitor.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "transport/rpc_value.h"

namespace quillorn::transport {

// By ordinal, 0 to 51.
enum class TRpcFieldTypes : std::uint8_t {
  ft_Unknown, ft_String, ft_Smallint, ft_Integer, ft_Word, ft_Boolean, ft_Float, ft_Currency,
  ft_BCD, ft_Date, ft_Time, ft_DateTime, ft_Bytes, ft_VarBytes, ft_AutoInc, ft_Blob, ft_Memo,
  ft_Graphic, ft_FmtMemo, ft_ParadoxOle, ft_DBaseOle, ft_TypedBinary, ft_Cursor, ft_FixedChar,
  ft_WideString, ft_Largeint, ft_ADT, ft_Array, ft_Reference, ft_DataSet, ft_OraBlob, ft_OraClob,
  ft_Variant, ft_Interface, ft_IDispatch, ft_Guid, ft_TimeStamp, ft_FMTBcd, ft_FixedWideChar,
  ft_WideMemo, ft_OraTimeStamp, ft_OraInterval, ft_LongWord, ft_Shortint, ft_Byte, ft_Extended,
  ft_Connection, ft_Params, ft_Stream, ft_TimeStampOffset, ft_Object, ft_Single,
};
inline constexpr int kRpcFieldTypeCount = 52;

// The code that stands on the wire ("I", "SI", "WM" ...).
std::string_view FieldTypeCode(TRpcFieldTypes type) noexcept;
// The type of a wire code; false when the code is not one of the 52.
bool FieldTypeFromCode(std::string_view code, TRpcFieldTypes& type) noexcept;
// The value type a row holds for a field of this type when filled from a table.
TRpcValueTypes NaturalValueType(TRpcFieldTypes type) noexcept;

struct TRpcFieldDef {
  std::string Name;  // UTF-8, never empty
  TRpcFieldTypes Type = TRpcFieldTypes::ft_Unknown;
  std::int32_t Size = 0;
  bool Required = false;
  bool operator==(const TRpcFieldDef&) const = default;
};

class TRpcDataSet final : public TRpcValueObject, public TRpcNamedReads<TRpcDataSet> {
 public:
  TRpcValueTypes ValueType() const noexcept override { return TRpcValueTypes::rpc_DataSet; }
  std::unique_ptr<TRpcValueObject> Clone() const override;
  bool Equals(const TRpcValueObject& other) const override;

  // Refuses an empty name and a second field of one name (ignoring case), with ERpcInfo.
  void AddField(std::string name, TRpcFieldTypes type, std::int32_t size = 0, bool required = false);
  std::size_t FieldCount() const noexcept { return fields_.size(); }
  const TRpcFieldDef& FieldDef(std::size_t index) const { return fields_.at(index); }
  std::ptrdiff_t FindField(std::string_view name) const noexcept;  // -1 when missing

  std::size_t RowCount() const noexcept { return rows_.size(); }
  // nullptr for a row without data.
  const TRpcDataRow* Row(std::size_t index) const { return rows_.at(index).get(); }
  TRpcDataRow* Row(std::size_t index) { return rows_.at(index).get(); }
  TRpcDataRow& AppendRow();
  void AppendRow(std::unique_ptr<TRpcDataRow> row) { rows_.push_back(std::move(row)); }  // nullptr: no data
  // Replaces row `index`; the set grows with empty rows up to it. A negative index raises.
  void SetRow(std::int64_t index, std::unique_ptr<TRpcDataRow> row);
  void DeleteRow(std::size_t index);
  void ReserveRows(std::size_t count) { rows_.reserve(count); }
  void ClearRows() noexcept { rows_.clear(); cursor_ = 0; }

  // Walking the rows of a result; the record getters read the current row.
  void First() noexcept { cursor_ = 0; }
  void Next() noexcept { if (cursor_ < rows_.size()) ++cursor_; }
  bool Eof() const noexcept { return cursor_ >= rows_.size(); }
  bool Empty() const noexcept { return rows_.empty(); }
  std::string_view GetFieldName(std::size_t index) const { return fields_.at(index).Name; }
  TRpcFieldTypes GetFieldType(std::size_t index) const { return fields_.at(index).Type; }
  // The current row's value of a field, or nullptr (null, missing, no row).
  // The typed reads of that value (GetString ...) come with TRpcNamedReads.
  const TRpcValueObject* FieldByName(std::string_view name) const noexcept;

 private:
  friend class TRpcNamedReads<TRpcDataSet>;
  const TRpcValueObject* NamedValue(std::string_view name) const noexcept { return FieldByName(name); }

  std::vector<TRpcFieldDef> fields_;
  std::vector<std::unique_ptr<TRpcDataRow>> rows_;
  std::size_t cursor_ = 0;
};

}  // namespace quillorn::transport
