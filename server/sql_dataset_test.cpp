#include "server/sql_dataset.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/datetime.h"
#include "transport/rpc_dataset.h"

namespace quillorn::server {
namespace {

using transport::TRpcFieldTypes;
using transport::TRpcValue;
using Kind = StoreCell::Kind;

StoreCell Int(std::int64_t v) { return {Kind::Integer, v, 0, {}}; }
StoreCell Real(double v) { return {Kind::Real, 0, v, {}}; }
StoreCell Text(std::string v) { return {Kind::Text, 0, 0, std::move(v)}; }
StoreCell Blob(std::string v) { return {Kind::Blob, 0, 0, std::move(v)}; }
StoreCell Null() { return {}; }

// One column named C of the declared type, one row per cell.
StoreRows Column(const std::string& decl, const std::vector<StoreCell>& cells) {
  StoreRows rows;
  rows.Columns.push_back({"C", decl});
  for (const auto& cell : cells) rows.Rows.push_back({cell});
  return rows;
}

// A column's field type is its declared type's, widened where its data does not fit.
TEST(SqlDataset, ColumnsTakeTheirDeclaredTypeAndWidenToHoldTheirData) {
  struct Case {
    const char* decl;
    std::vector<StoreCell> cells;
    TRpcFieldTypes type;
    std::int32_t size;
  };
  const std::vector<Case> cases = {
      {"varchar( 30 )", {}, TRpcFieldTypes::ft_String, 30},
      {"VARCHAR", {}, TRpcFieldTypes::ft_String, 0},
      {"TEXT", {}, TRpcFieldTypes::ft_Memo, 0},
      {"BLOB SUB_TYPE 0", {}, TRpcFieldTypes::ft_Blob, 0},
      {"MONEY", {}, TRpcFieldTypes::ft_Currency, 0},
      {"DATE", {}, TRpcFieldTypes::ft_Date, 0},
      {"TIME", {}, TRpcFieldTypes::ft_Time, 0},
      {"DECIMAL(10, 4)", {}, TRpcFieldTypes::ft_Float, 0},
      {"BOOLEAN", {}, TRpcFieldTypes::ft_Boolean, 0},
      {"TIMESTAMP", {}, TRpcFieldTypes::ft_DateTime, 0},
      {"FLOATING POINT", {}, TRpcFieldTypes::ft_Integer, 0},  // as the database: "INT" anywhere is whole numbers
      {"ANY", {Int(1)}, TRpcFieldTypes::ft_Integer, 0},
      {"SMALLINT", {Int(5), Int(-32768)}, TRpcFieldTypes::ft_Smallint, 0},
      {"SMALLINT", {Int(5), Int(40000)}, TRpcFieldTypes::ft_Integer, 0},
      {"INTEGER", {Int(2147483647), Int(-2147483648LL)}, TRpcFieldTypes::ft_Integer, 0},
      {"INTEGER", {Int(5), Int(2147483648LL)}, TRpcFieldTypes::ft_Largeint, 0},
      {"INTEGER", {Int(5), Real(2.5)}, TRpcFieldTypes::ft_Float, 0},
      {"INTEGER", {Int(5), Text("n/a")}, TRpcFieldTypes::ft_Memo, 0},
      {"INTEGER", {Blob("\x01")}, TRpcFieldTypes::ft_Blob, 0},
      {"REAL", {Int(3)}, TRpcFieldTypes::ft_Float, 0},
      {"VARCHAR(5)", {Text("abc")}, TRpcFieldTypes::ft_String, 5},
      // Size counts characters, not the bytes of their UTF-8.
      {"VARCHAR(5)", {Text("Qualit\xC3\xA4t")}, TRpcFieldTypes::ft_String, 8},
      {"VARCHAR(5)", {Int(1234567)}, TRpcFieldTypes::ft_String, 7},
      {"VARCHAR(5)", {Blob("bytes")}, TRpcFieldTypes::ft_Blob, 0},
      {"TEXT", {Blob("bytes")}, TRpcFieldTypes::ft_Blob, 0},
      {"", {Int(1), Null()}, TRpcFieldTypes::ft_Integer, 0},
      {"", {Int(1), Int(1LL << 40)}, TRpcFieldTypes::ft_Largeint, 0},
      {"", {Int(1), Real(0.5)}, TRpcFieldTypes::ft_Float, 0},
      {"", {Int(1), Text("four")}, TRpcFieldTypes::ft_String, 4},
      {"", {Text("x"), Blob("y")}, TRpcFieldTypes::ft_Blob, 0},
      {"", {Null()}, TRpcFieldTypes::ft_String, 0},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto set = ToDataSet(Column(cases[i].decl, cases[i].cells));
    ASSERT_EQ(set->FieldCount(), 1u);
    if (cases[i].cells.empty()) {  // nothing to widen for: the declared type's own field
      EXPECT_EQ(FieldForDeclType(cases[i].decl), (WireField{cases[i].type, cases[i].size})) << cases[i].decl;
    }
    EXPECT_EQ(set->FieldDef(0), (transport::TRpcFieldDef{"C", cases[i].type, cases[i].size, false}))
        << "case " << i << " (" << cases[i].decl << ")";
    // Every value stands in its field type's natural value type, or the client reads it wrongly.
    for (std::size_t r = 0; r < set->RowCount(); ++r) {
      const auto* value = set->Row(r)->Find("C");
      if (value != nullptr) {
        EXPECT_EQ(value->ValueType(), transport::NaturalValueType(cases[i].type)) << "case " << i;
      }
    }
  }
}

// Large integers, amounts stored as reals and blobs are the reference server test's, read by the client.
TEST(SqlDataset, ValuesAreReadAsTheirFieldTypeSays) {
  using foundation::EncodeDate;
  using foundation::EncodeDateTime;
  using foundation::EncodeTime;
  using transport::MakeValue;
  struct Case {
    const char* decl;
    StoreCell cell;
    TRpcValue expected;
  };
  const auto Date = [](double days) { return MakeValue<transport::TRpcDateTimeValue>(days); };
  const auto Money = [](std::int64_t scaled) { return MakeValue<transport::TRpcCurrencyValue>(scaled); };
  const Case cases[] = {
      {"DATE", Text("2024-03-07"), Date(EncodeDate(2024, 3, 7))},
      {"TIMESTAMP", Text("2024-03-07T09:05:01.25"), Date(EncodeDateTime(2024, 3, 7, 9, 5, 1, 250))},
      {"TIME", Text("09:05"), Date(EncodeTime(9, 5, 0, 0))},
      {"DATETIME", Text("1899-12-29 06:00"), Date(-1.25)},
      {"DATETIME", Real(45358.5), Date(45358.5)},
      {"BOOLEAN", Text("Y"), transport::BooleanValue(true)},
      {"BOOLEAN", Int(0), transport::BooleanValue(false)},
      {"MONEY", Text(" 7.5"), Money(75000)},
      {"MONEY", Int(-3), Money(-30000)},
      {"VARCHAR(20)", Text("M\xC3\xBCller"), transport::TextValue("M\xC3\xBCller")},
      {"INTEGER", Int(-7), transport::IntegerValue(-7)},
      {"DOUBLE", Real(0.1), MakeValue<transport::TRpcFloatValue>(0.1)},
  };
  for (const auto& c : cases) {
    const auto set = ToDataSet(Column(c.decl, {c.cell}));
    const auto* value = set->Row(0)->Find("C");
    ASSERT_NE(value, nullptr) << c.decl;
    EXPECT_EQ(TRpcValue(value->Clone()), c.expected) << c.decl << ": " << TRpcValue(value->Clone()).toCode();
  }
}

TEST(SqlDataset, TextThatIsNoDateOrAmountIsRefused) {
  const std::vector<std::pair<const char*, StoreCell>> cases = {
      {"DATE", Text("yesterday")}, {"DATE", Text("2024-02-30")}, {"DATETIME", Text("2024-03-07 25:00")},
      {"TIME", Text("9")},         {"MONEY", Text("a lot")},     {"MONEY", Text("12.5 EUR")},
      {"DATE", Blob("2024")},
  };
  for (const auto& [decl, cell] : cases) EXPECT_THROW(ToDataSet(Column(decl, {cell})), StoreError) << decl;
}

}  // namespace
}  // namespace quillorn::server
