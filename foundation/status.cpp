#include "foundation/status.h"

namespace quillorn::foundation {
namespace {

struct StatusRow {
  char letter;
  const char* caption;
};

constexpr StatusRow kStatusRows[] = {
    {'A', "Approved..."},           {'W', "Waiting approval..."},     {'R', "Needs to be reviewed..."},
    {'E', "Is being edited..."},    {'P', "Waiting to be edited..."}, {'D', "Deleted..."},
    {'N', "Newly imported..."},     {'!', "Past review date..."},     {'C', "Checked out..."},
    {'U', "Revision Cancelled..."},
};

constexpr std::string_view kImageLetters = "AWREPDN!C ";
constexpr int kImageBase = 199;

}  // namespace

std::string StatusCaption(std::string_view Status, std::string Result) {
  if (Status.empty()) return {};
  for (const StatusRow& row : kStatusRows) {
    if (row.letter == Status.front()) return row.caption;
  }
  return Result;
}

int StatusImageIndex(std::string_view Status) noexcept {
  if (Status.empty()) return kImageBase;
  const size_t at = kImageLetters.find(Status.front());
  return at == std::string_view::npos ? kImageBase : kImageBase + static_cast<int>(at) + 1;
}

}  // namespace quillorn::foundation
