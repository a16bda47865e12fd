// The stamp picture for Excel's centre header: a Windows metafile in the old,
// placeable form, with one word in red bold at its bottom centre. Written byte
// by byte in little-endian order, so it needs no Windows headers and no canvas.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillorn::automation {

// The picture is 120 mm by 100 mm; at the screen's usual 96 pixels per inch
// that is 453 by 377 pixels, each cut, not rounded.
inline constexpr int kStampPixelsPerInch = 96;
inline constexpr int kStampWidthHundredthsMm = 12000;
inline constexpr int kStampHeightHundredthsMm = 10000;
inline constexpr int kStampFontPoints = 32;
inline constexpr std::uint32_t kStampTextColor = 255;  // red, as blue-green-red
inline constexpr char kStampFaceName[] = "Arial";

// Pixels for a length in hundredths of a millimetre, the fraction cut off.
int StampPixels(int hundredthsMm, int pixelsPerInch = kStampPixelsPerInch);

// The metafile's bytes. Characters beyond Latin-1 become '?', since the text
// record holds one byte per character.
std::vector<std::uint8_t> BuildStampMetafile(std::string_view Text, int pixelsPerInch = kStampPixelsPerInch);

// Writes the picture to Path; raises when the file can't be written.
void CreateStampMetafile(std::string_view Text, const std::string& Path);

}  // namespace quillorn::automation
