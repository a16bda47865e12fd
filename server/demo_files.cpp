#include "server/demo_files.h"

#include <png.h>
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

void PutLittleEndian(std::string& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
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
  std::vector<unsigned char> pixels;
  pixels.reserve(static_cast<std::size_t>(kDemoLogoWidth) * kDemoLogoHeight);
  for (int y = 0; y < kDemoLogoHeight; ++y) {
    for (int x = 0; x < kDemoLogoWidth; ++x) pixels.push_back(LogoPixel(x, y));
  }
  constexpr unsigned char kPalette[] = {
      0xFF, 0xFF, 0xFF,  // paper
      0x00, 0x62, 0x6E,  // teal
      0xF2, 0xA9, 0x00,  // amber
  };
  // libpng's simplified interface keeps its error jumps to itself: a failure is a
  // zero return with the reason in image.message.
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = kDemoLogoWidth;
  image.height = kDemoLogoHeight;
  image.format = PNG_FORMAT_RGB_COLORMAP;
  image.colormap_entries = sizeof kPalette / 3;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string png(size, '\0');
  if (png_image_write_to_memory(&image, png.data(), &size, 0, pixels.data(), 0, kPalette) == 0) {
    throw std::runtime_error(std::string("The demo logo could not be written: ") + image.message);
  }
  png.resize(size);
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
