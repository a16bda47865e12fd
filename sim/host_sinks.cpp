#include "sim/host_sinks.h"

#include "addin/addin_module.h"
#include "hostsim/events.h"
#include "hostsim/excel.h"
#include "hostsim/powerpoint.h"
#include "hostsim/publisher.h"
#include "hostsim/word.h"

namespace quillorn::sim {
namespace {

using platform::Variant;

class WordSink final : public HostSinks, public hostsim::WordEvents {
 public:
  WordSink(hostsim::WordHost& host, addin::TAddInModule& m) : host_(host), m_(m) { host_.SetEventSink(this); }
  ~WordSink() override { host_.SetEventSink(nullptr); }

  void DocumentChange() override {
    m_.RunEvent([&] { m_.WordAppEventsDocumentChange(); });
  }
  void DocumentOpen(const Variant& doc) override {
    m_.RunEvent([&] { m_.WordAppEventsDocumentOpen(doc); });
  }
  void DocumentBeforeClose(const Variant& doc, bool& cancel) override {
    m_.RunEvent([&] { m_.WordAppEventsDocumentBeforeClose(doc, cancel); });
  }
  void DocumentBeforePrint(const Variant& doc, bool& cancel) override {
    m_.RunEvent([&] { m_.WordAppEventsDocumentBeforePrint(doc, cancel); });
  }
  void DocumentBeforeSave(const Variant& doc, bool& save_as_ui, bool& cancel) override {
    m_.RunEvent([&] { m_.WordAppEventsDocumentBeforeSave(doc, save_as_ui, cancel); });
  }
  void WindowActivate(const Variant& doc, const Variant& window) override {
    m_.RunEvent([&] { m_.WordAppEventsWindowActivate(doc, window); });
  }
  void WindowDeactivate(const Variant& doc, const Variant& window) override {
    m_.RunEvent([&] { m_.WordAppEventsWindowDeactivate(doc, window); });
  }

 private:
  hostsim::WordHost& host_;
  addin::TAddInModule& m_;
};

class ExcelSink final : public HostSinks, public hostsim::ExcelEvents {
 public:
  ExcelSink(hostsim::ExcelHost& host, addin::TAddInModule& m) : host_(host), m_(m) { host_.SetEventSink(this); }
  ~ExcelSink() override { host_.SetEventSink(nullptr); }

  void WorkbookOpen(const Variant& wb) override {
    m_.RunEvent([&] { m_.ExcelAppEventsWorkbookOpen(wb); });
  }
  void WorkbookActivate(const Variant& wb) override {
    m_.RunEvent([&] { m_.ExcelAppEventsWorkbookActivate(wb); });
  }
  void WorkbookBeforeSave(const Variant& wb, bool save_as_ui, bool& cancel) override {
    m_.RunEvent([&] { m_.ExcelAppEventsWorkbookBeforeSave(wb, save_as_ui, cancel); });
  }
  void WorkbookBeforeClose(const Variant& wb, bool& cancel) override {
    m_.RunEvent([&] { m_.ExcelAppEventsWorkbookBeforeClose(wb, cancel); });
  }
  void WorkbookBeforePrint(const Variant& wb, bool& cancel) override {
    m_.RunEvent([&] { m_.ExcelAppEventsWorkbookBeforePrint(wb, cancel); });
  }
  void WindowActivate(const Variant& wb, const Variant& window) override {
    m_.RunEvent([&] { m_.ExcelAppEventsWindowActivate(wb, window); });
  }
  void WindowDeactivate(const Variant& wb, const Variant& window) override {
    m_.RunEvent([&] { m_.ExcelAppEventsWindowDeactivate(wb, window); });
  }

 private:
  hostsim::ExcelHost& host_;
  addin::TAddInModule& m_;
};

class PowerPointSink final : public HostSinks, public hostsim::PowerPointEvents {
 public:
  PowerPointSink(hostsim::PowerPointHost& host, addin::TAddInModule& m) : host_(host), m_(m) {
    host_.SetEventSink(this);
  }
  ~PowerPointSink() override { host_.SetEventSink(nullptr); }

  void PresentationOpen(const Variant& pres) override {
    m_.RunEvent([&] { m_.PowerPointAppEventsPresentationOpen(pres); });
  }
  void WindowActivate(const Variant& pres, const Variant& window) override {
    m_.RunEvent([&] { m_.PowerPointAppEventsWindowActivate(pres, window); });
  }
  void WindowDeactivate(const Variant& pres, const Variant& window) override {
    m_.RunEvent([&] { m_.PowerPointAppEventsWindowDeactivate(pres, window); });
  }
  void PresentationBeforeSave(const Variant& pres, bool& cancel) override {
    m_.RunEvent([&] { m_.PowerPointAppEventsPresentationBeforeSave(pres, cancel); });
  }
  void PresentationBeforeClose(const Variant& pres, bool& cancel) override {
    m_.RunEvent([&] { m_.PowerPointAppEventsPresentationBeforeClose(pres, cancel); });
  }
  void PresentationClose(const Variant& pres) override {
    m_.RunEvent([&] { m_.PowerPointAppEventsPresentationClose(pres); });
  }
  void PresentationPrint(const Variant& pres) override {
    m_.RunEvent([&] { m_.PowerPointAppEventsPresentationPrint(pres); });
  }
  void SlideSelectionChanged(const Variant& range) override {
    m_.RunEvent([&] { m_.PowerPointAppEventsSlideSelectionChanged(range); });
  }

 private:
  hostsim::PowerPointHost& host_;
  addin::TAddInModule& m_;
};

class PublisherSink final : public HostSinks, public hostsim::PublisherEvents {
 public:
  PublisherSink(hostsim::PublisherHost& host, addin::TAddInModule& m) : host_(host), m_(m) {
    host_.SetEventSink(this);
  }
  ~PublisherSink() override { host_.SetEventSink(nullptr); }

  void DocumentOpen(const Variant& doc) override {
    m_.RunEvent([&] { m_.PublisherAppEventsDocumentOpen(doc); });
  }
  void NewDocument(const Variant& doc) override {
    m_.RunEvent([&] { m_.PublisherAppEventsNewDocument(doc); });
  }
  void WindowActivate(const Variant& window) override {
    m_.RunEvent([&] { m_.PublisherAppEventsWindowActivate(window); });
  }
  void DocumentBeforeClose(const Variant& doc, bool& cancel) override {
    m_.RunEvent([&] { m_.PublisherAppEventsDocumentBeforeClose(doc, cancel); });
  }
  void BeforePrint(const Variant& doc, bool& cancel) override {
    m_.RunEvent([&] { m_.PublisherAppEventsBeforePrint(doc, cancel); });
  }

 private:
  hostsim::PublisherHost& host_;
  addin::TAddInModule& m_;
};

}  // namespace

std::unique_ptr<HostSinks> ConnectHostSinks(hostsim::SimHost& host, addin::TAddInModule& module) {
  if (auto* word = dynamic_cast<hostsim::WordHost*>(&host)) return std::make_unique<WordSink>(*word, module);
  if (auto* excel = dynamic_cast<hostsim::ExcelHost*>(&host)) return std::make_unique<ExcelSink>(*excel, module);
  if (auto* pp = dynamic_cast<hostsim::PowerPointHost*>(&host)) return std::make_unique<PowerPointSink>(*pp, module);
  if (auto* pub = dynamic_cast<hostsim::PublisherHost*>(&host)) return std::make_unique<PublisherSink>(*pub, module);
  return nullptr;
}

}  // namespace quillorn::sim
