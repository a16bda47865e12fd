#include "automation/template_options.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace quillorn::automation {
namespace {

using platform::ModalResult;

// The check boxes take what a script or a renderer gives them and read back as
// the dialog shows them; Apply answers OK only with a box ticked.
TEST(TTemplateOptions, BoxesReadAsSetAndApplyWantsOneTicked) {
  TTemplateOptions dialog;
  for (const std::string& box : dialog.FieldNames()) {
    for (const char* value : {"TRUE", "1"}) {
      dialog.SetField(box, value);
      EXPECT_EQ(dialog.GetField(box), "True") << box << " " << value;
    }
    dialog.SetField(box, "0");
    EXPECT_EQ(dialog.GetField(box), "False") << box;
  }
  EXPECT_EQ(dialog.Press("Apply"), ModalResult::mrCancel);
  dialog.SetField("oFooter", "false");
  dialog.SetField("oheader", "true");
  EXPECT_EQ(dialog.Press("Apply"), ModalResult::mrOk);
  EXPECT_EQ(dialog.Press("Cancel"), ModalResult::mrCancel);
  EXPECT_THROW(dialog.SetField("oStyles", "yes"), std::invalid_argument);
  EXPECT_THROW(dialog.SetField("oBody", "true"), std::invalid_argument);
  EXPECT_THROW(dialog.Press("OK"), std::invalid_argument);
}

}  // namespace
}  // namespace quillorn::automation
