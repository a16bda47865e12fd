// The kind of file a document record describes (its file_type). It numbers
// PowerPoint and Excel differently from the host an add-in runs in
// (platform/host_type.h); never mix the two.
#pragma once

#include <cstdint>

#include "platform/host_type.h"

namespace quillorn::automation {

using platform::HostType;

inline constexpr std::int32_t kFileTypeWord = 1;
inline constexpr std::int32_t kFileTypePowerPoint = 2;
inline constexpr std::int32_t kFileTypeExcel = 3;
inline constexpr std::int32_t kFileTypePublisher = 5;

}  // namespace quillorn::automation
