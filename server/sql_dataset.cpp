#include "server/sql_dataset.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <system_error>

#include "foundation/datetime.h"

namespace quillorn::server {
namespace {

using transport::TRpcDataSet;
using transport::TRpcFieldTypes;
using Kind = StoreCell::Kind;

std::string Upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return out;
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

bool Has(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

// "VARCHAR(512)" gives 512; no parenthesis or no number gives 0.
std::int32_t DeclaredSize(std::string_view decl) {
  const auto open = decl.find('(');
  if (open == std::string_view::npos) return 0;
  std::string_view rest = Trim(decl.substr(open + 1));
  std::int32_t size = 0;
  const auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), size);
  (void)end;
  return ec == std::errc() && size > 0 ? size : 0;
}

std::size_t CharCount(std::string_view utf8) {
  return static_cast<std::size_t>(
      std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string RealText(double value) {
  char buffer[32];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 15);
  return ec == std::errc() ? std::string(buffer, end) : std::string();
}

std::string CellText(const StoreCell& cell) {
  switch (cell.kind) {
    case Kind::Integer: return std::to_string(cell.integer);
    case Kind::Real: return RealText(cell.real);
    case Kind::Text:
    case Kind::Blob: return cell.bytes;
    case Kind::Null: break;
  }
  return {};
}

bool ReadNumber(std::string_view& text, int digits_max, int& value) {
  int digits = 0;
  value = 0;
  while (!text.empty() && text.front() >= '0' && text.front() <= '9' && digits < digits_max) {
    value = value * 10 + (text.front() - '0');
    text.remove_prefix(1);
    ++digits;
  }
  return digits > 0;
}

bool Skip(std::string_view& text, char mark) {
  if (text.empty() || text.front() != mark) return false;
  text.remove_prefix(1);
  return true;
}

// "H:M[:S[.Z]]"; the fraction may have any number of digits, milliseconds are kept.
bool ParseTime(std::string_view& text, int& hour, int& minute, int& second, int& msec) {
  second = msec = 0;
  if (!ReadNumber(text, 2, hour) || !Skip(text, ':') || !ReadNumber(text, 2, minute)) return false;
  if (Skip(text, ':')) {
    if (!ReadNumber(text, 2, second)) return false;
    if (Skip(text, '.')) {
      int scale = 100;
      if (text.empty() || text.front() < '0' || text.front() > '9') return false;
      while (!text.empty() && text.front() >= '0' && text.front() <= '9') {
        msec += (text.front() - '0') * scale;
        scale /= 10;
        text.remove_prefix(1);
      }
    }
  }
  return true;
}

// Dates that SQLite's own functions write ("2024-03-07 09:05:00", "2024-03-07",
// "09:05:00") and the same with "T" between date and time.
bool ParseDateTimeText(std::string_view text, foundation::TDateTime& out) {
  text = Trim(text);
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, msec = 0;
  foundation::TDateTime date = 0, time = 0;
  if (text.size() >= 3 && text[1] != ':' && text[2] != ':') {
    if (!ReadNumber(text, 4, year) || !Skip(text, '-') || !ReadNumber(text, 2, month) || !Skip(text, '-') ||
        !ReadNumber(text, 2, day) || !foundation::TryEncodeDate(year, month, day, date)) {
      return false;
    }
    if (text.empty()) {
      out = date;
      return true;
    }
    if (!Skip(text, ' ') && !Skip(text, 'T')) return false;
  }
  if (!ParseTime(text, hour, minute, second, msec) || !text.empty() ||
      !foundation::TryEncodeTime(hour, minute, second, msec, time)) {
    return false;
  }
  // Days before 1899-12-30 are negative; their time of day still counts forward.
  out = date < 0 ? date - time : date + time;
  return true;
}

[[noreturn]] void Unfit(const std::string& column, const StoreCell& cell, std::string_view what) {
  throw StoreError("Column " + column + " holds \"" + CellText(cell) + "\", which is not " + std::string(what) + ".");
}

// What the values of one column need, beyond what was declared.
struct ColumnData {
  bool Integers = false, Wide = false, BeyondSmall = false, Reals = false, Texts = false, Blobs = false;
  std::size_t MaxChars = 0;
};

ColumnData Survey(const StoreRows& rows, std::size_t column) {
  ColumnData data;
  for (const auto& row : rows.Rows) {
    const StoreCell& cell = row[column];
    switch (cell.kind) {
      case Kind::Null: continue;
      case Kind::Integer:
        data.Integers = true;
        data.Wide |= cell.integer < std::numeric_limits<std::int32_t>::min() ||
                     cell.integer > std::numeric_limits<std::int32_t>::max();
        data.BeyondSmall |= cell.integer < std::numeric_limits<std::int16_t>::min() ||
                            cell.integer > std::numeric_limits<std::int16_t>::max();
        break;
      case Kind::Real: data.Reals = true; break;
      case Kind::Text: data.Texts = true; break;
      case Kind::Blob: data.Blobs = true; break;
    }
    data.MaxChars = std::max(data.MaxChars, CharCount(CellText(cell)));
  }
  return data;
}

bool IsNumberType(TRpcFieldTypes type) {
  return type == TRpcFieldTypes::ft_Smallint || type == TRpcFieldTypes::ft_Integer ||
         type == TRpcFieldTypes::ft_Largeint || type == TRpcFieldTypes::ft_Float;
}

WireField Widened(WireField declared, const ColumnData& data) {
  const auto text_size = static_cast<std::int32_t>(std::min<std::size_t>(data.MaxChars, INT32_MAX));
  const TRpcFieldTypes type = declared.Type;
  if (type == TRpcFieldTypes::ft_Unknown) {
    if (data.Blobs) return {TRpcFieldTypes::ft_Blob, 0};
    if (data.Texts) return {TRpcFieldTypes::ft_String, text_size};
    if (data.Reals) return {TRpcFieldTypes::ft_Float, 0};
    if (data.Wide) return {TRpcFieldTypes::ft_Largeint, 0};
    if (data.Integers) return {TRpcFieldTypes::ft_Integer, 0};
    return {TRpcFieldTypes::ft_String, 0};
  }
  if (IsNumberType(type)) {
    if (data.Blobs) return {TRpcFieldTypes::ft_Blob, 0};
    if (data.Texts) return {TRpcFieldTypes::ft_Memo, 0};
    if (data.Reals || type == TRpcFieldTypes::ft_Float) return {TRpcFieldTypes::ft_Float, 0};
    if (data.Wide || type == TRpcFieldTypes::ft_Largeint) return {TRpcFieldTypes::ft_Largeint, 0};
    if (data.BeyondSmall || type == TRpcFieldTypes::ft_Integer) return {TRpcFieldTypes::ft_Integer, 0};
    return declared;
  }
  if (type == TRpcFieldTypes::ft_String || type == TRpcFieldTypes::ft_Memo) {
    if (data.Blobs) return {TRpcFieldTypes::ft_Blob, 0};
    if (type == TRpcFieldTypes::ft_String) return {type, std::max(declared.Size, text_size)};
  }
  return declared;
}

transport::TRpcValue CellValue(const StoreCell& cell, TRpcFieldTypes type, const std::string& column) {
  using namespace transport;
  switch (type) {
    case TRpcFieldTypes::ft_Smallint:
    case TRpcFieldTypes::ft_Integer:
      return IntegerValue(static_cast<std::int32_t>(cell.integer));
    case TRpcFieldTypes::ft_Largeint:
      return MakeValue<TRpcLargeIntValue>(cell.integer);
    case TRpcFieldTypes::ft_Float:
      return MakeValue<TRpcFloatValue>(cell.kind == Kind::Real ? cell.real : static_cast<double>(cell.integer));
    case TRpcFieldTypes::ft_Boolean:
      if (cell.kind == Kind::Integer) return BooleanValue(cell.integer != 0);
      if (cell.kind == Kind::Real) return BooleanValue(cell.real != 0);
      return BooleanValue(TRpcTextValue(cell.bytes).AsBoolean());
    case TRpcFieldTypes::ft_Date:
    case TRpcFieldTypes::ft_Time:
    case TRpcFieldTypes::ft_DateTime: {
      // Dates are stored as the wire holds them: days since 1899-12-30.
      foundation::TDateTime value = 0;
      if (cell.kind == Kind::Integer) value = static_cast<double>(cell.integer);
      else if (cell.kind == Kind::Real) value = cell.real;
      else if (cell.kind != Kind::Text || !ParseDateTimeText(cell.bytes, value)) Unfit(column, cell, "a date");
      return MakeValue<TRpcDateTimeValue>(value);
    }
    case TRpcFieldTypes::ft_Currency: {
      double value = 0;
      if (cell.kind == Kind::Integer) value = static_cast<double>(cell.integer);
      else if (cell.kind == Kind::Real) value = cell.real;
      else {
        const std::string_view text = Trim(cell.bytes);
        const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (cell.kind != Kind::Text || ec != std::errc() || end != text.data() + text.size()) {
          Unfit(column, cell, "an amount");
        }
      }
      return MakeValue<TRpcCurrencyValue>(std::llround(value * static_cast<double>(kCurrencyScale)));
    }
    case TRpcFieldTypes::ft_Blob:
      // A blob field's values travel as byte strings; the client writes their bytes into its blob field.
      return MakeValue<TRpcStringValue>(CellText(cell));
    default:
      return TextValue(CellText(cell));
  }
}

}  // namespace

WireField FieldForDeclType(std::string_view declType) {
  const std::string decl = Upper(Trim(declType));
  if (decl.empty()) return {};
  const std::string base(Trim(std::string_view(decl).substr(0, decl.find('('))));
  if (Has(base, "BOOL")) return {TRpcFieldTypes::ft_Boolean, 0};
  if (base == "DATE") return {TRpcFieldTypes::ft_Date, 0};
  if (base == "TIME") return {TRpcFieldTypes::ft_Time, 0};
  if (Has(base, "DATE") || Has(base, "TIME")) return {TRpcFieldTypes::ft_DateTime, 0};
  if (Has(base, "BIGINT") || Has(base, "INT64") || Has(base, "LARGEINT")) return {TRpcFieldTypes::ft_Largeint, 0};
  if (Has(base, "SMALLINT")) return {TRpcFieldTypes::ft_Smallint, 0};
  if (Has(base, "INT")) return {TRpcFieldTypes::ft_Integer, 0};
  if (Has(base, "MONEY") || Has(base, "CURRENCY")) return {TRpcFieldTypes::ft_Currency, 0};
  if (Has(base, "CHAR") || Has(base, "STRING")) return {TRpcFieldTypes::ft_String, DeclaredSize(decl)};
  if (Has(base, "TEXT") || Has(base, "CLOB") || Has(base, "MEMO")) return {TRpcFieldTypes::ft_Memo, 0};
  if (Has(base, "BLOB") || Has(base, "BINARY")) return {TRpcFieldTypes::ft_Blob, 0};
  if (Has(base, "REAL") || Has(base, "FLOA") || Has(base, "DOUB") || Has(base, "NUMERIC") || Has(base, "DECIMAL")) {
    return {TRpcFieldTypes::ft_Float, 0};
  }
  return {};
}

std::unique_ptr<TRpcDataSet> ToDataSet(const StoreRows& rows) {
  auto set = std::make_unique<TRpcDataSet>();
  std::vector<TRpcFieldTypes> types;
  types.reserve(rows.Columns.size());
  for (std::size_t c = 0; c < rows.Columns.size(); ++c) {
    const WireField field = Widened(FieldForDeclType(rows.Columns[c].DeclType), Survey(rows, c));
    set->AddField(rows.Columns[c].Name, field.Type, field.Size, false);
    types.push_back(field.Type);
  }
  set->ReserveRows(rows.Rows.size());
  for (const auto& cells : rows.Rows) {
    auto& row = set->AppendRow();
    for (std::size_t c = 0; c < cells.size(); ++c) {
      if (cells[c].kind == Kind::Null) continue;  // a null field does not stand in the row
      row.AppendField(rows.Columns[c].Name, CellValue(cells[c], types[c], rows.Columns[c].Name));
    }
  }
  return set;
}

}  // namespace quillorn::server
