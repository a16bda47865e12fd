// Each host's events and the intercepted save commands, mapped onto the few
// document routines. The handlers are thin; what matters is which host has which
// event and the guards. Every one runs as the framework runs an event: an
// exception ends in AddInModuleError and never reaches the host.
#include <cstdint>
#include <exception>
#include <string>

#include "addin/addin_module.h"
#include "automation/protection.h"
#include "data/records.h"
#include "data/tdm.h"
#include "foundation/log.h"
#include "platform/office_constants.h"
#include "workflow/document_save.h"
#include "workflow/workflow.h"

namespace quillorn::addin {
namespace {

using foundation::LogTrace;
using platform::Variant;

constexpr char kSaveAsDisabled[] = "\"Save As\" is disabled for Quillorn documents!";
constexpr char kPowerPointSaveDisabled[] = "\"Save\" and \"Save As\" is disabled for Approved Quillorn documents!";

bool FilesOpen(data::Tdm* dm) { return dm != nullptr && dm->tblFiles.Active(); }

// The active document's FILES row, by convention the current one.
data::FilesRecord Files(data::Tdm& dm) { return data::FilesRecord::Of(dm.tblFiles); }

// A table with no row at all describes no document, so nothing is managed then.
bool IsManaged(data::Tdm* dm) {
  if (!FilesOpen(dm) || dm->tblFiles.IsEmpty()) return false;
  const data::FilesRecord row = Files(*dm);
  return !row.IGNORE && !row.OLE_IGNORE;
}

// Word writes only a document it counts as changed; this makes sure of it
// without changing the content: a blank in and out again, under the protection
// the document had.
void TouchForSave(const Variant& doc) {
  try {
    const bool wasProtected = doc.Get("ProtectionType").AsInt() != platform::kWdNoProtection;
    if (wasProtected) doc.Call("Unprotect", {automation::kProtectionPassword});
    doc.Get("Content").Call("InsertAfter", {" "});
    const std::int32_t end = doc.Get("Content").Get("End").AsInt();
    doc.Call("Range", {end - 2, end}).Call("Delete", {1, 1});
    if (wasProtected) doc.Call("Protect", {platform::kWdAllowOnlyFormFields, true, automation::kProtectionPassword});
  } catch (const std::exception&) {
    // A document that refuses is saved as it stands.
  }
}

}  // namespace

// ---- Word -----------------------------------------------------------------------

void TAddInModule::WordAppEventsDocumentOpen(const Variant& doc) {
  RunEvent([&] {
    LogTrace("Word", "OnDocumentOpen");
    RequireWorkflow().Tracking.DocumentChangedEvent(doc);
  });
}

void TAddInModule::WordAppEventsDocumentChange() {
  RunEvent([&] {
    LogTrace("Word", "OnDocumentChange session: " + std::to_string(sessionID_));
    const Variant app(host_.Application);
    if (app.Get("Documents").Get("Count").AsInt() > 0) {
      RequireWorkflow().Tracking.DocumentChangedEvent(app.Get("ActiveDocument"));
    }
  });
}

void TAddInModule::WordAppEventsDocumentBeforeSave(const Variant& doc, bool& SaveAsUI, bool& Cancel) {
  RunEvent([&] {
    LogTrace("Word", SaveAsUI ? "OnDocumentBeforeSave: SaveAsUI=true" : "OnDocumentBeforeSave: SaveAsUI=false");
    // Every document, managed or not, whatever the flags.
    TouchForSave(doc);
    data::Tdm* tdm = dm_.get();
    if (mInternalSave || !IsManaged(tdm)) return;
    // Word 2007's Office menu keeps Save As away by itself.
    if (officeVersion_ < 2010) return;
    LogTrace("Word", "OnDocumentBeforeSave: about to tblFiles.Resync");
    tdm->tblFiles.Resync();
    if (SaveAsUI && IsManaged(tdm)) {
      Cancel = true;
      host_.Prompts->MessageDlg(kSaveAsDisabled, platform::MessageKind::Error, platform::Buttons::OK);
    }
  });
}

void TAddInModule::WordAppEventsDocumentBeforeClose(const Variant& /*doc*/, bool& Cancel) {
  RunEvent([&] {
    if (mInternalClose) return;
    data::Tdm* tdm = dm_.get();
    if (FilesOpen(tdm) && !Files(*tdm).OLE_IGNORE) Cancel = RequireWorkflow().Closing.DocumentCloseEvent();
    if (!Cancel) RequireWorkflow().Tracking.DeactivateToolbox();
  });
}

void TAddInModule::WordAppEventsDocumentBeforePrint(const Variant& doc, bool& /*Cancel*/) {
  RunEvent([&] {
    LogTrace("Word", "OnDocumentBeforePrint");
    RequireWorkflow().Printing.DocumentBeforePrint(doc);
  });
}

void TAddInModule::WordAppEventsWindowActivate(const Variant& /*doc*/, const Variant& /*wn*/) {
  RunEvent([&] {
    if (isCloudPlatform_) UploadCheckTimer.SetEnabled(true);
  });
}

void TAddInModule::WordAppEventsWindowDeactivate(const Variant& /*doc*/, const Variant& /*wn*/) {
  RunEvent([&] {
    if (isCloudPlatform_) UploadCheckTimer.SetEnabled(false);
  });
}

// ---- Excel ----------------------------------------------------------------------

void TAddInModule::ExcelAppEventsWorkbookOpen(const Variant& wb) {
  RunEvent([&] {
    LogTrace("Excel", "OnWorkbookOpen");
    RequireWorkflow().Tracking.DocumentChangedEvent(wb);
  });
}

void TAddInModule::ExcelAppEventsWorkbookActivate(const Variant& wb) {
  RunEvent([&] {
    LogTrace("Excel", "OnWindowActivate");
    RequireWorkflow().Tracking.DocumentChangedEvent(wb);
  });
}

void TAddInModule::ExcelAppEventsWorkbookBeforeSave(const Variant& /*wb*/, bool SaveAsUI, bool& Cancel) {
  RunEvent([&] {
    LogTrace("Excel", SaveAsUI ? "OnWorkbookBeforeSave SaveAsUI=true" : "OnWorkbookBeforeSave SaveAsUI=false");
    data::Tdm* tdm = dm_.get();
    // Below 2013 Excel's backstage itself keeps Save As away.
    if (mInternalSave || !FilesOpen(tdm) || officeVersion_ < 2013) return;
    tdm->tblFiles.Resync();
    if (SaveAsUI && IsManaged(tdm)) {
      Cancel = true;
      host_.Prompts->MessageDlg(kSaveAsDisabled, platform::MessageKind::Error, platform::Buttons::OK);
    }
  });
}

void TAddInModule::ExcelAppEventsWorkbookBeforeClose(const Variant& /*wb*/, bool& Cancel) {
  // No look at the table and no toolbox switch here, unlike Word.
  RunEvent([&] {
    if (!mInternalClose) Cancel = RequireWorkflow().Closing.DocumentCloseEvent();
  });
}

void TAddInModule::ExcelAppEventsWorkbookBeforePrint(const Variant& wb, bool& /*Cancel*/) {
  RunEvent([&] { RequireWorkflow().Printing.DocumentBeforePrint(wb); });
}

void TAddInModule::ExcelAppEventsWindowActivate(const Variant& /*wb*/, const Variant& /*wn*/) {
  RunEvent([&] {
    if (isCloudPlatform_) UploadCheckTimer.SetEnabled(true);
  });
}

void TAddInModule::ExcelAppEventsWindowDeactivate(const Variant& /*wb*/, const Variant& /*wn*/) {
  RunEvent([&] {
    if (isCloudPlatform_) UploadCheckTimer.SetEnabled(false);
  });
}

// ---- PowerPoint -----------------------------------------------------------------

void TAddInModule::PowerPointAppEventsPresentationOpen(const Variant& pres) {
  RunEvent([&] {
    LogTrace("PowerPoint", "OnPresentationOpen");
    RequireWorkflow().Tracking.DocumentChangedEvent(pres);
  });
}

void TAddInModule::PowerPointAppEventsWindowActivate(const Variant& pres, const Variant& /*wn*/) {
  RunEvent([&] {
    LogTrace("PowerPoint", "OnWindowActivate");
    if (isCloudPlatform_) UploadCheckTimer.SetEnabled(true);
    RequireWorkflow().Tracking.DocumentChangedEvent(pres);
  });
}

void TAddInModule::PowerPointAppEventsWindowDeactivate(const Variant& /*pres*/, const Variant& /*wn*/) {
  RunEvent([&] {
    if (isCloudPlatform_) UploadCheckTimer.SetEnabled(false);
  });
}

void TAddInModule::PowerPointAppEventsPresentationBeforeSave(const Variant& /*pres*/, bool& Cancel) {
  RunEvent([&] {
    LogTrace("PowerPoint", "OnPresentationBeforeSave");
    data::Tdm* tdm = dm_.get();
    if (mInternalSave || !FilesOpen(tdm) || officeVersion_ < 2010) return;
    tdm->tblFiles.Resync();
    // PowerPoint says nothing of Save As, so any save of an editable managed
    // presentation that the add-in did not start is refused. The test is on
    // READ_ONLY, whatever the message says of approval.
    if (IsManaged(tdm) && !Files(*tdm).READ_ONLY) {
      Cancel = true;
      host_.Prompts->MessageDlg(kPowerPointSaveDisabled, platform::MessageKind::Error, platform::Buttons::OK);
    }
  });
}

void TAddInModule::PowerPointAppEventsPresentationBeforeClose(const Variant& pres, bool& Cancel) {
  RunEvent([&] {
    LogTrace("PowerPoint", "OnPresentationBeforeClose");
    if (mInternalClose) return;
    if (officeVersion_ < 2010) {
      Cancel = RequireWorkflow().Closing.DocumentCloseEvent();
      return;
    }
    data::Tdm* tdm = dm_.get();
    if (!FilesOpen(tdm)) return;
    tdm->tblFiles.Resync();
    if (!IsManaged(tdm)) return;
    // A read-only presentation was never the user's to save: no question.
    if (Files(*tdm).READ_ONLY) pres.Put("Saved", true);
    Cancel = RequireWorkflow().Closing.DocumentCloseEvent();
  });
}

void TAddInModule::PowerPointAppEventsPresentationClose(const Variant& /*pres*/) {
  RunEvent([&] {
    LogTrace("PowerPoint", "OnPresentationClose");
    // PowerPoint 2007's before-close does not come for every close; the close
    // itself can no longer be cancelled, so the answer is not used.
    if (officeVersion_ == 2007 && !mInternalClose) RequireWorkflow().Closing.DocumentCloseEvent();
  });
}

void TAddInModule::PowerPointAppEventsPresentationPrint(const Variant& pres) {
  RunEvent([&] { RequireWorkflow().Printing.DocumentBeforePrint(pres); });
}

void TAddInModule::PowerPointAppEventsSlideSelectionChanged(const Variant& /*sldRange*/) {}

// ---- Publisher ------------------------------------------------------------------

void TAddInModule::PublisherAppEventsDocumentOpen(const Variant& doc) {
  RunEvent([&] {
    LogTrace("Publisher", "OnDocumentOpen");
    RequireWorkflow().Tracking.DocumentChangedEvent(doc);
  });
}

void TAddInModule::PublisherAppEventsWindowActivate(const Variant& /*wn*/) {
  RunEvent([&] {
    LogTrace("Publisher", "OnWindowActivate");
    RequireWorkflow().Tracking.DocumentChangedEvent(Variant(host_.Application).Get("ActiveDocument"));
  });
}

void TAddInModule::PublisherAppEventsDocumentBeforeClose(const Variant& /*doc*/, bool& Cancel) {
  RunEvent([&] {
    if (!mInternalClose) Cancel = RequireWorkflow().Closing.DocumentCloseEvent();
  });
}

void TAddInModule::PublisherAppEventsNewDocument(const Variant& /*doc*/) {
  RunEvent([&] { LogTrace("Publisher", "OnNewDocument"); });
}

void TAddInModule::PublisherAppEventsBeforePrint(const Variant& /*doc*/, bool& /*Cancel*/) {
  RunEvent([&] { LogTrace("Publisher", "OnBeforePrint"); });
}

// ---- Intercepted commands -------------------------------------------------------

void TAddInModule::FileSaveCommandAction(bool& Cancel) {
  RunEvent([&] {
    if (IsManaged(dm_.get())) Cancel = RequireWorkflow().Saving.DocumentSave();
  });
}

void TAddInModule::FileSaveControlActionEx(bool& Cancel) { FileSaveCommandAction(Cancel); }

void TAddInModule::FileSaveShortcutAction() {
  RunEvent([&] {
    data::Tdm* tdm = dm_.get();
    // Only IGNORE and READ_ONLY are asked, not OLE_IGNORE. A table that is not
    // open yet or has no row describes no document of ours: the host saves.
    const bool ours = FilesOpen(tdm) && !tdm->tblFiles.IsEmpty() && !Files(*tdm).IGNORE && !Files(*tdm).READ_ONLY;
    if (ours) {
      RequireWorkflow().Saving.DocumentSave();
      return;
    }
    // The shortcut swallows the key: without this Ctrl+S would do nothing in a
    // foreign or read-only document.
    const Variant app(host_.Application);
    switch (host_.Type) {
      case HostType::ohaWord:
      case HostType::ohaPublisher: app.Get("ActiveDocument").Call("Save"); break;
      case HostType::ohaExcel: app.Get("ActiveWorkbook").Call("Save"); break;
      case HostType::ohaPowerPoint: app.Get("ActivePresentation").Call("Save"); break;
    }
  });
}

void TAddInModule::FileSaveAsCommandAction(bool& Cancel) {
  RunEvent([&] {
    if (!IsManaged(dm_.get())) return;
    Cancel = true;
    RequireWorkflow().Copies.DocumentSaveAs();
  });
}

void TAddInModule::SaveAsCommandActionEx(bool& Cancel) {
  RunEvent([&] {
    // Publisher's command bar; its Save As counts only with a window in front.
    if (host_.Type != HostType::ohaPublisher) return;
    if (!Variant(host_.Application).Get("ActiveWindow").Get("Visible").AsBool()) return;
    if (!IsManaged(dm_.get())) return;
    RequireWorkflow().Copies.DocumentSaveAs();
    Cancel = true;
  });
}

void TAddInModule::BindIntercepts() {
  surface_.Bind("FileSaveCommandAction", [this](Control&, bool& cancel) { FileSaveCommandAction(cancel); });
  surface_.Bind("FileSaveControlActionEx", [this](Control&, bool& cancel) { FileSaveControlActionEx(cancel); });
  surface_.Bind("FileSaveShortcutAction", [this](Control&, bool&) { FileSaveShortcutAction(); });
  surface_.Bind("FileSaveAsCommandAction", [this](Control&, bool& cancel) { FileSaveAsCommandAction(cancel); });
  surface_.Bind("SaveAsCommandActionEx", [this](Control&, bool& cancel) { SaveAsCommandActionEx(cancel); });
  // Mail commands are only watched: the host's own command runs.
  surface_.Bind("SendEmailAction", [](Control&, bool&) {});
  // The print command is only watched: the host goes on to its print event.
  surface_.Bind("PrintCommandAction", [this](Control&, bool&) { RunEvent([] { LogTrace("PrintCommandAction", ""); }); });
}

}  // namespace quillorn::addin
