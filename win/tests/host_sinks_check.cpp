// The host event sinks without the add-in: each host's events, fired through a
// real connection point by their published ids, reach the handler of the same
// name with their arguments in place, and what the handler leaves in Cancel goes
// back to the host. Simulated Word and Excel drive their own events; PowerPoint's
// and Publisher's are fired one by one.
#include <windows.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hostsim/excel.h"
#include "hostsim/powerpoint.h"
#include "hostsim/publisher.h"
#include "hostsim/word.h"
#include "platform/variant.h"
#include "platform/win32/com_ptr.h"
#include "win/excel_events.h"
#include "win/powerpoint_events.h"
#include "win/publisher_events.h"
#include "win/tests/check.h"
#include "win/tests/sim_com_application.h"
#include "win/tests/sim_excel_com.h"
#include "win/tests/sim_word_com.h"
#include "win/word_events.h"

using namespace quillorn;
using platform::ComPtr;
using platform::Variant;

namespace {

std::string NameOf(const Variant& object) {
  try {
    return object.Get("Name").AsString();
  } catch (const std::exception&) {
    return "?";
  }
}

// Every host's handlers under the module's names. Each notes its name and its
// first argument's Name; flags are answered from the fields below.
struct Recorder {
  std::vector<std::string> heard;
  bool cancel = false;    // what every handler leaves in Cancel
  bool save_as_ui = true; // what Word's before-save leaves in SaveAsUI

  void Note(const char* handler, const Variant& first) { heard.push_back(std::string(handler) + " " + NameOf(first)); }
  void Note(const char* handler) { heard.push_back(handler); }

  void WordAppEventsDocumentOpen(const Variant& doc) { Note("WordAppEventsDocumentOpen", doc); }
  void WordAppEventsDocumentChange() { Note("WordAppEventsDocumentChange"); }
  void WordAppEventsDocumentBeforeSave(const Variant& doc, bool& SaveAsUI, bool& Cancel) {
    Note("WordAppEventsDocumentBeforeSave", doc);
    if (SaveAsUI) heard.back() += " ui";
    SaveAsUI = save_as_ui;
    Cancel = cancel;
  }
  void WordAppEventsDocumentBeforeClose(const Variant& doc, bool& Cancel) {
    Note("WordAppEventsDocumentBeforeClose", doc);
    Cancel = cancel;
  }
  void WordAppEventsDocumentBeforePrint(const Variant& doc, bool& Cancel) {
    Note("WordAppEventsDocumentBeforePrint", doc);
    Cancel = cancel;
  }
  void WordAppEventsWindowActivate(const Variant& doc, const Variant&) {
    Note("WordAppEventsWindowActivate", doc);
  }
  void WordAppEventsWindowDeactivate(const Variant& doc, const Variant&) {
    Note("WordAppEventsWindowDeactivate", doc);
  }

  void ExcelAppEventsWorkbookOpen(const Variant& wb) { Note("ExcelAppEventsWorkbookOpen", wb); }
  void ExcelAppEventsWorkbookActivate(const Variant& wb) { Note("ExcelAppEventsWorkbookActivate", wb); }
  void ExcelAppEventsWorkbookBeforeSave(const Variant& wb, bool SaveAsUI, bool& Cancel) {
    Note("ExcelAppEventsWorkbookBeforeSave", wb);
    if (SaveAsUI) heard.back() += " ui";
    Cancel = cancel;
  }
  void ExcelAppEventsWorkbookBeforeClose(const Variant& wb, bool& Cancel) {
    Note("ExcelAppEventsWorkbookBeforeClose", wb);
    Cancel = cancel;
  }
  void ExcelAppEventsWorkbookBeforePrint(const Variant& wb, bool& Cancel) {
    Note("ExcelAppEventsWorkbookBeforePrint", wb);
    Cancel = cancel;
  }
  void ExcelAppEventsWindowActivate(const Variant& wb, const Variant&) { Note("ExcelAppEventsWindowActivate", wb); }
  void ExcelAppEventsWindowDeactivate(const Variant& wb, const Variant&) {
    Note("ExcelAppEventsWindowDeactivate", wb);
  }

  void PowerPointAppEventsPresentationOpen(const Variant& pres) { Note("PowerPointAppEventsPresentationOpen", pres); }
  void PowerPointAppEventsWindowActivate(const Variant& pres, const Variant&) {
    Note("PowerPointAppEventsWindowActivate", pres);
  }
  void PowerPointAppEventsWindowDeactivate(const Variant& pres, const Variant&) {
    Note("PowerPointAppEventsWindowDeactivate", pres);
  }
  void PowerPointAppEventsPresentationBeforeSave(const Variant& pres, bool& Cancel) {
    Note("PowerPointAppEventsPresentationBeforeSave", pres);
    Cancel = cancel;
  }
  void PowerPointAppEventsPresentationBeforeClose(const Variant& pres, bool& Cancel) {
    Note("PowerPointAppEventsPresentationBeforeClose", pres);
    Cancel = cancel;
  }
  void PowerPointAppEventsPresentationClose(const Variant& pres) { Note("PowerPointAppEventsPresentationClose", pres); }
  void PowerPointAppEventsPresentationPrint(const Variant& pres) { Note("PowerPointAppEventsPresentationPrint", pres); }
  void PowerPointAppEventsSlideSelectionChanged(const Variant& range) {
    Note("PowerPointAppEventsSlideSelectionChanged", range);
  }

  void PublisherAppEventsDocumentOpen(const Variant& doc) { Note("PublisherAppEventsDocumentOpen", doc); }
  void PublisherAppEventsWindowActivate(const Variant& wn) { Note("PublisherAppEventsWindowActivate", wn); }
  void PublisherAppEventsDocumentBeforeClose(const Variant& doc, bool& Cancel) {
    Note("PublisherAppEventsDocumentBeforeClose", doc);
    Cancel = cancel;
  }
  void PublisherAppEventsNewDocument(const Variant& doc) { Note("PublisherAppEventsNewDocument", doc); }
  void PublisherAppEventsBeforePrint(const Variant& doc, bool& Cancel) {
    Note("PublisherAppEventsBeforePrint", doc);
    Cancel = cancel;
  }
};

struct Errors {
  std::vector<std::string> texts;
  win::EventErrorHandler Handler() {
    return [this](std::exception_ptr e) {
      try {
        std::rethrow_exception(e);
      } catch (const std::exception& x) {
        texts.push_back(x.what());
      } catch (...) {
        texts.push_back("?");
      }
    };
  }
};

// A document path in a folder of its own, since a save that goes through writes.
std::string DocPath(const char* name) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "quillorn sinks";
  std::filesystem::create_directories(folder);
  return (folder / name).string();
}

bool Heard(const Recorder& r, const std::string& line) {
  return std::find(r.heard.begin(), r.heard.end(), line) != r.heard.end();
}

CHECK_CASE(WordEventsArriveByTheirIdsAndCancelGoesBack) {
  auto word_host = hostsim::WordHost::Create();
  auto* word = new wincheck::SimWordApplication(word_host);
  ComPtr<IDispatch> application = ComPtr<IDispatch>::Adopt(word);
  Recorder r;
  r.save_as_ui = false;
  Errors errors;
  auto sink = win::ConnectWordEvents(application.get(), r, errors.Handler());
  CHECK_EQ(word->SinkCount(), 1u);

  auto doc = word_host->Open(DocPath("events.docx"));
  CHECK(!r.heard.empty() && r.heard[0] == "WordAppEventsDocumentOpen events.docx");

  // Cancel by reference: a refused save writes nothing, a refused close keeps
  // the document open; then both are let through.
  r.cancel = true;
  CHECK(!word_host->Save(doc));
  CHECK(word->last_cancel);
  CHECK(!word->last_save_as_ui);  // the handler's SaveAsUI went back too
  CHECK(!word_host->Close(doc));
  CHECK_EQ(word_host->Documents().size(), 1u);
  r.cancel = false;
  CHECK(word_host->Save(doc));
  CHECK(!word->last_cancel);
  CHECK(word_host->Close(doc));
  CHECK_EQ(word_host->Documents().size(), 0u);
  CHECK(Heard(r, "WordAppEventsDocumentBeforeSave events.docx"));
  CHECK(Heard(r, "WordAppEventsDocumentBeforeClose events.docx"));
  CHECK(errors.texts.empty());

  sink->Disconnect();
  CHECK_EQ(word->SinkCount(), 0u);
  const std::size_t before = r.heard.size();
  word_host->Open(DocPath("unheard.docx"));
  CHECK_EQ(r.heard.size(), before);  // nothing after the sink is gone
}

CHECK_CASE(ExcelEventsArriveByTheirIdsAndCancelGoesBack) {
  auto excel_host = hostsim::ExcelHost::Create();
  auto* excel = new wincheck::SimExcelApplication(excel_host);
  ComPtr<IDispatch> application = ComPtr<IDispatch>::Adopt(excel);
  Recorder r;
  Errors errors;
  auto sink = win::ConnectExcelEvents(application.get(), r, errors.Handler());
  CHECK_EQ(excel->SinkCount(), 1u);

  auto wb = excel_host->Open(DocPath("book.xlsx"));
  CHECK(wb != nullptr);
  CHECK(!r.heard.empty() && r.heard[0] == "ExcelAppEventsWorkbookOpen book.xlsx");
  CHECK(Heard(r, "ExcelAppEventsWorkbookActivate book.xlsx"));

  // A refused close leaves the workbook open, a refused save writes nothing.
  r.cancel = true;
  CHECK(!excel_host->Close(wb));
  CHECK(excel->last_cancel);
  CHECK_EQ(excel_host->Documents().size(), 1u);
  CHECK(Heard(r, "ExcelAppEventsWorkbookBeforeClose book.xlsx"));
  CHECK(!excel_host->Save(wb));
  CHECK(excel->last_cancel);
  CHECK(Heard(r, "ExcelAppEventsWorkbookBeforeSave book.xlsx"));
  // Save As asks with SaveAsUI true, which Excel passes by value.
  CHECK(!excel_host->SaveAs(wb, DocPath("other.xlsx")));
  CHECK(Heard(r, "ExcelAppEventsWorkbookBeforeSave book.xlsx ui"));
  CHECK(!excel_host->Print(wb));
  CHECK(Heard(r, "ExcelAppEventsWorkbookBeforePrint book.xlsx"));
  r.cancel = false;
  CHECK(excel_host->Close(wb));
  CHECK(!excel->last_cancel);
  CHECK_EQ(excel_host->Documents().size(), 0u);
  CHECK(errors.texts.empty());

  sink->Disconnect();
  CHECK_EQ(excel->SinkCount(), 0u);
}

// One event as a host fires it: its id, its arguments in declared order.
enum class Arg { Doc, DocAndWindow, DocAndCancel, DocSaveAsUiAndCancel, WindowOnly };
struct FiredEvent {
  DISPID id;
  Arg args;
  const char* handler;
};

// Fires each event at a sink of `events` and checks that the named handler heard
// it with the document first, and that Cancel came back set where there is one.
void CheckTable(const char* host_name, const platform::ObjectRef& app_object, const Variant& doc, const IID& events,
                const std::function<ComPtr<win::EventSink>(IDispatch*, Recorder&, win::EventErrorHandler)>& connect,
                const std::vector<FiredEvent>& table) {
  auto* app = new wincheck::SimComApplication(app_object, events);
  ComPtr<IDispatch> application = ComPtr<IDispatch>::Adopt(app);
  Recorder r;
  r.cancel = true;
  Errors errors;
  auto sink = connect(application.get(), r, errors.Handler());
  CHECK_EQ_NOTE(app->SinkCount(), 1u, host_name);
  const std::string doc_name = NameOf(doc);
  for (const FiredEvent& e : table) {
    const std::string note = std::string(host_name) + " " + e.handler;
    VARIANT_BOOL cancel = VARIANT_FALSE;
    std::vector<VARIANT> args{wincheck::ObjectArg(doc)};
    if (e.args == Arg::DocAndWindow) args.push_back(wincheck::ObjectArg(doc));
    if (e.args == Arg::DocSaveAsUiAndCancel) args.push_back(wincheck::BoolArg(false));
    if (e.args == Arg::DocAndCancel || e.args == Arg::DocSaveAsUiAndCancel) args.push_back(wincheck::BoolRef(&cancel));
    const std::size_t before = r.heard.size();
    app->Fire(e.id, args);
    wincheck::ClearArgs(args);
    CHECK_EQ_NOTE(r.heard.size(), before + 1, note);
    if (r.heard.size() == before + 1) CHECK_EQ_NOTE(r.heard.back(), std::string(e.handler) + " " + doc_name, note);
    const bool has_cancel = e.args == Arg::DocAndCancel || e.args == Arg::DocSaveAsUiAndCancel;
    CHECK_EQ_NOTE(cancel != VARIANT_FALSE, has_cancel, note);
  }
  // An id the add-in does not handle is let pass unheard.
  std::vector<VARIANT> none;
  const std::size_t before = r.heard.size();
  app->Fire(999999, none);
  CHECK_EQ_NOTE(r.heard.size(), before, host_name);
  CHECK_EQ_NOTE(errors.texts.size(), 0u, host_name);
  sink->Disconnect();
  CHECK_EQ_NOTE(app->SinkCount(), 0u, host_name);
}

CHECK_CASE(EveryHostsEventsReachTheirHandlersWithCancelByReference) {
  auto word = hostsim::WordHost::Create();
  auto word_doc = Variant(word->Wrap(word->Open(DocPath("w.docx"))));
  CheckTable("Word", word->Application(), word_doc, win::kDIID_WordApplicationEvents4,
             [](IDispatch* a, Recorder& r, win::EventErrorHandler e) { return win::ConnectWordEvents(a, r, e); },
             {{4, Arg::Doc, "WordAppEventsDocumentOpen"},
              {6, Arg::DocAndCancel, "WordAppEventsDocumentBeforeClose"},
              {7, Arg::DocAndCancel, "WordAppEventsDocumentBeforePrint"},
              {10, Arg::DocAndWindow, "WordAppEventsWindowActivate"},
              {11, Arg::DocAndWindow, "WordAppEventsWindowDeactivate"}});

  auto excel = hostsim::ExcelHost::Create();
  auto book = Variant(excel->Wrap(excel->Open(DocPath("x.xlsx"))));
  CheckTable("Excel", excel->Application(), book, win::kDIID_ExcelAppEvents,
             [](IDispatch* a, Recorder& r, win::EventErrorHandler e) { return win::ConnectExcelEvents(a, r, e); },
             {{1567, Arg::Doc, "ExcelAppEventsWorkbookOpen"},
              {1568, Arg::Doc, "ExcelAppEventsWorkbookActivate"},
              {1570, Arg::DocAndCancel, "ExcelAppEventsWorkbookBeforeClose"},
              {1571, Arg::DocSaveAsUiAndCancel, "ExcelAppEventsWorkbookBeforeSave"},
              {1572, Arg::DocAndCancel, "ExcelAppEventsWorkbookBeforePrint"},
              {1556, Arg::DocAndWindow, "ExcelAppEventsWindowActivate"},
              {1557, Arg::DocAndWindow, "ExcelAppEventsWindowDeactivate"}});

  auto powerpoint = hostsim::PowerPointHost::Create();
  auto pres = Variant(powerpoint->Wrap(powerpoint->Open(DocPath("p.pptx"))));
  CheckTable("PowerPoint", powerpoint->Application(), pres, win::kDIID_PowerPointEApplication,
             [](IDispatch* a, Recorder& r, win::EventErrorHandler e) { return win::ConnectPowerPointEvents(a, r, e); },
             {{2006, Arg::Doc, "PowerPointAppEventsPresentationOpen"},
              {2009, Arg::DocAndWindow, "PowerPointAppEventsWindowActivate"},
              {2010, Arg::DocAndWindow, "PowerPointAppEventsWindowDeactivate"},
              {2018, Arg::DocAndCancel, "PowerPointAppEventsPresentationBeforeSave"},
              {2025, Arg::DocAndCancel, "PowerPointAppEventsPresentationBeforeClose"},
              {2004, Arg::Doc, "PowerPointAppEventsPresentationClose"},
              {2015, Arg::Doc, "PowerPointAppEventsPresentationPrint"},
              {2016, Arg::Doc, "PowerPointAppEventsSlideSelectionChanged"}});

  auto publisher = hostsim::PublisherHost::Create();
  auto pub = Variant(publisher->Wrap(publisher->Open(DocPath("b.pub"))));
  CheckTable("Publisher", publisher->Application(), pub, win::kDIID_PublisherApplicationEvents,
             [](IDispatch* a, Recorder& r, win::EventErrorHandler e) { return win::ConnectPublisherEvents(a, r, e); },
             {{1, Arg::WindowOnly, "PublisherAppEventsWindowActivate"},
              {6, Arg::Doc, "PublisherAppEventsNewDocument"},
              {7, Arg::Doc, "PublisherAppEventsDocumentOpen"},
              {8, Arg::DocAndCancel, "PublisherAppEventsDocumentBeforeClose"},
              {23, Arg::DocAndCancel, "PublisherAppEventsBeforePrint"}});
}

CHECK_CASE(AnEventWithTooFewArgumentsIsReportedAndTheHostGoesOn) {
  auto excel = hostsim::ExcelHost::Create();
  auto* app = new wincheck::SimComApplication(excel->Application(), win::kDIID_ExcelAppEvents);
  ComPtr<IDispatch> application = ComPtr<IDispatch>::Adopt(app);
  Recorder r;
  Errors errors;
  auto sink = win::ConnectExcelEvents(application.get(), r, errors.Handler());
  std::vector<VARIANT> none;
  app->Fire(1570, none);  // a before-close without its workbook and Cancel
  CHECK(r.heard.empty());
  CHECK_EQ(errors.texts.size(), 1u);
  sink->Disconnect();
}

CHECK_CASE(AHostWithoutTheEventInterfaceRefusesTheSink) {
  auto word = hostsim::WordHost::Create();
  auto* app = new wincheck::SimComApplication(word->Application(), win::kDIID_WordApplicationEvents4);
  ComPtr<IDispatch> application = ComPtr<IDispatch>::Adopt(app);
  Recorder r;
  Errors errors;
  CHECK_THROWS(platform::HostError, win::ConnectExcelEvents(application.get(), r, errors.Handler()), (void)e);
  CHECK_EQ(app->SinkCount(), 0u);
}

}  // namespace
