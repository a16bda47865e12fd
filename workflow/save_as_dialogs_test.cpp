#include "workflow/save_as_dialogs.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

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
  // What the panel shows: the two links by their hrefs, in the chooser's colours.
  const std::string html = TdlgSaveAs::Html();
  for (const char* part : {"href=\"export\">Export the document</a>", "href=\"save\">Save the document as Checked  Out</a>",
                           "color: #004284; font-size: 20px;", "a:hover { color: #0074D2; }"}) {
    EXPECT_NE(html.find(part), std::string::npos) << part;
  }
  TdlgSaveAs dialog;
  EXPECT_THROW(dialog.SetField("FileName", "x"), std::invalid_argument);
  EXPECT_THROW((void)dialog.GetField("FileName"), std::invalid_argument);
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
  // Every field it names can be filled and read back; no other.
  for (const std::string& field : dialog.FieldNames()) {
    dialog.SetField(field, "v " + field);
    EXPECT_EQ(dialog.GetField(field), "v " + field);
  }
  EXPECT_THROW(dialog.SetField("Folder", "x"), std::invalid_argument);
}

}  // namespace
}  // namespace quillorn::workflow
