#include "foundation/status.h"

#include <gtest/gtest.h>

namespace quillorn::foundation {
namespace {

TEST(Status, CaptionsAndPictures) {
  struct Case {
    const char* status;
    const char* caption;
    int image;
  };
  const Case cases[] = {
      {"A", "Approved...", 200},
      {"W", "Waiting approval...", 201},
      {"R", "Needs to be reviewed...", 202},
      {"E", "Is being edited...", 203},
      {"P", "Waiting to be edited...", 204},
      {"D", "Deleted...", 205},
      {"N", "Newly imported...", 206},
      {"!", "Past review date...", 207},
      {"C", "Checked out...", 208},
      {" ", "kept", 209},
      {"U", "Revision Cancelled...", 199},
      {"AW", "Approved...", 200},  // the first character decides
      {"EXTRA", "Is being edited...", 203},
      {"a", "kept", 199},  // letters are upper case only
      {"e", "kept", 199},
      {"Z", "kept", 199},
      {"", "", 199},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.status);
    EXPECT_EQ(StatusCaption(c.status, "kept"), c.caption);
    EXPECT_EQ(StatusImageIndex(c.status), c.image);
  }
  EXPECT_EQ(StatusCaption("a"), "");
}

}  // namespace
}  // namespace quillorn::foundation
