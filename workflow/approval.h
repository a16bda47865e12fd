// The two commands that end a stage of work on a document and close it:
// Approve makes the revision approved and current (and publishes it), Save as
// Complete hands it on for approval (and publishes nothing). Both first offer
// to check in a checked-out copy.
#pragma once

#include <functional>
#include <string>

#include "data/records.h"
#include "workflow/document_close.h"
#include "workflow/document_save.h"
#include "workflow/document_tracking.h"
#include "workflow/module_site.h"

namespace quillorn::workflow {

inline constexpr char kCheckInQuestion[] = "Do you also want to Check In this document now?";
inline constexpr char kNoLongerCheckedOut[] =
    "This document has already been Checked In or Check Out was cancelled.\rLogin to Quillorn for more "
    "details.\r\rSave As Complete has been cancelled!";

// Months from approval to the next review: the record's REVIEW_INTERVAL, or
// without one the framework's default, or the system's. `cacheValue` answers a
// statement on the cache as text ("" for nothing). With no default anywhere
// the empty value is no number and raises.
int ReviewMonthsOnApproval(const data::DocRecord& doc, const std::function<std::string(const std::string&)>& cacheValue);

class Approval {
 public:
  Approval(ModuleSite& site, DocumentTracking& tracking, DocumentSaving& saving, DocumentClosing& closing)
      : site_(site), tracking_(tracking), saving_(saving), closing_(closing) {}

  // The Approve button (Home tab, Publisher's command bar).
  void HomeTabControls0Controls1Click();
  void DocumentSaveAsComplete();

 private:
  // False when the command ends here.
  bool CheckInQuestion();

  ModuleSite& site_;
  DocumentTracking& tracking_;
  DocumentSaving& saving_;
  DocumentClosing& closing_;
};

}  // namespace quillorn::workflow
