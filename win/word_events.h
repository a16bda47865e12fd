// Word's application events as the add-in receives them: the published ids of
// its ApplicationEvents4 interface, and the table that hands each event to the
// handler of the same name with Cancel and SaveAsUI going back to Word. It
// decides nothing itself.
#pragma once

#include <windows.h>

#include <map>
#include <utility>

#include "platform/win32/com_ptr.h"
#include "win/event_sink.h"

namespace quillorn::win {

// ApplicationEvents4, {00020A01-0000-0000-C000-000000000046}, and the ids of its events.
inline constexpr IID kDIID_WordApplicationEvents4 = {
    0x00020a01, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
enum WordEventId : DISPID {
  kWordQuit = 2,
  kWordDocumentChange = 3,
  kWordDocumentOpen = 4,
  kWordDocumentBeforeClose = 6,
  kWordDocumentBeforePrint = 7,
  kWordDocumentBeforeSave = 8,  // SaveAsUI and Cancel both by reference
  kWordWindowActivate = 10,
  kWordWindowDeactivate = 11,
};

// `h` answers to the module's handler names (WordAppEventsDocumentOpen ...) and
// must outlive the sink or its Disconnect.
template <class Handlers>
platform::ComPtr<EventSink> ConnectWordEvents(IDispatch* application, Handlers& h, EventErrorHandler on_error) {
  std::map<DISPID, EventHandler> table = {
      {kWordDocumentOpen, [&h](EventArgs& a) { h.WordAppEventsDocumentOpen(a.At(0)); }},
      {kWordDocumentChange, [&h](EventArgs&) { h.WordAppEventsDocumentChange(); }},
      {kWordDocumentBeforeSave,
       [&h](EventArgs& a) {
         a.WithFlag(1, [&](bool& save_as_ui) {
           a.WithFlag(2, [&](bool& cancel) { h.WordAppEventsDocumentBeforeSave(a.At(0), save_as_ui, cancel); });
         });
       }},
      {kWordDocumentBeforeClose,
       [&h](EventArgs& a) { a.WithFlag(1, [&](bool& cancel) { h.WordAppEventsDocumentBeforeClose(a.At(0), cancel); }); }},
      {kWordDocumentBeforePrint,
       [&h](EventArgs& a) { a.WithFlag(1, [&](bool& cancel) { h.WordAppEventsDocumentBeforePrint(a.At(0), cancel); }); }},
      {kWordWindowActivate, [&h](EventArgs& a) { h.WordAppEventsWindowActivate(a.At(0), a.At(1)); }},
      {kWordWindowDeactivate, [&h](EventArgs& a) { h.WordAppEventsWindowDeactivate(a.At(0), a.At(1)); }},
  };
  return EventSink::Connect(application, kDIID_WordApplicationEvents4, std::move(table), std::move(on_error));
}

}  // namespace quillorn::win
