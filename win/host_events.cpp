#include "win/host_events.h"

#include <utility>

#include "win/excel_events.h"
#include "win/powerpoint_events.h"
#include "win/publisher_events.h"
#include "win/word_events.h"

namespace quillorn::win {

platform::ComPtr<EventSink> ConnectHostEvents(IDispatch* application, addin::TAddInModule& module,
                                              EventErrorHandler on_error) {
  switch (module.GetHostType()) {
    case addin::HostType::ohaExcel: return ConnectExcelEvents(application, module, std::move(on_error));
    case addin::HostType::ohaPowerPoint: return ConnectPowerPointEvents(application, module, std::move(on_error));
    case addin::HostType::ohaPublisher: return ConnectPublisherEvents(application, module, std::move(on_error));
    case addin::HostType::ohaWord: break;
  }
  return ConnectWordEvents(application, module, std::move(on_error));
}

}  // namespace quillorn::win
