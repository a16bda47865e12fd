// A simulated Word made a real COM server for the harness: Word's application
// events fired through its connection point by their published ids, with Cancel
// and SaveAsUI by reference, the way Word calls an add-in's sink.
#pragma once

#include <memory>

#include "hostsim/events.h"
#include "hostsim/word.h"
#include "win/tests/sim_com_application.h"

namespace quillorn::wincheck {

class SimWordApplication final : public SimComApplication, private hostsim::WordEvents {
 public:
  explicit SimWordApplication(std::shared_ptr<hostsim::WordHost> host);
  ~SimWordApplication() override;

 private:
  void DocumentChange() override;
  void DocumentOpen(const platform::Variant& doc) override;
  void DocumentBeforeClose(const platform::Variant& doc, bool& cancel) override;
  void DocumentBeforePrint(const platform::Variant& doc, bool& cancel) override;
  void DocumentBeforeSave(const platform::Variant& doc, bool& save_as_ui, bool& cancel) override;
  void WindowActivate(const platform::Variant& doc, const platform::Variant& window) override;
  void WindowDeactivate(const platform::Variant& doc, const platform::Variant& window) override;
  void Quit() override;
  void FireWithCancel(DISPID id, const platform::Variant& doc, bool& cancel);

  std::shared_ptr<hostsim::WordHost> host_;
};

}  // namespace quillorn::wincheck
