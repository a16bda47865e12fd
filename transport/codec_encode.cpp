// The encoding half of the codec and the buffer it writes into.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "transport/codec.h"
#include "foundation/datetime.h"

namespace quillorn::transport {
namespace {

constexpr std::string_view kExceptionDataMark = "\r\n\r\n--=:eRr.dAtA:=--\r\n\r\n";
constexpr long long kMSecsPerDay = 86400000;

void EncodeValue(const TRpcValueObject* object, TRpcHugeString& out);

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

// `<code>=<decimal>;` written in place; zero stands as an empty text.
template <typename Int>
void AppendInteger(TRpcHugeString& out, char code, Int value) {
  char* p = out.Room(24);
  *p++ = code;
  *p++ = '=';
  if (value != 0) p = std::to_chars(p, p + 20, value).ptr;
  *p++ = ';';
  out.Commit(p);
}

// `<code>=<text>;` for the scalars whose text has a writer; zero is the empty text.
template <typename Value, typename Writer>
void AppendScalarText(TRpcHugeString& out, char code, Value value, Writer write) {
  char* p = out.Room(kMaxScalarText + 3);
  *p++ = code;
  *p++ = '=';
  if (value != 0) p = write(p, value);
  *p++ = ';';
  out.Commit(p);
}

void AppendName(TRpcHugeString& out, std::string_view name) {
  if (name.empty()) {
    out.Append("::");
  } else if (std::memchr(name.data(), ':', name.size()) == nullptr) {
    char* p = out.Room(name.size() + 1);
    std::memcpy(p, name.data(), name.size());
    p[name.size()] = ':';
    out.Commit(p + name.size() + 1);
  } else {
    out.Append(':');
    out.AppendUnsigned(name.size());
    out.Append('"');
    out.Append(name);
    out.Append("\":");
  }
}

void AppendCount(TRpcHugeString& out, std::string_view head, std::size_t count) {
  char* p = out.Room(head.size() + 22);
  std::memcpy(p, head.data(), head.size());
  p += head.size();
  p = std::to_chars(p, p + 20, count).ptr;
  *p++ = ';';
  out.Commit(p);
}

void AppendRecordBody(TRpcHugeString& out, const TRpcRecord& record) {
  const std::size_t count = record.Count();
  AppendCount(out, "RE=", count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto& field = record.FieldAt(i);
    AppendName(out, field.Name);
    EncodeValue(field.Value.Get(), out);
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
  AppendCount(out, "DS=", set.FieldCount());
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
  AppendCount(out, "ROWS=", set.RowCount());
  for (std::size_t i = 0; i < set.RowCount(); ++i) {
    const TRpcDataRow* row = set.Row(i);
    if (row == nullptr) {
      out.Append("X=;");
    } else {
      AppendRecordBody(out, *row);
    }
  }
}

char* WriteInt(char* out, long long value) { return std::to_chars(out, out + 20, value).ptr; }

std::size_t DecimalBound(std::uint64_t value) {
  std::size_t digits = 1;
  while (value >= 10) {
    value /= 10;
    ++digits;
  }
  return digits;
}

// `<code>=-<digits>;`
std::size_t IntegerBound(std::int64_t value) {
  return 4 + DecimalBound(value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value));
}

// `<code>=<length>"<payload>";`
std::size_t LongBound(std::size_t payload) { return 6 + DecimalBound(payload) + payload; }

std::size_t NameBound(std::string_view name) {
  return std::memchr(name.data(), ':', name.size()) == nullptr ? name.size() + 2 : LongBound(name.size());
}

std::size_t RecordBound(const TRpcRecord& record);

// An upper bound of the code's size, so that the buffer is sized once: growing
// a large buffer costs copies and fresh pages that are most of the encoder's time.
std::size_t CodeSizeBound(const TRpcValueObject* object) {
  if (object == nullptr) return 3;
  using VT = TRpcValueTypes;
  constexpr std::size_t kScalar = 32;  // the longest float, currency or date text with its marks
  const TRpcValueObject& o = *object;
  switch (o.ValueType()) {
    case VT::rpc_Null:
    case VT::rpc_Variant:
    case VT::rpc_Boolean:
      return 4;
    case VT::rpc_Variable: return LongBound(ValueOf<TRpcVariableName>(o).size());
    case VT::rpc_Function: {
      const auto& call = static_cast<const TRpcFunctionInfo&>(o);
      return 4 + call.Name().size() + RecordBound(call);
    }
    case VT::rpc_Exception: {
      const auto& e = static_cast<const TRpcExceptionValue&>(o);
      return LongBound(16 + e.Message().size() + kExceptionDataMark.size() + CodeSizeBound(e.Data().Get()));
    }
    case VT::rpc_Array: {
      const auto& array = static_cast<const TRpcArray&>(o);
      std::size_t total = 24;
      for (std::size_t i = 0; i < array.Count(); ++i) total += CodeSizeBound(array[i].Get());
      return total;
    }
    case VT::rpc_Record: return RecordBound(static_cast<const TRpcRecord&>(o));
    case VT::rpc_DataSet: {
      const auto& set = static_cast<const TRpcDataSet&>(o);
      std::size_t total = 48;
      for (std::size_t i = 0; i < set.FieldCount(); ++i) total += NameBound(set.FieldDef(i).Name) + 20;
      for (std::size_t i = 0; i < set.RowCount(); ++i) {
        const TRpcDataRow* row = set.Row(i);
        total += row == nullptr ? 3 : RecordBound(*row);
      }
      return total;
    }
    case VT::rpc_Text: return LongBound(ValueOf<TRpcTextValue>(o).size());
    case VT::rpc_String: return LongBound(ValueOf<TRpcStringValue>(o).size());
    case VT::rpc_WideString: return LongBound(2 * ValueOf<TRpcWideStringValue>(o).size());
    case VT::rpc_Integer: return IntegerBound(ValueOf<TRpcIntegerValue>(o));
    case VT::rpc_Cardinal: return IntegerBound(ValueOf<TRpcCardinalValue>(o));
    case VT::rpc_LargeInt: return IntegerBound(ValueOf<TRpcLargeIntValue>(o));
    case VT::rpc_OID: return IntegerBound(ValueOf<TRpcOIDValue>(o));
    case VT::rpc_Float:
    case VT::rpc_Currency:
    case VT::rpc_DateTime:
      return kScalar;
    case VT::rpc_ByteStream: return LongBound(ValueOf<TRpcByteStream>(o).size());
    case VT::rpc_ByteArray: return LongBound(ValueOf<TRpcByteArray>(o).size());
  }
  return kScalar;
}

std::size_t RecordBound(const TRpcRecord& record) {
  std::size_t total = 24;
  for (std::size_t i = 0; i < record.Count(); ++i) {
    const auto& field = record.FieldAt(i);
    total += NameBound(field.Name) + CodeSizeBound(field.Value.Get());
  }
  return total;
}

void EncodeValue(const TRpcValueObject* object, TRpcHugeString& out) {
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
      AppendCount(out, "AR=", array.Count());
      for (std::size_t i = 0; i < array.Count(); ++i) EncodeValue(array[i].Get(), out);
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
      AppendInteger(out, 'I', ValueOf<TRpcIntegerValue>(o));
      return;
    case VT::rpc_Cardinal:
      AppendInteger(out, 'K', ValueOf<TRpcCardinalValue>(o));
      return;
    case VT::rpc_LargeInt:
      AppendInteger(out, 'L', ValueOf<TRpcLargeIntValue>(o));
      return;
    case VT::rpc_OID:
      AppendInteger(out, 'O', ValueOf<TRpcOIDValue>(o));
      return;
    case VT::rpc_Float:
      AppendScalarText(out, 'F', ValueOf<TRpcFloatValue>(o), WriteFloatText);
      return;
    case VT::rpc_Currency:
      AppendScalarText(out, 'C', ValueOf<TRpcCurrencyValue>(o), WriteCurrencyText);
      return;
    case VT::rpc_DateTime:
      AppendScalarText(out, 'D', ValueOf<TRpcDateTimeValue>(o), WriteDateTimeText);
      return;
    case VT::rpc_ByteStream:
      AppendLong(out, "BS", ValueOf<TRpcByteStream>(o));
      return;
    case VT::rpc_ByteArray:
      AppendLong(out, "BA", ValueOf<TRpcByteArray>(o));
      return;
  }
}

}  // namespace

// ---------------------------------------------------------------- buffer

void TRpcHugeString::Grow(std::size_t at_least) {
  const std::size_t used = Size();
  // The first block is small, so that a short call costs no big allocation.
  const std::size_t capacity = std::max({used + at_least, buf_.size() * 2, std::size_t{256}});
  buf_.resize(capacity);
  pos_ = buf_.data() + used;
  end_ = buf_.data() + buf_.size();
}

void TRpcHugeString::AppendDecimal(std::int64_t value) {
  char* p = Room(20);
  Commit(std::to_chars(p, p + 20, value).ptr);
}

void TRpcHugeString::AppendUnsigned(std::uint64_t value) {
  char* p = Room(20);
  Commit(std::to_chars(p, p + 20, value).ptr);
}

std::string TRpcHugeString::Join() {
  buf_.resize(Size());
  std::string out = std::move(buf_);
  buf_.clear();
  pos_ = end_ = buf_.data();
  return out;
}

void TRpcHugeString::JoinInto(std::vector<std::uint8_t>& out) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(buf_.data());
  out.insert(out.end(), data, data + Size());
  buf_.clear();
  buf_.shrink_to_fit();
  pos_ = end_ = buf_.data();
}

// ---------------------------------------------------------------- public

void EncodeObject(const TRpcValueObject* object, TRpcHugeString& out) {
  // The slack spares a growth for the writers' room at the very end.
  out.Room(CodeSizeBound(object) + kMaxScalarText + 8);
  EncodeValue(object, out);
}


std::string EncodeToCode(const TRpcValueObject* object) {
  TRpcHugeString out;
  EncodeObject(object, out);
  return out.Join();
}

// ---------------------------------------------------------------- scalar texts

char* WriteFloatText(char* out, double value) {
  char* end = std::to_chars(out, out + kMaxScalarText, value, std::chars_format::general, 15).ptr;
  for (char* p = out; p != end; ++p) {
    if (*p >= 'a' && *p <= 'z') *p = static_cast<char>(*p - 'a' + 'A');
  }
  return end;
}

char* WriteCurrencyText(char* out, std::int64_t scaled) {
  const bool negative = scaled < 0;
  const std::uint64_t magnitude =
      negative ? static_cast<std::uint64_t>(-(scaled + 1)) + 1 : static_cast<std::uint64_t>(scaled);
  if (negative) *out++ = '-';
  out = std::to_chars(out, out + 20, magnitude / kCurrencyScale).ptr;
  std::uint64_t frac = magnitude % kCurrencyScale;
  if (frac != 0) {
    char digits[4];
    for (int i = 3; i >= 0; --i, frac /= 10) digits[i] = static_cast<char>('0' + frac % 10);
    int len = 4;
    while (digits[len - 1] == '0') --len;
    *out++ = '.';
    std::memcpy(out, digits, static_cast<std::size_t>(len));
    out += len;
  }
  return out;
}

char* WriteDateTimeText(char* out, foundation::TDateTime value) {
  const double scaled = value * static_cast<double>(kMSecsPerDay);
  const long long total = std::isfinite(scaled) && std::fabs(scaled) < 9.0e17 ? std::llround(scaled) : 0;
  const long long days = total / kMSecsPerDay;
  long long ms = (total < 0 ? -total : total) % kMSecsPerDay;
  if (days != 0) {
    int y = 0, m = 0, d = 0;
    foundation::DecodeDate(static_cast<double>(days), y, m, d);
    out = WriteInt(out, y);
    *out++ = '-';
    out = WriteInt(out, m);
    *out++ = '-';
    out = WriteInt(out, d);
    if (ms == 0) return out;
    *out++ = ' ';
  }
  const long long z = ms % 1000;
  ms /= 1000;
  out = WriteInt(out, ms / 3600);
  *out++ = ':';
  out = WriteInt(out, ms / 60 % 60);
  *out++ = ':';
  out = WriteInt(out, ms % 60);
  *out++ = '.';
  return WriteInt(out, z);
}

std::string FloatToCodeText(double value) {
  char buf[kMaxScalarText];
  return std::string(buf, WriteFloatText(buf, value));
}

std::string CurrencyToCodeText(std::int64_t scaled) {
  char buf[kMaxScalarText];
  return std::string(buf, WriteCurrencyText(buf, scaled));
}

std::string DateTimeToCodeText(foundation::TDateTime value) {
  char buf[kMaxScalarText];
  return std::string(buf, WriteDateTimeText(buf, value));
}

}  // namespace quillorn::transport
