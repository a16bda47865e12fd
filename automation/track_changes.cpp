#include "automation/track_changes.h"

#include "foundation/guarded.h"
#include "platform/office_constants.h"

namespace quillorn::automation {

using platform::Variant;

void EnableTrackChanges(HostType host, const Variant& Doc) {
  foundation::Guarded("PROC: EnableTrackChanges", [&] {
    if (host == HostType::ohaWord) Doc.Put("TrackRevisions", Variant(true));
  });
}

void DisableTrackChanges(HostType host, const Variant& Doc) {
  foundation::Guarded("PROC: DisableTrackChanges", [&] {
    if (host == HostType::ohaWord) Doc.Put("TrackRevisions", Variant(false));
  });
}

void HideTrackingChanges(HostType host, const Variant& Doc) {
  foundation::Guarded("PROC: HideTrackingChanges", [&] {
    if (host != HostType::ohaWord) return;
    Variant view = Doc.Get("ActiveWindow").Get("View");
    view.Put("ShowRevisionsAndComments", Variant(false));
    view.Put("RevisionsView", Variant(platform::kWdRevisionsViewFinal));
  });
}

}  // namespace quillorn::automation
