// What the add-in module needs of the process that loaded it: which host it is,
// the host's application object, the UI thread's main loop, prompts, system
// services and the instance's log context. A COM host or a simulated one stands
// behind it; the module never reaches past it to a real application or the OS.
#pragma once

#include <string>
#include <string_view>

#include "foundation/context.h"
#include "platform/host_type.h"
#include "platform/main_loop.h"
#include "platform/prompts.h"
#include "platform/system_services.h"
#include "platform/variant.h"

namespace quillorn::platform {
class WindowMessages;
}

namespace quillorn::addin {

class PaneManager;

using platform::HostType;

struct AddInHost {
  HostType Type = HostType::ohaWord;
  // Word's, Excel's, PowerPoint's or Publisher's Application object.
  platform::ObjectRef Application;
  // All four must outlive the module.
  platform::MainLoop* Loop = nullptr;
  platform::Prompts* Prompts = nullptr;
  platform::SystemServices* System = nullptr;
  // The instance's process-wide values; null lets the module keep its own.
  foundation::LogContext* Context = nullptr;
  // The host's task pane manager; null lets the module keep an in-memory one.
  // Publisher has none whatever is given here.
  PaneManager* Panes = nullptr;
  // Where the desktop program is told of committed documents; null: nobody is.
  platform::WindowMessages* Messages = nullptr;
  // The add-in's own file; empty means what System->ModulePath() says.
  std::string ModulePath;
};

}  // namespace quillorn::addin
