#include "win/tests/sim_word_com.h"

#include <vector>

#include "win/word_events.h"

namespace quillorn::wincheck {

SimWordApplication::SimWordApplication(std::shared_ptr<hostsim::WordHost> host)
    : SimComApplication(host->Application(), win::kDIID_WordApplicationEvents4), host_(std::move(host)) {
  host_->SetEventSink(this);
}

SimWordApplication::~SimWordApplication() { host_->SetEventSink(nullptr); }

void SimWordApplication::FireWithCancel(DISPID id, const platform::Variant& doc, bool& cancel) {
  VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
  std::vector<VARIANT> args{ObjectArg(doc), BoolRef(&flag)};
  Fire(id, args);
  ClearArgs(args);
  cancel = last_cancel = flag != VARIANT_FALSE;
}

void SimWordApplication::DocumentChange() {
  std::vector<VARIANT> args;
  Fire(win::kWordDocumentChange, args);
}

void SimWordApplication::DocumentOpen(const platform::Variant& doc) {
  std::vector<VARIANT> args{ObjectArg(doc)};
  Fire(win::kWordDocumentOpen, args);
  ClearArgs(args);
}

void SimWordApplication::DocumentBeforeClose(const platform::Variant& doc, bool& cancel) {
  FireWithCancel(win::kWordDocumentBeforeClose, doc, cancel);
}

void SimWordApplication::DocumentBeforePrint(const platform::Variant& doc, bool& cancel) {
  FireWithCancel(win::kWordDocumentBeforePrint, doc, cancel);
}

void SimWordApplication::DocumentBeforeSave(const platform::Variant& doc, bool& save_as_ui, bool& cancel) {
  VARIANT_BOOL ui = save_as_ui ? VARIANT_TRUE : VARIANT_FALSE;
  VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
  std::vector<VARIANT> args{ObjectArg(doc), BoolRef(&ui), BoolRef(&flag)};
  Fire(win::kWordDocumentBeforeSave, args);
  ClearArgs(args);
  save_as_ui = last_save_as_ui = ui != VARIANT_FALSE;
  cancel = last_cancel = flag != VARIANT_FALSE;
}

void SimWordApplication::WindowActivate(const platform::Variant& doc, const platform::Variant& window) {
  std::vector<VARIANT> args{ObjectArg(doc), ObjectArg(window)};
  Fire(win::kWordWindowActivate, args);
  ClearArgs(args);
}

void SimWordApplication::WindowDeactivate(const platform::Variant& doc, const platform::Variant& window) {
  std::vector<VARIANT> args{ObjectArg(doc), ObjectArg(window)};
  Fire(win::kWordWindowDeactivate, args);
  ClearArgs(args);
}

void SimWordApplication::Quit() {
  std::vector<VARIANT> args;
  Fire(win::kWordQuit, args);
}

}  // namespace quillorn::wincheck
