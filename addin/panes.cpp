// The pane shells, the add-in's ribbon additions as a whole, and bringing a
// document's window to the front when another process asks for it.
#include <exception>
#include <string>

#include "addin/addin_module.h"
#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::addin {
namespace {

using foundation::LogTrace;
using platform::Variant;

// Members the Excel activation reaches by dispatch number: Window.Activate
// (0x130) and Application.Windows (0xAA), the latter's item 0 as the routine
// has always asked for it.
void ActivateActiveWindow(const Variant& app) { app.Get("ActiveWindow").Call("Activate"); }

bool SameFullName(const Variant& doc, const std::string& lowerName) {
  return foundation::LowerCase(doc.Get("FullName").AsString()) == lowerName;
}

}  // namespace

// ---- Pane shells ----------------------------------------------------------------

void TAddInModule::ShowQuillornPane(std::int64_t docId) {
  foundation::ContextScope scope(*context_);
  context_->ProcName = "ShowQuillornPane";
  LogTrace("ShowQuillornPane", "");
  if (panes_ == nullptr) return;  // Publisher has no pane

  switch (host_.Type) {
    case HostType::ohaWord:
      // Items are made on first need, so a Word that only ever sees foreign
      // documents never creates a pane.
      if (panes_->ItemCount() == 0) panes_->AddItem(kWordPaneClass, kPanePositionRight, true);
      panes_->ShowTaskPane(0);
      panes_->SetDocId(0, docId);
      TellToolBoxForm(docId);
      break;

    case HostType::ohaExcel:
      if (panes_->ItemCount() == 0) {
        LogTrace("ShowQuillornPane", "ExcelPanesMgr.Items.Count = 0");
        panes_->AddItem(kExcelPaneClass, kPanePositionRight, true);
      } else {
        LogTrace("ShowQuillornPane", "ExcelPanesMgr.Items.Count = " + std::to_string(panes_->ItemCount()));
      }
      // Excel's pane may refuse while the workbook window is still being built;
      // the workbook stays usable without it.
      try {
        panes_->ShowTaskPane(0);
      } catch (const std::exception& e) {
        LogTrace("ShowTaskPane", e.what());
      }
      try {
        panes_->SetDocId(0, docId);
        TellToolBoxForm(docId);
      } catch (const std::exception& e) {
        LogTrace("TExcelTP", e.what());
      }
      break;

    case HostType::ohaPowerPoint:
      if (panes_->ItemCount() == 0) panes_->AddItem(kPowerPointPaneClass, kPanePositionRight, true);
      panes_->ShowTaskPane(0);
      panes_->SetDocId(0, docId);
      TellToolBoxForm(docId);
      break;

    case HostType::ohaPublisher: break;
  }
}

void TAddInModule::HideQuillornPane() {
  foundation::ContextScope scope(*context_);
  LogTrace("HideQuillornPane", "");
  if (panes_ == nullptr || panes_->ItemCount() < 1) return;
  // Excel from 2013 has one window per workbook: hiding inside the event that
  // asked for it hides the pane of the window that is going, so it waits.
  if (host_.Type == HostType::ohaExcel && officeVersion_ >= 2013) {
    Timer1.SetEnabled(true);
    return;
  }
  panes_->Hide(0);
}

void TAddInModule::Timer1Timer() {
  RunEvent([this] {
    Timer1.SetEnabled(false);
    if (panes_ == nullptr || panes_->ItemCount() < 1) return;
    LogTrace("Timer1", "ExcelPanesMgr.Items.Count <> 0");
    panes_->Hide(0);
  });
}

void TAddInModule::ShowQuillornTabs(bool visible) {
  foundation::ContextScope scope(*context_);
  context_->ProcName = "ShowQuillornTabs";
  surface_.At("InsertTab", {0}).visible = visible;
  surface_.At("HomeTab", {0}).visible = visible;
  surface_.Root("CommandBar").visible = visible;
  surface_.At("RibbonOfficeMenu", {0}).visible = visible;
  surface_.At("BackstageView", {0}).visible = visible;
  surface_.At("MainMenu", {0, 0}).visible = visible;
  surface_.At("RibbonOfficeMenu", {1}).visible = visible;
}

// ---- Window focus ---------------------------------------------------------------

void TAddInModule::BringToFront(const std::string& docName) {
  foundation::ContextScope scope(*context_);
  LogTrace("TAddInModule.BringToFront", docName);
  // The request comes from another process's message, possibly while this host
  // is busy; a refusal leaves things as they are.
  try {
    if (!host_.Application) return;
    const Variant app(host_.Application);
    const std::string name = foundation::LowerCase(docName);

    switch (host_.Type) {
      case HostType::ohaWord: {
        auto activateApplication = [&] {
          // A host still starting is not visible yet: the timer waits for it.
          if (!app.Get("Visible").AsBool()) {
            BringToFrontTimer.SetEnabled(true);
            return;
          }
          try {
            app.Call("Activate");
          } catch (const std::exception&) {
          }
        };
        if (name.empty()) {
          activateApplication();
          break;
        }
        const Variant documents = app.Get("Documents");
        const int count = documents.Get("Count").AsInt();
        for (int i = 1; i <= count; ++i) {
          const Variant doc = documents.Get("Item", {i});
          if (!SameFullName(doc, name)) continue;
          doc.Call("Activate");
          activateApplication();
        }
        break;
      }

      case HostType::ohaExcel: {
        const Variant workbooks = app.Get("Workbooks");
        const int count = workbooks.Get("Count").AsInt();
        if (name.empty() || count == 1) {
          ActivateActiveWindow(app);
          break;
        }
        for (int i = 1; i <= count; ++i) {
          if (!SameFullName(workbooks.Get("Item", {i}), name)) continue;
          app.Get("Windows").Get("Item", {0}).Call("Activate");
          break;
        }
        break;
      }

      case HostType::ohaPowerPoint: {
        const Variant presentations = app.Get("Presentations");
        const int count = presentations.Get("Count").AsInt();
        if (name.empty() || count == 0) {
          ActivateActiveWindow(app);
          break;
        }
        for (int i = 1; i <= count; ++i) {
          const Variant pres = presentations.Get("Item", {i});
          if (!SameFullName(pres, name)) continue;
          const std::string presName = pres.Get("Name").AsString();
          const Variant windows = app.Get("Windows");
          const int windowCount = windows.Get("Count").AsInt();
          for (int w = 1; w <= windowCount; ++w) {
            const Variant window = windows.Get("Item", {w});
            if (window.Get("Caption").AsString().find(presName) == std::string::npos) continue;
            window.Call("Activate");
            break;
          }
        }
        break;
      }

      case HostType::ohaPublisher: break;
    }
  } catch (const std::exception&) {
  }
}

void TAddInModule::BringToFrontTimerTimer() {
  RunEvent([this] {
    try {
      if (!host_.Application) return;
      const Variant app(host_.Application);
      switch (host_.Type) {
        case HostType::ohaWord:
          if (!app.Get("Visible").AsBool()) return;
          BringToFrontTimer.SetEnabled(false);
          app.Call("Activate");
          break;
        case HostType::ohaExcel:
          if (!app.Get("Visible").AsBool()) return;
          BringToFrontTimer.SetEnabled(false);
          ActivateActiveWindow(app);
          break;
        case HostType::ohaPowerPoint:
        case HostType::ohaPublisher: break;
      }
    } catch (const std::exception&) {
    }
  });
}

}  // namespace quillorn::addin
