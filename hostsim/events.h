// The event sinks of the simulated hosts, one per host with that host's own
// event set and signatures. Cancel flags are by reference and are honoured:
// a cancelled close leaves the document open, a cancelled save writes nothing.
#pragma once

#include "platform/variant.h"

namespace quillorn::hostsim {

using platform::Variant;

class WordEvents {
 public:
  virtual ~WordEvents() = default;
  virtual void Quit() {}
  virtual void DocumentChange() {}
  virtual void DocumentOpen(const Variant& /*doc*/) {}
  virtual void NewDocument(const Variant& /*doc*/) {}
  virtual void DocumentBeforeClose(const Variant& /*doc*/, bool& /*cancel*/) {}
  virtual void DocumentBeforePrint(const Variant& /*doc*/, bool& /*cancel*/) {}
  virtual void DocumentBeforeSave(const Variant& /*doc*/, bool& /*save_as_ui*/, bool& /*cancel*/) {}
  virtual void WindowActivate(const Variant& /*doc*/, const Variant& /*window*/) {}
  virtual void WindowDeactivate(const Variant& /*doc*/, const Variant& /*window*/) {}
};

class ExcelEvents {
 public:
  virtual ~ExcelEvents() = default;
  virtual void NewWorkbook(const Variant& /*wb*/) {}
  virtual void WorkbookOpen(const Variant& /*wb*/) {}
  virtual void WorkbookActivate(const Variant& /*wb*/) {}
  virtual void WorkbookDeactivate(const Variant& /*wb*/) {}
  virtual void WorkbookBeforeSave(const Variant& /*wb*/, bool /*save_as_ui*/, bool& /*cancel*/) {}
  virtual void WorkbookBeforeClose(const Variant& /*wb*/, bool& /*cancel*/) {}
  virtual void WorkbookBeforePrint(const Variant& /*wb*/, bool& /*cancel*/) {}
  virtual void WindowActivate(const Variant& /*wb*/, const Variant& /*window*/) {}
  virtual void WindowDeactivate(const Variant& /*wb*/, const Variant& /*window*/) {}
};

class PowerPointEvents {
 public:
  virtual ~PowerPointEvents() = default;
  virtual void NewPresentation(const Variant& /*pres*/) {}
  virtual void PresentationOpen(const Variant& /*pres*/) {}
  virtual void WindowActivate(const Variant& /*pres*/, const Variant& /*window*/) {}
  virtual void WindowDeactivate(const Variant& /*pres*/, const Variant& /*window*/) {}
  virtual void PresentationBeforeSave(const Variant& /*pres*/, bool& /*cancel*/) {}
  virtual void PresentationBeforeClose(const Variant& /*pres*/, bool& /*cancel*/) {}
  virtual void PresentationClose(const Variant& /*pres*/) {}
  // PowerPoint tells of a print only as it happens; nothing to cancel.
  virtual void PresentationPrint(const Variant& /*pres*/) {}
  virtual void SlideSelectionChanged(const Variant& /*slide_range*/) {}
};

class PublisherEvents {
 public:
  virtual ~PublisherEvents() = default;
  virtual void Quit() {}
  virtual void DocumentOpen(const Variant& /*doc*/) {}
  virtual void NewDocument(const Variant& /*doc*/) {}
  virtual void WindowActivate(const Variant& /*window*/) {}
  virtual void WindowDeactivate(const Variant& /*window*/) {}
  virtual void DocumentBeforeClose(const Variant& /*doc*/, bool& /*cancel*/) {}
  virtual void BeforePrint(const Variant& /*doc*/, bool& /*cancel*/) {}
};

}  // namespace quillorn::hostsim
