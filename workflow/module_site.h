// What the document routines ask of the add-in module they run in: the host and
// its version, the data module's records and fetcher, prompts and system
// services, the module's re-entry flags and timers, and the pane and ribbon
// routines. The module implements it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "data/document_data.h"
#include "foundation/reentry_flag.h"
#include "platform/host_type.h"
#include "platform/main_loop.h"
#include "platform/prompts.h"
#include "platform/system_services.h"
#include "platform/variant.h"
#include "platform/window_messages.h"

namespace quillorn::automation {
struct DocFieldsContext;
}

namespace quillorn::workflow {

using platform::HostType;
using platform::Variant;

// The pane's page-format check box as the save reads it: the value loaded with
// the document's settings and the box as the user left it.
struct PageFormatSetting {
  bool loaded = false;
  bool checked = false;
};

class ModuleSite {
 public:
  virtual ~ModuleSite() = default;

  virtual HostType Host() const = 0;
  // 2007, 2010, 2013 or 2016.
  virtual int OfficeVersion() const = 0;
  virtual bool IsCloudPlatform() const = 0;
  virtual std::int32_t SessionID() const = 0;

  // The host's Application object; Empty once the add-in let go of it.
  virtual Variant Application() = 0;
  // Lets go of the application object (after Quit).
  virtual void DisconnectApplication() = 0;

  // The data module, as far as the document routines use it.
  virtual data::DocumentRecords& Records() = 0;
  virtual data::DataFetcher& Fetcher() = 0;
  virtual platform::Prompts& Prompts() = 0;
  virtual platform::SystemServices& System() = 0;
  // Registered messages between the user's processes; null where nobody listens.
  virtual platform::WindowMessages* Messages() = 0;
  // The data module's record as the field routines read it, with this
  // instance's control field values.
  virtual automation::DocFieldsContext& FieldsContext() = 0;

  // Re-entry flags of the module: set while the add-in saves or closes itself.
  virtual foundation::ReentryFlag& mInternalSave() = 0;
  virtual foundation::ReentryFlag& mInternalClose() = 0;

  virtual platform::Timer& ShutdownTimer() = 0;
  virtual platform::Timer& UploadCheckTimer() = 0;

  // Printing: the user asked for prints without the watermark; a print-only
  // open's dialog has returned; the timers that restore the stamp and open the
  // print page.
  virtual bool& mPrintControlled() = 0;
  virtual bool& mDonePrinting() = 0;
  virtual platform::Timer& PrintJobPoll() = 0;
  virtual platform::Timer& PrintDelay() = 0;

  // Pane shell and ribbon additions.
  virtual void ShowQuillornPane(std::int64_t docId) = 0;
  virtual void HideQuillornPane() = 0;
  virtual void ShowQuillornTabs(bool visible) = 0;
  virtual void SetQuillornRibbonButtonStates() = 0;
  // The Custom Field menu, rebuilt from the document fields just loaded.
  virtual void PopulateCustomFields() = 0;
  // True once a pane item exists in this host.
  virtual bool PaneExists() const = 0;
  // nullopt without a pane.
  virtual std::optional<PageFormatSetting> PageFormat() const = 0;
  // Refreshes the pane's template list when a pane exists and its list is open.
  virtual void RefreshPaneTemplates() = 0;

  // A step that belongs to work not built yet (the web form's save, the
  // tether client): the module records its name and goes on.
  virtual void NotBuilt(std::string_view routine) = 0;
};

}  // namespace quillorn::workflow
