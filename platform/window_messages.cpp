#include "platform/window_messages.h"

#include <cctype>

namespace quillorn::platform {

std::uint32_t RegisteredMessageNumber(std::string_view name) {
  // FNV-1a over the lower-cased name, folded into the registered range.
  std::uint32_t hash = 2166136261u;
  for (const char c : name) {
    hash ^= static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(c)));
    hash *= 16777619u;
  }
  return kFirstRegisteredMessage + hash % (0x10000 - kFirstRegisteredMessage);
}

}  // namespace quillorn::platform
