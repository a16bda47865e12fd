// Word's events handed to the add-in module. The rows that need only the module
// (tracing, document tracking through its hook, the cloud upload timer) are
// routed here; the save, close and print rows wait for the document workflow
// and, until it is plugged in, leave Word's own action alone.
#pragma once

#include "addin/addin_module.h"
#include "win/word_events.h"

namespace quillorn::win {

class ModuleWordEvents final : public WordAppEvents {
 public:
  explicit ModuleWordEvents(addin::TAddInModule& module) : module_(module) {}

  void WordAppEventsDocumentOpen(const platform::Variant& Doc) override;
  void WordAppEventsDocumentChange() override;
  void WordAppEventsDocumentBeforeSave(const platform::Variant& Doc, bool& SaveAsUI, bool& Cancel) override;
  void WordAppEventsDocumentBeforeClose(const platform::Variant& Doc, bool& Cancel) override;
  void WordAppEventsDocumentBeforePrint(const platform::Variant& Doc, bool& Cancel) override;
  void WordAppEventsWindowActivate(const platform::Variant& Doc, const platform::Variant& Wn) override;
  void WordAppEventsWindowDeactivate(const platform::Variant& Doc, const platform::Variant& Wn) override;

 private:
  void DocumentChangedEvent(const platform::Variant& doc);
  addin::TAddInModule& module_;
};

}  // namespace quillorn::win
