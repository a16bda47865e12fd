#include "platform/system_services.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "foundation/paths.h"

namespace quillorn::platform {

using foundation::PathFromUtf8;

bool CopyFileByStandardLibrary(std::string_view from, std::string_view to, bool fail_if_exists) noexcept {
  try {
    const auto source = PathFromUtf8(from);
    const auto target = PathFromUtf8(to);
    std::error_code ec;
    if (!std::filesystem::is_regular_file(source, ec)) return false;
    if (std::filesystem::exists(target, ec)) {
      if (fail_if_exists || std::filesystem::is_directory(target, ec)) return false;
      // Copying a file onto itself would truncate it first.
      if (std::filesystem::equivalent(source, target, ec)) return true;
    }
    const auto options = fail_if_exists ? std::filesystem::copy_options::none
                                        : std::filesystem::copy_options::overwrite_existing;
    return std::filesystem::copy_file(source, target, options, ec) && !ec;
  } catch (...) {
    return false;
  }
}

bool DeleteFileByStandardLibrary(std::string_view path) noexcept {
  try {
    const auto target = PathFromUtf8(path);
    std::error_code ec;
    if (std::filesystem::is_directory(target, ec)) return false;
    return std::filesystem::remove(target, ec) && !ec;
  } catch (...) {
    return false;
  }
}

bool ReadFileByStandardLibrary(std::string_view path, std::string& content) noexcept {
  content.clear();
  try {
    std::ifstream in(PathFromUtf8(path), std::ios::binary);
    if (!in) return false;
    content.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad()) {
      content.clear();
      return false;
    }
    return true;
  } catch (...) {
    content.clear();
    return false;
  }
}

bool WriteFileByStandardLibrary(std::string_view path, std::string_view content) noexcept {
  try {
    std::ofstream out(PathFromUtf8(path), std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    return static_cast<bool>(out);
  } catch (...) {
    return false;
  }
}

std::vector<std::string> ListFilesByStandardLibrary(std::string_view folder) noexcept {
  std::vector<std::string> names;
  try {
    std::error_code ec;
    for (std::filesystem::directory_iterator it(PathFromUtf8(folder), ec), end; !ec && it != end; it.increment(ec)) {
      if (it->is_regular_file(ec)) names.push_back(foundation::Utf8FromPath(it->path().filename()));
    }
  } catch (...) {
    names.clear();
  }
  return names;
}

bool CreateFoldersByStandardLibrary(std::string_view path) noexcept {
  try {
    std::error_code ec;
    std::filesystem::create_directories(PathFromUtf8(path), ec);
    return std::filesystem::is_directory(PathFromUtf8(path), ec);
  } catch (...) {
    return false;
  }
}

std::string FakeSystemServices::GetEnvironmentVariable(std::string_view name) const {
  // Windows looks names up without regard to case; a test must not pass only
  // because it happened to spell a name the way the code does.
  for (const auto& [key, value] : environment) {
    if (key.size() == name.size() &&
        std::equal(key.begin(), key.end(), name.begin(), [](char a, char b) {
          return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
        }))
      return value;
  }
  return {};
}

bool FakeSystemServices::FileExists(std::string_view path) const { return foundation::FileExists(path); }

bool FakeSystemServices::ShellOpen(std::string_view path) {
  shell_opened.emplace_back(path);
  return shell_open_result;
}

}  // namespace quillorn::platform
