// The two numberings of hosts the automation routines choose by: the
// application this add-in instance runs in, and the kind of file a document
// record describes. They number PowerPoint and Excel differently; never mix them.
#pragma once

#include <cstdint>

namespace quillorn::automation {

enum class HostType : std::int32_t { ohaExcel = 0, ohaWord = 1, ohaPowerPoint = 3, ohaPublisher = 9 };

// file_type of a document record.
inline constexpr std::int32_t kFileTypeWord = 1;
inline constexpr std::int32_t kFileTypePowerPoint = 2;
inline constexpr std::int32_t kFileTypeExcel = 3;
inline constexpr std::int32_t kFileTypePublisher = 5;

}  // namespace quillorn::automation
