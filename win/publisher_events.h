// Publisher's application events as the add-in receives them: the published ids
// of its ApplicationEvents interface, and the table that hands each event to the
// handler of the same name with Cancel going back to Publisher. It decides
// nothing itself. Publisher has no before-save event.
#pragma once

#include <windows.h>

#include <map>
#include <utility>

#include "platform/win32/com_ptr.h"
#include "win/event_sink.h"

namespace quillorn::win {

// ApplicationEvents, {00021240-0000-0000-C000-000000000046}, and the ids of its events.
inline constexpr IID kDIID_PublisherApplicationEvents = {
    0x00021240, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
enum PublisherEventId : DISPID {
  kPublisherWindowActivate = 1,  // the window only, no document
  kPublisherNewDocument = 6,
  kPublisherDocumentOpen = 7,
  kPublisherDocumentBeforeClose = 8,
  kPublisherBeforePrint = 23,
};

// `h` answers to the module's handler names (PublisherAppEventsDocumentOpen ...)
// and must outlive the sink or its Disconnect.
template <class Handlers>
platform::ComPtr<EventSink> ConnectPublisherEvents(IDispatch* application, Handlers& h, EventErrorHandler on_error) {
  std::map<DISPID, EventHandler> table = {
      {kPublisherDocumentOpen, [&h](EventArgs& a) { h.PublisherAppEventsDocumentOpen(a.At(0)); }},
      {kPublisherWindowActivate, [&h](EventArgs& a) { h.PublisherAppEventsWindowActivate(a.At(0)); }},
      {kPublisherDocumentBeforeClose,
       [&h](EventArgs& a) {
         a.WithFlag(1, [&](bool& cancel) { h.PublisherAppEventsDocumentBeforeClose(a.At(0), cancel); });
       }},
      {kPublisherNewDocument, [&h](EventArgs& a) { h.PublisherAppEventsNewDocument(a.At(0)); }},
      {kPublisherBeforePrint,
       [&h](EventArgs& a) { a.WithFlag(1, [&](bool& cancel) { h.PublisherAppEventsBeforePrint(a.At(0), cancel); }); }},
  };
  return EventSink::Connect(application, kDIID_PublisherApplicationEvents, std::move(table), std::move(on_error));
}

}  // namespace quillorn::win
