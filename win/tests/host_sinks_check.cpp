// The host event sinks without the add-in: each host's events, fired through a
// real connection point by their published ids, reach the handler of the same
// name with the document first, and what the handler leaves in Cancel (and in
// Word's SaveAsUI) goes back to the host, in both forms a flag comes in.
#include <windows.h>

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "platform/variant.h"
#include "platform/win32/com_ptr.h"
#include "win/excel_events.h"
#include "win/powerpoint_events.h"
#include "win/publisher_events.h"
#include "win/tests/check.h"
#include "win/tests/sim_com_application.h"
#include "win/word_events.h"

using namespace quillorn;
using platform::ComPtr;
using platform::Variant;
using wincheck::EventArg;

namespace {

// Every host's handlers under the module's names. Each notes its name, the Name
// of its first argument and a SaveAsUI it was given; each refuses what it may
// (Cancel) and turns Word's SaveAsUI off.
struct Recorder {
  std::string heard;  // what every handler called since it was cleared noted, one after the other
  void Note(const char* handler, const Variant& first, bool save_as_ui = false) {
    heard += std::string(handler) + " " + first.Get("Name").AsString() + (save_as_ui ? " ui" : "");
  }
#define DOC_HANDLER(name) void name(const Variant& doc) { Note(#name, doc); }
#define WINDOW_HANDLER(name) void name(const Variant& doc, const Variant&) { Note(#name, doc); }
#define CANCEL_HANDLER(name) void name(const Variant& doc, bool& Cancel) { Note(#name, doc); Cancel = true; }
  void WordAppEventsDocumentChange() { heard += "WordAppEventsDocumentChange"; }
  DOC_HANDLER(WordAppEventsDocumentOpen)
  CANCEL_HANDLER(WordAppEventsDocumentBeforeClose)
  CANCEL_HANDLER(WordAppEventsDocumentBeforePrint)
  WINDOW_HANDLER(WordAppEventsWindowActivate)
  WINDOW_HANDLER(WordAppEventsWindowDeactivate)
  void WordAppEventsDocumentBeforeSave(const Variant& doc, bool& SaveAsUI, bool& Cancel) {
    Note("WordAppEventsDocumentBeforeSave", doc, SaveAsUI);
    SaveAsUI = false;
    Cancel = true;
  }
  DOC_HANDLER(ExcelAppEventsWorkbookOpen)
  DOC_HANDLER(ExcelAppEventsWorkbookActivate)
  CANCEL_HANDLER(ExcelAppEventsWorkbookBeforeClose)
  CANCEL_HANDLER(ExcelAppEventsWorkbookBeforePrint)
  WINDOW_HANDLER(ExcelAppEventsWindowActivate)
  WINDOW_HANDLER(ExcelAppEventsWindowDeactivate)
  void ExcelAppEventsWorkbookBeforeSave(const Variant& wb, bool SaveAsUI, bool& Cancel) {
    Note("ExcelAppEventsWorkbookBeforeSave", wb, SaveAsUI);
    Cancel = true;
  }
  DOC_HANDLER(PowerPointAppEventsPresentationOpen)
  DOC_HANDLER(PowerPointAppEventsPresentationClose)
  DOC_HANDLER(PowerPointAppEventsPresentationPrint)
  DOC_HANDLER(PowerPointAppEventsSlideSelectionChanged)
  WINDOW_HANDLER(PowerPointAppEventsWindowActivate)
  WINDOW_HANDLER(PowerPointAppEventsWindowDeactivate)
  CANCEL_HANDLER(PowerPointAppEventsPresentationBeforeSave)
  CANCEL_HANDLER(PowerPointAppEventsPresentationBeforeClose)
  DOC_HANDLER(PublisherAppEventsDocumentOpen)
  DOC_HANDLER(PublisherAppEventsNewDocument)
  DOC_HANDLER(PublisherAppEventsWindowActivate)  // the window only
  CANCEL_HANDLER(PublisherAppEventsDocumentBeforeClose)
  CANCEL_HANDLER(PublisherAppEventsBeforePrint)
#undef DOC_HANDLER
#undef WINDOW_HANDLER
#undef CANCEL_HANDLER
};

// How an event passes SaveAsUI: not at all, by value (Excel) or by reference (Word).
enum class SaveAsUi { None, ByValue, ByReference };

// One event as the host fires it: the document (unless `no_document`), then a
// window, SaveAsUI and Cancel where the row says so.
struct Event {
  DISPID id;
  const char* handler;
  bool no_document = false;
  bool window = false;
  SaveAsUi save_as_ui = SaveAsUi::None;
  bool cancel = false;
};

using Connect = ComPtr<win::EventSink> (*)(IDispatch*, Recorder&, win::EventErrorHandler);

// The published interface and ids of each host's events; the first row of each
// carries a document.
struct Host {
  const char* name;
  IID events;
  Connect connect;
  std::vector<Event> fired;
};

const Host kHosts[] = {
    {.name = "Word",
     .events = {0x00020a01, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}},
     .connect = &win::ConnectWordEvents<Recorder>,
     .fired = {{.id = 4, .handler = "WordAppEventsDocumentOpen"},
               {.id = 3, .handler = "WordAppEventsDocumentChange", .no_document = true},
               {.id = 6, .handler = "WordAppEventsDocumentBeforeClose", .cancel = true},
               {.id = 7, .handler = "WordAppEventsDocumentBeforePrint", .cancel = true},
               {.id = 8, .handler = "WordAppEventsDocumentBeforeSave", .save_as_ui = SaveAsUi::ByReference, .cancel = true},
               {.id = 10, .handler = "WordAppEventsWindowActivate", .window = true},
               {.id = 11, .handler = "WordAppEventsWindowDeactivate", .window = true}}},
    {.name = "Excel",
     .events = {0x00024413, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}},
     .connect = &win::ConnectExcelEvents<Recorder>,
     .fired = {{.id = 1567, .handler = "ExcelAppEventsWorkbookOpen"},
               {.id = 1568, .handler = "ExcelAppEventsWorkbookActivate"},
               {.id = 1570, .handler = "ExcelAppEventsWorkbookBeforeClose", .cancel = true},
               {.id = 1571, .handler = "ExcelAppEventsWorkbookBeforeSave", .save_as_ui = SaveAsUi::ByValue, .cancel = true},
               {.id = 1572, .handler = "ExcelAppEventsWorkbookBeforePrint", .cancel = true},
               {.id = 1556, .handler = "ExcelAppEventsWindowActivate", .window = true},
               {.id = 1557, .handler = "ExcelAppEventsWindowDeactivate", .window = true}}},
    {.name = "PowerPoint",
     .events = {0x914934c2, 0x5a91, 0x11cf, {0x87, 0x00, 0x00, 0xaa, 0x00, 0x60, 0x26, 0x3b}},
     .connect = &win::ConnectPowerPointEvents<Recorder>,
     .fired = {{.id = 2006, .handler = "PowerPointAppEventsPresentationOpen"},
               {.id = 2009, .handler = "PowerPointAppEventsWindowActivate", .window = true},
               {.id = 2010, .handler = "PowerPointAppEventsWindowDeactivate", .window = true},
               {.id = 2018, .handler = "PowerPointAppEventsPresentationBeforeSave", .cancel = true},
               {.id = 2025, .handler = "PowerPointAppEventsPresentationBeforeClose", .cancel = true},
               {.id = 2004, .handler = "PowerPointAppEventsPresentationClose"},
               {.id = 2015, .handler = "PowerPointAppEventsPresentationPrint"},
               {.id = 2016, .handler = "PowerPointAppEventsSlideSelectionChanged"}}},
    {.name = "Publisher",
     .events = {0x00021240, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}},
     .connect = &win::ConnectPublisherEvents<Recorder>,
     .fired = {{.id = 7, .handler = "PublisherAppEventsDocumentOpen"},
               {.id = 1, .handler = "PublisherAppEventsWindowActivate"},
               {.id = 6, .handler = "PublisherAppEventsNewDocument"},
               {.id = 8, .handler = "PublisherAppEventsDocumentBeforeClose", .cancel = true},
               {.id = 23, .handler = "PublisherAppEventsBeforePrint", .cancel = true}}},
};

CHECK_CASE(EveryHostsEventsReachTheHandlerOfTheirNameAndCancelGoesBack) {
  const Variant doc(std::make_shared<wincheck::SimObject>("report.docx"));
  const Variant window(std::make_shared<wincheck::SimObject>("window"));
  for (const Host& host : kHosts) {
    auto app = ComPtr<wincheck::SimComApplication>::Adopt(
        new wincheck::SimComApplication(std::make_shared<wincheck::SimObject>(host.name), host.events));
    Recorder r;
    int errors = 0;
    auto sink = host.connect(app.get(), r, [&errors](std::exception_ptr) { ++errors; });
    CHECK_EQ_NOTE(app->SinkCount(), 1u, host.name);
    for (const Event& e : host.fired) {
      for (const bool late_bound : {false, true}) {
        const std::string note = std::string(e.handler) + (late_bound ? " late-bound" : "");
        VARIANT_BOOL save_as_ui = VARIANT_TRUE, cancel = VARIANT_FALSE;
        std::vector<EventArg> args;
        if (!e.no_document) args.push_back({doc});
        if (e.window) args.push_back({window});
        if (e.save_as_ui == SaveAsUi::ByValue) args.push_back({Variant(true)});
        if (e.save_as_ui == SaveAsUi::ByReference) args.push_back({.flag = &save_as_ui, .late_bound = late_bound});
        if (e.cancel) args.push_back({.flag = &cancel, .late_bound = late_bound});
        r.heard.clear();
        app->Fire(e.id, args);
        std::string expected = e.handler;
        if (!e.no_document) expected += " report.docx";
        if (e.save_as_ui != SaveAsUi::None) expected += " ui";
        CHECK_EQ_NOTE(r.heard, expected, note);
        CHECK_EQ_NOTE(cancel != VARIANT_FALSE, e.cancel, note);
        CHECK_EQ_NOTE(save_as_ui != VARIANT_FALSE, e.save_as_ui != SaveAsUi::ByReference, note);
      }
    }

    // An id without a row passes unheard; an event with fewer arguments than
    // published is reported (the only report) and the host goes on.
    r.heard.clear();
    app->Fire(999999, {});
    app->Fire(host.fired[0].id, {});
    CHECK_EQ_NOTE(r.heard, "", host.name);
    CHECK_EQ_NOTE(errors, 1, host.name);

    sink->Disconnect();
    CHECK_EQ_NOTE(app->SinkCount(), 0u, host.name);
    app->Fire(host.fired[0].id, {{doc}});
    CHECK_EQ_NOTE(r.heard, "", host.name);

    // A host without this event interface refuses the sink.
    auto other = ComPtr<wincheck::SimComApplication>::Adopt(
        new wincheck::SimComApplication(std::make_shared<wincheck::SimObject>("other"), IID_NULL));
    CHECK_THROWS(platform::HostError, host.connect(other.get(), r, nullptr), (void)e);
    CHECK_EQ_NOTE(other->SinkCount(), 0u, host.name);
  }
}

}  // namespace
