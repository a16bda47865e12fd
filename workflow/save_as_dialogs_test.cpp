#include "workflow/save_as_dialogs.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace quillorn::workflow {
namespace {

using platform::ModalResult;

// Only "export" exports; every other link checks out; Cancel is 2.
TEST(TdlgSaveAs, LinksAndCancelGiveTheChoosersResults) {
  const struct {
    const char* press;
    ModalResult result;
  } cases[] = {{"export", ModalResult::mrOk}, {"save", ModalResult::mrYes}, {"anything", ModalResult::mrYes},
               {"Export", ModalResult::mrYes}, {"Cancel", ModalResult::mrCancel}};
  for (const auto& c : cases) {
    TdlgSaveAs dialog;
    EXPECT_EQ(dialog.Press(c.press), c.result) << c.press;
  }
}

// A plain name lands in the folder offered; the OK button is the caption of
// the use, and an empty name leaves the dialog open.
TEST(FileSaveDialog, OkPlacesAPlainNameInTheFolderOffered) {
  TFileSaveDialog dialog;
  dialog.OkButtonLabel = "Check Out";
  dialog.InitialDir = "/home/jane/Documents";
  dialog.DefaultExt = ".docx";
  EXPECT_THROW(dialog.Press("OK"), std::invalid_argument);
  dialog.SetField("FileName", "");
  EXPECT_EQ(dialog.Press("Check Out"), std::nullopt);
  dialog.SetField("FileName", "Copy");
  EXPECT_EQ(dialog.Press("Check Out"), ModalResult::mrOk);
  EXPECT_EQ(dialog.GetField("FileName"), "/home/jane/Documents/Copy.docx");
  dialog.SetField("FileName", "/tmp/Other.xlsx");
  EXPECT_EQ(dialog.Press("Check Out"), ModalResult::mrOk);
  EXPECT_EQ(dialog.FileName, "/tmp/Other.xlsx");
  EXPECT_EQ(dialog.Press("Cancel"), ModalResult::mrCancel);
}

}  // namespace
}  // namespace quillorn::workflow
