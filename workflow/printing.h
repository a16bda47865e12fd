// Controlled printing: every print of a managed document carries its print
// stamp while the host prints it, and the stamp and protection come back a few
// seconds later; a user with the right may ask for a print without the
// watermark; a document opened only to be printed shows the host's print page
// and closes by itself. Nothing here is shown to the user, and nothing talks to
// the print spooler: what is enforced is how the document looks while printed.
#pragma once

#include "workflow/document_close.h"
#include "workflow/document_tracking.h"
#include "workflow/module_site.h"

namespace quillorn::workflow {

// How long the host gets to render and send a job before the stamp goes back.
inline constexpr std::uint32_t kWordPrintJobPollMs = 5000;
inline constexpr std::uint32_t kPrintJobPollMs = 10000;

class DocumentPrinting {
 public:
  DocumentPrinting(ModuleSite& site, DocumentTracking& tracking, DocumentClosing& closing)
      : site_(site), tracking_(tracking), closing_(closing) {}

  // The before-print events of Word, Excel and PowerPoint, on the document
  // about to print (the current FILES row is its row).
  void DocumentBeforePrint(const Variant& Doc);
  // "Print Controlled" on the 2007 Office menu.
  void PrintControlledClick();
  // The backstage check box "Print Controlled"; `checked` is its new state.
  // Returns the visibility the label "Document will be printed without a
  // watermark" must take.
  bool PrintControlledChecked(bool checked);
  void PrintJobPollTimer();
  // A document announced only to be printed, stamped already.
  void HandlePrintOpen(const Variant& doc);
  void PrintDelayTimer();
  // The user left the File view.
  void BackstageViewHide();

 private:
  // Runs a built-in command by name, as a click on it would.
  void RunCommand(const char* idMso);
  // The 2007 print dialog, whatever its answer, then the document goes.
  void PrintDialogThenExit(int dialog);

  ModuleSite& site_;
  DocumentTracking& tracking_;
  DocumentClosing& closing_;
};

}  // namespace quillorn::workflow
