// The body of one message on the wire: the calls' code, compressed when that
// pays, enciphered on the sender's stream and closed by a control key. Knows
// nothing of sessions or HTTP; never decodes the code it carries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "transport/rpc_crypt.h"

namespace quillorn::transport {

enum class TRpcCompressLevel { cNone, cFast, cDefault, cMax };

// Shorter code never goes to the compressor.
inline constexpr std::size_t kMinCompressSize = 256;
inline constexpr char kKeySeparator = '\r';
inline constexpr char kCompressedMark = '\0';

// zlib's level for each setting: 0, 1, the library default and 9.
int ZlibLevel(TRpcCompressLevel level) noexcept;

// A zlib stream (header and checksum included) at `zlib_level`.
std::string ZlibCompress(std::string_view data, int zlib_level);

class TRpcDecompressError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
// Inflates `data`; an inflated size past `limit` raises as soon as it is reached,
// so that a small body cannot make the receiver hold more than the limit.
std::string ZlibDecompress(std::string_view data, std::size_t limit = SIZE_MAX);

// The message before enciphering: the compressed code followed by byte 0 when
// compressing makes it shorter than the code minus one, else the code itself.
struct PackedCode {
  std::string bytes;
  bool compressed = false;
};
PackedCode PackCode(std::string_view code, TRpcCompressLevel level);

// A whole body: the packed code and, when `write` is given, byte 13 (only if not
// compressed) and `control_key`, all enciphered on `write` as one stream.
std::string BuildBody(std::string_view code, TRpcCompressLevel level, TRpcCrypt* write,
                      std::string_view control_key);

// The code of a clear body: a trailing byte 0 marks the compressed form.
std::string UnpackClearBody(std::string_view body, std::size_t limit = SIZE_MAX);

// Deciphered bytes that end in a control key: drops the key and the byte 13 in
// front of it, or decompresses what stands before the byte 0.
std::string UnpackKeyedBody(std::string_view clear, std::size_t key_size, std::size_t limit = SIZE_MAX);

}  // namespace quillorn::transport
