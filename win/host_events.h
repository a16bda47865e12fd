// The one event sink the add-in keeps on the host it was loaded into: Word's,
// Excel's, PowerPoint's or Publisher's, chosen by the module's host type, each
// event handed to the module's handler of the same name. Nothing else is decided
// here; the handlers run under the module's own guard.
#pragma once

#include <windows.h>

#include "addin/addin_module.h"
#include "platform/win32/com_ptr.h"
#include "win/event_sink.h"

namespace quillorn::win {

// Raises HostError when `application` offers no such event interface. `module`
// must outlive the sink or its Disconnect.
platform::ComPtr<EventSink> ConnectHostEvents(IDispatch* application, addin::TAddInModule& module,
                                              EventErrorHandler on_error);

}  // namespace quillorn::win
