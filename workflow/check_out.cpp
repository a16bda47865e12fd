#include "workflow/check_out.h"

#include <exception>

#include "automation/doc_properties.h"
#include "automation/protection.h"
#include "data/proc_name_scope.h"
#include "data/records.h"
#include "foundation/context.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "workflow/save_as_dialogs.h"

namespace quillorn::workflow {

using foundation::LogException;
using foundation::LogTrace;
using platform::ModalResult;

bool DocumentCopies::PerformCheckOut(const std::string& fileName) {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("TAddInModule.PerformCheckOut");
  try {
    const data::FilesRecord row = records.Files();
    {
      foundation::ReentryFlag::Scope saving = site_.mInternalSave().SetWhile();
      const Variant doc = tracking_.GetActiveDoc();
      // The copy carries its user; a document without cmsID is not checked out
      // here, so a missing one is a failure and is not added.
      const Variant value(std::to_string(row.DOC_ID) + ";" + std::to_string(records.UserID()));
      if (site_.Host() == HostType::ohaPublisher) {
        automation::Tag(doc, automation::kCmsIdProperty).Put("value", value);
      } else {
        automation::PutCustomPropertyValue(doc, automation::kCmsIdProperty, value);
      }
      doc.Call("Save");
    }
    platform::SystemServices& system = site_.System();
    if (!system.CopyFile(row.FILENAME, fileName, false) || !system.FileExists(fileName)) return false;
    // FILES stays as it is: the copy is checked out when it is opened next.
    data::UpdateDoc(records.tblDoc(), {.STATUS = "C"});
    records.SaveDocData();
    return true;
  } catch (const std::exception& e) {
    LogException(&e, "Checkout failed!");
  } catch (...) {
    LogException(nullptr, "Checkout failed!");
  }
  return false;
}

bool DocumentCopies::PerformExport(const std::string& fileName) {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("TAddInModule.PerformExport");
  bool result = false;
  try {
    const data::FilesRecord row = records.Files();
    const HostType host = site_.Host();
    const Variant doc = tracking_.GetActiveDoc();
    // No mInternalSave: the host's before-save events run, and PowerPoint's
    // may refuse the save.
    if (host == HostType::ohaPublisher) {
      automation::DeleteTag(doc, automation::kCmsIdProperty);
    } else {
      automation::UnprotectDocument(host, doc, row.READ_ONLY);
      automation::DeleteCustomProperty(doc, automation::kCmsIdProperty);
    }
    doc.Call("Save");
    result = site_.System().CopyFile(row.FILENAME, fileName, false);
    // The open document gets its identity back; the copy keeps none.
    tracking_.ResetCmsID();
  } catch (...) {
    // A failed export is told by its result alone.
  }
  return result;
}

std::string DocumentCopies::AskTarget(CopyKind kind, const std::string& name) {
  TFileSaveDialog dialog;
  dialog.Title = dialog.OkButtonLabel = kind == CopyKind::CheckOut ? "Check Out" : "Export";
  dialog.InitialDir = site_.System().DocumentsFolder();
  dialog.FileName = name;
  dialog.DefaultExt = foundation::ExtractFileExt(name);
  dialog.FilterName = dialog.DefaultExt;
  dialog.FilterMask = "*" + dialog.DefaultExt;
  if (site_.Prompts().ShowDialog(dialog) != ModalResult::mrOk) return {};
  return dialog.FileName;
}

void DocumentCopies::ShowError(const char* text) {
  site_.Prompts().MessageDlg(text, platform::MessageKind::Error, platform::Buttons::OK);
}

void DocumentCopies::CheckOutTo(const std::string& fileName) {
  if (!PerformCheckOut(fileName)) ShowError(kCheckoutFailed);
}

void DocumentCopies::ExportTo(const std::string& fileName, bool ask) {
  if (ask && site_.System().FileExists(fileName) &&
      site_.Prompts().MessageDlg(kReplaceExisting, platform::MessageKind::Warning, platform::Buttons::YesNoCancel) !=
          ModalResult::mrYes) {
    return;
  }
  if (!PerformExport(fileName)) ShowError(kExportFailed);
}

void DocumentCopies::DocumentSaveAs() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("TAddInModule.DocumentSaveAs");
  TdlgSaveAs chooser;
  const ModalResult choice = site_.Prompts().ShowDialog(chooser);
  if (choice != ModalResult::mrYes && choice != ModalResult::mrOk) return;
  const std::string name = tracking_.GetActiveDoc().Get("Name").AsString();
  if (choice == ModalResult::mrYes) {
    const std::string target = AskTarget(CopyKind::CheckOut, name);
    if (!target.empty()) CheckOutTo(target);
  } else {
    ExportWhereTheUserSays(name);
  }
}

void DocumentCopies::ExportWhereTheUserSays(const std::string& name) {
  const std::string target = AskTarget(CopyKind::Export, name);
  if (!target.empty()) ExportTo(target, true);
}

void DocumentCopies::ExportButtonClick() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("TAddInModule.{Export button}");
  LogTrace("TAddInModule.{Export button}", "");
  const std::string name = tracking_.GetActiveDoc().Get("Name").AsString();
  if (site_.IsCloudPlatform()) {
    // The cloud's folder is the user's own: no dialog and no question.
    ExportTo(records.CloudExportFolder() + name, false);
    return;
  }
  ExportWhereTheUserSays(name);
}

void DocumentCopies::CheckOutButtonClick() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("TAddInModule.{Check Out button}");
  LogTrace("TAddInModule.{Check Out button}", "");
  // The copy is called by the document's title, not by its name in the cache.
  const std::string name = records.Doc().DOC_NAME + foundation::ExtractFileExt(records.Files().FILENAME);
  if (!site_.IsCloudPlatform() && AskTarget(CopyKind::CheckOut, name).empty()) return;
  // Also after the dialog the copy goes to the cloud's folder, not to the
  // dialog's choice: the button has always done so.
  CheckOutTo(records.CloudExportFolder() + name);
}

}  // namespace quillorn::workflow
