#include "platform/host_type.h"

namespace quillorn::platform {

std::string_view HostTypeName(HostType type) noexcept {
  switch (type) {
    case HostType::ohaExcel: return "Excel";
    case HostType::ohaWord: return "Word";
    case HostType::ohaPowerPoint: return "PowerPoint";
    case HostType::ohaPublisher: return "Publisher";
  }
  return "Unknown";
}

}  // namespace quillorn::platform
