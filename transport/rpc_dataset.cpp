#include "transport/rpc_dataset.h"

namespace quillorn::transport {
namespace {

using FT = TRpcFieldTypes;
using VT = TRpcValueTypes;

constexpr std::string_view kFieldCodes[kRpcFieldTypeCount] = {
    "U",  "S",  "SI", "I",  "WI", "B",  "F",  "C",  "BC", "DD", "T",  "D",  "BY",
    "VB", "AI", "O",  "M",  "G",  "FM", "PO", "DO", "TB", "CU", "FC", "W",  "L",
    "AD", "AR", "RF", "DS", "OB", "OC", "V",  "IT", "ID", "GU", "DT", "FB", "WC",
    "WM", "OT", "OI", "WL", "SH", "BB", "FE", "CO", "PA", "ST", "TO", "OJ", "SN",
};

}  // namespace

std::string_view FieldTypeCode(TRpcFieldTypes type) noexcept {
  const auto i = static_cast<std::size_t>(type);
  return i < std::size(kFieldCodes) ? kFieldCodes[i] : std::string_view("U");
}

bool FieldTypeFromCode(std::string_view code, TRpcFieldTypes& type) noexcept {
  for (std::size_t i = 0; i < std::size(kFieldCodes); ++i) {
    if (kFieldCodes[i] == code) {
      type = static_cast<TRpcFieldTypes>(i);
      return true;
    }
  }
  return false;
}

TRpcValueTypes NaturalValueType(TRpcFieldTypes type) noexcept {
  switch (type) {
    case FT::ft_String: case FT::ft_Memo: case FT::ft_FmtMemo: case FT::ft_FixedChar:
    case FT::ft_WideString: case FT::ft_FixedWideChar: case FT::ft_WideMemo:
      return VT::rpc_Text;
    // ft_Single reads as an integer: a kept peculiarity that the other side expects.
    case FT::ft_Smallint: case FT::ft_Integer: case FT::ft_Word: case FT::ft_AutoInc:
    case FT::ft_Shortint: case FT::ft_Byte: case FT::ft_Single:
      return VT::rpc_Integer;
    case FT::ft_Largeint: return VT::rpc_LargeInt;
    case FT::ft_LongWord: return VT::rpc_Cardinal;
    case FT::ft_Boolean: return VT::rpc_Boolean;
    case FT::ft_Float: case FT::ft_Extended: return VT::rpc_Float;
    case FT::ft_Currency: case FT::ft_BCD: case FT::ft_FMTBcd: return VT::rpc_Currency;
    case FT::ft_Date: case FT::ft_Time: case FT::ft_DateTime: case FT::ft_TimeStamp:
    case FT::ft_OraTimeStamp:
      return VT::rpc_DateTime;
    case FT::ft_Stream: return VT::rpc_ByteStream;
    case FT::ft_ADT: case FT::ft_Reference: case FT::ft_Params: return VT::rpc_Record;
    case FT::ft_Array: return VT::rpc_Array;
    case FT::ft_DataSet: return VT::rpc_DataSet;
    case FT::ft_Unknown: case FT::ft_Cursor: case FT::ft_Connection: return VT::rpc_Null;
    default: return VT::rpc_String;
  }
}

std::unique_ptr<TRpcValueObject> TRpcDataSet::Clone() const {
  auto copy = std::make_unique<TRpcDataSet>();
  copy->fields_ = fields_;
  copy->rows_.reserve(rows_.size());
  for (const auto& row : rows_) {
    copy->rows_.push_back(row ? std::make_unique<TRpcDataRow>(*row) : nullptr);
  }
  copy->cursor_ = cursor_;
  return copy;
}

bool TRpcDataSet::Equals(const TRpcValueObject& other) const {
  if (other.ValueType() != VT::rpc_DataSet) return false;
  const auto& theirs = static_cast<const TRpcDataSet&>(other);
  if (fields_ != theirs.fields_ || rows_.size() != theirs.rows_.size()) return false;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const TRpcDataRow* a = rows_[i].get();
    const TRpcDataRow* b = theirs.rows_[i].get();
    if ((a == nullptr) != (b == nullptr)) return false;
    if (a != nullptr && !a->Equals(*b)) return false;
  }
  return true;
}

void TRpcDataSet::AddField(std::string name, TRpcFieldTypes type, std::int32_t size, bool required) {
  if (name.empty()) throw ERpcInfo("Can not set field name to an empty String.");
  if (FindField(name) >= 0) throw ERpcInfo("Another field with name \"" + name + "\" already exists.");
  fields_.push_back(TRpcFieldDef{std::move(name), type, size, required});
}

std::ptrdiff_t TRpcDataSet::FindField(std::string_view name) const noexcept {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (SameNameIgnoringCase(fields_[i].Name, name)) return static_cast<std::ptrdiff_t>(i);
  }
  return -1;
}

TRpcDataRow& TRpcDataSet::AppendRow() {
  rows_.push_back(std::make_unique<TRpcDataRow>());
  return *rows_.back();
}

void TRpcDataSet::SetRow(std::int64_t index, std::unique_ptr<TRpcDataRow> row) {
  if (index < 0) throw ERpcInfo("TRpcDataSet.SetObject: Row index beyond Bof.");
  const auto i = static_cast<std::size_t>(index);
  if (i >= rows_.size()) rows_.resize(i + 1);
  rows_[i] = std::move(row);
}

void TRpcDataSet::DeleteRow(std::size_t index) {
  rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(index));
  if (cursor_ > rows_.size()) cursor_ = rows_.size();
}

const TRpcValueObject* TRpcDataSet::FieldByName(std::string_view name) const noexcept {
  if (cursor_ >= rows_.size() || !rows_[cursor_]) return nullptr;
  return rows_[cursor_]->Find(name);
}

const TRpcDataSet& TRpcValue::AsDataSet() const {
  const auto* p = dynamic_cast<const TRpcDataSet*>(object_.get());
  if (p == nullptr) {
    throw ERpcInfo("Unable to convert " + std::string(TypeName(ValueType())) + " to rpc_DataSet.");
  }
  return *p;
}

TRpcDataSet& TRpcValue::AsDataSet() {
  auto* p = dynamic_cast<TRpcDataSet*>(object_.get());
  if (p == nullptr) {
    throw ERpcInfo("Unable to convert " + std::string(TypeName(ValueType())) + " to rpc_DataSet.");
  }
  return *p;
}

}  // namespace quillorn::transport
