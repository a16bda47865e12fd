// The module's printing commands: "Print Controlled" on the 2007 Office menu and
// in the backstage's print tab, the File view's OnHide, and the timers that put
// the stamp back and open the print page. The work is the document routines';
// these only hand it on, as the framework runs an event.
#include "addin/addin_module.h"
#include "workflow/workflow.h"

namespace quillorn::addin {

namespace {

// The label beside the check box: position 1 of the print tab's group.
Control& NoWatermarkLabel(CommandSurface& surface) { return surface.At("BackstageView", {1, 0, 1}); }

}  // namespace

void TAddInModule::PrintControlledClick() {
  RunEvent([this] { RequireWorkflow().Printing.PrintControlledClick(); });
}

void TAddInModule::BackstageViewControls1FirstColumn0TopItems0Click(Control& sender) {
  RunEvent([this, &sender] {
    NoWatermarkLabel(surface_).visible = RequireWorkflow().Printing.PrintControlledChecked(sender.checked);
  });
}

void TAddInModule::BackstageViewHide() {
  RunEvent([this] { RequireWorkflow().Printing.BackstageViewHide(); });
}

void TAddInModule::PrintJobPollTimer() {
  RunEvent([this] { RequireWorkflow().Printing.PrintJobPollTimer(); });
}

void TAddInModule::PrintDelayTimer() {
  RunEvent([this] { RequireWorkflow().Printing.PrintDelayTimer(); });
}

void TAddInModule::BindPrinting() {
  PrintJobPoll.SetOnTimer([this] { PrintJobPollTimer(); });
  PrintDelay.SetOnTimer([this] { PrintDelayTimer(); });
  surface_.Bind("PrintControlledClick", [this](Control&, bool&) { PrintControlledClick(); });
  surface_.Bind("BackstageViewControls1FirstColumn0TopItems0Click",
                [this](Control& sender, bool&) { BackstageViewControls1FirstColumn0TopItems0Click(sender); });
  surface_.Bind("BackstageViewHide", [this](Control&, bool&) { BackstageViewHide(); });
}

}  // namespace quillorn::addin
