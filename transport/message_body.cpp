#include "transport/message_body.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>

namespace quillorn::transport {

int ZlibLevel(TRpcCompressLevel level) noexcept {
  switch (level) {
    case TRpcCompressLevel::cNone: return 0;
    case TRpcCompressLevel::cFast: return 1;
    case TRpcCompressLevel::cDefault: return Z_DEFAULT_COMPRESSION;
    case TRpcCompressLevel::cMax: return 9;
  }
  return Z_DEFAULT_COMPRESSION;
}

std::string ZlibCompress(std::string_view data, int zlib_level) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::string out(size, '\0');
  const int rc = compress2(reinterpret_cast<Bytef*>(out.data()), &size,
                           reinterpret_cast<const Bytef*>(data.data()),
                           static_cast<uLong>(data.size()), zlib_level);
  if (rc != Z_OK) throw std::runtime_error("zlib compress failed (" + std::to_string(rc) + ")");
  out.resize(size);
  return out;
}

std::string ZlibDecompress(std::string_view data, std::size_t limit) {
  z_stream zs{};
  if (inflateInit(&zs) != Z_OK) throw TRpcDecompressError("zlib inflateInit failed");
  std::string out;
  // One byte past the limit tells a stream that ends exactly there from one that goes on.
  const std::size_t most = limit == SIZE_MAX ? limit : limit + 1;
  out.resize(std::min(data.size() * 4 + 256, most));
  zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  zs.avail_in = static_cast<uInt>(data.size());
  int rc = Z_OK;
  std::size_t produced = 0;
  for (;;) {
    if (produced == out.size()) {
      if (produced >= most) break;
      out.resize(std::min(out.size() * 2, most));
    }
    zs.next_out = reinterpret_cast<Bytef*>(out.data() + produced);
    zs.avail_out = static_cast<uInt>(out.size() - produced);
    rc = inflate(&zs, Z_NO_FLUSH);
    produced = out.size() - zs.avail_out;
    if (rc == Z_STREAM_END) break;
    if (rc == Z_BUF_ERROR && zs.avail_in == 0) break;  // input ran out early
    if (rc != Z_OK && rc != Z_BUF_ERROR) break;
  }
  const char* msg = zs.msg;
  inflateEnd(&zs);
  if (produced > limit) {
    throw TRpcDecompressError("The inflated message would be larger than " + std::to_string(limit) +
                              " bytes.");
  }
  if (rc != Z_STREAM_END) {
    throw TRpcDecompressError(std::string("zlib inflate failed: ") +
                              (msg ? msg : "incomplete data"));
  }
  out.resize(produced);
  return out;
}

PackedCode PackCode(std::string_view code, TRpcCompressLevel level) {
  PackedCode packed;
  if (level != TRpcCompressLevel::cNone && code.size() >= kMinCompressSize) {
    std::string z = ZlibCompress(code, ZlibLevel(level));
    if (z.size() < code.size() - 1) {
      packed.bytes = std::move(z);
      packed.bytes.push_back(kCompressedMark);
      packed.compressed = true;
      return packed;
    }
  }
  packed.bytes.assign(code.data(), code.size());
  return packed;
}

std::string BuildBody(std::string_view code, TRpcCompressLevel level, TRpcCrypt* write,
                      std::string_view control_key) {
  PackedCode packed = PackCode(code, level);
  if (write == nullptr) return std::move(packed.bytes);
  std::string body = std::move(packed.bytes);
  body.reserve(body.size() + control_key.size() + 1);
  if (!packed.compressed) body.push_back(kKeySeparator);
  body.append(control_key.data(), control_key.size());
  write->Encrypt(body);
  return body;
}

std::string UnpackClearBody(std::string_view body, std::size_t limit) {
  if (!body.empty() && body.back() == kCompressedMark) {
    return ZlibDecompress(body.substr(0, body.size() - 1), limit);
  }
  return std::string(body);
}

std::string UnpackKeyedBody(std::string_view clear, std::size_t key_size, std::size_t limit) {
  std::string_view rest = clear.substr(0, clear.size() - key_size);
  if (!rest.empty() && rest.back() == kCompressedMark) {
    return ZlibDecompress(rest.substr(0, rest.size() - 1), limit);
  }
  if (!rest.empty() && rest.back() == kKeySeparator) rest.remove_suffix(1);
  return std::string(rest);
}

}  // namespace quillorn::transport
