#include "transport/codec.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace quillorn::transport {
namespace {

constexpr std::size_t kChunkSize = 64 * 1024;
constexpr std::string_view kExceptionDataMark = "\r\n\r\n--=:eRr.dAtA:=--\r\n\r\n";
constexpr long long kMSecsPerDay = 86400000;

[[noreturn]] void Fail(std::string message) { throw ERpcInfo(std::move(message)); }

std::string AtText(std::string_view cls, std::int64_t at) {
  return std::string(cls) + ".from_Code(" + std::to_string(at) + "): ";
}

// ---------------------------------------------------------------- encoding

void AppendLong(TRpcHugeString& out, std::string_view code, std::string_view payload) {
  out.Append(code);
  out.Append('=');
  if (!payload.empty()) {
    out.AppendUnsigned(payload.size());
    out.Append('"');
    out.Append(payload);
    out.Append('"');
  }
  out.Append(';');
}

void AppendShort(TRpcHugeString& out, std::string_view code, std::string_view text) {
  out.Append(code);
  out.Append('=');
  out.Append(text);
  out.Append(';');
}

void AppendInteger(TRpcHugeString& out, std::string_view code, std::int64_t value) {
  out.Append(code);
  out.Append('=');
  if (value != 0) out.AppendDecimal(value);  // zero stands as an empty text
  out.Append(';');
}

void AppendName(TRpcHugeString& out, std::string_view name) {
  if (name.empty()) {
    out.Append("::");
  } else if (name.find(':') == std::string_view::npos) {
    out.Append(name);
    out.Append(':');
  } else {
    out.Append(':');
    out.AppendUnsigned(name.size());
    out.Append('"');
    out.Append(name);
    out.Append("\":");
  }
}

void AppendRecordBody(TRpcHugeString& out, const TRpcRecord& record) {
  out.Append("RE=");
  out.AppendUnsigned(record.Count());
  out.Append(';');
  for (std::size_t i = 0; i < record.Count(); ++i) {
    const auto& field = record.FieldAt(i);
    AppendName(out, field.Name);
    EncodeObject(field.Value.Get(), out);
  }
}

std::string WideToBytes(const std::u16string& text) {
  std::string bytes(text.size() * 2, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    bytes[2 * i] = static_cast<char>(text[i] & 0xFF);
    bytes[2 * i + 1] = static_cast<char>(text[i] >> 8);
  }
  return bytes;
}

template <typename T>
const typename T::ValueTypeT& ValueOf(const TRpcValueObject& object) {
  return static_cast<const T&>(object).Value();
}

void AppendDataSet(TRpcHugeString& out, const TRpcDataSet& set) {
  out.Append("DS=");
  out.AppendUnsigned(set.FieldCount());
  out.Append(';');
  for (std::size_t i = 0; i < set.FieldCount(); ++i) {
    const auto& def = set.FieldDef(i);
    AppendName(out, def.Name);
    out.Append(FieldTypeCode(def.Type));
    out.Append(',');
    out.AppendDecimal(def.Size);  // plain integer text: a zero size is "0"
    out.Append(',');
    out.Append(def.Required ? 'T' : 'F');
    out.Append(';');
  }
  out.Append("ROWS=");
  out.AppendUnsigned(set.RowCount());
  out.Append(';');
  for (std::size_t i = 0; i < set.RowCount(); ++i) {
    const TRpcDataRow* row = set.Row(i);
    if (row == nullptr) {
      out.Append("X=;");
    } else {
      AppendRecordBody(out, *row);
    }
  }
}

// ---------------------------------------------------------------- decoding

struct Reader {
  std::string_view code;
  std::int64_t size() const { return static_cast<std::int64_t>(code.size()); }

  std::int64_t Find(char mark, std::int64_t from) const {
    if (from >= size()) return -1;
    const auto pos = code.find(mark, static_cast<std::size_t>(from));
    return pos == std::string_view::npos ? -1 : static_cast<std::int64_t>(pos);
  }
  std::string_view Slice(std::int64_t from, std::int64_t to) const {
    return code.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from));
  }
  char At(std::int64_t pos) const { return code[static_cast<std::size_t>(pos)]; }

  // The checks every class makes before its value: returns the position behind "=".
  std::int64_t Header(std::int64_t at, std::string_view expected) const {
    if (at < 0) Fail("Starting position < 0 !?");
    if (at >= size()) Fail("No more data. Starting position beyond end-of-String.");
    const auto len = static_cast<std::int64_t>(expected.size());
    if (at + len + 1 > size()) Fail("Not enough data to include type info.");
    if (At(at + len) != '=') Fail("End Mark not found.");
    if (Slice(at, at + len) != expected) Fail("Expected object type specifier not found.");
    return at + len + 1;
  }

  std::string_view Short(std::int64_t& at, std::string_view expected) const {
    const std::int64_t start = Header(at, expected);
    const std::int64_t end = Find(';', start);
    if (end < 0) Fail("END-MARK missing.");
    at = end + 1;
    return Slice(start, end);
  }

  // `<len>"<payload>"` followed by `close`; `pos` stands on the first digit.
  std::string_view Counted(std::int64_t& pos, char close, const char* close_missing) const {
    const std::int64_t quote = Find('"', pos);
    if (quote < 0) Fail("String START-MARK missing.");
    const std::string_view digits = Slice(pos, quote);
    if (digits.empty() || digits.size() > 18 ||
        !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
      Fail("Length value missing.");
    }
    std::int64_t len = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), len);
    if (len > size() || quote + 1 + len + 2 > size()) Fail("Not enough data.");
    if (At(quote + 1 + len) != '"') Fail("String END-MARK missing.");
    if (At(quote + 2 + len) != close) Fail(close_missing);
    pos = quote + len + 3;
    return Slice(quote + 1, quote + 1 + len);
  }

  std::string_view Long(std::int64_t& at, std::string_view expected) const {
    std::int64_t pos = Header(at, expected);
    if (pos < size() && At(pos) == ';') {
      at = pos + 1;
      return {};
    }
    const std::string_view payload = Counted(pos, ';', "COMMAND END-MARK missing.");
    at = pos;
    return payload;
  }

  std::string Name(std::int64_t& at) const {
    const std::int64_t colon = Find(':', at);
    if (colon < 0) Fail("NAME END-MARK missing.");
    if (colon > at) {
      std::string name(Slice(at, colon));
      at = colon + 1;
      return name;
    }
    if (at + 1 < size() && At(at + 1) == ':') {
      at += 2;
      return {};
    }
    std::int64_t pos = at + 1;
    std::string name(Counted(pos, ':', "NAME END-MARK missing."));
    at = pos;
    return name;
  }
};

bool ParseInt64(std::string_view text, std::int64_t& out) {
  if (text.empty()) return false;
  const char* first = text.data();
  const char* last = first + text.size();
  if (*first == '+') ++first;
  if (first == last || (*first == '-' && first + 1 == last)) return false;
  auto [ptr, ec] = std::from_chars(first, last, out);
  return ec == std::errc() && ptr == last;
}

bool ParseUInt64(std::string_view text, std::uint64_t& out) {
  if (text.empty() || text[0] == '-') return false;
  const char* first = text.data();
  const char* last = first + text.size();
  if (*first == '+') ++first;
  auto [ptr, ec] = std::from_chars(first, last, out);
  return ec == std::errc() && ptr == last && first != last;
}

[[noreturn]] void BadValue(TRpcValueTypes type, std::string_view text) {
  Fail("Invalid value for " + std::string(ClassName(type)) + ": \"" + std::string(text) + "\"");
}

template <typename T>
T IntegerText(TRpcValueTypes type, std::string_view text) {
  if (text.empty()) return 0;
  if constexpr (std::is_signed_v<T>) {
    std::int64_t value = 0;
    if (!ParseInt64(text, value) || value < std::numeric_limits<T>::min() ||
        value > std::numeric_limits<T>::max()) {
      BadValue(type, text);
    }
    return static_cast<T>(value);
  } else {
    std::uint64_t value = 0;
    if (!ParseUInt64(text, value) || value > std::numeric_limits<T>::max()) BadValue(type, text);
    return static_cast<T>(value);
  }
}

double FloatText(std::string_view text) {
  if (text.empty()) return 0;
  const char* first = text.data();
  const char* last = first + text.size();
  if (*first == '+') ++first;
  double value = 0;
  auto [ptr, ec] = std::from_chars(first, last, value, std::chars_format::general);
  if (ec != std::errc() || ptr != last || first == last) BadValue(TRpcValueTypes::rpc_Float, text);
  return value;
}

std::int64_t CurrencyText(std::string_view text) {
  if (text.empty()) return 0;
  std::size_t i = 0;
  const bool negative = text[0] == '-';
  if (text[0] == '-' || text[0] == '+') ++i;
  std::uint64_t whole = 0;
  std::int64_t frac = 0;
  int frac_digits = 0;
  bool round_up = false;
  bool any_digit = false;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    whole = whole * 10 + static_cast<unsigned>(text[i] - '0');
    any_digit = true;
    if (whole > 1000000000000000ULL) BadValue(TRpcValueTypes::rpc_Currency, text);
  }
  if (i < text.size() && text[i] == '.') {
    for (++i; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
      any_digit = true;
      if (frac_digits < 4) {
        frac = frac * 10 + (text[i] - '0');
        ++frac_digits;
      } else if (frac_digits == 4) {
        round_up = text[i] >= '5';
        ++frac_digits;
      }
    }
  }
  if (i != text.size() || !any_digit) {
    // Scientific notation: through a double, rounded to the fourth decimal.
    const double value = FloatText(text) * static_cast<double>(kCurrencyScale);
    if (!std::isfinite(value) || std::fabs(value) >= 9.2e18) BadValue(TRpcValueTypes::rpc_Currency, text);
    return std::llround(value);
  }
  for (int d = std::min(frac_digits, 4); d < 4; ++d) frac *= 10;
  // whole stays below 1e15, so the scaled value fits 64 unsigned bits.
  const std::uint64_t scaled = whole * static_cast<std::uint64_t>(kCurrencyScale) +
                               static_cast<std::uint64_t>(frac) + (round_up ? 1 : 0);
  const std::uint64_t limit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1 : 0);
  if (scaled > limit) BadValue(TRpcValueTypes::rpc_Currency, text);
  if (!negative) return static_cast<std::int64_t>(scaled);
  return scaled == limit ? std::numeric_limits<std::int64_t>::min() : -static_cast<std::int64_t>(scaled);
}

std::int64_t CountText(std::string_view text, std::string_view cls, std::int64_t at,
                       std::string_view missing) {
  if (text.empty() && missing.empty()) return 0;
  std::uint64_t count = 0;
  if (!ParseUInt64(text, count) || count > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    Fail(AtText(cls, at) + std::string(missing.empty() ? "Count missing." : missing));
  }
  return static_cast<std::int64_t>(count);
}

void CheckDepth(TRpcValueTypes type, std::int64_t at, int maxDepth) {
  if (maxDepth - 1 < 0) Fail(AtText(ClassName(type), at) + "Exceeded max allowed Nesting Depth.");
}

TRpcObjectPtr ReadAny(const Reader& r, std::int64_t& at, int maxDepth);

// One of 64 bits for a name, equal for names that differ only in ASCII case.
std::uint64_t NameBit(std::string_view name) {
  std::uint32_t h = static_cast<std::uint32_t>(name.size());
  for (const char c : name) h = h * 31 + static_cast<unsigned char>(c >= 'a' && c <= 'z' ? c - 32 : c);
  return std::uint64_t{1} << (h % 64);
}

void ReadRecordBody(const Reader& r, std::int64_t& at, int maxDepth, TRpcRecord& record) {
  const std::int64_t start = at;
  const std::int64_t count = CountText(r.Short(at, "RE"), ClassName(TRpcValueTypes::rpc_Record), start, {});
  record.Reserve(static_cast<std::size_t>(std::min<std::int64_t>(count, (r.size() - at) / 5 + 1)));
  std::uint64_t seen = 0;
  for (std::int64_t i = 0; i < count; ++i) {
    std::string name = r.Name(at);
    TRpcObjectPtr value = ReadAny(r, at, maxDepth - 1);
    // A repeated name sets the field again, keeping its first place. A mask of
    // name hashes spares the search for the common case of all names distinct.
    const std::uint64_t bit = NameBit(name);
    if ((seen & bit) == 0) {
      seen |= bit;
      record.AppendField(std::move(name), TRpcValue(std::move(value)));
    } else {
      record.Slot(name).Set(std::move(value));
    }
  }
}

std::unique_ptr<TRpcRecord> ReadRecord(const Reader& r, std::int64_t& at, int maxDepth) {
  CheckDepth(TRpcValueTypes::rpc_Record, at, maxDepth);
  auto record = std::make_unique<TRpcRecord>();
  ReadRecordBody(r, at, maxDepth, *record);
  return record;
}

std::unique_ptr<TRpcDataSet> ReadDataSet(const Reader& r, std::int64_t& at, int maxDepth) {
  constexpr std::string_view kCls = "TRpcDataSet";
  const std::int64_t start = at;
  CheckDepth(TRpcValueTypes::rpc_DataSet, at, maxDepth);
  auto set = std::make_unique<TRpcDataSet>();
  const std::int64_t fields = CountText(r.Short(at, "DS"), kCls, start, "Field Count missing.");
  for (std::int64_t i = 0; i < fields; ++i) {
    std::string name = r.Name(at);
    const std::int64_t c1 = r.Find(',', at);
    if (c1 < 0) Fail("MID-MARK missing.");
    const std::string_view type_code = r.Slice(at, c1);
    const std::int64_t c2 = r.Find(',', c1 + 1);
    if (c2 < 0) Fail("MID-MARK missing.");
    const std::string_view size_text = r.Slice(c1 + 1, c2);
    const std::int64_t end = r.Find(';', c2 + 1);
    if (end < 0) Fail("END-MARK missing.");
    const std::string_view required = r.Slice(c2 + 1, end);
    TRpcFieldTypes type{};
    if (!FieldTypeFromCode(type_code, type)) Fail("Unknown field type \"" + std::string(type_code) + "\".");
    std::int64_t size = 0;
    if (!size_text.empty() && (!ParseInt64(size_text, size) || size < std::numeric_limits<std::int32_t>::min() ||
                               size > std::numeric_limits<std::int32_t>::max())) {
      Fail("Invalid field size \"" + std::string(size_text) + "\".");
    }
    set->AddField(std::move(name), type, static_cast<std::int32_t>(size), required == "T");
    at = end + 1;
  }
  constexpr std::string_view kRows = "ROWS=";
  const std::string_view rest = r.code.substr(static_cast<std::size_t>(std::min(at, r.size())));
  const std::int64_t semi = r.Find(';', at);
  if (rest.substr(0, kRows.size()) != kRows || semi < 0) Fail(AtText(kCls, start) + "Row Count missing.");
  const std::int64_t rows =
      CountText(r.Slice(at + static_cast<std::int64_t>(kRows.size()), semi), kCls, start, "Row Count missing.");
  at = semi + 1;
  set->ReserveRows(static_cast<std::size_t>(std::min<std::int64_t>(rows, (r.size() - at) / 3 + 1)));
  for (std::int64_t i = 0; i < rows; ++i) {
    if (at + 1 < r.size() && r.At(at) == 'X' && r.At(at + 1) == '=') {
      r.Short(at, "X");
      set->AppendRow(nullptr);
    } else {
      set->AppendRow(ReadRecord(r, at, maxDepth - 1));
    }
  }
  return set;
}

std::unique_ptr<TRpcExceptionValue> ReadException(const Reader& r, std::int64_t& at, int maxDepth) {
  const std::int64_t start = at;
  const std::string_view payload = r.Long(at, "E");
  auto value = std::make_unique<TRpcExceptionValue>();
  std::string_view text = payload;
  const auto mark = payload.find(kExceptionDataMark);
  if (mark != std::string_view::npos) {
    text = payload.substr(0, mark);
    CheckDepth(TRpcValueTypes::rpc_Exception, start, maxDepth);
    value->Data().Set(DecodeObject(payload.substr(mark + kExceptionDataMark.size()), maxDepth - 1));
  }
  // "#<code>:<message>" carries a code; any other text is the message alone.
  std::int64_t code = 0;
  const auto colon = text.find(':');
  if (text.size() > 1 && text[0] == '#' && colon != std::string_view::npos && text[1] != '+' &&
      ParseInt64(text.substr(1, colon - 1), code) && code >= std::numeric_limits<std::int32_t>::min() &&
      code <= std::numeric_limits<std::int32_t>::max()) {
    value->SetCode(static_cast<std::int32_t>(code));
    value->SetMessage(std::string(text.substr(colon + 1)));
  } else {
    value->SetMessage(std::string(text));
  }
  return value;
}

struct CodeEntry {
  std::string_view code;
  TRpcValueTypes type;
};
constexpr CodeEntry kCodes[] = {
    {"X", TRpcValueTypes::rpc_Null},         {"V", TRpcValueTypes::rpc_Variable},
    {"FC", TRpcValueTypes::rpc_Function},    {"E", TRpcValueTypes::rpc_Exception},
    {"AR", TRpcValueTypes::rpc_Array},       {"RE", TRpcValueTypes::rpc_Record},
    {"DS", TRpcValueTypes::rpc_DataSet},     {"T", TRpcValueTypes::rpc_Text},
    {"S", TRpcValueTypes::rpc_String},       {"W", TRpcValueTypes::rpc_WideString},
    {"B", TRpcValueTypes::rpc_Boolean},      {"I", TRpcValueTypes::rpc_Integer},
    {"K", TRpcValueTypes::rpc_Cardinal},     {"L", TRpcValueTypes::rpc_LargeInt},
    {"F", TRpcValueTypes::rpc_Float},        {"C", TRpcValueTypes::rpc_Currency},
    {"D", TRpcValueTypes::rpc_DateTime},     {"BS", TRpcValueTypes::rpc_ByteStream},
    {"O", TRpcValueTypes::rpc_OID},          {"BA", TRpcValueTypes::rpc_ByteArray},
};

template <typename T>
TRpcObjectPtr Make(typename T::ValueTypeT value) {
  return std::make_unique<T>(std::move(value));
}

TRpcObjectPtr ReadAny(const Reader& r, std::int64_t& at, int maxDepth) {
  if (at < 0) Fail("Starting position < 0 !?");
  const std::int64_t eq = r.Find('=', at);
  if (eq < 0) Fail("Object type specifier not found.");
  const std::string_view letters = r.Slice(at, eq);
  const CodeEntry* entry = nullptr;
  for (const auto& e : kCodes) {
    if (e.code == letters) {
      entry = &e;
      break;
    }
  }
  if (entry == nullptr) Fail("Unknown object type specifier at " + std::to_string(at) + ": " + std::string(letters));
  using VT = TRpcValueTypes;
  switch (entry->type) {
    case VT::rpc_Null:
      r.Short(at, "X");
      return nullptr;
    case VT::rpc_Variable:
      return Make<TRpcVariableName>(std::string(r.Long(at, "V")));
    case VT::rpc_Function: {
      const std::int64_t start = at;
      CheckDepth(VT::rpc_Function, start, maxDepth);
      auto call = std::make_unique<TRpcFunctionInfo>(std::string(r.Short(at, "FC")), true);
      ReadRecordBody(r, at, maxDepth, *call);
      return call;
    }
    case VT::rpc_Exception:
      return ReadException(r, at, maxDepth);
    case VT::rpc_Array: {
      const std::int64_t start = at;
      CheckDepth(VT::rpc_Array, start, maxDepth);
      const std::int64_t count = CountText(r.Short(at, "AR"), ClassName(VT::rpc_Array), start, {});
      auto array = std::make_unique<TRpcArray>();
      array->Reserve(static_cast<std::size_t>(std::min<std::int64_t>(count, (r.size() - at) / 3 + 1)));
      for (std::int64_t i = 0; i < count; ++i) array->Append(ReadAny(r, at, maxDepth - 1));
      return array;
    }
    case VT::rpc_Record:
      return ReadRecord(r, at, maxDepth);
    case VT::rpc_DataSet:
      return ReadDataSet(r, at, maxDepth);
    case VT::rpc_Text:
      return Make<TRpcTextValue>(std::string(r.Long(at, "T")));
    case VT::rpc_String:
      return Make<TRpcStringValue>(std::string(r.Long(at, "S")));
    case VT::rpc_WideString: {
      const std::string_view bytes = r.Long(at, "W");
      if (bytes.size() % 2 != 0) Fail("Odd length of UTF-16 data.");
      std::u16string text(bytes.size() / 2, u'\0');
      for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                        static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
      }
      return Make<TRpcWideStringValue>(std::move(text));
    }
    case VT::rpc_Boolean:
      return Make<TRpcBooleanValue>(TextToBoolean(r.Short(at, "B")));
    case VT::rpc_Integer:
      return Make<TRpcIntegerValue>(IntegerText<std::int32_t>(VT::rpc_Integer, r.Short(at, "I")));
    case VT::rpc_Cardinal:
      return Make<TRpcCardinalValue>(IntegerText<std::uint32_t>(VT::rpc_Cardinal, r.Short(at, "K")));
    case VT::rpc_LargeInt:
      return Make<TRpcLargeIntValue>(IntegerText<std::int64_t>(VT::rpc_LargeInt, r.Short(at, "L")));
    case VT::rpc_OID:
      return Make<TRpcOIDValue>(IntegerText<std::int64_t>(VT::rpc_OID, r.Short(at, "O")));
    case VT::rpc_Float:
      return Make<TRpcFloatValue>(FloatText(r.Short(at, "F")));
    case VT::rpc_Currency:
      return Make<TRpcCurrencyValue>(CurrencyText(r.Short(at, "C")));
    case VT::rpc_DateTime: {
      const std::string_view text = r.Short(at, "D");
      return Make<TRpcDateTimeValue>(text.empty() ? 0.0 : DateTimeFromCodeText(text));
    }
    case VT::rpc_ByteStream:
      return Make<TRpcByteStream>(std::string(r.Long(at, "BS")));
    case VT::rpc_ByteArray:
      return Make<TRpcByteArray>(std::string(r.Long(at, "BA")));
    case VT::rpc_Variant:
      break;
  }
  Fail("Object type specifier not found.");
}

// Reads 1 to 9 digits.
bool Digits(std::string_view text, std::size_t& pos, int& out) {
  const std::size_t start = pos;
  long value = 0;
  while (pos < text.size() && pos - start < 9 && text[pos] >= '0' && text[pos] <= '9') {
    value = value * 10 + (text[pos] - '0');
    ++pos;
  }
  out = static_cast<int>(value);
  return pos > start && (pos >= text.size() || text[pos] < '0' || text[pos] > '9');
}

}  // namespace

// ---------------------------------------------------------------- buffer

void TRpcHugeString::Seal() {
  if (!chunks_.empty()) chunks_.back().size = static_cast<std::size_t>(pos_ - chunks_.back().data.get());
}

void TRpcHugeString::NewChunk(std::size_t at_least) {
  Seal();
  // The first chunk is small, so that a short call costs no big allocation.
  const std::size_t capacity = std::max(at_least, chunks_.empty() ? std::size_t{256} : kChunkSize);
  chunks_.push_back(Chunk{std::unique_ptr<char[]>(new char[capacity]), 0});  // not zero-filled
  pos_ = chunks_.back().data.get();
  end_ = pos_ + capacity;
}

void TRpcHugeString::AppendSlow(std::string_view bytes) {
  const std::size_t room = static_cast<std::size_t>(end_ - pos_);
  if (room > 0) {
    std::memcpy(pos_, bytes.data(), room);
    pos_ += room;
    bytes.remove_prefix(room);
  }
  NewChunk(bytes.size());
  std::memcpy(pos_, bytes.data(), bytes.size());
  pos_ += bytes.size();
}

std::size_t TRpcHugeString::Size() const noexcept {
  std::size_t total = 0;
  for (std::size_t i = 0; i + 1 < chunks_.size(); ++i) total += chunks_[i].size;
  if (!chunks_.empty()) total += static_cast<std::size_t>(pos_ - chunks_.back().data.get());
  return total;
}

void TRpcHugeString::AppendDecimal(std::int64_t value) {
  char buf[24];
  auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value);
  Append(std::string_view(buf, static_cast<std::size_t>(end - buf)));
}

void TRpcHugeString::AppendUnsigned(std::uint64_t value) {
  char buf[24];
  auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value);
  Append(std::string_view(buf, static_cast<std::size_t>(end - buf)));
}

std::string TRpcHugeString::Join() {
  Seal();
  std::string out;
  std::size_t total = 0;
  for (const auto& chunk : chunks_) total += chunk.size;
  out.reserve(total);
  for (const auto& chunk : chunks_) out.append(chunk.data.get(), chunk.size);
  chunks_.clear();
  pos_ = end_ = nullptr;
  return out;
}

void TRpcHugeString::JoinInto(std::vector<std::uint8_t>& out) {
  Seal();
  for (const auto& chunk : chunks_) {
    out.insert(out.end(), reinterpret_cast<const std::uint8_t*>(chunk.data.get()),
               reinterpret_cast<const std::uint8_t*>(chunk.data.get()) + chunk.size);
  }
  chunks_.clear();
  pos_ = end_ = nullptr;
}

// ---------------------------------------------------------------- public

void EncodeObject(const TRpcValueObject* object, TRpcHugeString& out) {
  if (object == nullptr) {
    out.Append("X=;");
    return;
  }
  using VT = TRpcValueTypes;
  const TRpcValueObject& o = *object;
  switch (o.ValueType()) {
    case VT::rpc_Null:
    case VT::rpc_Variant:
      out.Append("X=;");
      return;
    case VT::rpc_Variable:
      AppendLong(out, "V", ValueOf<TRpcVariableName>(o));
      return;
    case VT::rpc_Function: {
      const auto& call = static_cast<const TRpcFunctionInfo&>(o);
      AppendShort(out, "FC", call.Name());
      AppendRecordBody(out, call);
      return;
    }
    case VT::rpc_Exception: {
      const auto& e = static_cast<const TRpcExceptionValue&>(o);
      std::string payload = e.TextForm();
      if (!e.Data().IsNull()) {
        payload.append(kExceptionDataMark);
        payload.append(e.Data().toCode());
      }
      AppendLong(out, "E", payload);
      return;
    }
    case VT::rpc_Array: {
      const auto& array = static_cast<const TRpcArray&>(o);
      out.Append("AR=");
      out.AppendUnsigned(array.Count());
      out.Append(';');
      for (std::size_t i = 0; i < array.Count(); ++i) EncodeObject(array[i].Get(), out);
      return;
    }
    case VT::rpc_Record:
      AppendRecordBody(out, static_cast<const TRpcRecord&>(o));
      return;
    case VT::rpc_DataSet:
      AppendDataSet(out, static_cast<const TRpcDataSet&>(o));
      return;
    case VT::rpc_Text:
      AppendLong(out, "T", ValueOf<TRpcTextValue>(o));
      return;
    case VT::rpc_String:
      AppendLong(out, "S", ValueOf<TRpcStringValue>(o));
      return;
    case VT::rpc_WideString:
      AppendLong(out, "W", WideToBytes(ValueOf<TRpcWideStringValue>(o)));
      return;
    case VT::rpc_Boolean:
      out.Append(ValueOf<TRpcBooleanValue>(o) ? std::string_view("B=T;") : std::string_view("B=;"));
      return;
    case VT::rpc_Integer:
      AppendInteger(out, "I", ValueOf<TRpcIntegerValue>(o));
      return;
    case VT::rpc_Cardinal:
      AppendInteger(out, "K", ValueOf<TRpcCardinalValue>(o));
      return;
    case VT::rpc_LargeInt:
      AppendInteger(out, "L", ValueOf<TRpcLargeIntValue>(o));
      return;
    case VT::rpc_OID:
      AppendInteger(out, "O", ValueOf<TRpcOIDValue>(o));
      return;
    case VT::rpc_Float: {
      const double v = ValueOf<TRpcFloatValue>(o);
      AppendShort(out, "F", v == 0 ? std::string() : FloatToCodeText(v));
      return;
    }
    case VT::rpc_Currency: {
      const std::int64_t v = ValueOf<TRpcCurrencyValue>(o);
      AppendShort(out, "C", v == 0 ? std::string() : CurrencyToCodeText(v));
      return;
    }
    case VT::rpc_DateTime: {
      const double v = ValueOf<TRpcDateTimeValue>(o);
      AppendShort(out, "D", v == 0 ? std::string() : DateTimeToCodeText(v));
      return;
    }
    case VT::rpc_ByteStream:
      AppendLong(out, "BS", ValueOf<TRpcByteStream>(o));
      return;
    case VT::rpc_ByteArray:
      AppendLong(out, "BA", ValueOf<TRpcByteArray>(o));
      return;
  }
}

std::string EncodeToCode(const TRpcValueObject* object) {
  TRpcHugeString out;
  EncodeObject(object, out);
  return out.Join();
}

TRpcObjectPtr DecodeObject(std::string_view code, std::int64_t& at, int maxDepth) {
  const Reader r{code};
  std::int64_t pos = at;
  TRpcObjectPtr object = ReadAny(r, pos, maxDepth);
  at = pos;  // moves only when the whole object was read
  return object;
}

TRpcObjectPtr DecodeObject(std::string_view code, int maxDepth) {
  std::int64_t at = 0;
  TRpcObjectPtr object = DecodeObject(code, at, maxDepth);
  if (at < static_cast<std::int64_t>(code.size())) {
    Fail("TRpcValueObject.ObjectFromCode @" + std::to_string(at) + ": String contains more data than expected.");
  }
  return object;
}

std::vector<TRpcValue> DecodeAll(std::string_view code, int maxDepth) {
  std::vector<TRpcValue> values;
  std::int64_t at = 0;
  while (at < static_cast<std::int64_t>(code.size())) values.emplace_back(DecodeObject(code, at, maxDepth));
  return values;
}

std::string FloatToCodeText(double value) {
  char buf[64];
  auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, 15);
  std::string text(buf, static_cast<std::size_t>(end - buf));
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::string CurrencyToCodeText(std::int64_t scaled) {
  const bool negative = scaled < 0;
  const std::uint64_t magnitude =
      negative ? static_cast<std::uint64_t>(-(scaled + 1)) + 1 : static_cast<std::uint64_t>(scaled);
  std::string text = negative ? "-" : "";
  text += std::to_string(magnitude / kCurrencyScale);
  std::uint64_t frac = magnitude % kCurrencyScale;
  if (frac != 0) {
    char digits[5] = {'0', '0', '0', '0', '\0'};
    for (int i = 3; i >= 0; --i, frac /= 10) digits[i] = static_cast<char>('0' + frac % 10);
    std::string_view f(digits, 4);
    while (f.back() == '0') f.remove_suffix(1);
    text += '.';
    text += f;
  }
  return text;
}

std::string DateTimeToCodeText(foundation::TDateTime value) {
  const double scaled = value * static_cast<double>(kMSecsPerDay);
  const long long total = std::isfinite(scaled) && std::fabs(scaled) < 9.0e17 ? std::llround(scaled) : 0;
  const long long days = total / kMSecsPerDay;
  long long ms = (total < 0 ? -total : total) % kMSecsPerDay;
  std::string text;
  if (days != 0) {
    int y = 0, m = 0, d = 0;
    foundation::DecodeDate(static_cast<double>(days), y, m, d);
    text = std::to_string(y) + "-" + std::to_string(m) + "-" + std::to_string(d);
    if (ms == 0) return text;
    text += ' ';
  }
  const long long z = ms % 1000;
  ms /= 1000;
  text += std::to_string(ms / 3600) + ":" + std::to_string(ms / 60 % 60) + ":" + std::to_string(ms % 60) + "." +
          std::to_string(z);
  return text;
}

foundation::TDateTime DateTimeFromCodeText(std::string_view text) {
  auto invalid = [] { Fail("Invalid DateTime format."); };
  std::size_t pos = 0;
  int first = 0;
  if (!Digits(text, pos, first)) invalid();
  bool has_date = false;
  double date = 0;
  int hour = 0, minute = 0, second = 0, msec = 0;
  bool has_time = false;
  if (pos < text.size() && (text[pos] == '-' || text[pos] == '/')) {
    const char sep = text[pos++];
    int month = 0, day = 0;
    if (!Digits(text, pos, month) || pos >= text.size() || text[pos] != sep) invalid();
    ++pos;
    if (!Digits(text, pos, day)) invalid();
    if (!foundation::TryEncodeDate(first, month, day, date)) invalid();
    has_date = true;
    if (pos < text.size() && (text[pos] == 'T' || text[pos] == ' ')) {
      ++pos;
      if (!Digits(text, pos, hour)) invalid();
      has_time = true;
    }
  } else {
    hour = first;
    has_time = true;
  }
  if (has_time) {
    if (pos >= text.size() || text[pos] != ':') invalid();
    ++pos;
    if (!Digits(text, pos, minute)) invalid();
    if (pos < text.size() && text[pos] == ':') {
      ++pos;
      if (!Digits(text, pos, second)) invalid();
      if (pos < text.size() && text[pos] == '.') {
        ++pos;
        if (!Digits(text, pos, msec)) invalid();
      }
    }
  }
  if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
    // A zone offset is accepted and the value taken as written.
    ++pos;
    int oh = 0, om = 0;
    const std::size_t start = pos;
    if (!Digits(text, pos, oh)) invalid();
    if (pos - start == 4) {
      om = oh % 100;
      oh /= 100;
    } else if (pos < text.size() && text[pos] == ':') {
      ++pos;
      if (!Digits(text, pos, om)) invalid();
    }
    if (oh > 23 || om > 59) invalid();
  }
  if (pos != text.size()) invalid();
  double time = 0;
  if (!foundation::TryEncodeTime(hour, minute, second, msec, time)) invalid();
  if (!has_date) return time;
  return date < 0 ? date - time : date + time;
}

double FloatFromCodeText(std::string_view text) { return FloatText(text); }
std::int64_t CurrencyFromCodeText(std::string_view text) { return CurrencyText(text); }

bool TextToBoolean(std::string_view text) noexcept {
  if (text.empty() || text.size() > 5) return !text.empty();
  char upper[6] = {};
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    upper[i] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  const std::string_view u(upper, text.size());
  return !(u == "0" || u == "F" || u == "N" || u == "FALSE" || u == "NO");
}

}  // namespace quillorn::transport
