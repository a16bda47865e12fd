// The add-in's own commands on its surface: Save as Complete, Approve, Check
// Out, Export and the Office menu's "Save As" items, each from every place the
// surface offers it. Whether a command is on offer is the button states'
// business; a handler here runs when the host lets the click through.
#include "addin/addin_module.h"
#include "foundation/guarded.h"
#include "foundation/log.h"
#include "workflow/workflow.h"

namespace quillorn::addin {

void TAddInModule::ExecuteBuiltIn(const char* idMso) {
  foundation::LogTrace("ExecuteMso", idMso);
  platform::Variant(host_.Application).Get("CommandBars").Call("ExecuteMso", {platform::Variant(std::string(idMso))});
}

void TAddInModule::BindCommands() {
  auto command = [this](std::string handler, std::function<void(workflow::Workflow&)> run) {
    surface_.Bind(std::move(handler), [this, run](Control&, bool&) { RunEvent([&] { run(RequireWorkflow()); }); });
  };
  auto saveAsComplete = [](workflow::Workflow& w) { w.Approvals.DocumentSaveAsComplete(); };
  command("SaveAsCompleteClick", saveAsComplete);
  command("MainMenu1Controls0Controls0Click", saveAsComplete);

  auto approve = [](workflow::Workflow& w) { w.Approvals.HomeTabControls0Controls1Click(); };
  command("HomeTabControls0Controls1Click", approve);
  command("CommandBarControls0Click", approve);

  command("BackstageViewControls5FirstColumn0Controls1Controls0Controls0TopItems1Click",
          [](workflow::Workflow& w) { w.Copies.CheckOutButtonClick(); });
  command("BackstageViewControls2FirstColumn0Controls0Controls1Controls0TopItems0Click",
          [](workflow::Workflow& w) { w.Copies.ExportButtonClick(); });

  // The Office menu's own "Save As" items hand over to the host's commands.
  surface_.Bind("RibbonOfficeMenuControls2Controls3Click",
                [this](Control&, bool&) { RunEvent([this] { ExecuteBuiltIn("FileSaveAsOtherFormats"); }); });
  surface_.Bind("RibbonOfficeMenuControls2Controls4Click",
                [this](Control&, bool&) { RunEvent([this] { ExecuteBuiltIn("FileSaveAsPdfOrXps"); }); });
}

}  // namespace quillorn::addin
