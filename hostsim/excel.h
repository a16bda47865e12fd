// A simulated Excel: workbooks with sheets, centre headers and their pictures,
// defined names, sheet and workbook protection, and the Excel event set.
// Never prompts; what the host would ask is an argument here.
#pragma once

#include <memory>

#include "hostsim/events.h"
#include "hostsim/host.h"

namespace quillorn::hostsim {

class ExcelHost : public SimHost {
 public:
  static std::shared_ptr<ExcelHost> Create() { return std::shared_ptr<ExcelHost>(new ExcelHost()); }
  void SetEventSink(ExcelEvents* sink) noexcept { sink_ = sink; }

 protected:
  ObjectRef MakeApplication() override;
  ObjectRef MakeDocument(const std::shared_ptr<DocumentModel>& doc) override;
  void FireOpen(const std::shared_ptr<DocumentModel>& doc) override;
  void FireNew(const std::shared_ptr<DocumentModel>& doc) override;
  void FireActivate(const std::shared_ptr<DocumentModel>& doc) override;
  void FireDeactivate(const std::shared_ptr<DocumentModel>& doc) override;
  void FireBeforeSave(const std::shared_ptr<DocumentModel>& doc, bool save_as_ui, bool& cancel) override;
  void FireBeforeClose(const std::shared_ptr<DocumentModel>& doc, bool& cancel) override;
  void FireClose(const std::shared_ptr<DocumentModel>& doc) override;
  void FireBeforePrint(const std::shared_ptr<DocumentModel>& doc, bool& cancel) override;
  void FireQuit() override;

 private:
  ExcelHost() : SimHost(HostType::ohaExcel) {}
  ExcelEvents* sink_ = nullptr;
};

}  // namespace quillorn::hostsim
