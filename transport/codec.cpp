// The decoding half of the codec: every mark is checked and every failure is an
// ERpcInfo with the format's fixed text.
#include "transport/codec.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

namespace quillorn::transport {
namespace {

constexpr std::string_view kExceptionDataMark = "\r\n\r\n--=:eRr.dAtA:=--\r\n\r\n";

[[noreturn]] void Fail(std::string message) { throw ERpcInfo(std::move(message)); }

std::string AtText(std::string_view cls, std::int64_t at) {
  return std::string(cls) + ".from_Code(" + std::to_string(at) + "): ";
}

// ---------------------------------------------------------------- reading

struct Reader {
  std::string_view code;
  std::int64_t size() const { return static_cast<std::int64_t>(code.size()); }

  std::int64_t Find(char mark, std::int64_t from) const {
    if (from >= size()) return -1;
    const void* hit = std::memchr(code.data() + from, mark, static_cast<std::size_t>(size() - from));
    return hit == nullptr ? -1 : static_cast<const char*>(hit) - code.data();
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
    return ShortAfter(Header(at, expected) - 1, at);
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

  // The short form's text once its "=" is known to stand at `eq`.
  std::string_view ShortAfter(std::int64_t eq, std::int64_t& at) const {
    const std::int64_t end = Find(';', eq + 1);
    if (end < 0) Fail("END-MARK missing.");
    at = end + 1;
    return Slice(eq + 1, end);
  }

  // The long form's payload once its "=" is known to stand at `eq`.
  std::string_view LongAfter(std::int64_t eq, std::int64_t& at) const {
    std::int64_t pos = eq + 1;
    if (pos < size() && At(pos) == ';') {
      at = pos + 1;
      return {};
    }
    const std::string_view payload = Counted(pos, ';', "COMMAND END-MARK missing.");
    at = pos;
    return payload;
  }

  std::string_view Long(std::int64_t& at, std::string_view expected) const {
    return LongAfter(Header(at, expected) - 1, at);
  }

  // A view into the code: the caller copies it where it keeps it.
  std::string_view Name(std::int64_t& at) const {
    const std::int64_t colon = Find(':', at);
    if (colon < 0) Fail("NAME END-MARK missing.");
    if (colon > at) {
      const std::string_view name = Slice(at, colon);
      at = colon + 1;
      return name;
    }
    if (at + 1 < size() && At(at + 1) == ':') {
      at += 2;
      return {};
    }
    std::int64_t pos = at + 1;
    const std::string_view name = Counted(pos, ':', "NAME END-MARK missing.");
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
    const std::string_view name = r.Name(at);
    TRpcObjectPtr value = ReadAny(r, at, maxDepth - 1);
    // A repeated name sets the field again, keeping its first place. A mask of
    // name hashes spares the search for the common case of all names distinct.
    const std::uint64_t bit = NameBit(name);
    if ((seen & bit) == 0) {
      seen |= bit;
      record.AppendField(std::string(name), TRpcValue(std::move(value)));
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
    std::string name(r.Name(at));
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

// The class that the letters before "=" name.
bool TypeFromLetters(std::string_view letters, TRpcValueTypes& type) noexcept {
  using VT = TRpcValueTypes;
  if (letters.size() == 1) {
    switch (letters[0]) {
      case 'X': type = VT::rpc_Null; return true;
      case 'V': type = VT::rpc_Variable; return true;
      case 'E': type = VT::rpc_Exception; return true;
      case 'T': type = VT::rpc_Text; return true;
      case 'S': type = VT::rpc_String; return true;
      case 'W': type = VT::rpc_WideString; return true;
      case 'B': type = VT::rpc_Boolean; return true;
      case 'I': type = VT::rpc_Integer; return true;
      case 'K': type = VT::rpc_Cardinal; return true;
      case 'L': type = VT::rpc_LargeInt; return true;
      case 'F': type = VT::rpc_Float; return true;
      case 'C': type = VT::rpc_Currency; return true;
      case 'D': type = VT::rpc_DateTime; return true;
      case 'O': type = VT::rpc_OID; return true;
      default: return false;
    }
  }
  if (letters.size() != 2) return false;
  constexpr struct {
    char a, b;
    TRpcValueTypes type;
  } kPairs[] = {{'F', 'C', VT::rpc_Function}, {'A', 'R', VT::rpc_Array},      {'R', 'E', VT::rpc_Record},
                {'D', 'S', VT::rpc_DataSet},  {'B', 'S', VT::rpc_ByteStream}, {'B', 'A', VT::rpc_ByteArray}};
  for (const auto& p : kPairs) {
    if (letters[0] == p.a && letters[1] == p.b) {
      type = p.type;
      return true;
    }
  }
  return false;
}

template <typename T>
TRpcObjectPtr Make(typename T::ValueTypeT value) {
  return std::make_unique<T>(std::move(value));
}

TRpcObjectPtr ReadAny(const Reader& r, std::int64_t& at, int maxDepth) {
  if (at < 0) Fail("Starting position < 0 !?");
  const std::int64_t eq = r.Find('=', at);
  if (eq < 0) Fail("Object type specifier not found.");
  const std::string_view letters = r.Slice(at, eq);
  TRpcValueTypes type{};
  if (!TypeFromLetters(letters, type)) {
    Fail("Unknown object type specifier at " + std::to_string(at) + ": " + std::string(letters));
  }
  using VT = TRpcValueTypes;
  switch (type) {
    case VT::rpc_Null:
      r.ShortAfter(eq, at);
      return nullptr;
    case VT::rpc_Variable:
      return Make<TRpcVariableName>(std::string(r.LongAfter(eq, at)));
    case VT::rpc_Function: {
      const std::int64_t start = at;
      CheckDepth(VT::rpc_Function, start, maxDepth);
      auto call = std::make_unique<TRpcFunctionInfo>(std::string(r.ShortAfter(eq, at)), true);
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
      return Make<TRpcTextValue>(std::string(r.LongAfter(eq, at)));
    case VT::rpc_String:
      return Make<TRpcStringValue>(std::string(r.LongAfter(eq, at)));
    case VT::rpc_WideString: {
      const std::string_view bytes = r.LongAfter(eq, at);
      if (bytes.size() % 2 != 0) Fail("Odd length of UTF-16 data.");
      std::u16string text(bytes.size() / 2, u'\0');
      for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                        static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
      }
      return Make<TRpcWideStringValue>(std::move(text));
    }
    case VT::rpc_Boolean:
      return Make<TRpcBooleanValue>(TextToBoolean(r.ShortAfter(eq, at)));
    case VT::rpc_Integer:
      return Make<TRpcIntegerValue>(IntegerText<std::int32_t>(VT::rpc_Integer, r.ShortAfter(eq, at)));
    case VT::rpc_Cardinal:
      return Make<TRpcCardinalValue>(IntegerText<std::uint32_t>(VT::rpc_Cardinal, r.ShortAfter(eq, at)));
    case VT::rpc_LargeInt:
      return Make<TRpcLargeIntValue>(IntegerText<std::int64_t>(VT::rpc_LargeInt, r.ShortAfter(eq, at)));
    case VT::rpc_OID:
      return Make<TRpcOIDValue>(IntegerText<std::int64_t>(VT::rpc_OID, r.ShortAfter(eq, at)));
    case VT::rpc_Float:
      return Make<TRpcFloatValue>(FloatFromCodeText(r.ShortAfter(eq, at)));
    case VT::rpc_Currency:
      return Make<TRpcCurrencyValue>(CurrencyFromCodeText(r.ShortAfter(eq, at)));
    case VT::rpc_DateTime: {
      const std::string_view text = r.ShortAfter(eq, at);
      return Make<TRpcDateTimeValue>(text.empty() ? 0.0 : DateTimeFromCodeText(text));
    }
    case VT::rpc_ByteStream:
      return Make<TRpcByteStream>(std::string(r.LongAfter(eq, at)));
    case VT::rpc_ByteArray:
      return Make<TRpcByteArray>(std::string(r.LongAfter(eq, at)));
    case VT::rpc_Variant:
      break;
  }
  Fail("Object type specifier not found.");
}

}  // namespace

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

}  // namespace quillorn::transport
