// Word's application events as the add-in receives them: the handlers by their
// component-and-event names, the published interface and dispatch ids, and the
// sink that decodes one into the other. Cancel and SaveAsUI go back to Word.
#pragma once

#include <windows.h>

#include "platform/variant.h"
#include "platform/win32/com_ptr.h"
#include "win/event_sink.h"

namespace quillorn::win {

// Word's ApplicationEvents4 dispatch interface and the ids of its events.
inline constexpr IID kDIID_WordApplicationEvents4 = {
    0x00020a01, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
enum WordEventId : DISPID {
  kWordQuit = 2,
  kWordDocumentChange = 3,
  kWordDocumentOpen = 4,
  kWordDocumentBeforeClose = 6,
  kWordDocumentBeforePrint = 7,
  kWordDocumentBeforeSave = 8,
  kWordWindowActivate = 10,
  kWordWindowDeactivate = 11,
};

class WordAppEvents {
 public:
  virtual ~WordAppEvents() = default;
  virtual void WordAppEventsDocumentOpen(const platform::Variant& Doc) = 0;
  virtual void WordAppEventsDocumentChange() = 0;
  virtual void WordAppEventsDocumentBeforeSave(const platform::Variant& Doc, bool& SaveAsUI, bool& Cancel) = 0;
  virtual void WordAppEventsDocumentBeforeClose(const platform::Variant& Doc, bool& Cancel) = 0;
  virtual void WordAppEventsDocumentBeforePrint(const platform::Variant& Doc, bool& Cancel) = 0;
  virtual void WordAppEventsWindowActivate(const platform::Variant& Doc, const platform::Variant& Wn) = 0;
  virtual void WordAppEventsWindowDeactivate(const platform::Variant& Doc, const platform::Variant& Wn) = 0;
};

// `handlers` must outlive the sink (or its Disconnect).
platform::ComPtr<EventSink> ConnectWordEvents(IDispatch* application, WordAppEvents& handlers,
                                              EventErrorHandler on_error);

}  // namespace quillorn::win
