#include "win/tests/sim_excel_com.h"

#include <vector>

#include "win/excel_events.h"

namespace quillorn::wincheck {

SimExcelApplication::SimExcelApplication(std::shared_ptr<hostsim::ExcelHost> host)
    : SimComApplication(host->Application(), win::kDIID_ExcelAppEvents), host_(std::move(host)) {
  host_->SetEventSink(this);
}

SimExcelApplication::~SimExcelApplication() { host_->SetEventSink(nullptr); }

void SimExcelApplication::FireWithCancel(DISPID id, const platform::Variant& wb, bool& cancel) {
  VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
  std::vector<VARIANT> args{ObjectArg(wb), BoolRef(&flag)};
  Fire(id, args);
  ClearArgs(args);
  cancel = last_cancel = flag != VARIANT_FALSE;
}

void SimExcelApplication::WorkbookOpen(const platform::Variant& wb) {
  std::vector<VARIANT> args{ObjectArg(wb)};
  Fire(win::kExcelWorkbookOpen, args);
  ClearArgs(args);
}

void SimExcelApplication::WorkbookActivate(const platform::Variant& wb) {
  std::vector<VARIANT> args{ObjectArg(wb)};
  Fire(win::kExcelWorkbookActivate, args);
  ClearArgs(args);
}

void SimExcelApplication::WorkbookBeforeSave(const platform::Variant& wb, bool save_as_ui, bool& cancel) {
  VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
  std::vector<VARIANT> args{ObjectArg(wb), BoolArg(save_as_ui), BoolRef(&flag)};
  Fire(win::kExcelWorkbookBeforeSave, args);
  ClearArgs(args);
  cancel = last_cancel = flag != VARIANT_FALSE;
}

void SimExcelApplication::WorkbookBeforeClose(const platform::Variant& wb, bool& cancel) {
  FireWithCancel(win::kExcelWorkbookBeforeClose, wb, cancel);
}

void SimExcelApplication::WorkbookBeforePrint(const platform::Variant& wb, bool& cancel) {
  FireWithCancel(win::kExcelWorkbookBeforePrint, wb, cancel);
}

void SimExcelApplication::WindowActivate(const platform::Variant& wb, const platform::Variant& window) {
  std::vector<VARIANT> args{ObjectArg(wb), ObjectArg(window)};
  Fire(win::kExcelWindowActivate, args);
  ClearArgs(args);
}

void SimExcelApplication::WindowDeactivate(const platform::Variant& wb, const platform::Variant& window) {
  std::vector<VARIANT> args{ObjectArg(wb), ObjectArg(window)};
  Fire(win::kExcelWindowDeactivate, args);
  ClearArgs(args);
}

}  // namespace quillorn::wincheck
