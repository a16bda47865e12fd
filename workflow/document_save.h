// What a save of a managed document means: the status set to being edited, the
// fields brought up to date, the file saved in the cache by the host, published
// forms made for an approved document, and record and file handed to the data
// module for the server.
#pragma once

#include <string>

#include "workflow/document_tracking.h"
#include "workflow/module_site.h"

namespace quillorn::workflow {

class DocumentSaving {
 public:
  DocumentSaving(ModuleSite& site, DocumentTracking& tracking) : site_(site), tracking_(tracking) {}

  // True when the add-in saved and the host's own save must not run; false for
  // a row the add-in leaves alone (IGNORE or READ_ONLY).
  bool DocumentSave();
  // sourceType "O" (the Office file) or "P" (the PDF).
  void SavePublishedDoc(const std::string& fileName, const std::string& sourceType);
  // Waits for remote calls under way, asking the user whether to wait longer.
  void DoWaitForCompletion();

 private:
  class HostStep;
  ModuleSite& site_;
  DocumentTracking& tracking_;
};

}  // namespace quillorn::workflow
