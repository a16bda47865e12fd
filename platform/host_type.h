// Which Office application an add-in instance runs in, in the numbering the
// add-in framework gives hosts. Every host-specific routine chooses on it, and
// the simulated hosts are made by it. A document record's file_type is another
// numbering (automation/file_type.h); never mix the two.
#pragma once

#include <cstdint>

namespace quillorn::platform {

enum class HostType : std::int32_t { ohaExcel = 0, ohaWord = 1, ohaPowerPoint = 3, ohaPublisher = 9 };

}  // namespace quillorn::platform
