#include "win/module_word_events.h"

namespace quillorn::win {

using platform::Variant;

void ModuleWordEvents::WordAppEventsDocumentOpen(const Variant& Doc) { module_.WordAppEventsDocumentOpen(Doc); }

void ModuleWordEvents::WordAppEventsDocumentChange() { module_.WordAppEventsDocumentChange(); }

void ModuleWordEvents::WordAppEventsDocumentBeforeSave(const Variant& Doc, bool& SaveAsUI, bool& Cancel) {
  module_.WordAppEventsDocumentBeforeSave(Doc, SaveAsUI, Cancel);
}

void ModuleWordEvents::WordAppEventsDocumentBeforeClose(const Variant& Doc, bool& Cancel) {
  module_.WordAppEventsDocumentBeforeClose(Doc, Cancel);
}

void ModuleWordEvents::WordAppEventsDocumentBeforePrint(const Variant& Doc, bool& Cancel) {
  module_.WordAppEventsDocumentBeforePrint(Doc, Cancel);
}

void ModuleWordEvents::WordAppEventsWindowActivate(const Variant& Doc, const Variant& Wn) {
  module_.WordAppEventsWindowActivate(Doc, Wn);
}

void ModuleWordEvents::WordAppEventsWindowDeactivate(const Variant& Doc, const Variant& Wn) {
  module_.WordAppEventsWindowDeactivate(Doc, Wn);
}

}  // namespace quillorn::win
