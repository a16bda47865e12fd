// Closing a managed document: the add-in asks the save question itself, and
// after a host's last document ends the host too.
#pragma once

#include "workflow/document_save.h"
#include "workflow/document_tracking.h"
#include "workflow/module_site.h"

namespace quillorn::workflow {

class DocumentClosing {
 public:
  DocumentClosing(ModuleSite& site, DocumentTracking& tracking, DocumentSaving& saving)
      : site_(site), tracking_(tracking), saving_(saving) {}

  // The host's cancel flag: true keeps the document open.
  bool DocumentCloseEvent();
  // Closes the active document without a prompt and, after the last, the host.
  void ExitDocument();
  void ShutdownTimerTimer();

 private:
  ModuleSite& site_;
  DocumentTracking& tracking_;
  DocumentSaving& saving_;
};

}  // namespace quillorn::workflow
