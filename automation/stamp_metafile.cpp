// Record layout of the old metafile form: a 22-byte placeable header (key,
// bounding box in pixels, units per inch, XOR checksum of its first ten words),
// an 18-byte metafile header, then records of a 32-bit size in 16-bit words, a
// 16-bit function number and the parameters; the last record is the end record.
#include "automation/stamp_metafile.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "foundation/paths.h"

namespace quillorn::automation {
namespace {

constexpr std::uint32_t kPlaceableKey = 0x9AC6CDD7;
constexpr std::uint16_t kMemoryMetafile = 1;
constexpr std::uint16_t kMetaVersion = 0x0300;
constexpr std::uint16_t kHeaderWords = 9;

constexpr std::uint16_t kMetaEof = 0x0000;
constexpr std::uint16_t kMetaSetBkMode = 0x0102;
constexpr std::uint16_t kMetaSetWindowOrg = 0x020B;
constexpr std::uint16_t kMetaSetWindowExt = 0x020C;
constexpr std::uint16_t kMetaSetTextColor = 0x0209;
constexpr std::uint16_t kMetaSetTextAlign = 0x012E;
constexpr std::uint16_t kMetaSelectObject = 0x012D;
constexpr std::uint16_t kMetaCreateFontIndirect = 0x02FB;
constexpr std::uint16_t kMetaTextOut = 0x0521;

constexpr std::uint16_t kTransparent = 1;
// Centred across x and with the bottom of the text cell on y: drawn at the
// picture's bottom edge, this is the text rectangle from height minus the text
// height to height, without having to measure the text.
constexpr std::uint16_t kTaCenterBottom = 6 | 8;
constexpr std::int16_t kFwBold = 700;
constexpr std::uint8_t kDefaultCharset = 1;
constexpr std::size_t kFaceNameBytes = 32;

class Writer {
 public:
  void U8(std::uint8_t v) { bytes_.push_back(v); }
  void U16(std::uint16_t v) {
    U8(static_cast<std::uint8_t>(v & 0xFF));
    U8(static_cast<std::uint8_t>(v >> 8));
  }
  void I16(std::int16_t v) { U16(static_cast<std::uint16_t>(v)); }
  void U32(std::uint32_t v) {
    U16(static_cast<std::uint16_t>(v & 0xFFFF));
    U16(static_cast<std::uint16_t>(v >> 16));
  }
  void Bytes(const std::vector<std::uint8_t>& b) { bytes_.insert(bytes_.end(), b.begin(), b.end()); }
  std::vector<std::uint8_t>& Data() { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

// One record: its parameters as bytes, padded to whole words.
struct Record {
  std::uint16_t function;
  std::vector<std::uint8_t> params;
  std::uint32_t Words() const { return 3 + static_cast<std::uint32_t>((params.size() + 1) / 2); }
};

Record MakeRecord(std::uint16_t function, const std::vector<std::int16_t>& words) {
  Record r{function, {}};
  for (std::int16_t w : words) {
    r.params.push_back(static_cast<std::uint8_t>(static_cast<std::uint16_t>(w) & 0xFF));
    r.params.push_back(static_cast<std::uint8_t>(static_cast<std::uint16_t>(w) >> 8));
  }
  return r;
}

// Latin-1 bytes of UTF-8 text; anything else becomes '?'.
std::vector<std::uint8_t> SingleByteText(std::string_view text) {
  std::vector<std::uint8_t> out;
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    std::size_t length = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 1;
    if (length == 2 && i + 1 < text.size()) {
      const unsigned code = ((c & 0x1Fu) << 6) | (static_cast<unsigned char>(text[i + 1]) & 0x3Fu);
      out.push_back(code <= 0xFF ? static_cast<std::uint8_t>(code) : '?');
    } else {
      out.push_back(c < 0x80 ? c : '?');
    }
    i += std::min(length, text.size() - i);
  }
  return out;
}

Record FontRecord(int pixelsPerInch) {
  // A negative height asks for the character height, as point sizes do.
  const auto height = static_cast<std::int16_t>(-((kStampFontPoints * pixelsPerInch + 36) / 72));
  Record r = MakeRecord(kMetaCreateFontIndirect, {height, 0, 0, 0, kFwBold});
  const std::uint8_t flags[8] = {0, 0, 0, kDefaultCharset, 0, 0, 0, 0};  // italic .. pitch and family
  r.params.insert(r.params.end(), std::begin(flags), std::end(flags));
  std::vector<std::uint8_t> face(kFaceNameBytes, 0);
  std::memcpy(face.data(), kStampFaceName, std::min(sizeof kStampFaceName - 1, kFaceNameBytes - 1));
  r.params.insert(r.params.end(), face.begin(), face.end());
  return r;
}

Record TextOutRecord(std::string_view text, std::int16_t x, std::int16_t y) {
  std::vector<std::uint8_t> chars = SingleByteText(text);
  chars.resize(std::min<std::size_t>(chars.size(), 0x7FFF));
  Record r = MakeRecord(kMetaTextOut, {static_cast<std::int16_t>(chars.size())});
  r.params.insert(r.params.end(), chars.begin(), chars.end());
  if (chars.size() % 2) r.params.push_back(0);
  const Record tail = MakeRecord(0, {y, x});
  r.params.insert(r.params.end(), tail.params.begin(), tail.params.end());
  return r;
}

}  // namespace

int StampPixels(int hundredthsMm, int pixelsPerInch) {
  return static_cast<int>(static_cast<double>(pixelsPerInch) / 2540.0 * hundredthsMm);
}

std::vector<std::uint8_t> BuildStampMetafile(std::string_view Text, int pixelsPerInch) {
  const auto width = static_cast<std::int16_t>(StampPixels(kStampWidthHundredthsMm, pixelsPerInch));
  const auto height = static_cast<std::int16_t>(StampPixels(kStampHeightHundredthsMm, pixelsPerInch));

  std::vector<Record> records;
  records.push_back(MakeRecord(kMetaSetWindowOrg, {0, 0}));
  records.push_back(MakeRecord(kMetaSetWindowExt, {height, width}));
  records.push_back(MakeRecord(kMetaSetBkMode, {kTransparent}));
  records.push_back(FontRecord(pixelsPerInch));
  records.push_back(MakeRecord(kMetaSelectObject, {0}));
  Record color = MakeRecord(kMetaSetTextColor, {});
  for (int shift = 0; shift < 32; shift += 8) color.params.push_back(static_cast<std::uint8_t>(kStampTextColor >> shift));
  records.push_back(color);
  records.push_back(MakeRecord(kMetaSetTextAlign, {static_cast<std::int16_t>(kTaCenterBottom)}));
  records.push_back(TextOutRecord(Text, static_cast<std::int16_t>(width / 2), height));
  records.push_back(MakeRecord(kMetaEof, {}));

  std::uint32_t total_words = kHeaderWords;
  std::uint32_t max_record = 0;
  for (const Record& r : records) {
    total_words += r.Words();
    max_record = std::max(max_record, r.Words());
  }

  Writer w;
  w.U32(kPlaceableKey);
  w.U16(0);  // no handle
  w.I16(0);
  w.I16(0);
  w.I16(width);
  w.I16(height);
  w.U16(static_cast<std::uint16_t>(pixelsPerInch));
  w.U32(0);  // reserved
  std::uint16_t checksum = 0;
  for (std::size_t i = 0; i < 20; i += 2) {
    checksum ^= static_cast<std::uint16_t>(w.Data()[i] | (w.Data()[i + 1] << 8));
  }
  w.U16(checksum);

  w.U16(kMemoryMetafile);
  w.U16(kHeaderWords);
  w.U16(kMetaVersion);
  w.U32(total_words);
  w.U16(1);  // objects: the font
  w.U32(max_record);
  w.U16(0);

  for (const Record& r : records) {
    w.U32(r.Words());
    w.U16(r.function);
    w.Bytes(r.params);
    if (r.params.size() % 2) w.U8(0);
  }
  return std::move(w.Data());
}

void CreateStampMetafile(std::string_view Text, const std::string& Path) {
  const std::vector<std::uint8_t> bytes = BuildStampMetafile(Text);
  std::ofstream out(foundation::PathFromUtf8(Path), std::ios::binary | std::ios::trunc);
  if (!out) throw std::runtime_error("Cannot create file \"" + Path + "\"");
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::runtime_error("Cannot write file \"" + Path + "\"");
}

}  // namespace quillorn::automation
