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
  // The captions and pictures themselves are a table of the code; these rows take each way through it.
  const Case cases[] = {
      {"W", "Waiting approval...", 201},
      {"AW", "Approved...", 200},  // the first character decides
      {" ", "kept", 209},           // a picture but no caption
      {"U", "Revision Cancelled...", 199},  // a caption but no picture
      {"e", "kept", 199},           // letters are upper case only
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
