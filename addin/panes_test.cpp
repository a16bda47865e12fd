#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "addin/addin_module.h"
#include "addin/module_fixture_for_test.h"
#include "addin/pane_manager.h"
#include "data/tdm.h"

namespace quillorn::addin {
namespace {

using testing::Machine;
using testing::Process;
using Kind = platform::HostType;

// Panes as a host framework that refuses where asked to.
class RefusingPanes final : public PaneManager {
 public:
  bool refuseShow = false;
  bool refuseDocId = false;
  InMemoryPaneManager inner;

  int ItemCount() const override { return inner.ItemCount(); }
  int AddItem(std::string_view className, int position, bool enabled) override {
    return inner.AddItem(className, position, enabled);
  }
  std::string Caption(int item) const override { return inner.Caption(item); }
  void SetCaption(int item, std::string_view caption) override { inner.SetCaption(item, caption); }
  bool Visible(int item) const override { return inner.Visible(item); }
  void ShowTaskPane(int item) override {
    if (refuseShow) throw std::runtime_error("pane window not ready");
    inner.ShowTaskPane(item);
  }
  void Hide(int item) override { inner.Hide(item); }
  void SetDocId(int item, std::int64_t docId) override {
    if (refuseDocId) throw std::runtime_error("form not created");
    inner.SetDocId(item, docId);
  }
  std::int64_t DocId(int item) const override { return inner.DocId(item); }
};

const InMemoryPaneManager::Item& OnlyItem(Process& p) {
  const auto& items = dynamic_cast<InMemoryPaneManager&>(*p.module->Panes()).Items();
  EXPECT_EQ(items.size(), 1u);
  return items.at(0);
}

TEST(Panes, MadeOnFirstNeedWithTheHostsShellThenReused) {
  const struct {
    Kind kind;
    const char* shell;
  } cases[] = {{Kind::ohaWord, "TWordTP"}, {Kind::ohaExcel, "TExcelTP"}, {Kind::ohaPowerPoint, "TPowerPointTP"}};
  for (const auto& c : cases) {
    Machine m;
    m.WriteAddInIni("[Debug]\nTrace=true\n");
    Process p(m, c.kind, 1);
    p.Load();
    p.module->HideQuillornPane();
    ASSERT_EQ(p.module->Panes()->ItemCount(), 0) << "nothing before a document needs it, not even a hide";
    EXPECT_FALSE(p.module->Timer1.Enabled());

    p.module->ShowQuillornPane(17);
    const auto& item = OnlyItem(p);
    EXPECT_EQ(item.className, c.shell);
    EXPECT_EQ(item.position, 4);
    EXPECT_TRUE(item.enabled);
    EXPECT_TRUE(item.visible);
    EXPECT_EQ(item.docId, 17);
    EXPECT_EQ(p.context.ProcName, "ShowQuillornPane");

    p.module->Panes()->Hide(0);
    p.module->ShowQuillornPane(23);
    EXPECT_EQ(OnlyItem(p).docId, 23) << c.shell;
    EXPECT_TRUE(OnlyItem(p).visible);
    EXPECT_EQ(OnlyItem(p).shown, 2);

    const std::string trace = m.Trace();
    const bool excel = c.kind == Kind::ohaExcel;
    EXPECT_EQ(trace.find("\tShowQuillornPane\tExcelPanesMgr.Items.Count = 0\r\n") != std::string::npos, excel);
    EXPECT_EQ(trace.find("\tShowQuillornPane\tExcelPanesMgr.Items.Count = 1\r\n") != std::string::npos, excel);
  }
}

TEST(Panes, PublisherHasNone) {
  Machine m;
  Process p(m, Kind::ohaPublisher, 1);
  p.Load();
  EXPECT_NO_THROW(p.module->ShowQuillornPane(5));
  EXPECT_NO_THROW(p.module->HideQuillornPane());
  EXPECT_EQ(p.module->Panes(), nullptr);
  EXPECT_FALSE(p.module->Timer1.Enabled());
  p.module->dm()->SetIsServerReachable(false);
  EXPECT_EQ(p.module->PaneCaption(), std::nullopt) << "no pane to rename";
}

// Excel's pane may refuse while its window is built; that is traced and the
// document goes on. Elsewhere the refusal reaches the caller.
TEST(Panes, OnlyExcelSwallowsARefusingPane) {
  const struct {
    Kind kind;
    bool refuseShow, refuseDocId;
    const char* tracedAs;  // null: the call raises
  } cases[] = {
      {Kind::ohaExcel, true, false, "\tShowTaskPane\tpane window not ready\r\n"},
      {Kind::ohaExcel, false, true, "\tTExcelTP\tform not created\r\n"},
      {Kind::ohaWord, true, false, nullptr},
      {Kind::ohaPowerPoint, false, true, nullptr},
  };
  for (const auto& c : cases) {
    Machine m;
    m.WriteAddInIni("[Debug]\nTrace=true\n");
    RefusingPanes panes;
    panes.refuseShow = c.refuseShow;
    panes.refuseDocId = c.refuseDocId;
    Process p(m, c.kind, 1, "16.0", "", &panes);
    p.Load();
    if (c.tracedAs == nullptr) {
      EXPECT_THROW(p.module->ShowQuillornPane(9), std::runtime_error);
      continue;
    }
    EXPECT_NO_THROW(p.module->ShowQuillornPane(9));
    EXPECT_NE(m.Trace().find(c.tracedAs), std::string::npos) << m.Trace();
    EXPECT_EQ(panes.ItemCount(), 1);
    // The step after the refused one still ran.
    if (c.refuseShow) {
      EXPECT_EQ(panes.DocId(0), 9);
    }
    if (c.refuseDocId) {
      EXPECT_TRUE(panes.Visible(0));
    }
  }
}

TEST(Panes, HidingWaitsForTimer1OnlyInExcelFrom2013) {
  const struct {
    Kind kind;
    const char* version;
    bool deferred;
  } cases[] = {
      {Kind::ohaWord, "16.0", false},       {Kind::ohaExcel, "14.0", false}, {Kind::ohaExcel, "15.0", true},
      {Kind::ohaExcel, "16.0", true},       {Kind::ohaPowerPoint, "16.0", false},
  };
  for (const auto& c : cases) {
    Machine m;
    m.WriteAddInIni("[Debug]\nTrace=true\n");
    Process p(m, c.kind, 1, c.version);
    p.Load();
    p.module->ShowQuillornPane(3);
    p.module->HideQuillornPane();
    EXPECT_EQ(p.module->Panes()->Visible(0), c.deferred) << c.version;
    EXPECT_EQ(p.module->Timer1.Enabled(), c.deferred);
    if (!c.deferred) continue;
    m.loop.AdvanceAndRun(499);
    EXPECT_TRUE(p.module->Panes()->Visible(0)) << "not inside the event that asked";
    m.loop.AdvanceAndRun(1);
    EXPECT_FALSE(p.module->Panes()->Visible(0));
    EXPECT_FALSE(p.module->Timer1.Enabled()) << "one shot";
    EXPECT_NE(m.Trace().find("\tTimer1\tExcelPanesMgr.Items.Count <> 0\r\n"), std::string::npos);

    // Shown again before the timer came: the late hide still hides it, as the
    // pane item is still there.
    p.module->HideQuillornPane();
    p.module->ShowQuillornPane(4);
    m.loop.AdvanceAndRun(500);
    EXPECT_FALSE(p.module->Panes()->Visible(0));
  }
}

TEST(Panes, TabsShowAndHideTheAddInsGroupsTogether) {
  Machine m;
  Process p(m, Kind::ohaWord, 1);
  p.Load();
  CommandSurface& s = p.module->Surface();
  auto switched = [&]() -> std::vector<bool> {
    return {s.At("InsertTab", {0}).visible,        s.At("HomeTab", {0}).visible,
            s.Root("CommandBar").visible,          s.At("RibbonOfficeMenu", {0}).visible,
            s.At("BackstageView", {0}).visible,    s.At("MainMenu", {0, 0}).visible,
            s.At("RibbonOfficeMenu", {1}).visible};
  };
  const bool reviseBefore = s.At("HomeTab", {0, 1}).visible;
  const bool saveAsMenuBefore = s.At("RibbonOfficeMenu", {2}).visible;

  p.module->ShowQuillornTabs(true);
  EXPECT_EQ(switched(), std::vector<bool>(7, true));
  EXPECT_EQ(p.context.ProcName, "ShowQuillornTabs");
  p.module->ShowQuillornTabs(false);
  EXPECT_EQ(switched(), std::vector<bool>(7, false));
  EXPECT_EQ(s.At("HomeTab", {0, 1}).visible, reviseBefore) << "controls inside the groups are left alone";
  EXPECT_EQ(s.At("RibbonOfficeMenu", {2}).visible, saveAsMenuBefore) << "the Save As menu is the button states'";
}

// ---- Bringing a window to the front ------------------------------------------------

// Word activates the document and itself; PowerPoint the window that shows the
// presentation.
TEST(BringToFront, ActivatesTheNamedDocument) {
  for (Kind kind : {Kind::ohaWord, Kind::ohaPowerPoint}) {
    const bool word = kind == Kind::ohaWord;
    Machine m;
    Process p(m, kind, 1);
    p.Load();
    auto first = p.host->Open(m.home.Dir() + "Report.docx");
    auto second = p.host->Open(m.home.Dir() + "letter.docx");
    ASSERT_EQ(p.host->Active(), second);

    p.module->BringToFront(foundation::UpperCase(m.home.Dir() + "report.DOCX"));
    EXPECT_EQ(p.host->Active(), first) << "names compare without regard to case";
    EXPECT_EQ(p.host->app_activations, word ? 1 : 0);
    if (!word) continue;
    p.module->BringToFront("");
    EXPECT_EQ(p.host->app_activations, 2) << "an empty name means the host itself";
    EXPECT_EQ(p.host->Active(), first);
  }
}

TEST(BringToFront, ANameNoDocumentHasDoesNothing) {
  for (Kind kind : {Kind::ohaWord, Kind::ohaExcel, Kind::ohaPowerPoint, Kind::ohaPublisher}) {
    Machine m;
    Process p(m, kind, 1);
    p.Load();
    auto first = p.host->Open(m.home.Dir() + "one");
    p.host->Open(m.home.Dir() + "two");
    p.host->Activate(first);
    EXPECT_NO_THROW(p.module->BringToFront(m.home.Dir() + "three"));
    EXPECT_EQ(p.host->Active(), first);
    EXPECT_EQ(p.host->app_activations, 0);
    EXPECT_FALSE(p.module->BringToFrontTimer.Enabled());
  }
}

TEST(BringToFront, ExcelWithSeveralWorkbooksAsksForWindowZeroWhichTheHostRefuses) {
  Machine m;
  Process p(m, Kind::ohaExcel, 1);
  p.Load();
  auto first = p.host->Open(m.home.Dir() + "a.xlsx");
  auto second = p.host->Open(m.home.Dir() + "b.xlsx");
  EXPECT_NO_THROW(p.module->BringToFront(m.home.Dir() + "a.xlsx"));
  EXPECT_EQ(p.host->Active(), second) << "the refusal is swallowed and nothing moves";

  // With one workbook any request activates its window.
  p.host->Close(second);
  EXPECT_NO_THROW(p.module->BringToFront(m.home.Dir() + "elsewhere.xlsx"));
  EXPECT_EQ(p.host->Active(), first);
}

TEST(BringToFront, TheTimerWaitsAsLongAsTheHostStaysInvisible) {
  const struct {
    Kind kind;
    int activations;  // Application.Activate once visible
  } cases[] = {{Kind::ohaWord, 1}, {Kind::ohaExcel, 0}};
  for (const auto& c : cases) {
    Machine m;
    Process p(m, c.kind, 1);
    p.Load();
    auto doc = p.host->Open(m.home.Dir() + "starting");
    p.host->visible = false;
    if (c.kind == Kind::ohaWord) {
      p.module->BringToFront("");
    } else {
      p.module->BringToFrontTimer.SetEnabled(true);  // only Word's request starts it
    }
    ASSERT_TRUE(p.module->BringToFrontTimer.Enabled());
    EXPECT_EQ(p.module->BringToFrontTimer.Interval(), 1000u);
    for (int tick = 0; tick < 5; ++tick) {
      m.loop.AdvanceAndRun(1000);
      EXPECT_TRUE(p.module->BringToFrontTimer.Enabled()) << "tick " << tick;
    }
    EXPECT_EQ(p.host->app_activations, 0);

    p.host->visible = true;
    m.loop.AdvanceAndRun(1000);
    EXPECT_FALSE(p.module->BringToFrontTimer.Enabled());
    EXPECT_EQ(p.host->app_activations, c.activations);
    EXPECT_EQ(p.host->Active(), doc);
  }
}

TEST(BringToFront, TheTimerStopsOnceVisibleEvenWhenActivationFails) {
  // Excel once visible activates its active window; with no workbook that
  // raises, is swallowed, and the timer is already off.
  Machine m;
  Process p(m, Kind::ohaExcel, 1);
  p.Load();
  p.module->StartupTimer.SetEnabled(false);  // it would fail on the missing workbook too
  p.module->BringToFrontTimer.SetEnabled(true);
  EXPECT_NO_THROW(m.loop.AdvanceAndRun(1000));
  EXPECT_FALSE(p.module->BringToFrontTimer.Enabled());
  EXPECT_EQ(m.Except(), "") << "swallowed, not reported";
}

}  // namespace
}  // namespace quillorn::addin
