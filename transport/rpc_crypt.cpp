#include "transport/rpc_crypt.h"

namespace quillorn::transport {
namespace {

// One fold of the upper half into the lower; the sum may still pass 65535.
// Written without a test: for v <= 65535 the upper half is 0 and v stays.
inline std::uint32_t Fold(std::uint32_t v) noexcept { return (v & 65535u) + (v >> 16); }

inline std::uint8_t Mix(std::uint32_t v) noexcept {
  return static_cast<std::uint8_t>(((v >> 8) & 0xFFu) ^ (v & 0xFFu));
}

// A zero mask would leave a byte clear, so it is computed once more with CInit
// added; a second zero is kept, as the peer keeps it.
inline void NextErr(std::uint32_t& value, std::uint32_t init, std::uint8_t& err) noexcept {
  err = Mix(value);
  if (err == 0) {
    value += init;
    err = Mix(value);
  }
}

}  // namespace

void TRpcCrypt::SetKey(std::string_view key) {
  key_.assign(key.data(), key.size());
  initialised_ = false;
  Init();
}

void TRpcCrypt::Init() noexcept {
  if (initialised_) return;
  len_ = static_cast<std::uint32_t>(key_.size());
  c_value_ = 0;
  if (len_ > 0) {
    for (unsigned char b : key_) c_value_ += b;
    c_value_ = Fold(c_value_);
  }
  c_init_ = c_value_ + len_;
  NextErr(c_value_, c_init_, c_err_);
  c_pos_ = 0;
  initialised_ = true;
}

template <bool kEncrypt>
void TRpcCrypt::Run(std::uint8_t* data, std::size_t size) noexcept {
  initialised_ = false;
  if (len_ < 1) return;
  const auto* key = reinterpret_cast<const std::uint8_t*>(key_.data());
  std::uint32_t value = c_value_;
  std::uint32_t pos = c_pos_;
  std::uint8_t err = c_err_;
  const std::uint32_t init = c_init_;
  const std::uint32_t len = len_;
  for (std::size_t i = 0; i < size; ++i) {
    const std::uint8_t in = data[i];
    const std::uint8_t clear = kEncrypt ? in : static_cast<std::uint8_t>(in ^ err);
    const std::uint8_t out = static_cast<std::uint8_t>(in ^ err);
    value = value * ((clear & 15u) + 1u) + (clear & 240u);
    pos = pos >= len ? 1u : pos + 1u;
    value = Fold(value + key[pos - 1]);
    NextErr(value, init, err);
    data[i] = out;
  }
  c_value_ = value;
  c_pos_ = pos;
  c_err_ = err;
}

void TRpcCrypt::Encrypt(std::uint8_t* data, std::size_t size) noexcept { Run<true>(data, size); }
void TRpcCrypt::Decrypt(std::uint8_t* data, std::size_t size) noexcept { Run<false>(data, size); }

void TRpcCrypt::Encrypt(std::string& data) noexcept {
  Run<true>(reinterpret_cast<std::uint8_t*>(data.data()), data.size());
}
void TRpcCrypt::Decrypt(std::string& data) noexcept {
  Run<false>(reinterpret_cast<std::uint8_t*>(data.data()), data.size());
}

}  // namespace quillorn::transport
