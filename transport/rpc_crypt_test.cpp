#include "transport/rpc_crypt.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillorn::transport {
namespace {

std::string Bytes(std::initializer_list<int> values) {
  std::string s;
  for (int v : values) s.push_back(static_cast<char>(v));
  return s;
}

// Start states worked out by hand from the key bytes.
TEST(TRpcCryptTest, InitFromKey) {
  struct Case {
    const char* what;
    std::string key;
    std::uint32_t value, init;
    std::uint8_t err;
  };
  const std::vector<Case> cases = {
      // 0x41: value 65, init 66, err 0 ^ 0x41.
      {"one byte", "A", 65, 66, 0x41},
      // 0xFF + 0x02 = 0x0101 mixes to 0, so init (259) is added once: 0x0204 -> 2 ^ 4.
      {"zero mask retried", Bytes({0xFF, 0x02}), 516, 259, 0x06},
      // 300 x 0xFF = 76500 folds once to 10964 + 1 = 10965 (0x2AD5): 0x2A ^ 0xD5.
      {"sum folded", std::string(300, '\xFF'), 10965, 11265, 0xFF},
      // 0x80 + 0x80 = 0x100 -> 1 ^ 0 = 1, no retry.
      {"high byte alone", Bytes({0x80, 0x80}), 256, 258, 0x01},
      {"empty", "", 0, 0, 0},
  };
  for (const auto& c : cases) {
    TRpcCrypt crypt(c.key);
    EXPECT_EQ(crypt.CValue(), c.value) << c.what;
    EXPECT_EQ(crypt.CInit(), c.init) << c.what;
    EXPECT_EQ(crypt.CErr(), c.err) << c.what;
    EXPECT_EQ(crypt.CPos(), 0u) << c.what;
    EXPECT_EQ(crypt.Len(), c.key.size()) << c.what;
    EXPECT_TRUE(crypt.Initialised()) << c.what;
  }
  // An empty key leaves the data alone.
  TRpcCrypt none("");
  std::string data = "FC=youthere;RE=0;";
  none.Encrypt(data);
  EXPECT_EQ(data, "FC=youthere;RE=0;");
}

// Key "A", clear "BB":
//   byte 1: 0x42 ^ 0x41 = 0x03; value 65*3 + 0x40 = 259, pos 1, +65 = 324 (0x144),
//           err 0x01 ^ 0x44 = 0x45
//   byte 2: 0x42 ^ 0x45 = 0x07; value 324*3 + 64 = 1036, pos 1, +65 = 1101 (0x44D),
//           err 0x04 ^ 0x4D = 0x49
// Key "AB", clear {0x00, 0xFF, 0x10}:
//   start 131 (0x83), init 133, err 0x83
//   0x00 -> 0x83; value 131*1 + 0 + 'A' = 196 (0xC4), err 0xC4
//   0xFF -> 0x3B; value 196*16 + 240 + 'B' = 3442 (0xD72), err 0x0D ^ 0x72 = 0x7F
//   0x10 -> 0x6F; value 3442*1 + 16 + 'A' = 3523 (0xDC3), err 0x0D ^ 0xC3 = 0xCE
TEST(TRpcCryptTest, HandWorkedVectors) {
  struct Case {
    std::string key, clear, cipher;
    std::uint32_t value_after;
    std::uint8_t err_after;
    std::uint32_t pos_after;
  };
  const std::vector<Case> cases = {
      {"A", "BB", Bytes({0x03, 0x07}), 1101, 0x49, 1},
      {"AB", Bytes({0x00, 0xFF, 0x10}), Bytes({0x83, 0x3B, 0x6F}), 3523, 0xCE, 1},
  };
  for (const auto& c : cases) {
    TRpcCrypt enc(c.key);
    std::string data = c.clear;
    enc.Encrypt(data);
    EXPECT_EQ(data, c.cipher) << c.key;
    EXPECT_EQ(enc.CValue(), c.value_after) << c.key;
    EXPECT_EQ(enc.CErr(), c.err_after) << c.key;
    EXPECT_EQ(enc.CPos(), c.pos_after) << c.key;
    EXPECT_FALSE(enc.Initialised());
    TRpcCrypt dec(c.key);
    dec.Decrypt(data);
    EXPECT_EQ(data, c.clear) << c.key;
    EXPECT_EQ(dec.CValue(), c.value_after) << c.key;
  }
}

// The multiplier reaches 16 and the sum passes 65535 within a few bytes of 0xFF;
// deciphering only works if both sides fold exactly once and feed back the clear byte.
TEST(TRpcCryptTest, StreamRunsOnAcrossBuffersAndBothDirectionsAgree) {
  std::string clear;
  for (int i = 0; i < 5000; ++i) clear.push_back(static_cast<char>((i * 37 + (i >> 3)) & 0xFF));
  clear += std::string(200, '\xFF');
  clear += std::string(200, '\0');
  for (const std::string& key : {std::string("K7r@vQ2x"), std::string(1, '\0'), std::string(20, '\xFF')}) {
    TRpcCrypt whole(key);
    std::string one = clear;
    whole.Encrypt(one);
    EXPECT_NE(one, clear);

    TRpcCrypt pieces(key);
    std::string two = clear;
    pieces.Encrypt(reinterpret_cast<std::uint8_t*>(two.data()), 7);
    pieces.Encrypt(reinterpret_cast<std::uint8_t*>(two.data()) + 7, 1);
    pieces.Encrypt(reinterpret_cast<std::uint8_t*>(two.data()) + 8, two.size() - 8);
    EXPECT_EQ(two, one);

    TRpcCrypt reader(key);
    std::string back = one.substr(0, 100);
    reader.Decrypt(back);
    std::string tail = one.substr(100);
    reader.Decrypt(tail);
    EXPECT_EQ(back + tail, clear);
  }
}

TEST(TRpcCryptTest, InitAfterUseAndSetKeyRestartTheStream) {
  TRpcCrypt crypt("secret");
  std::string first = "abc";
  crypt.Encrypt(first);
  crypt.Init();  // the stream was used, so this starts it anew
  std::string again = "abc";
  crypt.Encrypt(again);
  EXPECT_EQ(first, again);

  crypt.SetKey("two");
  TRpcCrypt fresh("two");
  std::string a = "payload", b = "payload";
  crypt.Encrypt(a);
  fresh.Encrypt(b);
  EXPECT_EQ(a, b);

  TRpcCrypt unused("secret");
  const auto value = unused.CValue();
  unused.Init();  // already fresh: nothing moves
  EXPECT_EQ(unused.CValue(), value);
  EXPECT_TRUE(unused.Initialised());
}

}  // namespace
}  // namespace quillorn::transport
