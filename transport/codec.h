// Encoding and decoding of value trees in the wire's byte format. The encoder
// never fails for a value the model can hold; the decoder checks every mark and
// raises ERpcInfo with the format's fixed texts. No compression, no cipher here.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "transport/rpc_dataset.h"
#include "transport/rpc_value.h"

namespace quillorn::transport {

// The buffer that code is written into: one block that grows geometrically, so
// that a large tree is copied a bounded number of times while it is written and
// joining hands the block over without a copy.
class TRpcHugeString {
 public:
  TRpcHugeString() = default;
  TRpcHugeString(const TRpcHugeString&) = delete;
  TRpcHugeString& operator=(const TRpcHugeString&) = delete;

  void Append(std::string_view bytes) {
    if (bytes.size() > static_cast<std::size_t>(end_ - pos_)) Grow(bytes.size());
    // Short marks and names are the bulk of the calls: no library call for them.
    if (bytes.size() <= 16) {
      for (const char c : bytes) *pos_++ = c;
    } else {
      std::memcpy(pos_, bytes.data(), bytes.size());
      pos_ += bytes.size();
    }
  }
  void Append(char byte) {
    if (pos_ == end_) Grow(1);
    *pos_++ = byte;
  }
  // Room for `count` bytes written in place; Commit says where the writing ended.
  char* Room(std::size_t count) {
    if (count > static_cast<std::size_t>(end_ - pos_)) Grow(count);
    return pos_;
  }
  void Commit(char* end) noexcept { pos_ = end; }
  void AppendDecimal(std::int64_t value);
  void AppendUnsigned(std::uint64_t value);
  std::size_t Size() const noexcept { return static_cast<std::size_t>(pos_ - buf_.data()); }
  std::string Join();  // leaves the buffer empty
  void JoinInto(std::vector<std::uint8_t>& out);

 private:
  void Grow(std::size_t at_least);

  std::string buf_;  // written up to pos_
  char* pos_ = buf_.data();
  char* end_ = buf_.data();
};

// Writes `object` (nullptr is null, "X=;") behind what `out` holds.
void EncodeObject(const TRpcValueObject* object, TRpcHugeString& out);
std::string EncodeToCode(const TRpcValueObject* object);

// Reads one object at `at` (zero based) and moves `at` behind it; containers
// give their elements maxDepth - 1 and fail below 0.
TRpcObjectPtr DecodeObject(std::string_view code, std::int64_t& at, int maxDepth = kRpcMaxDepth);
// Reads one object that must fill the code: "... String contains more data than expected." otherwise.
TRpcObjectPtr DecodeObject(std::string_view code, int maxDepth = kRpcMaxDepth);
// Reads objects one behind the other until the code is used up.
std::vector<TRpcValue> DecodeAll(std::string_view code, int maxDepth = kRpcMaxDepth);

// The scalar texts, shared with diagnostics. The writers put at most
// kMaxScalarText bytes at `out` and return the end of what they wrote.
inline constexpr std::size_t kMaxScalarText = 64;
char* WriteFloatText(char* out, double value);
char* WriteCurrencyText(char* out, std::int64_t scaled);
char* WriteDateTimeText(char* out, foundation::TDateTime value);
std::string FloatToCodeText(double value);          // up to 15 significant digits, "." always
std::string CurrencyToCodeText(std::int64_t scaled);
std::string DateTimeToCodeText(foundation::TDateTime value);
// Raise ERpcInfo "Invalid DateTime format." for a text that fits no form.
foundation::TDateTime DateTimeFromCodeText(std::string_view text);

// The readers of the float and currency texts; ERpcInfo when the text is no number.
double FloatFromCodeText(std::string_view text);
std::int64_t CurrencyFromCodeText(std::string_view text);

// Text to boolean: false for empty and, upper-cased, "0", "F", "N", "FALSE", "NO".
bool TextToBoolean(std::string_view text) noexcept;

}  // namespace quillorn::transport
