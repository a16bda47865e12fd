#include "workflow/printing.h"

#include "automation/protection.h"
#include "automation/stamping.h"
#include "data/proc_name_scope.h"
#include "data/records.h"
#include "foundation/context.h"
#include "foundation/log.h"

namespace quillorn::workflow {

using foundation::LogTrace;

namespace {

// The print page: the backstage's print tab from 2010, print preview or the
// print dialog in 2007.
constexpr char kPrintPreviewAndPrint[] = "PrintPreviewAndPrint";
constexpr char kFilePrintPreview[] = "FilePrintPreview";
constexpr char kFilePrint[] = "FilePrint";

// The built-in print dialogs' numbers in Application.Dialogs.
constexpr int kXlDialogPrint = 8;
constexpr int kWdDialogFilePrint = 88;

// PowerPoint's ppWindowMinimized and Publisher's pbWindowStateMinimize alike.
constexpr int kWindowMinimized = 2;

bool OpenWithRow(data::DocumentRecords& records) {
  return records.tblFiles().Active() && !records.tblFiles().IsEmpty();
}

// A print event for a file the system leaves alone does nothing.
bool IsManaged(data::DocumentRecords& records) {
  if (!OpenWithRow(records)) return false;
  const data::FilesRecord row = records.Files();
  return !row.IGNORE && !row.OLE_IGNORE;
}

}  // namespace

void DocumentPrinting::DocumentBeforePrint(const Variant& Doc) {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  if (!IsManaged(records)) return;
  const HostType host = site_.Host();
  if (host == HostType::ohaPublisher) return;
  // Office 2007's Excel and PowerPoint have no check box to tick: every print
  // of theirs is a controlled one.
  if (host != HostType::ohaWord && site_.OfficeVersion() == 2007) site_.mPrintControlled() = true;

  const data::FilesRecord row = records.Files();
  if (row.READ_ONLY) automation::UnprotectDocument(host, Doc, row.READ_ONLY);
  // An editable document counts as controlled; a read-only one only when asked.
  const bool Controlled = site_.mPrintControlled() || !row.READ_ONLY;
  automation::StampDocument(host, StampRecordOf(records), row.DOC_ID, Doc, Controlled, true);

  platform::Timer& poll = site_.PrintJobPoll();
  if (host == HostType::ohaWord) {
    // A second print within the delay leaves Word's wait as it is.
    if (!poll.Enabled()) {
      poll.SetInterval(kWordPrintJobPollMs);
      poll.SetEnabled(true);
    }
    return;
  }
  poll.SetEnabled(false);
  poll.SetInterval(kPrintJobPollMs);
  poll.SetEnabled(true);
}

void DocumentPrinting::PrintControlledClick() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  if (!OpenWithRow(records)) return;
  const data::FilesRecord row = records.Files();
  if (row.DOC_ID == 0) return;
  const HostType host = site_.Host();
  const Variant application = site_.Application();
  const char* preview = site_.OfficeVersion() == 2007 ? kFilePrintPreview : kPrintPreviewAndPrint;
  switch (host) {
    case HostType::ohaExcel: {
      const Variant workbook = application.Get("ActiveWorkbook");
      if (row.READ_ONLY) automation::UnprotectDocument(host, workbook, row.READ_ONLY);
      automation::StampDocument(host, StampRecordOf(records), row.DOC_ID, workbook, true, true);
      if (row.READ_ONLY) automation::ProtectDocument(host, workbook);
      RunCommand(preview);
      break;
    }
    case HostType::ohaWord:
      // Word's print event stamps; it only needs to know the print is controlled.
      site_.mPrintControlled() = true;
      RunCommand(kFilePrint);
      break;
    case HostType::ohaPowerPoint:
      automation::StampDocument(host, StampRecordOf(records), row.DOC_ID, application.Get("ActivePresentation"), true,
                                true);
      RunCommand(preview);
      break;
    case HostType::ohaPublisher:
      RunCommand(kFilePrintPreview);
      break;
  }
}

bool DocumentPrinting::PrintControlledChecked(bool checked) {
  // Stays as the user left it for every later print of this session.
  site_.mPrintControlled() = checked;
  return checked;
}

void DocumentPrinting::PrintJobPollTimer() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("PrintJobPollTimer");
  LogTrace("PrintJobPollTimer", "");
  platform::Timer& poll = site_.PrintJobPoll();
  const HostType host = site_.Host();
  const Variant application = site_.Application();
  // Word is the one host that says whether its jobs have gone: until then the
  // stamp stays and the next tick asks again.
  if (host == HostType::ohaWord && application.Get("BackgroundPrintingStatus").AsInt() != 0) return;
  poll.SetEnabled(false);

  const data::FilesRecord row = records.Files();
  if (row.PRINT) {
    closing_.ExitDocument();
    return;
  }
  if (host == HostType::ohaPublisher) return;
  const Variant doc = tracking_.GetActiveDoc();
  automation::StampDocument(host, StampRecordOf(records), row.DOC_ID, doc, !row.READ_ONLY, false);
  if (row.READ_ONLY) automation::ProtectDocument(host, doc);
}

void DocumentPrinting::HandlePrintOpen(const Variant& /*doc*/) {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  LogTrace("HandlePrintOpen", "");
  const int version = site_.OfficeVersion();
  switch (site_.Host()) {
    case HostType::ohaExcel:
      if (version == 2007) {
        PrintDialogThenExit(kXlDialogPrint);
      } else {
        LogTrace("HandlePrintOpen", "OfficeVersion<>2007");
        RunCommand(kPrintPreviewAndPrint);
      }
      break;
    case HostType::ohaWord:
      if (version == 2007) {
        PrintDialogThenExit(kWdDialogFilePrint);
      } else {
        RunCommand(kPrintPreviewAndPrint);
      }
      break;
    case HostType::ohaPowerPoint:
      if (version == 2007) {
        RunCommand(kFilePrint);
      } else {
        // Later PowerPoint opens the print page only once it has settled.
        site_.PrintDelay().SetEnabled(true);
      }
      break;
    case HostType::ohaPublisher:
      // Against 2013, not 2007: Publisher's needs were not PowerPoint's.
      if (version == 2013) {
        site_.PrintDelay().SetEnabled(true);
      } else {
        RunCommand(kFilePrint);
      }
      break;
  }
}

void DocumentPrinting::PrintDialogThenExit(int dialog) {
  site_.mDonePrinting() = false;
  const std::int32_t result = site_.Application().Get("Dialogs").Get("Item", {Variant(dialog)}).Call("Show").AsInt();
  if (result == -1 || result == 0) site_.mDonePrinting() = true;
  // Printed or not, the document was opened for this one dialog.
  closing_.ExitDocument();
}

void DocumentPrinting::PrintDelayTimer() {
  foundation::ContextScope scope(site_.Records().Context());
  site_.PrintDelay().SetEnabled(false);
  const HostType host = site_.Host();
  if (host == HostType::ohaPowerPoint || host == HostType::ohaPublisher) RunCommand(kPrintPreviewAndPrint);
}

void DocumentPrinting::BackstageViewHide() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  if (!OpenWithRow(records) || !records.Files().PRINT) return;
  const Variant application = site_.Application();
  switch (site_.Host()) {
    case HostType::ohaWord:
    case HostType::ohaExcel:
      application.Put("Visible", Variant(false));
      break;
    case HostType::ohaPowerPoint:
    case HostType::ohaPublisher:
      application.Get("ActiveWindow").Put("WindowState", Variant(kWindowMinimized));
      break;
  }
  // The document goes at the poll's tick, printed or not.
  platform::Timer& poll = site_.PrintJobPoll();
  poll.SetEnabled(false);
  poll.SetInterval(kPrintJobPollMs);
  poll.SetEnabled(true);
}

void DocumentPrinting::RunCommand(const char* idMso) {
  site_.Application().Get("CommandBars").Call("ExecuteMso", {Variant(idMso)});
}

}  // namespace quillorn::workflow
