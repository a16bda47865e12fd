#include "win/module_word_events.h"

#include <string>

#include "foundation/context.h"
#include "foundation/log.h"

namespace quillorn::win {

using foundation::LogTrace;
using platform::Variant;

void ModuleWordEvents::DocumentChangedEvent(const Variant& doc) {
  if (auto& hook = module_.GetHooks().DocumentChangedEvent) hook(doc);
}

void ModuleWordEvents::WordAppEventsDocumentOpen(const Variant& Doc) {
  foundation::ContextScope scope(module_.Context());
  LogTrace("Word", "OnDocumentOpen");
  DocumentChangedEvent(Doc);
}

void ModuleWordEvents::WordAppEventsDocumentChange() {
  foundation::ContextScope scope(module_.Context());
  LogTrace("Word", "OnDocumentChange session: " + std::to_string(module_.sessionID()));
  const Variant app(module_.GetHost().Application);
  if (app.Get("Documents").Get("Count").AsInt() > 0) DocumentChangedEvent(app.Get("ActiveDocument"));
}

void ModuleWordEvents::WordAppEventsDocumentBeforeSave(const Variant&, bool& SaveAsUI, bool&) {
  foundation::ContextScope scope(module_.Context());
  LogTrace("Word", SaveAsUI ? "OnDocumentBeforeSave: SaveAsUI=true" : "OnDocumentBeforeSave: SaveAsUI=false");
}

void ModuleWordEvents::WordAppEventsDocumentBeforeClose(const Variant&, bool&) {}

void ModuleWordEvents::WordAppEventsDocumentBeforePrint(const Variant&, bool&) {}

void ModuleWordEvents::WordAppEventsWindowActivate(const Variant&, const Variant&) {
  if (module_.mIsCloudPlatform()) module_.UploadCheckTimer.SetEnabled(true);
}

void ModuleWordEvents::WordAppEventsWindowDeactivate(const Variant&, const Variant&) {
  if (module_.mIsCloudPlatform()) module_.UploadCheckTimer.SetEnabled(false);
}

}  // namespace quillorn::win
