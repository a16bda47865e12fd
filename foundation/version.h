// The four-part version of a module file, read from its version resource where
// the platform has one. Never fails: a file without a version gives 0.0.0.0.
#pragma once

#include <cstdint>
#include <string>

namespace quillorn::foundation {

struct TFileVersion {
  std::int32_t Major = 0;
  std::int32_t Minor = 0;
  std::int32_t Release = 0;
  std::int32_t Build = 0;
};

// Reads the version resource of `FileName` (empty: the process's own module) into
// `version`. Leaves `version` as it is when the file has none or the read fails.
using VersionResourceReader = void (*)(const std::string& FileName, TFileVersion& version);

// Installed by the Windows platform layer; null (the default) means no resources:
// then the process's own file has the version this build was made with.
void SetVersionResourceReader(VersionResourceReader reader) noexcept;

// The version this build was made with.
TFileVersion BuildVersion() noexcept;

TFileVersion GetFileVersion(const std::string& FileName);
std::string GetVersionString(const std::string& FileName);  // "%d.%d.%d.%d"

}  // namespace quillorn::foundation
