// Running the picture tools of the build machine (ImageMagick, libwmf) from a
// test and reading back what they write as a plain pixmap. Test code only; a
// missing tool is a failure here, never a skip: scripts/install-deps.sh installs them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace quillorn::automation::testing {

// Runs one command line through the shell with its output going to `log`;
// true when it ended with status 0. The text of the log goes to the failure.
inline ::testing::AssertionResult RunTool(const std::string& command, const std::filesystem::path& log) {
  const std::string line = command + " >\"" + log.string() + "\" 2>&1";
  const int status = std::system(line.c_str());
  if (status == 0) return ::testing::AssertionSuccess();
  std::ifstream in(log, std::ios::binary);
  const std::string output((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return ::testing::AssertionFailure() << "`" << command << "` ended with status " << status << ": " << output
                                       << "\n(the tools come from scripts/install-deps.sh linux: imagemagick, "
                                          "libwmf-bin, fonts-urw-base35)";
}

inline std::string Quoted(const std::filesystem::path& p) { return "\"" + p.string() + "\""; }

struct Pixmap {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgb;  // rows top to bottom, three bytes a pixel

  const std::uint8_t* At(int x, int y) const { return &rgb[(static_cast<std::size_t>(y) * width + x) * 3]; }
};

// A binary PPM of 8-bit samples, as `convert x.png x.ppm` writes it.
inline std::optional<Pixmap> ReadPpm(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (data.size() < 2 || data[0] != 'P' || data[1] != '6') return std::nullopt;
  std::size_t at = 2;
  int numbers[3] = {0, 0, 0};
  for (int& n : numbers) {
    while (at < data.size() && (std::isspace(static_cast<unsigned char>(data[at])) || data[at] == '#')) {
      if (data[at] == '#') {
        while (at < data.size() && data[at] != '\n') ++at;
      } else {
        ++at;
      }
    }
    if (at >= data.size() || !std::isdigit(static_cast<unsigned char>(data[at]))) return std::nullopt;
    while (at < data.size() && std::isdigit(static_cast<unsigned char>(data[at]))) n = n * 10 + (data[at++] - '0');
  }
  ++at;  // the one whitespace byte before the samples
  Pixmap p;
  p.width = numbers[0];
  p.height = numbers[1];
  const std::size_t size = static_cast<std::size_t>(p.width) * p.height * 3;
  if (numbers[2] != 255 || data.size() < at + size) return std::nullopt;
  p.rgb.assign(data.begin() + static_cast<std::ptrdiff_t>(at), data.begin() + static_cast<std::ptrdiff_t>(at + size));
  return p;
}

// The smallest box around the pixels a test picks; empty when there are none.
struct Box {
  int left = 0, top = 0, right = -1, bottom = -1;
  int count = 0;
  bool Empty() const { return count == 0; }
  double CentreX() const { return (left + right) / 2.0; }
};

template <typename Pick>
Box BoxOf(const Pixmap& p, Pick pick) {
  Box b;
  for (int y = 0; y < p.height; ++y) {
    for (int x = 0; x < p.width; ++x) {
      if (!pick(p.At(x, y))) continue;
      if (b.count++ == 0) {
        b.left = b.right = x;
        b.top = b.bottom = y;
      } else {
        b.left = std::min(b.left, x);
        b.right = std::max(b.right, x);
        b.top = std::min(b.top, y);
        b.bottom = std::max(b.bottom, y);
      }
    }
  }
  return b;
}

}  // namespace quillorn::automation::testing
