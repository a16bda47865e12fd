#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "transport/codec.h"

namespace quillorn::transport {
namespace {

using namespace std::string_literals;

TEST(CodeBuffer, GrowsAndJoinsWhatWasWritten) {
  // Appends of every kind, long enough to grow the buffer many times, checked
  // against the same bytes gathered in a plain string.
  TRpcHugeString out;
  std::string expected;
  for (int i = 0; i < 20000; ++i) {
    switch (i % 5) {
      case 0: out.Append('x'); expected += 'x'; break;
      case 1: out.AppendDecimal(-i * 977LL); expected += std::to_string(-i * 977LL); break;
      case 2: out.AppendUnsigned(static_cast<std::uint64_t>(i) << 40); expected += std::to_string(static_cast<std::uint64_t>(i) << 40); break;
      case 3: {
        const std::string piece(static_cast<std::size_t>(i % 97), static_cast<char>('a' + i % 26));
        out.Append(piece);
        expected += piece;
        break;
      }
      default: {
        char* p = out.Room(3);
        p[0] = '<';
        p[1] = '>';
        out.Commit(p + 2);  // less than the room asked for
        expected += "<>";
      }
    }
    ASSERT_EQ(out.Size(), expected.size());
  }
  EXPECT_EQ(out.Join(), expected);
  EXPECT_EQ(out.Size(), 0u);
  out.Append("again");
  std::vector<std::uint8_t> bytes = {'>'};
  out.JoinInto(bytes);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), ">again");
  EXPECT_EQ(out.Join(), "");
}

TEST(CodecEncode, LongestTextsOfEachClassBehindOtherCode) {
  // The widest value texts, written one behind the other into one buffer that
  // already holds code: the buffer is sized ahead of each object, so these are
  // the values that a wrong estimate would cut or misplace.
  struct Case {
    TRpcValue value;
    std::string code;
  };
  std::vector<Case> cases;
  cases.push_back({MakeValue<TRpcIntegerValue>(std::numeric_limits<std::int32_t>::min()), "I=-2147483648;"});
  cases.push_back({MakeValue<TRpcCardinalValue>(std::numeric_limits<std::uint32_t>::max()), "K=4294967295;"});
  cases.push_back({MakeValue<TRpcLargeIntValue>(std::numeric_limits<std::int64_t>::min()), "L=-9223372036854775808;"});
  cases.push_back({MakeValue<TRpcOIDValue>(std::numeric_limits<std::int64_t>::max()), "O=9223372036854775807;"});
  // (The largest double itself does not come back: 15 digits round it beyond the range.)
  cases.push_back({MakeValue<TRpcFloatValue>(-1.23456789012345e+307), "F=-1.23456789012345E+307;"});
  cases.push_back({MakeValue<TRpcFloatValue>(-2.2250738585072014e-308), "F=-2.2250738585072E-308;"});
  cases.push_back({MakeValue<TRpcCurrencyValue>(std::numeric_limits<std::int64_t>::min()), "C=-922337203685477.5808;"});
  cases.push_back({MakeValue<TRpcDateTimeValue>(2958465.99999999), "D=9999-12-31 23:59:59.999;"});
  cases.push_back({MakeValue<TRpcDateTimeValue>(-693593.5), "D=1-1-1 12:0:0.0;"});
  auto record = std::make_unique<TRpcRecord>();
  record->SetText(std::string(300, ':'), std::string(1000, ';'));
  cases.push_back({TRpcValue(std::move(record)),
                   "RE=1;:300\"" + std::string(300, ':') + "\":T=1000\"" + std::string(1000, ';') + "\";"});
  auto set = std::make_unique<TRpcDataSet>();
  set->AddField("a:b", TRpcFieldTypes::ft_Integer, -2147483647 - 1, true);
  set->AppendRow().SetInteger("a:b", -1);
  cases.push_back({TRpcValue(std::move(set)), "DS=1;:3\"a:b\":I,-2147483648,T;ROWS=1;RE=1;:3\"a:b\":I=-1;"});

  TRpcHugeString out;
  std::string expected = "X=;";
  out.Append("X=;");
  for (int round = 0; round < 3; ++round) {
    for (const auto& c : cases) {
      EXPECT_EQ(c.value.toCode(), c.code);
      EncodeObject(c.value.Get(), out);
      expected += c.code;
    }
  }
  const std::string code = out.Join();
  ASSERT_EQ(code, expected);
  const std::vector<TRpcValue> back = DecodeAll(code);
  ASSERT_EQ(back.size(), 1 + 3 * cases.size());
  // Floats and dates are rounded by their texts, so the values are compared by their code.
  for (std::size_t i = 1; i < back.size(); ++i) EXPECT_EQ(back[i].toCode(), cases[(i - 1) % cases.size()].code) << i;
}

}  // namespace
}  // namespace quillorn::transport
