// Pixel size of a logo picture read straight from its file header (PNG, JPEG,
// GIF), so the logo shape can keep the picture's proportions. Reads only; never
// decodes a picture and never keeps a file open past the call.
#pragma once

#include <cstdint>
#include <string>

namespace quillorn::automation {

// Only the low 16 bits of PNG's 32-bit width and height are taken. A file that
// can't be opened raises; any other mismatch is false.
bool ReadPngSize(const std::string& FileName, std::uint16_t& Width, std::uint16_t& Height);

// Walks the segments from the start-of-image marker to the first frame header,
// skipping each by its length; fill bytes and stand-alone markers carry no length.
// A file that can't be opened raises.
bool ReadJpegSize(const std::string& FileName, std::uint16_t& Width, std::uint16_t& Height);

// Compares the signature as three 16-bit characters, which one-byte-per-character
// GIF files never match: a GIF logo is not supported, and that is kept on purpose.
// A name that is empty or can't be opened is false.
bool ReadGifSize(const std::string& FileName, std::uint16_t& Width, std::uint16_t& Height);

}  // namespace quillorn::automation
