#include "addin/host.h"

namespace quillorn::addin {

std::string_view HostTypeName(HostType type) noexcept {
  switch (type) {
    case ohaExcel: return "Excel";
    case ohaWord: return "Word";
    case ohaPowerPoint: return "PowerPoint";
    case ohaPublisher: return "Publisher";
  }
  return "Unknown";
}

}  // namespace quillorn::addin
