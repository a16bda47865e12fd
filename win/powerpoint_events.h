// PowerPoint's application events as the add-in receives them: the published ids
// of its EApplication interface, and the table that hands each event to the
// handler of the same name with Cancel going back to PowerPoint. It decides
// nothing itself.
#pragma once

#include <windows.h>

#include <map>
#include <utility>

#include "platform/win32/com_ptr.h"
#include "win/event_sink.h"

namespace quillorn::win {

// EApplication, {914934C2-5A91-11CF-8700-00AA0060263B}, and the ids of its events.
inline constexpr IID kDIID_PowerPointEApplication = {
    0x914934c2, 0x5a91, 0x11cf, {0x87, 0x00, 0x00, 0xaa, 0x00, 0x60, 0x26, 0x3b}};
enum PowerPointEventId : DISPID {
  kPowerPointPresentationClose = 2004,
  kPowerPointPresentationOpen = 2006,
  kPowerPointWindowActivate = 2009,
  kPowerPointWindowDeactivate = 2010,
  kPowerPointPresentationPrint = 2015,
  kPowerPointSlideSelectionChanged = 2016,
  kPowerPointPresentationBeforeSave = 2018,
  kPowerPointPresentationBeforeClose = 2025,  // PowerPoint 2010 and later only
};

// `h` answers to the module's handler names (PowerPointAppEventsPresentationOpen
// ...) and must outlive the sink or its Disconnect.
template <class Handlers>
platform::ComPtr<EventSink> ConnectPowerPointEvents(IDispatch* application, Handlers& h, EventErrorHandler on_error) {
  std::map<DISPID, EventHandler> table = {
      {kPowerPointPresentationOpen, [&h](EventArgs& a) { h.PowerPointAppEventsPresentationOpen(a.At(0)); }},
      {kPowerPointWindowActivate, [&h](EventArgs& a) { h.PowerPointAppEventsWindowActivate(a.At(0), a.At(1)); }},
      {kPowerPointWindowDeactivate, [&h](EventArgs& a) { h.PowerPointAppEventsWindowDeactivate(a.At(0), a.At(1)); }},
      {kPowerPointPresentationBeforeSave,
       [&h](EventArgs& a) {
         a.WithFlag(1, [&](bool& cancel) { h.PowerPointAppEventsPresentationBeforeSave(a.At(0), cancel); });
       }},
      {kPowerPointPresentationBeforeClose,
       [&h](EventArgs& a) {
         a.WithFlag(1, [&](bool& cancel) { h.PowerPointAppEventsPresentationBeforeClose(a.At(0), cancel); });
       }},
      {kPowerPointPresentationClose, [&h](EventArgs& a) { h.PowerPointAppEventsPresentationClose(a.At(0)); }},
      {kPowerPointPresentationPrint, [&h](EventArgs& a) { h.PowerPointAppEventsPresentationPrint(a.At(0)); }},
      {kPowerPointSlideSelectionChanged,
       [&h](EventArgs& a) { h.PowerPointAppEventsSlideSelectionChanged(a.At(0)); }},
  };
  return EventSink::Connect(application, kDIID_PowerPointEApplication, std::move(table), std::move(on_error));
}

}  // namespace quillorn::win
