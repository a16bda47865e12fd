// Excel's application events as the add-in receives them: the published ids of
// its AppEvents interface, and the table that hands each event to the handler of
// the same name with Cancel going back to Excel. It decides nothing itself.
#pragma once

#include <windows.h>

#include <map>
#include <utility>

#include "platform/win32/com_ptr.h"
#include "win/event_sink.h"

namespace quillorn::win {

// AppEvents, {00024413-0000-0000-C000-000000000046}, and the ids of its events.
inline constexpr IID kDIID_ExcelAppEvents = {
    0x00024413, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
enum ExcelEventId : DISPID {
  kExcelWindowActivate = 1556,
  kExcelWindowDeactivate = 1557,
  kExcelWorkbookOpen = 1567,
  kExcelWorkbookActivate = 1568,
  kExcelWorkbookBeforeClose = 1570,
  kExcelWorkbookBeforeSave = 1571,  // SaveAsUI comes by value, Cancel by reference
  kExcelWorkbookBeforePrint = 1572,
};

// `h` answers to the module's handler names (ExcelAppEventsWorkbookOpen ...) and
// must outlive the sink or its Disconnect.
template <class Handlers>
platform::ComPtr<EventSink> ConnectExcelEvents(IDispatch* application, Handlers& h, EventErrorHandler on_error) {
  std::map<DISPID, EventHandler> table = {
      {kExcelWorkbookOpen, [&h](EventArgs& a) { h.ExcelAppEventsWorkbookOpen(a.At(0)); }},
      {kExcelWorkbookActivate, [&h](EventArgs& a) { h.ExcelAppEventsWorkbookActivate(a.At(0)); }},
      {kExcelWorkbookBeforeSave,
       [&h](EventArgs& a) {
         a.WithFlag(2, [&](bool& cancel) { h.ExcelAppEventsWorkbookBeforeSave(a.At(0), a.BoolAt(1), cancel); });
       }},
      {kExcelWorkbookBeforeClose,
       [&h](EventArgs& a) { a.WithFlag(1, [&](bool& cancel) { h.ExcelAppEventsWorkbookBeforeClose(a.At(0), cancel); }); }},
      {kExcelWorkbookBeforePrint,
       [&h](EventArgs& a) { a.WithFlag(1, [&](bool& cancel) { h.ExcelAppEventsWorkbookBeforePrint(a.At(0), cancel); }); }},
      {kExcelWindowActivate, [&h](EventArgs& a) { h.ExcelAppEventsWindowActivate(a.At(0), a.At(1)); }},
      {kExcelWindowDeactivate, [&h](EventArgs& a) { h.ExcelAppEventsWindowDeactivate(a.At(0), a.At(1)); }},
  };
  return EventSink::Connect(application, kDIID_ExcelAppEvents, std::move(table), std::move(on_error));
}

}  // namespace quillorn::win
