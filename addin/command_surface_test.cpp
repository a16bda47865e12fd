#include "addin/command_surface.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <algorithm>

namespace quillorn::addin {
namespace {

// The button states address controls by position, so the positions are design.
TEST(CommandSurface, PositionsTheButtonStatesRelyOn) {
  CommandSurface s;
  struct Case {
    const char* root;
    std::initializer_list<int> path;
    ControlType type;
    const char* caption;
  };
  const Case cases[] = {
      {"HomeTab", {0, 0}, ControlType::Button, "Approve"},
      {"HomeTab", {0, 1}, ControlType::Button, "Revise"},
      {"RibbonOfficeMenu", {0}, ControlType::Button, "Save as Complete"},
      {"RibbonOfficeMenu", {1}, ControlType::Button, "Print Controlled"},
      {"RibbonOfficeMenu", {2}, ControlType::Menu, "Save As"},
      {"RibbonOfficeMenu", {2, 0}, ControlType::Button, "Check Out Document"},
      {"RibbonOfficeMenu", {2, 1}, ControlType::Button, "Export Document"},
      {"RibbonOfficeMenu", {2, 2}, ControlType::Separator, ""},
      {"RibbonOfficeMenu", {2, 3}, ControlType::Button, "Publish as PDF or XPS"},
      {"RibbonOfficeMenu", {3}, ControlType::BuiltInMenu, "Save As"},
      {"BackstageView", {0}, ControlType::FastCommand, "Save as Complete"},
      {"BackstageView", {1, 0, 0}, ControlType::CheckBox, "Print Controlled"},
      {"BackstageView", {2, 0, 0, 0}, ControlType::Task, "Check Out"},
      {"BackstageView", {2, 0, 0, 1}, ControlType::Task, "Export"},
      {"BackstageView", {2, 0, 0, 2, 0}, ControlType::Group, "Attention!"},
      {"BackstageView", {3, 0}, ControlType::Group, "Attention!"},
      {"BackstageView", {4}, ControlType::BackstageTab, "Share"},
  };
  for (const Case& c : cases) {
    const Control& control = s.At(c.root, c.path);
    EXPECT_EQ(control.type, c.type) << c.root << " " << c.caption;
    EXPECT_EQ(control.caption, c.caption) << c.root;
  }
  EXPECT_THROW(s.At("HomeTab", {0, 2}), std::out_of_range);
  EXPECT_THROW(s.Root("NoSuchRoot"), std::out_of_range);
}

TEST(CommandSurface, DesignStateAndTexts) {
  CommandSurface s;
  EXPECT_EQ(s.At("HomeTab", {0}).insertBeforeIdMso, "GroupClipboard");
  EXPECT_FALSE(s.At("HomeTab", {0}).visible);
  EXPECT_FALSE(s.At("HomeTab", {0, 0}).enabled);
  EXPECT_EQ(s.At("HomeTab", {0, 0}).superTip, "Approve and close the document");
  EXPECT_EQ(s.At("InsertTab", {0}).insertBeforeIdMso, "GroupInsertPages");

  // The label's misspelling is shared with the server's documentation and stays.
  const std::string label = "Please note that \"Save As\" is disabled for Quillorn ducuments";
  EXPECT_EQ(s.At("BackstageView", {2, 0, 0, 2, 0, 0}).caption, label);
  EXPECT_EQ(s.At("BackstageView", {3, 0, 0}).caption, label);
  EXPECT_EQ(s.At("BackstageView", {3}).firstColumnWidth, 200);
}

TEST(CommandSurface, RevisionFieldTagsCrossAtLocationAndName) {
  CommandSurface s;
  Control* menu = s.FindById("qlRevisionField");
  ASSERT_NE(menu, nullptr);
  std::vector<std::pair<std::string, int>> got;
  for (const Control& b : menu->controls) got.emplace_back(b.caption, b.tag);
  const std::vector<std::pair<std::string, int>> want = {
      {"Approved By", 1},       {"Approved Date", 2},   {"Created By", 3},
      {"Document Location", 5}, {"Document Name", 4},   {"Document Number", 6},
      {"Next Review Date", 7},  {"Revision", 8},        {"Revision Date", 9}};
  EXPECT_EQ(got, want);
}

// The module binds the commands (a click on them is shown by the scenarios);
// a command without a handler does nothing but say its handler's name, and is
// listed. A control with no handler at all says nothing.
TEST(CommandSurface, UnboundCommandsAreListedAndTheirClicksSaySo) {
  CommandSurface s;
  std::vector<std::string> told;
  s.SetUnboundClick([&](std::string_view handler) { told.emplace_back(handler); });
  const auto missing = s.MissingHandlers();
  EXPECT_NE(std::find(missing.begin(), missing.end(), "SaveAsCompleteClick"), missing.end());
  bool cancel = false;
  EXPECT_FALSE(s.Click(s.At("HomeTab", {0, 1}), cancel));
  EXPECT_FALSE(s.Click(s.At("HomeTab", {0, 0}), cancel));
  EXPECT_FALSE(cancel);
  EXPECT_EQ(told, std::vector<std::string>{"HomeTabControls0Controls1Click"});
  s.Bind("HomeTabControls0Controls1Click", [](Control&, bool& c) { c = true; });
  EXPECT_TRUE(s.Click(s.At("HomeTab", {0, 0}), cancel));
  EXPECT_TRUE(cancel);
  EXPECT_EQ(told.size(), 1u);
}

}  // namespace
}  // namespace quillorn::addin
