// The document routines of one add-in instance, as the module owns them:
// tracking, save, close, printing, copies taken out, approval. Each part holds
// the site it runs in.
#pragma once

#include "workflow/approval.h"
#include "workflow/check_out.h"
#include "workflow/document_close.h"
#include "workflow/document_save.h"
#include "workflow/document_tracking.h"
#include "workflow/module_site.h"
#include "workflow/printing.h"

namespace quillorn::workflow {

struct Workflow {
  explicit Workflow(ModuleSite& site)
      : Tracking(site),
        Saving(site, Tracking),
        Closing(site, Tracking, Saving),
        Printing(site, Tracking, Closing),
        Copies(site, Tracking),
        Approvals(site, Tracking, Saving, Closing) {
    Tracking.SetPrintOpen([this](const Variant& doc) { Printing.HandlePrintOpen(doc); });
  }
  DocumentTracking Tracking;
  DocumentSaving Saving;
  DocumentClosing Closing;
  DocumentPrinting Printing;
  DocumentCopies Copies;
  Approval Approvals;
};

}  // namespace quillorn::workflow
