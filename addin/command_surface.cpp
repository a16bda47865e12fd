#include "addin/command_surface.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace quillorn::addin {
namespace {

// Small builders so the definitions below read like the design table.
Control Make(ControlType type, std::string caption = {}) {
  Control c;
  c.type = type;
  c.caption = std::move(caption);
  return c;
}

Control Button(std::string caption, int image, std::string handler) {
  Control c = Make(ControlType::Button, std::move(caption));
  c.imageIndex = image;
  c.handler = std::move(handler);
  return c;
}

Control Label(std::string caption) { return Make(ControlType::Label, std::move(caption)); }

Control Intercept(std::string name, std::string idMso, int officeId, std::string handler,
                  ControlType type = ControlType::Intercept) {
  Control c = Make(type);
  c.name = std::move(name);
  c.idMso = std::move(idMso);
  c.officeId = officeId;
  c.handler = std::move(handler);
  return c;
}

constexpr char kSaveAsDisabledLabel[] = "Please note that \"Save As\" is disabled for Quillorn ducuments";

void CollectHandlers(const Control& c, std::set<std::string>& out) {
  if (!c.handler.empty()) out.insert(c.handler);
  for (const Control& child : c.controls) CollectHandlers(child, out);
}

Control* FindIdIn(Control& c, std::string_view id) {
  if (c.id == id) return &c;
  for (Control& child : c.controls) {
    if (Control* found = FindIdIn(child, id)) return found;
  }
  return nullptr;
}

}  // namespace

Control HomeTabDefinition() {
  Control tab = Make(ControlType::Tab);
  tab.name = "HomeTab";
  tab.idMso = "TabHome";
  Control group = Make(ControlType::Group, "Quillorn");
  group.insertBeforeIdMso = "GroupClipboard";
  group.visible = false;
  Control approve = Button("Approve", 5, "HomeTabControls0Controls1Click");
  approve.large = true;
  approve.enabled = false;
  approve.superTip = "Approve and close the document";
  Control revise = Button("Revise", 6, "");
  revise.large = true;
  revise.enabled = false;
  revise.visible = false;
  group.controls = {approve, revise};
  tab.controls = {group};
  return tab;
}

Control InsertTabDefinition() {
  Control tab = Make(ControlType::Tab);
  tab.name = "InsertTab";
  tab.idMso = "TabInsert";
  Control group = Make(ControlType::Group, "Quillorn");
  group.insertBeforeIdMso = "GroupInsertPages";
  group.visible = false;

  Control custom = Make(ControlType::Menu, "Custom Field");
  custom.id = "qlCustomField";
  custom.large = true;
  custom.imageIndex = 2;
  custom.dynamic = true;

  Control revision = Make(ControlType::Menu, "Revision Field");
  revision.id = "qlRevisionField";
  revision.large = true;
  revision.imageIndex = 3;
  // Alphabetical captions; the tags index the control fields, so 4 and 5 cross.
  const std::pair<const char*, int> fields[] = {
      {"Approved By", 1},       {"Approved Date", 2},   {"Created By", 3},
      {"Document Location", 5}, {"Document Name", 4},   {"Document Number", 6},
      {"Next Review Date", 7},  {"Revision", 8},        {"Revision Date", 9}};
  for (const auto& [caption, tag] : fields) {
    Control b = Button(caption, -1, "InsertCustomFieldClick");
    b.tag = tag;
    revision.controls.push_back(b);
  }

  Control logo = Button("Logo", 12, "InsertLogoClick");
  logo.id = "qllogo";
  logo.large = true;

  Control launcher = Make(ControlType::DialogLauncher);
  launcher.screenTip = "Add or Edit custom fields";
  launcher.visible = false;
  launcher.handler = "InsertDialogLauncherClick";

  group.controls = {custom, revision, logo, launcher};
  tab.controls = {group};
  return tab;
}

Control RibbonOfficeMenuDefinition() {
  Control menu = Make(ControlType::OfficeMenu);
  menu.name = "RibbonOfficeMenu";

  Control complete = Button("Save as Complete", 1, "SaveAsCompleteClick");
  complete.insertAfterIdMso = "FileSave";
  complete.visible = false;

  Control print = Button("Print Controlled", 8, "PrintControlledClick");
  print.insertAfterIdMso = "FilePrintMenu";
  print.visible = false;

  Control saveAs = Make(ControlType::Menu, "Save As");
  saveAs.dynamic = true;
  saveAs.imageMso = "FileSaveAs";
  saveAs.large = true;
  saveAs.insertAfterIdMso = "FileSave";
  saveAs.title = "Save a copy of the document";
  saveAs.visible = false;
  Control checkOut = Button("Check Out Document", 10,
                            "BackstageViewControls5FirstColumn0Controls1Controls0Controls0TopItems1Click");
  Control exportDoc = Button("Export Document", 11,
                             "BackstageViewControls2FirstColumn0Controls0Controls1Controls0TopItems0Click");
  Control pdf = Button("Publish as PDF or XPS", -1, "RibbonOfficeMenuControls2Controls4Click");
  pdf.description = "Publish a copy of the document as a PDF or XPS file.";
  pdf.imageMso = "FileSaveAsPdfOrXps";
  saveAs.controls = {checkOut, exportDoc, Make(ControlType::Separator), pdf};

  Control builtIn = Make(ControlType::BuiltInMenu, "Save As");
  builtIn.idMso = "FileSaveAsMenu";

  menu.controls = {complete, print, saveAs, builtIn};
  return menu;
}

Control BackstageViewDefinition() {
  Control view = Make(ControlType::Backstage);
  view.name = "BackstageView";
  view.handler = "BackstageViewHide";  // OnHide

  Control complete = Make(ControlType::FastCommand, "Save as Complete");
  complete.definitive = true;
  complete.imageIndex = 1;
  complete.insertAfterIdMso = "FileSave";
  complete.visible = false;
  complete.handler = "SaveAsCompleteClick";

  Control printTab = Make(ControlType::BackstageTab);
  printTab.idMso = "TabPrint";
  Control printGroup = Make(ControlType::Group);
  printGroup.insertBeforeIdMso = "GroupPrintSettings";
  Control controlled = Make(ControlType::CheckBox, "Print Controlled");
  controlled.screenTip = "Print without document control watermark";
  controlled.handler = "BackstageViewControls1FirstColumn0TopItems0Click";
  Control noWatermark = Label("Document will be printed without a watermark");
  noWatermark.visible = false;
  printGroup.controls = {controlled, noWatermark};
  printTab.controls = {printGroup};

  // Tab 2: one task form group with one category of three tasks.
  Control taskTab = Make(ControlType::BackstageTab);
  Control taskGroup = Make(ControlType::TaskFormGroup);
  Control category = Make(ControlType::Category);
  Control checkOutTask = Make(ControlType::Task, "Check Out");
  checkOutTask.visible = false;
  Control checkOutGroup = Make(ControlType::Group, "Check Out");
  Control checkOutButton = Make(ControlType::Button, "Check Out");
  checkOutButton.definitive = true;
  checkOutButton.imageMso = "CheckOutFile";
  checkOutButton.large = true;
  checkOutButton.handler = "BackstageViewControls5FirstColumn0Controls1Controls0Controls0TopItems1Click";
  checkOutGroup.controls = {
      Label("\xE2\x96\xA0  Allows the document to be edited remotely without a connection to Quillorn"),
      Label("\xE2\x96\xA0  While Checked Out the document cannot be edited by anyone else or on a machine "
            "that does not have the Quillorn add-in installed unless specifically allowed by the system "
            "administrator."),
      checkOutButton};
  checkOutTask.controls = {checkOutGroup};

  Control exportTask = Make(ControlType::Task, "Export");
  exportTask.imageIndex = 11;
  exportTask.visible = false;
  Control exportGroup = Make(ControlType::Group, "Export from Quillorn");
  Control exportButton = Button("Export", 11,
                                "BackstageViewControls2FirstColumn0Controls0Controls1Controls0TopItems0Click");
  exportButton.large = true;
  exportGroup.controls = {exportButton};
  exportTask.controls = {exportGroup};

  Control attentionTask = Make(ControlType::Task);
  Control attentionGroup = Make(ControlType::Group, "Attention!");
  attentionGroup.style = "warning";
  attentionGroup.insertBeforeIdMso = "GroupFileSave";
  Control attentionLabel = Label(kSaveAsDisabledLabel);
  attentionLabel.expandVertical = true;
  attentionGroup.controls = {attentionLabel};
  attentionTask.controls = {attentionGroup};

  category.controls = {checkOutTask, exportTask, attentionTask};
  taskGroup.controls = {category};
  taskTab.controls = {taskGroup};

  Control attentionTab = Make(ControlType::BackstageTab);
  attentionTab.firstColumnWidth = 200;
  Control tabGroup = Make(ControlType::Group, "Attention!");
  tabGroup.style = "warning";
  tabGroup.visible = false;
  tabGroup.controls = {Label(kSaveAsDisabledLabel)};
  attentionTab.controls = {tabGroup};

  Control shareTab = Make(ControlType::BackstageTab, "Share");
  shareTab.visible = false;

  view.controls = {complete, printTab, taskTab, attentionTab, shareTab};
  return view;
}

Control CommandBarDefinition() {
  Control bar = Make(ControlType::CommandBar, "Standard");
  bar.name = "CommandBar";
  bar.temporary = true;
  Control approve = Button("Approve", -1, "CommandBarControls0Click");
  approve.screenTip = "Approve and close the document";
  approve.officeId = 2520;  // placed before this built-in
  Control revise = Button("Revise", -1, "");
  revise.visible = false;
  bar.controls = {approve, revise};
  return bar;
}

Control MainMenuDefinition() {
  Control bar = Make(ControlType::MainMenu, "Menu Bar");
  bar.name = "MainMenu";
  const std::pair<const char*, int> menus[] = {
      {"&File", 30002}, {"&Edit", 30003}, {"&View", 30004}, {"&Tools", 30007}, {"&Help", 30010}};
  for (const auto& [caption, id] : menus) {
    Control m = Make(ControlType::Menu, caption);
    m.officeId = id;
    bar.controls.push_back(m);
  }
  Control complete = Make(ControlType::MenuItem, "Save as Complete");
  complete.temporary = true;
  complete.officeId = 748;  // placed after this built-in
  complete.handler = "MainMenu1Controls0Controls0Click";
  bar.controls[0].controls.push_back(complete);
  return bar;
}

std::vector<Control> InterceptDefinitions() {
  return {
      Intercept("FileSaveCommand", "FileSave", 0, "FileSaveCommandAction"),
      Intercept("FileSaveControl", "", 3, "FileSaveControlActionEx"),
      [] {
        Control c = Intercept("FileSaveShortcut", "", 0, "FileSaveShortcutAction", ControlType::Shortcut);
        c.caption = "Ctrl+S";
        return c;
      }(),
      Intercept("FileSaveAsCommand", "FileSaveAs", 0, "FileSaveAsCommandAction"),
      Intercept("SaveAsCommand", "", 748, "SaveAsCommandActionEx"),
      Intercept("PrintCommand", "FilePrint", 0, "PrintCommandAction"),
      Intercept("PrintQuickCommand", "FilePrintQuick", 0, "PrintCommandAction"),
      Intercept("SendEmail", "FileSendAsAttachment", 0, "SendEmailAction"),
      Intercept("SendEmail2", "MailMergeMergeToEMail", 0, "SendEmailAction"),
      Intercept("SendEmail3", "FileEmailAsPdfEmailAttachment", 0, "SendEmailAction"),
      Intercept("SendEmail4", "FileEmailAsXpsEmailAttachment", 0, "SendEmailAction"),
      Intercept("InsertCommand", "PictureInsertFromFile", 0, "InsertCommandAction"),
      Intercept("InsertCommand2", "PictureInsertFromFilePowerPoint", 0, "InsertCommandAction"),
  };
}

CommandSurface::CommandSurface() {
  const std::vector<Host> officeHosts = {Host::Word, Host::Excel, Host::PowerPoint};
  roots_.push_back({HomeTabDefinition(), {Host::Word, Host::Excel, Host::PowerPoint, Host::Publisher}});
  roots_.push_back({InsertTabDefinition(), officeHosts});
  roots_.push_back({RibbonOfficeMenuDefinition(), officeHosts});
  roots_.push_back({BackstageViewDefinition(), officeHosts});
  roots_.push_back({CommandBarDefinition(), {Host::Publisher}});
  roots_.push_back({MainMenuDefinition(), {Host::Publisher}});
  Control intercepts = Make(ControlType::Group);
  intercepts.name = "Intercepts";
  intercepts.controls = InterceptDefinitions();
  roots_.push_back({intercepts, {Host::Word, Host::Excel, Host::PowerPoint, Host::Publisher}});
}

Control& CommandSurface::Root(std::string_view name) {
  for (SurfaceRoot& root : roots_) {
    if (root.control.name == name) return root.control;
  }
  throw std::out_of_range("no command root named " + std::string(name));
}

Control& CommandSurface::At(std::string_view root, std::initializer_list<int> path) {
  Control* c = &Root(root);
  for (int index : path) {
    if (index < 0 || static_cast<size_t>(index) >= c->controls.size()) {
      throw std::out_of_range("no control at position " + std::to_string(index) + " under " +
                              std::string(root));
    }
    c = &c->controls[static_cast<size_t>(index)];
  }
  return *c;
}

Control* CommandSurface::FindById(std::string_view id) {
  for (SurfaceRoot& root : roots_) {
    if (Control* found = FindIdIn(root.control, id)) return found;
  }
  return nullptr;
}

Control* CommandSurface::FindComponent(std::string_view name) {
  for (Control& c : Root("Intercepts").controls) {
    if (c.name == name) return &c;
  }
  return nullptr;
}

void CommandSurface::ClearCustomFieldMenu() {
  Control* menu = FindById("qlCustomField");
  if (menu == nullptr || menu->type != ControlType::Menu) return;
  menu->controls.clear();
}

void CommandSurface::AddCustomFieldMenuButton(std::string_view caption, std::string_view /*value*/) {
  Control* menu = FindById("qlCustomField");
  if (menu == nullptr || menu->type != ControlType::Menu) return;
  Control b = Button(std::string(caption), -1, "InsertCustomFieldClick");
  b.id = "qlCustomField" + std::to_string(menu->controls.size() + 1);
  menu->controls.push_back(std::move(b));
}

void CommandSurface::Bind(std::string handler, ClickHandler fn) { handlers_[std::move(handler)] = std::move(fn); }

bool CommandSurface::Click(Control& control, bool& cancel) {
  auto it = handlers_.find(control.handler);
  if (control.handler.empty() || it == handlers_.end() || !it->second) {
    if (!control.handler.empty() && unboundClick_) unboundClick_(control.handler);
    return false;
  }
  it->second(control, cancel);
  return true;
}

std::vector<std::string> CommandSurface::MissingHandlers() const {
  std::set<std::string> referenced;
  for (const SurfaceRoot& root : roots_) CollectHandlers(root.control, referenced);
  std::vector<std::string> missing;
  for (const std::string& name : referenced) {
    if (handlers_.find(name) == handlers_.end()) missing.push_back(name);
  }
  return missing;
}

}  // namespace quillorn::addin
