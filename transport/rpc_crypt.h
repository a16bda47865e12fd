// TRpcCrypt: the session cipher, a byte stream keyed by a short byte string whose
// state runs on from one buffer to the next. It must never restart between
// buffers by itself: only setting the key (or an explicit Init) starts it anew.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quillorn::transport {

class TRpcCrypt {
 public:
  TRpcCrypt() = default;
  explicit TRpcCrypt(std::string_view key) { SetKey(key); }

  // Stores the key bytes and starts the stream anew.
  void SetKey(std::string_view key);
  const std::string& Key() const noexcept { return key_; }

  // Starts the stream from the key unless it is already fresh.
  void Init() noexcept;

  // In place; the feedback always takes the clear byte, so the two directions
  // differ only in which side of the xor is clear.
  void Encrypt(std::uint8_t* data, std::size_t size) noexcept;
  void Decrypt(std::uint8_t* data, std::size_t size) noexcept;
  void Encrypt(std::string& data) noexcept;
  void Decrypt(std::string& data) noexcept;

  // The state, for diagnostics and tests.
  std::uint32_t CValue() const noexcept { return c_value_; }
  std::uint32_t CInit() const noexcept { return c_init_; }
  std::uint8_t CErr() const noexcept { return c_err_; }
  std::uint32_t CPos() const noexcept { return c_pos_; }
  std::uint32_t Len() const noexcept { return len_; }
  bool Initialised() const noexcept { return initialised_; }

 private:
  template <bool kEncrypt>
  void Run(std::uint8_t* data, std::size_t size) noexcept;

  std::string key_;
  std::uint32_t c_value_ = 0;
  std::uint32_t c_init_ = 0;
  std::uint8_t c_err_ = 0;
  std::uint32_t c_pos_ = 0;
  std::uint32_t len_ = 0;
  bool initialised_ = false;
};

}  // namespace quillorn::transport
