// A simulated Excel made a real COM server for the harness: Excel's application
// events fired through its connection point by their published ids, SaveAsUI by
// value and Cancel by reference, the way Excel calls an add-in's sink.
#pragma once

#include <memory>

#include "hostsim/events.h"
#include "hostsim/excel.h"
#include "win/tests/sim_com_application.h"

namespace quillorn::wincheck {

class SimExcelApplication final : public SimComApplication, private hostsim::ExcelEvents {
 public:
  explicit SimExcelApplication(std::shared_ptr<hostsim::ExcelHost> host);
  ~SimExcelApplication() override;

 private:
  void WorkbookOpen(const platform::Variant& wb) override;
  void WorkbookActivate(const platform::Variant& wb) override;
  void WorkbookBeforeSave(const platform::Variant& wb, bool save_as_ui, bool& cancel) override;
  void WorkbookBeforeClose(const platform::Variant& wb, bool& cancel) override;
  void WorkbookBeforePrint(const platform::Variant& wb, bool& cancel) override;
  void WindowActivate(const platform::Variant& wb, const platform::Variant& window) override;
  void WindowDeactivate(const platform::Variant& wb, const platform::Variant& window) override;
  void FireWithCancel(DISPID id, const platform::Variant& wb, bool& cancel);

  std::shared_ptr<hostsim::ExcelHost> host_;
};

}  // namespace quillorn::wincheck
