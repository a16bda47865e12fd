#include "server/demo_files.h"

#include <zlib.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace quillorn::server {
namespace {

std::uint32_t Crc32(std::string_view bytes) {
  return static_cast<std::uint32_t>(crc32(crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(bytes.data()),
                                          static_cast<uInt>(bytes.size())));
}

void PutBigEndian32(std::string& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>((value >> shift) & 0xFF);
}

void PutLittleEndian(std::string& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
}

// A PNG chunk: length, type, data, and the CRC over type and data.
void PutChunk(std::string& png, std::string_view type, std::string_view data) {
  PutBigEndian32(png, static_cast<std::uint32_t>(data.size()));
  std::string typed(type);
  typed += data;
  png += typed;
  PutBigEndian32(png, Crc32(typed));
}

enum : unsigned char { kPaper = 0, kTeal = 1, kAmber = 2 };

unsigned char LogoPixel(int x, int y) {
  const bool inMark = x >= 2 && x <= 29 && y >= 2 && y <= 29;
  if (inMark) {
    // The quill: a stroke from the mark's lower left to its upper right, kept off its edges.
    const bool quill = x >= 7 && x <= 24 && y >= 7 && y <= 24 && (x + y >= 30 && x + y <= 32);
    return quill ? kAmber : kTeal;
  }
  // Three bars of lettering of falling length, as a name and a strap line read from afar.
  struct Bar {
    int top, bottom, right;
  };
  constexpr Bar kBars[] = {{7, 11, 92}, {14, 18, 80}, {21, 25, 68}};
  for (const Bar& bar : kBars) {
    if (y >= bar.top && y <= bar.bottom && x >= 36 && x <= bar.right) return kTeal;
  }
  return kPaper;
}

// DOS time and date of the form's last extraction: 2024-03-04 09:15:00.
constexpr std::uint32_t kZipTime = (9u << 11) | (15u << 5);
constexpr std::uint32_t kZipDate = ((2024u - 1980u) << 9) | (3u << 5) | 4u;

struct ZipEntry {
  std::string name;
  std::string data;
};

// A zip of stored (uncompressed) entries; every reader takes method 0.
std::string Zip(const std::vector<ZipEntry>& entries) {
  std::string out, central;
  for (const ZipEntry& e : entries) {
    const auto offset = static_cast<std::uint32_t>(out.size());
    const std::uint32_t crc = Crc32(e.data);
    const auto size = static_cast<std::uint32_t>(e.data.size());
    const auto nameSize = static_cast<std::uint32_t>(e.name.size());
    PutLittleEndian(out, 0x04034B50, 4);
    PutLittleEndian(out, 10, 2);  // version needed: 1.0, stored entries
    PutLittleEndian(out, 0, 2);   // flags
    PutLittleEndian(out, 0, 2);   // method: stored
    PutLittleEndian(out, kZipTime, 2);
    PutLittleEndian(out, kZipDate, 2);
    PutLittleEndian(out, crc, 4);
    PutLittleEndian(out, size, 4);
    PutLittleEndian(out, size, 4);
    PutLittleEndian(out, nameSize, 2);
    PutLittleEndian(out, 0, 2);  // extra field
    out += e.name;
    out += e.data;

    PutLittleEndian(central, 0x02014B50, 4);
    PutLittleEndian(central, 20, 2);  // made by: 2.0
    PutLittleEndian(central, 10, 2);
    PutLittleEndian(central, 0, 2);
    PutLittleEndian(central, 0, 2);
    PutLittleEndian(central, kZipTime, 2);
    PutLittleEndian(central, kZipDate, 2);
    PutLittleEndian(central, crc, 4);
    PutLittleEndian(central, size, 4);
    PutLittleEndian(central, size, 4);
    PutLittleEndian(central, nameSize, 2);
    PutLittleEndian(central, 0, 2);  // extra field
    PutLittleEndian(central, 0, 2);  // comment
    PutLittleEndian(central, 0, 2);  // disk
    PutLittleEndian(central, 0, 2);  // internal attributes
    PutLittleEndian(central, 0, 4);  // external attributes
    PutLittleEndian(central, offset, 4);
    central += e.name;
  }
  const auto centralOffset = static_cast<std::uint32_t>(out.size());
  out += central;
  PutLittleEndian(out, 0x06054B50, 4);
  PutLittleEndian(out, 0, 2);
  PutLittleEndian(out, 0, 2);
  PutLittleEndian(out, static_cast<std::uint32_t>(entries.size()), 2);
  PutLittleEndian(out, static_cast<std::uint32_t>(entries.size()), 2);
  PutLittleEndian(out, static_cast<std::uint32_t>(central.size()), 4);
  PutLittleEndian(out, centralOffset, 4);
  PutLittleEndian(out, 0, 2);  // comment
  return out;
}

}  // namespace

std::string DemoLogoPng() {
  // Each row starts with filter type 0; pixels are palette indexes.
  std::string raw;
  raw.reserve(static_cast<std::size_t>(kDemoLogoHeight) * (kDemoLogoWidth + 1));
  for (int y = 0; y < kDemoLogoHeight; ++y) {
    raw += '\0';
    for (int x = 0; x < kDemoLogoWidth; ++x) raw += static_cast<char>(LogoPixel(x, y));
  }
  uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
  std::string packed(packedSize, '\0');
  if (compress2(reinterpret_cast<Bytef*>(packed.data()), &packedSize,
                reinterpret_cast<const Bytef*>(raw.data()), static_cast<uLong>(raw.size()),
                Z_BEST_COMPRESSION) != Z_OK) {
    throw std::runtime_error("The demo logo could not be compressed.");
  }
  packed.resize(packedSize);

  std::string header;
  PutBigEndian32(header, kDemoLogoWidth);
  PutBigEndian32(header, kDemoLogoHeight);
  header += std::string{8, 3, 0, 0, 0};  // 8 bits, palette, deflate, no filter set, not interlaced
  const std::string palette = {
      '\xFF', '\xFF', '\xFF',  // paper
      '\x00', '\x62', '\x6E',  // teal
      '\xF2', '\xA9', '\x00',  // amber
  };

  std::string png = "\x89PNG\r\n\x1A\n";
  PutChunk(png, "IHDR", header);
  PutChunk(png, "PLTE", palette);
  PutChunk(png, "IDAT", packed);
  PutChunk(png, "IEND", "");
  return png;
}

std::string DemoTemplateDocument() {
  return R"({
  "host": "word",
  "mainStory": {"text": "\r"},
  "sections": [{
    "headers": [
      {"text": "Quillorn Demo Engineering Ltd\r",
       "shapes": [{"name": "qllogo1", "type": 1, "left": 0, "top": 0, "width": 80, "height": 40,
                   "hasTextFrame": true, "text": ""}]},
      {"text": "\r"},
      {"text": "\r"}
    ],
    "footers": [
      {"text": "\r", "fields": [
        {"type": 85, "code": " DOCPROPERTY \"cmsDocNumber\" ", "result": ""},
        {"type": 85, "code": " DOCPROPERTY \"cmsDocName\" ", "result": ""},
        {"type": 85, "code": " DOCPROPERTY \"cmsRevision\" ", "result": ""},
        {"type": 85, "code": " DOCPROPERTY \"cmsRevisionDate\" ", "result": ""}
      ]},
      {"text": "\r"},
      {"text": "\r"}
    ],
    "pageSetup": {"topMargin": 90, "bottomMargin": 72, "leftMargin": 72, "rightMargin": 72,
                  "headerDistance": 30, "footerDistance": 30}
  }]
}
)";
}

std::string DemoWebFormPackage(std::string_view pageName, std::string_view title) {
  std::string page(pageName);
  const std::string stem = page.substr(0, page.rfind('.'));
  const std::string folder = stem + "_files/";
  std::string html =
      "<html>\r\n<head>\r\n<meta http-equiv=Content-Type content=\"text/html; charset=utf-8\">\r\n<title>" +
      std::string(title) + "</title>\r\n<link rel=File-List href=\"" + folder +
      "filelist.xml\">\r\n</head>\r\n<body lang=EN-GB>\r\n<h1>" + std::string(title) + "</h1>\r\n";
  for (const DemoWebField& field : kDemoWebFormFields) {
    html += "<p>" + std::string(field.FriendlyName) + ": {%" + std::string(field.Name) + "%}</p>\r\n";
  }
  html += "</body>\r\n</html>\r\n";
  const std::string fileList =
      "<xml>\r\n <MainFile HRef=\"../" + page + "\"/>\r\n <File HRef=\"filelist.xml\"/>\r\n</xml>\r\n";
  return Zip({{page, html}, {folder + "filelist.xml", fileList}});
}

}  // namespace quillorn::server
