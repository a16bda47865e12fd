#include "foundation/version.h"

#include <atomic>
#include <cstdio>

#ifndef QUILLORN_VERSION_MAJOR
#error "the build passes QUILLORN_VERSION_MAJOR .. QUILLORN_VERSION_TWEAK"
#endif

namespace quillorn::foundation {
namespace {

std::atomic<VersionResourceReader> gReader{nullptr};

}  // namespace

void SetVersionResourceReader(VersionResourceReader reader) noexcept { gReader.store(reader); }

TFileVersion BuildVersion() noexcept {
  // A three-part project version leaves the fourth definition empty; "+ 0" then reads as 0.
  return {QUILLORN_VERSION_MAJOR, QUILLORN_VERSION_MINOR, QUILLORN_VERSION_PATCH, QUILLORN_VERSION_TWEAK + 0};
}

TFileVersion GetFileVersion(const std::string& FileName) {
  TFileVersion version;
  if (const VersionResourceReader reader = gReader.load(); reader != nullptr) {
    reader(FileName, version);
  } else if (FileName.empty()) {
    version = BuildVersion();
  }
  return version;
}

std::string GetVersionString(const std::string& FileName) {
  const TFileVersion v = GetFileVersion(FileName);
  char text[64];
  std::snprintf(text, sizeof text, "%d.%d.%d.%d", static_cast<int>(v.Major), static_cast<int>(v.Minor),
                static_cast<int>(v.Release), static_cast<int>(v.Build));
  return text;
}

}  // namespace quillorn::foundation
