#include "win/word_events.h"

#include <map>

namespace quillorn::win {

platform::ComPtr<EventSink> ConnectWordEvents(IDispatch* application, WordAppEvents& h, EventErrorHandler on_error) {
  std::map<DISPID, EventHandler> table = {
      {kWordDocumentOpen, [&h](EventArgs& a) { h.WordAppEventsDocumentOpen(a.At(0)); }},
      {kWordDocumentChange, [&h](EventArgs&) { h.WordAppEventsDocumentChange(); }},
      {kWordDocumentBeforeSave,
       [&h](EventArgs& a) {
         bool save_as_ui = a.BoolAt(1);
         bool cancel = a.BoolAt(2);
         h.WordAppEventsDocumentBeforeSave(a.At(0), save_as_ui, cancel);
         a.SetBool(1, save_as_ui);
         a.SetBool(2, cancel);
       }},
      {kWordDocumentBeforeClose,
       [&h](EventArgs& a) {
         bool cancel = a.BoolAt(1);
         h.WordAppEventsDocumentBeforeClose(a.At(0), cancel);
         a.SetBool(1, cancel);
       }},
      {kWordDocumentBeforePrint,
       [&h](EventArgs& a) {
         bool cancel = a.BoolAt(1);
         h.WordAppEventsDocumentBeforePrint(a.At(0), cancel);
         a.SetBool(1, cancel);
       }},
      {kWordWindowActivate, [&h](EventArgs& a) { h.WordAppEventsWindowActivate(a.At(0), a.At(1)); }},
      {kWordWindowDeactivate, [&h](EventArgs& a) { h.WordAppEventsWindowDeactivate(a.At(0), a.At(1)); }},
  };
  return EventSink::Connect(application, kDIID_WordApplicationEvents4, std::move(table), std::move(on_error));
}

}  // namespace quillorn::win
