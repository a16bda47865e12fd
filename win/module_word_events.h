// Word's events handed to the add-in module: each goes to the module's handler
// of the same name, which runs it as the framework runs an event. Nothing is
// decided here.
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
  addin::TAddInModule& module_;
};

}  // namespace quillorn::win
