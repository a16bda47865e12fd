// Test code only: one user's machine (folders under a temp folder, one loop on a
// hand-driven clock) and host processes on it with the add-in module loaded, and
// each simulated host's events handed to the module's handlers as the framework
// hands them. Never used by the client.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "addin/addin_module.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "foundation/temp_folder_for_test.h"
#include "hostsim/events.h"
#include "hostsim/excel.h"
#include "hostsim/hosts.h"
#include "hostsim/powerpoint.h"
#include "hostsim/publisher.h"
#include "hostsim/word.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"
#include "platform/scripted_prompts.h"
#include "platform/system_services.h"

namespace quillorn::addin::testing {

using platform::Variant;

// One user's machine: the module's folder and the local application data folder
// under a temp folder, and one main loop on a hand-driven clock.
struct Machine {
  foundation::testing::TempFolder home;
  platform::ManualClock clock{5000};
  platform::QueueMainLoop loop{&clock};

  std::string AppDir() const { return (home.Path() / "program" / "").string(); }
  std::string LocalAppData() const { return (home.Path() / "local").string(); }
  std::string AppDataDir() const { return (home.Path() / "local" / "Quillorn" / "").string(); }
  std::string CacheDir() const { return AppDataDir() + "Cache" + foundation::kPathDelim; }
  std::string Trace() const {
    return foundation::testing::ReadAll(std::filesystem::path(AppDataDir()) / foundation::kTraceFileName);
  }
  std::string Except() const {
    return foundation::testing::ReadAll(std::filesystem::path(AppDataDir()) / foundation::kExceptFileName);
  }

  void WriteAddInIni(const std::string& text) {
    std::filesystem::create_directories(AppDataDir());
    foundation::testing::WriteAll(std::filesystem::path(AppDataDir()) / "QuillornAddIn.ini", text);
  }
};

// Word's events to the module's handlers of the same name.
class WordSink final : public hostsim::WordEvents {
 public:
  explicit WordSink(TAddInModule& m) : m_(m) {}
  void DocumentChange() override { m_.WordAppEventsDocumentChange(); }
  void DocumentOpen(const Variant& doc) override { m_.WordAppEventsDocumentOpen(doc); }
  void DocumentBeforeClose(const Variant& doc, bool& cancel) override { m_.WordAppEventsDocumentBeforeClose(doc, cancel); }
  void DocumentBeforePrint(const Variant& doc, bool& cancel) override { m_.WordAppEventsDocumentBeforePrint(doc, cancel); }
  void DocumentBeforeSave(const Variant& doc, bool& saveAsUI, bool& cancel) override {
    m_.WordAppEventsDocumentBeforeSave(doc, saveAsUI, cancel);
  }
  void WindowActivate(const Variant& doc, const Variant& wn) override { m_.WordAppEventsWindowActivate(doc, wn); }
  void WindowDeactivate(const Variant& doc, const Variant& wn) override { m_.WordAppEventsWindowDeactivate(doc, wn); }

 private:
  TAddInModule& m_;
};

class ExcelSink final : public hostsim::ExcelEvents {
 public:
  explicit ExcelSink(TAddInModule& m) : m_(m) {}
  void WorkbookOpen(const Variant& wb) override { m_.ExcelAppEventsWorkbookOpen(wb); }
  void WorkbookActivate(const Variant& wb) override { m_.ExcelAppEventsWorkbookActivate(wb); }
  void WorkbookBeforeSave(const Variant& wb, bool saveAsUI, bool& cancel) override {
    m_.ExcelAppEventsWorkbookBeforeSave(wb, saveAsUI, cancel);
  }
  void WorkbookBeforeClose(const Variant& wb, bool& cancel) override { m_.ExcelAppEventsWorkbookBeforeClose(wb, cancel); }
  void WorkbookBeforePrint(const Variant& wb, bool& cancel) override { m_.ExcelAppEventsWorkbookBeforePrint(wb, cancel); }
  void WindowActivate(const Variant& wb, const Variant& wn) override { m_.ExcelAppEventsWindowActivate(wb, wn); }
  void WindowDeactivate(const Variant& wb, const Variant& wn) override { m_.ExcelAppEventsWindowDeactivate(wb, wn); }

 private:
  TAddInModule& m_;
};

class PowerPointSink final : public hostsim::PowerPointEvents {
 public:
  explicit PowerPointSink(TAddInModule& m) : m_(m) {}
  void PresentationOpen(const Variant& pres) override { m_.PowerPointAppEventsPresentationOpen(pres); }
  void WindowActivate(const Variant& pres, const Variant& wn) override { m_.PowerPointAppEventsWindowActivate(pres, wn); }
  void WindowDeactivate(const Variant& pres, const Variant& wn) override {
    m_.PowerPointAppEventsWindowDeactivate(pres, wn);
  }
  void PresentationBeforeSave(const Variant& pres, bool& cancel) override {
    m_.PowerPointAppEventsPresentationBeforeSave(pres, cancel);
  }
  void PresentationBeforeClose(const Variant& pres, bool& cancel) override {
    m_.PowerPointAppEventsPresentationBeforeClose(pres, cancel);
  }
  void PresentationClose(const Variant& pres) override { m_.PowerPointAppEventsPresentationClose(pres); }
  void PresentationPrint(const Variant& pres) override { m_.PowerPointAppEventsPresentationPrint(pres); }
  void SlideSelectionChanged(const Variant& range) override { m_.PowerPointAppEventsSlideSelectionChanged(range); }

 private:
  TAddInModule& m_;
};

class PublisherSink final : public hostsim::PublisherEvents {
 public:
  explicit PublisherSink(TAddInModule& m) : m_(m) {}
  void DocumentOpen(const Variant& doc) override { m_.PublisherAppEventsDocumentOpen(doc); }
  void NewDocument(const Variant& doc) override { m_.PublisherAppEventsNewDocument(doc); }
  void WindowActivate(const Variant& wn) override { m_.PublisherAppEventsWindowActivate(wn); }
  void DocumentBeforeClose(const Variant& doc, bool& cancel) override {
    m_.PublisherAppEventsDocumentBeforeClose(doc, cancel);
  }
  void BeforePrint(const Variant& doc, bool& cancel) override { m_.PublisherAppEventsBeforePrint(doc, cancel); }

 private:
  TAddInModule& m_;
};

// One host process on that machine with the add-in loaded into it. Its events
// reach the module once Connect() has run.
struct Process {
  // `panes` null: the module keeps its own in-memory pane manager.
  Process(Machine& m, platform::HostType kind, std::uint32_t tick, std::string version = "16.0",
          std::string clientname = "", PaneManager* panes = nullptr)
      : host(hostsim::CreateHost(kind)) {
    host->version = std::move(version);
    system.module_path = m.AppDir() + "QuillornAddIn.dll";
    system.local_app_data = m.LocalAppData();
    system.tick_count = tick;
    if (!clientname.empty()) system.environment["clientname"] = clientname;
    AddInHost h;
    h.Type = kind;
    h.Application = host->Application();
    h.Loop = &m.loop;
    h.Prompts = &prompts;
    h.System = &system;
    h.Context = &context;
    h.Panes = panes;
    module = std::make_unique<TAddInModule>(std::move(h));
  }

  ~Process() { Disconnect(); }

  void Load() {
    module->AddInModuleCreate();
    module->AddInModuleAddInInitialize();
    module->AddInModuleAddInStartupComplete();
  }

  // Hands the host's events to the module from now on.
  void Connect() {
    switch (host->Kind()) {
      case platform::HostType::ohaWord: Attach<hostsim::WordHost, WordSink>(); break;
      case platform::HostType::ohaExcel: Attach<hostsim::ExcelHost, ExcelSink>(); break;
      case platform::HostType::ohaPowerPoint: Attach<hostsim::PowerPointHost, PowerPointSink>(); break;
      case platform::HostType::ohaPublisher: Attach<hostsim::PublisherHost, PublisherSink>(); break;
    }
  }
  void Disconnect() {
    if (!sink) return;
    switch (host->Kind()) {
      case platform::HostType::ohaWord: std::static_pointer_cast<hostsim::WordHost>(host)->SetEventSink(nullptr); break;
      case platform::HostType::ohaExcel: std::static_pointer_cast<hostsim::ExcelHost>(host)->SetEventSink(nullptr); break;
      case platform::HostType::ohaPowerPoint:
        std::static_pointer_cast<hostsim::PowerPointHost>(host)->SetEventSink(nullptr);
        break;
      case platform::HostType::ohaPublisher:
        std::static_pointer_cast<hostsim::PublisherHost>(host)->SetEventSink(nullptr);
        break;
    }
    sink.reset();
  }

  std::shared_ptr<hostsim::SimHost> host;
  platform::FakeSystemServices system;
  platform::ScriptedPrompts prompts;
  foundation::LogContext context;
  std::unique_ptr<TAddInModule> module;
  std::shared_ptr<void> sink;

 private:
  template <typename HostClass, typename SinkClass>
  void Attach() {
    auto typed = std::make_shared<SinkClass>(*module);
    std::static_pointer_cast<HostClass>(host)->SetEventSink(typed.get());
    sink = typed;
  }
};

}  // namespace quillorn::addin::testing
