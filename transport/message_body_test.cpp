#include "transport/message_body.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "transport/secure_random.h"

namespace quillorn::transport {
namespace {

std::string Repetitive(std::size_t size) {
  std::string s;
  while (s.size() < size) s += "RE=1;DOC_ID:I=4711;";
  s.resize(size);
  return s;
}

TEST(MessageBodyTest, CompressionThreshold) {
  struct Case {
    std::size_t size;
    TRpcCompressLevel level;
    bool compressed;
  };
  const std::vector<Case> cases = {
      {.size = 255, .level = TRpcCompressLevel::cMax, .compressed = false},
      {.size = 256, .level = TRpcCompressLevel::cMax, .compressed = true},
      {.size = 256, .level = TRpcCompressLevel::cNone, .compressed = false},
      {.size = 4096, .level = TRpcCompressLevel::cFast, .compressed = true},
      {.size = 4096, .level = TRpcCompressLevel::cDefault, .compressed = true},
  };
  for (const auto& c : cases) {
    const std::string code = Repetitive(c.size);
    const PackedCode packed = PackCode(code, c.level);
    EXPECT_EQ(packed.compressed, c.compressed) << c.size;
    if (c.compressed) {
      ASSERT_FALSE(packed.bytes.empty());
      EXPECT_EQ(packed.bytes.back(), '\0');
      EXPECT_EQ(packed.bytes.substr(0, packed.bytes.size() - 1),
                ZlibCompress(code, ZlibLevel(c.level)));
      EXPECT_EQ(UnpackClearBody(packed.bytes), code);
    } else {
      EXPECT_EQ(packed.bytes, code);
    }
  }
}

// Builds code whose zlib form at level 9 has exactly `target(len)` bytes, by
// growing a compressible head in front of an incompressible tail.
std::string CodeCompressingTo(std::function<std::size_t(std::size_t)> target) {
  std::mt19937 rng(7);
  std::string tail(400, '\0');
  for (auto& ch : tail) ch = static_cast<char>(rng() & 0xFF);
  for (std::size_t head = 0; head < 400; ++head) {
    const std::string code = std::string(head, 'a') + tail;
    if (ZlibCompress(code, 9).size() == target(code.size())) return code;
  }
  return {};
}

TEST(MessageBodyTest, CompressedMustBeShorterThanCodeMinusOne) {
  const std::string at_limit = CodeCompressingTo([](std::size_t n) { return n - 1; });
  ASSERT_FALSE(at_limit.empty()) << "no code found that compresses to its length minus 1";
  EXPECT_FALSE(PackCode(at_limit, TRpcCompressLevel::cMax).compressed);

  const std::string below = CodeCompressingTo([](std::size_t n) { return n - 2; });
  ASSERT_FALSE(below.empty());
  const PackedCode packed = PackCode(below, TRpcCompressLevel::cMax);
  EXPECT_TRUE(packed.compressed);
  EXPECT_EQ(packed.bytes.size(), below.size() - 1);  // n - 2 bytes and the 0
}

TEST(MessageBodyTest, KeyedBodiesRoundTrip) {
  const std::string key = "680112345";
  for (const std::size_t size : {std::size_t{255}, std::size_t{256}, std::size_t{10000}}) {
    const std::string code = Repetitive(size);
    TRpcCrypt write("stream-key");
    const std::string body = BuildBody(code, TRpcCompressLevel::cMax, &write, key);
    std::string clear = body;
    TRpcCrypt read("stream-key");
    read.Decrypt(clear);
    ASSERT_GE(clear.size(), key.size() + 1);
    EXPECT_EQ(clear.substr(clear.size() - key.size()), key);
    const char before_key = clear[clear.size() - key.size() - 1];
    EXPECT_EQ(before_key, size >= 256 ? '\0' : '\r') << size;
    EXPECT_EQ(UnpackKeyedBody(clear, key.size()), code) << size;
  }
}

TEST(MessageBodyTest, ClearBodiesCarryNoKey) {
  EXPECT_EQ(BuildBody("FC=youthere;RE=0;", TRpcCompressLevel::cMax, nullptr, "680112345"),
            "FC=youthere;RE=0;");
  const std::string big = Repetitive(1000);
  const std::string body = BuildBody(big, TRpcCompressLevel::cMax, nullptr, "");
  EXPECT_EQ(body.back(), '\0');
  EXPECT_EQ(UnpackClearBody(body), big);
}

TEST(MessageBodyTest, BrokenCompressedDataRaises) {
  std::string z = ZlibCompress(Repetitive(2000), 9);
  EXPECT_THROW(ZlibDecompress(z.substr(0, z.size() / 2)), TRpcDecompressError);
  EXPECT_THROW(ZlibDecompress("not zlib at all"), TRpcDecompressError);
  EXPECT_THROW(UnpackClearBody(std::string("garbage") + '\0'), TRpcDecompressError);
}

TEST(MessageBodyTest, SecureRandomBytesHasTheLengthAskedAndVaries) {
  for (std::size_t n : {0u, 1u, 8u, 13u}) EXPECT_EQ(SecureRandomBytes(n).size(), n);
  EXPECT_NE(SecureRandomBytes(16), SecureRandomBytes(16));
}

}  // namespace
}  // namespace quillorn::transport
