#include "automation/image_size.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <stdexcept>

#include "foundation/paths.h"

namespace quillorn::automation {
namespace {

std::ifstream OpenOrRaise(const std::string& FileName) {
  std::ifstream in(foundation::PathFromUtf8(FileName), std::ios::binary);
  if (!in) throw std::runtime_error("Cannot open file \"" + FileName + "\"");
  return in;
}

// Reads exactly `count` bytes; false at the file's end.
bool ReadBytes(std::ifstream& in, unsigned char* into, std::size_t count) {
  in.read(reinterpret_cast<char*>(into), static_cast<std::streamsize>(count));
  return static_cast<std::size_t>(in.gcount()) == count;
}

bool ReadByte(std::ifstream& in, unsigned char& b) { return ReadBytes(in, &b, 1); }

bool ReadBigEndian16(std::ifstream& in, std::uint16_t& value) {
  unsigned char b[2];
  if (!ReadBytes(in, b, 2)) return false;
  value = static_cast<std::uint16_t>((b[0] << 8) | b[1]);
  return true;
}

bool IsFrameHeader(unsigned char marker) {
  switch (marker) {
    case 0xC0: case 0xC1: case 0xC2: case 0xC3: case 0xC5: case 0xC6: case 0xC7:
    case 0xC9: case 0xCA: case 0xCB: case 0xCD: case 0xCE: case 0xCF:
      return true;
    default:
      return false;
  }
}

bool StandsAlone(unsigned char marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7); }

}  // namespace

bool ReadPngSize(const std::string& FileName, std::uint16_t& Width, std::uint16_t& Height) {
  static constexpr std::array<unsigned char, 8> kSignature{137, 80, 78, 71, 13, 10, 26, 10};
  std::ifstream in = OpenOrRaise(FileName);
  std::array<unsigned char, 8> head{};
  if (!ReadBytes(in, head.data(), head.size()) || head != kSignature) return false;
  std::uint16_t w = 0;
  std::uint16_t h = 0;
  in.seekg(18);
  if (!ReadBigEndian16(in, w)) return false;
  in.seekg(22);
  if (!ReadBigEndian16(in, h)) return false;
  Width = w;
  Height = h;
  return true;
}

bool ReadJpegSize(const std::string& FileName, std::uint16_t& Width, std::uint16_t& Height) {
  std::ifstream in = OpenOrRaise(FileName);
  unsigned char soi[2];
  if (!ReadBytes(in, soi, 2) || soi[0] != 0xFF || soi[1] != 0xD8) return false;
  unsigned char b = 0;
  bool got = ReadByte(in, b);
  while (got && b == 0xFF) {
    unsigned char marker = 0;
    if (!ReadByte(in, marker)) return false;
    if (marker == 0xFF) continue;  // a fill byte: the next one may be the marker
    if (IsFrameHeader(marker)) {
      in.seekg(3, std::ios::cur);  // segment length and sample precision
      std::uint16_t h = 0;
      std::uint16_t w = 0;
      if (!ReadBigEndian16(in, h) || !ReadBigEndian16(in, w)) return false;
      Width = w;
      Height = h;
      return true;
    }
    if (StandsAlone(marker)) continue;  // b is still 0xFF: the next byte is a marker
    std::uint16_t length = 0;
    if (!ReadBigEndian16(in, length)) return false;
    in.seekg(static_cast<std::streamoff>(length) - 2, std::ios::cur);
    got = ReadByte(in, b);
  }
  return false;
}

bool ReadGifSize(const std::string& FileName, std::uint16_t& Width, std::uint16_t& Height) {
  Width = 0;
  Height = 0;
  if (FileName.empty()) return false;
  std::ifstream in(foundation::PathFromUtf8(FileName), std::ios::binary);
  if (!in) return false;
  std::array<unsigned char, 20> head{};
  if (!ReadBytes(in, head.data(), head.size())) return false;
  // The signature is compared as 16-bit characters; see the header.
  static constexpr char kSignature[] = "GIF";
  for (std::size_t i = 0; i < 3; ++i) {
    const unsigned unit = head[2 * i] | (head[2 * i + 1] << 8);
    if (unit != static_cast<unsigned char>(kSignature[i])) return false;
  }
  const unsigned char flags = head[16];
  if (flags & 0x80) in.seekg(3 * (1 << ((flags & 7) + 1)));
  unsigned char b = 0;
  do {
    if (!ReadByte(in, b)) return false;
  } while (b != 0x2C);
  std::array<unsigned char, 10> descriptor{};
  if (!ReadBytes(in, descriptor.data(), descriptor.size())) return false;
  Width = static_cast<std::uint16_t>(descriptor[4] | (descriptor[5] << 8));
  Height = static_cast<std::uint16_t>(descriptor[6] | (descriptor[7] << 8));
  return true;
}

}  // namespace quillorn::automation
