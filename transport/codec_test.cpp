#include "transport/codec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillorn::transport {
namespace {

using namespace std::string_literals;

std::string Code(const TRpcValue& v) { return v.toCode(); }

// The text of the codec's failure in `f`, or a note that there was none.
template <typename F>
std::string Raised(F f) {
  try {
    f();
  } catch (const ERpcInfo& e) {
    return e.what();
  }
  return "no failure";
}

template <typename T>
TRpcValue Val(typename T::ValueTypeT v) {
  return MakeValue<T>(std::move(v));
}

// Byte strings written by hand from the format's rules, one per value class.
TEST(CodecGolden, EachScalarClassEncodesToItsBytes) {
  struct Case {
    const char* what;
    TRpcValue value;
    std::string code;
  };
  std::vector<Case> cases;
  cases.push_back({"null slot", TRpcValue(), "X=;"});
  cases.push_back({"text", TextValue("Access"), "T=6\"Access\";"});
  cases.push_back({"text utf8 counts bytes", TextValue("\xC3\xA4"), "T=2\"\xC3\xA4\";"});
  cases.push_back({"text empty", TextValue(""), "T=;"});
  cases.push_back({"text with quote and semicolon", TextValue("a\";b"), "T=4\"a\";b\";"});
  cases.push_back({"string bytes", Val<TRpcStringValue>("\x00\xff"s), "S=2\"\x00\xff\";"s});
  cases.push_back({"wide string little endian", Val<TRpcWideStringValue>(u"A\u20AC"), "W=4\"A\x00\xAC\x20\";"s});
  cases.push_back({"variable", Val<TRpcVariableName>("ID"), "V=2\"ID\";"});
  cases.push_back({"true", BooleanValue(true), "B=T;"});
  cases.push_back({"false", BooleanValue(false), "B=;"});
  cases.push_back({"integer", IntegerValue(4711), "I=4711;"});
  cases.push_back({"integer zero", IntegerValue(0), "I=;"});
  cases.push_back({"cardinal zero", Val<TRpcCardinalValue>(0), "K=;"});
  cases.push_back({"large int", Val<TRpcLargeIntValue>(-9000000000LL), "L=-9000000000;"});
  cases.push_back({"object id", Val<TRpcOIDValue>(12345678901LL), "O=12345678901;"});
  cases.push_back({"float", Val<TRpcFloatValue>(1.5), "F=1.5;"});
  cases.push_back({"float negative fraction", Val<TRpcFloatValue>(-0.1), "F=-0.1;"});
  cases.push_back({"float 15 digits", Val<TRpcFloatValue>(1.0 / 3.0), "F=0.333333333333333;"});
  cases.push_back({"float zero", Val<TRpcFloatValue>(0.0), "F=;"});
  cases.push_back({"currency", Val<TRpcCurrencyValue>(123400), "C=12.34;"});
  cases.push_back({"currency whole", Val<TRpcCurrencyValue>(50000), "C=5;"});
  cases.push_back({"currency small negative", Val<TRpcCurrencyValue>(-5), "C=-0.0005;"});
  cases.push_back({"currency zero", Val<TRpcCurrencyValue>(0), "C=;"});
  cases.push_back({"date and time", Val<TRpcDateTimeValue>(foundation::EncodeDateTime(2024, 3, 7, 9, 5, 0, 999)),
                   "D=2024-3-7 9:5:0.999;"});
  cases.push_back({"whole day", Val<TRpcDateTimeValue>(foundation::EncodeDate(2024, 3, 7)), "D=2024-3-7;"});
  cases.push_back({"time only", Val<TRpcDateTimeValue>(0.5), "D=12:0:0.0;"});
  cases.push_back({"before day zero", Val<TRpcDateTimeValue>(-1.25), "D=1899-12-29 6:0:0.0;"});
  cases.push_back({"zero date", Val<TRpcDateTimeValue>(0.0), "D=;"});
  cases.push_back({"byte stream", Val<TRpcByteStream>("a;\"b"), "BS=4\"a;\"b\";"});
  cases.push_back({"byte array", Val<TRpcByteArray>("\x01\x02"), "BA=2\"\x01\x02\";"});
  cases.push_back({"exception with code", TRpcValue(std::make_unique<TRpcExceptionValue>(3, "Access denied")),
                   "E=16\"#3:Access denied\";"});
  cases.push_back({"exception without code", TRpcValue(std::make_unique<TRpcExceptionValue>(0, "boom")),
                   "E=4\"boom\";"});
  cases.push_back({"exception with data",
                   TRpcValue(std::make_unique<TRpcExceptionValue>(7, "oops", IntegerValue(12))),
                   "E=36\"#7:oops\r\n\r\n--=:eRr.dAtA:=--\r\n\r\nI=12;\";"});
  for (const auto& c : cases) {
    EXPECT_EQ(Code(c.value), c.code) << c.what;
    const TRpcValue back = TRpcValue::FromCode(c.code);
    EXPECT_EQ(back.toCode(), c.code) << c.what;
    // 15 digits can't carry every double; everything else reads back as itself.
    if (std::string(c.what) != "float 15 digits") {
      EXPECT_TRUE(back == c.value) << c.what;
    }
  }
}

TEST(CodecGolden, ContainersEncodeToTheirBytes) {
  auto call = std::make_unique<TRpcFunctionInfo>("getrow");
  call->SetText("SQL", "SELECT 1;");
  call->SetInteger("ID", 12);
  EXPECT_EQ(call->toCode(), "FC=getrow;RE=2;SQL:T=9\"SELECT 1;\";ID:I=12;");
  EXPECT_EQ(TRpcFunctionInfo("youthere").toCode(), "FC=youthere;RE=0;");
  TRpcFunctionInfo bare("youthere", false);
  bare.SetNull("a");
  EXPECT_EQ(bare.toCode(), "RE=1;a:X=;");

  TRpcRecord names;
  names.SetInteger("DOC_ID", 1);
  names.SetText("", "e");
  names.SetBoolean("a:b", true);
  names.SetNull("n");
  EXPECT_EQ(names.toCode(), "RE=4;DOC_ID:I=1;::T=1\"e\";:3\"a:b\":B=T;n:X=;");
  EXPECT_EQ(TRpcRecord().toCode(), "RE=0;");

  TRpcArray array;
  array.At(2) = IntegerValue(5);  // slots 0 and 1 stay holes
  EXPECT_EQ(array.toCode(), "AR=3;X=;X=;I=5;");
  EXPECT_EQ(TRpcArray().toCode(), "AR=0;");

  TRpcDataSet set;
  set.AddField("DOC_ID", TRpcFieldTypes::ft_Integer);
  set.AddField("NAME", TRpcFieldTypes::ft_String, 80, true);
  set.AppendRow().SetInteger("DOC_ID", 4711);
  set.AppendRow(nullptr);
  EXPECT_EQ(set.toCode(), "DS=2;DOC_ID:I,0,F;NAME:S,80,T;ROWS=2;RE=1;DOC_ID:I=4711;X=;");
}

TEST(CodecGolden, AllFieldTypeCodesStandInOrdinalOrder) {
  const std::string expected =
      "U S SI I WI B F C BC DD T D BY VB AI O M G FM PO DO TB CU FC W L AD AR RF DS OB OC V IT ID GU DT FB WC WM OT "
      "OI WL SH BB FE CO PA ST TO OJ SN";
  std::string got;
  for (int i = 0; i < kRpcFieldTypeCount; ++i) {
    if (i) got += ' ';
    got += FieldTypeCode(static_cast<TRpcFieldTypes>(i));
    TRpcFieldTypes back{};
    ASSERT_TRUE(FieldTypeFromCode(FieldTypeCode(static_cast<TRpcFieldTypes>(i)), back));
    EXPECT_EQ(static_cast<int>(back), i);
  }
  EXPECT_EQ(got, expected);
  // Every field type travels in a definition and reads back as itself.
  TRpcDataSet set;
  for (int i = 0; i < kRpcFieldTypeCount; ++i) {
    set.AddField("f" + std::to_string(i), static_cast<TRpcFieldTypes>(i), i, i % 2 == 0);
  }
  EXPECT_TRUE(TRpcValue::FromCode(set.toCode()) == TRpcValue(set.Clone()));
}

// Only the choices the other side relies on; the rest follow the type's name.
TEST(CodecGolden, NaturalValueTypesWhereTheNameDoesNotSayIt) {
  using FT = TRpcFieldTypes;
  using VT = TRpcValueTypes;
  const std::vector<std::pair<FT, VT>> cases = {
      {FT::ft_Single, VT::rpc_Integer},  {FT::ft_LongWord, VT::rpc_Cardinal}, {FT::ft_FMTBcd, VT::rpc_Currency},
      {FT::ft_WideMemo, VT::rpc_Text},   {FT::ft_Stream, VT::rpc_ByteStream}, {FT::ft_Params, VT::rpc_Record},
      {FT::ft_Cursor, VT::rpc_Null},     {FT::ft_Blob, VT::rpc_String},       {FT::ft_Guid, VT::rpc_String},
  };
  for (const auto& [ft, vt] : cases) EXPECT_EQ(NaturalValueType(ft), vt) << FieldTypeCode(ft);
}

TEST(CodecDecode, ReaderAcceptsTheWidenedForms) {
  struct Case {
    std::string code;
    TRpcValue expected;
  };
  const double when = foundation::EncodeDateTime(2024, 3, 7, 9, 5, 0, 0);
  std::vector<Case> cases;
  cases.push_back({"S=0\"\";", Val<TRpcStringValue>("")});
  cases.push_back({"BS=;", Val<TRpcByteStream>("")});
  cases.push_back({"I=0;", IntegerValue(0)});
  cases.push_back({"B=F;", BooleanValue(false)});
  cases.push_back({"B=no;", BooleanValue(false)});
  cases.push_back({"B=1;", BooleanValue(true)});
  cases.push_back({"F=1E+20;", Val<TRpcFloatValue>(1e20)});
  cases.push_back({"C=-12.34567;", Val<TRpcCurrencyValue>(-123457)});
  cases.push_back({"D=2024/3/7 9:5:0.0;", Val<TRpcDateTimeValue>(when)});
  cases.push_back({"D=2024-03-07T09:05:00.000;", Val<TRpcDateTimeValue>(when)});
  cases.push_back({"D=2024-3-7T9:5:0.0+01:00;", Val<TRpcDateTimeValue>(when)});
  cases.push_back({"D=2024-3-7 9:5:0.0-0500;", Val<TRpcDateTimeValue>(when)});
  cases.push_back({"D=2024-3-7 9:5;", Val<TRpcDateTimeValue>(when)});
  cases.push_back({"RE=2;a:I=1;A:I=2;", [] {
                     auto r = std::make_unique<TRpcRecord>();
                     r->SetInteger("a", 2);  // a name set twice keeps its first place
                     return TRpcValue(std::move(r));
                   }()});
  for (const auto& c : cases) {
    EXPECT_TRUE(TRpcValue::FromCode(c.code) == c.expected) << c.code;
  }
}

TEST(CodecDecode, EachFailureHasItsText) {
  struct Case {
    std::string code;
    std::int64_t at;
    std::string message;
  };
  const std::vector<Case> cases = {
      {"I=5;", -1, "Starting position < 0 !?"},
      {"I5;", 0, "Object type specifier not found."},
      {"ZZ=1;", 0, "Unknown object type specifier at 0: ZZ"},
      {"I=1;QQ=;", 4, "Unknown object type specifier at 4: QQ"},
      {"I=5", 0, "END-MARK missing."},
      {"T=5\"ab", 0, "Not enough data."},
      {"T=abc", 0, "String START-MARK missing."},
      {"T=x\"abc\";", 0, "Length value missing."},
      {"T=2\"abc\";", 0, "String END-MARK missing."},
      {"T=3\"abc\"x", 0, "COMMAND END-MARK missing."},
      {"RE=1;NAME", 0, "NAME END-MARK missing."},
      {"RE=1;:3\"a:b\"I=1;", 0, "NAME END-MARK missing."},
      {"FC=f;", 0, "No more data. Starting position beyond end-of-String."},
      {"FC=f;R", 0, "Not enough data to include type info."},
      {"FC=f;REx", 0, "End Mark not found."},
      {"FC=f;AR=0;", 0, "Expected object type specifier not found."},
      {"DS=1;A:I;ROWS=0;", 0, "MID-MARK missing."},
      {"DS=1;A:I,0;ROWS=0;", 0, "MID-MARK missing."},
      {"DS=1;A:I,0,F", 0, "END-MARK missing."},
      {"I=1;DS=;", 4, "TRpcDataSet.from_Code(4): Field Count missing."},
      {"DS=0;ROW=0;", 0, "TRpcDataSet.from_Code(0): Row Count missing."},
      {"DS=0;ROWS=y;", 0, "TRpcDataSet.from_Code(0): Row Count missing."},
      {"DS=1;::I,0,F;ROWS=0;", 0, "Can not set field name to an empty String."},
      {"DS=2;Ab:I,0,F;aB:I,0,F;ROWS=0;", 0, "Another field with name \"aB\" already exists."},
      {"DS=0;ROWS=1;I=1;", 0, "End Mark not found."},
      {"D=2024-13-1;", 0, "Invalid DateTime format."},
      {"D=yesterday;", 0, "Invalid DateTime format."},
      {"D=2024-3-7X9:5:0.0;", 0, "Invalid DateTime format."},
      {"D=25:0:0.0;", 0, "Invalid DateTime format."},
  };
  for (const auto& c : cases) {
    std::int64_t at = c.at;
    try {
      TRpcValue::FromCode(c.code, at);
      ADD_FAILURE() << "no failure for " << c.code;
    } catch (const ERpcInfo& e) {
      EXPECT_EQ(std::string(e.what()), c.message) << c.code;
      EXPECT_EQ(at, c.at) << "position moved on failure: " << c.code;
    }
  }
}

TEST(CodecDecode, SeveralObjectsOneBehindTheOther) {
  const std::string code = "I=1;T=3\"a;b\";RE=0;X=;";
  std::int64_t at = 0;
  EXPECT_EQ(TRpcValue::FromCode(code, at).AsInteger(), 1);
  EXPECT_EQ(at, 4);
  EXPECT_EQ(TRpcValue::FromCode(code, at).AsString(), "a;b");
  EXPECT_EQ(at, 13);
  EXPECT_EQ(TRpcValue::FromCode(code, at).ValueType(), TRpcValueTypes::rpc_Record);
  EXPECT_TRUE(TRpcValue::FromCode(code, at).IsNull());
  EXPECT_EQ(at, static_cast<std::int64_t>(code.size()));
  EXPECT_EQ(DecodeAll(code).size(), 4u);
  EXPECT_EQ(Raised([&] { TRpcValue::FromCode(code); }),
            "TRpcValueObject.ObjectFromCode @4: String contains more data than expected.");
}

std::string Nested(const std::string& open, int depth, const std::string& inner) {
  std::string code;
  for (int i = 0; i < depth; ++i) code += open;
  return code + inner;
}

TEST(CodecDecode, NestingLimit) {
  // 1000 containers fit a limit of 1000, the 1001st fails at its own position.
  EXPECT_NO_THROW(TRpcValue::FromCode(Nested("AR=1;", 999, "AR=0;"), 1000));
  EXPECT_NO_THROW(TRpcValue::FromCode(Nested("RE=1;a:", 999, "I=1;"), 1000));
  const struct {
    std::string code;
    int limit;
    const char* raised;
  } cases[] = {
      {.code = Nested("AR=1;", 1000, "AR=0;"), .limit = 1000, .raised = "TRpcArray.from_Code(5000)"},
      {.code = "AR=1;AR=1;DS=0;ROWS=0;", .limit = 2, .raised = "TRpcDataSet.from_Code(10)"},
      {.code = "RE=1;a:FC=f;RE=0;", .limit = 1, .raised = "TRpcFunctionInfo.from_Code(7)"},
      // A data set row is a record one level below its set.
      {.code = "DS=0;ROWS=1;RE=0;", .limit = 1, .raised = "TRpcRecord.from_Code(12)"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Raised([&] { TRpcValue::FromCode(c.code, c.limit); }),
              std::string(c.raised) + ": Exceeded max allowed Nesting Depth.");
  }
  EXPECT_NO_THROW(TRpcValue::FromCode("DS=0;ROWS=1;RE=0;", 2));
}

TEST(CodecRoundTrip, NestedContainersAndAwkwardNames) {
  auto record = std::make_unique<TRpcRecord>();
  record->SetText("text", "caf\xC3\xA9 \";");
  record->SetString("bytes", std::string("\0\x80\xff\";", 5));
  record->SetWideString("wide", u"\u00e4\U0001F600");
  record->SetCurrency("c", -922337203685477LL * 10000 - 5808);  // the smallest currency
  record->SetDateTime("d", foundation::EncodeDateTime(1999, 12, 31, 23, 59, 59, 1));
  record->SetFloat("float", 12345.678);
  record->SetByteStream("bs", "stream");
  record->SetByteArray("ba", "");
  record->Set("e", TRpcValue(std::make_unique<TRpcExceptionValue>(5, "with data", TextValue("d"))));
  record->SetNull("null");
  record->Set("a:b", IntegerValue(1));
  record->Set("", IntegerValue(2));
  auto array = std::make_unique<TRpcArray>();
  array->Append(TRpcValue());
  array->Append(TRpcValue(record->Clone()));
  auto set = std::make_unique<TRpcDataSet>();
  set->AddField("x:y", TRpcFieldTypes::ft_Memo, -1, true);
  set->AppendRow().SetText("x:y", "v");
  set->AppendRow(nullptr);
  set->AppendRow();
  array->Append(TRpcValue(std::move(set)));
  auto call = std::make_unique<TRpcFunctionInfo>("submit");
  call->Set("list", TRpcValue(std::move(array)));
  record->Set("call", TRpcValue(std::move(call)));

  const TRpcValue value(std::move(record));
  const std::string code = value.toCode();
  const TRpcValue back = TRpcValue::FromCode(code);
  EXPECT_TRUE(back == value);
  EXPECT_EQ(back.toCode(), code);
  const auto& r = back.AsRecord();
  EXPECT_EQ(r.GetString("TEXT"), "caf\xC3\xA9 \";");  // names are found regardless of case
  EXPECT_TRUE(r.GetNull("null"));
  EXPECT_TRUE(r.GetNull("missing"));
  EXPECT_EQ(r.GetInteger("missing"), 0);
  EXPECT_EQ(r.Find("null"), nullptr);
  EXPECT_EQ(r.IndexOf("null"), 9);
  EXPECT_EQ(r.GetInteger("a:b"), 1);
  EXPECT_EQ(r.GetInteger(""), 2);
}

TEST(CodecRoundTrip, FloatAndCurrencyTexts) {
  const std::vector<std::pair<double, std::string>> floats = {
      {100, "100"}, {1e15, "1E+15"}, {123456789012345.0, "123456789012345"}, {0.0001, "0.0001"},
      {0.00001, "1E-05"}, {-2.5e-7, "-2.5E-07"}, {0.1 + 0.2, "0.3"},
  };
  for (const auto& [v, text] : floats) EXPECT_EQ(FloatToCodeText(v), text);
  const std::vector<std::pair<std::int64_t, std::string>> currencies = {
      {1, "0.0001"}, {-10000, "-1"}, {123456789, "12345.6789"}, {9223372036854775807LL, "922337203685477.5807"},
  };
  for (const auto& [v, text] : currencies) {
    EXPECT_EQ(CurrencyToCodeText(v), text);
    EXPECT_EQ(CurrencyFromCodeText(text), v);
  }
  EXPECT_THROW(CurrencyFromCodeText("922337203685477.5808"), ERpcInfo);
  EXPECT_THROW(TRpcValue::FromCode("I=2147483648;"), ERpcInfo);
  EXPECT_THROW(TRpcValue::FromCode("K=-1;"), ERpcInfo);
  EXPECT_THROW(TRpcValue::FromCode("W=1\"a\";"), ERpcInfo);
}

TEST(CodecValues, TypedReadsAndConversions) {
  EXPECT_FALSE(TextToBoolean(""));
  for (const char* f : {"0", "f", "N", "false", "No"}) EXPECT_FALSE(TextToBoolean(f)) << f;
  for (const char* t : {"T", "yes", "1", "x", "FALSEX"}) EXPECT_TRUE(TextToBoolean(t)) << t;
  EXPECT_EQ(TextValue("42").AsInteger(), 42);
  EXPECT_EQ(IntegerValue(3).AsString(), "3");
  EXPECT_EQ(MakeValue<TRpcCurrencyValue>(15000)->AsFloat(), 1.5);
  EXPECT_EQ(TRpcValue(std::make_unique<TRpcExceptionValue>(3, "x")).AsString(), "#3:x");
  TRpcValue none;
  EXPECT_EQ(none.AsString(), "");
  EXPECT_EQ(none.AsDateTime(), 0.0);
  EXPECT_TRUE(none.AsVariant().IsNull());
  EXPECT_EQ(Raised([] { TextValue("abc").AsInteger(); }), "Can not convert rpc_Text to rpc_Integer.");
  EXPECT_EQ(Raised([] { TRpcValue(std::make_unique<TRpcArray>()).AsRecord(); }),
            "Unable to convert rpc_Array to rpc_Record.");
  TRpcDataSet set;
  EXPECT_THROW(set.SetRow(-1, nullptr), ERpcInfo);
  TRpcRecord passed;
  passed.SetCode("change_data", "AR=2;AR=1;I=1;DS=0;ROWS=1;RE=0;");
  EXPECT_EQ(passed.toCode(), "RE=1;change_data:AR=2;AR=1;I=1;DS=0;ROWS=1;RE=0;");
}

}  // namespace
}  // namespace quillorn::transport
