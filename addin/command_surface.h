// The add-in's whole command surface as one declarative table: the groups it adds
// to the Home and Insert tabs, the 2007 Office menu, the backstage view, Publisher's
// command bar and menu, and the built-in commands it intercepts. The Windows ribbon
// renders it, the button states write into it, and clicks are routed through it.
// It holds no document logic: handlers are bound by name from above.
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quillorn::addin {

enum class ControlType {
  Tab,             // a built-in ribbon tab that the add-in extends
  Group,           // ribbon or backstage group
  Button,
  Menu,            // a ribbon or Office-menu menu (dynamic ones are filled at run time)
  DialogLauncher,
  Separator,
  OfficeMenu,      // the 2007 Office button menu
  BuiltInMenu,     // a built-in menu the add-in hides and shows
  Backstage,       // the File view of later hosts
  FastCommand,     // backstage command in the left column
  BackstageTab,
  TaskFormGroup,
  Category,
  Task,
  CheckBox,
  Label,
  CommandBar,      // Publisher's old tool bar
  MainMenu,        // Publisher's old menu bar
  MenuItem,
  Intercept,       // a built-in command the add-in replaces
  Shortcut,
};

// One host the surface is shown in; a control lists the hosts of its root.
enum class Host { Word, Excel, PowerPoint, Publisher };

struct Control {
  std::string name;  // component name, for logs and lookups ("HomeTab", "FileSaveCommand")
  ControlType type = ControlType::Button;
  std::string id;    // design identifier where the definition gives one ("qlCustomField")
  std::string caption;
  int imageIndex = -1;  // position in the 32 x 32 image list, -1 for none
  std::string imageMso;
  std::string idMso;  // built-in tab, group or command this control is or extends
  std::string insertBeforeIdMso;
  std::string insertAfterIdMso;
  std::string screenTip;
  std::string superTip;
  std::string description;
  std::string title;
  std::string style;  // "warning" for the attention groups
  int officeId = 0;   // command bar ids of Publisher's old menus
  int tag = 0;
  int firstColumnWidth = 0;
  bool large = false;
  bool dynamic = false;
  bool definitive = false;
  bool temporary = false;
  bool expandVertical = false;
  bool enabled = true;
  bool visible = true;
  bool checked = false;  // a check box's state
  std::string handler;  // the click or action handler, by name; empty for none
  std::vector<Control> controls;
};

struct SurfaceRoot {
  Control control;
  std::vector<Host> hosts;
};

using ClickHandler = std::function<void(Control& sender, bool& cancel)>;

// The surface of one add-in instance: the roots in their design state, handler
// bindings, and lookups by position (how the button states address controls).
class CommandSurface {
 public:
  CommandSurface();

  const std::vector<SurfaceRoot>& Roots() const { return roots_; }

  // The root of that component name; throws std::out_of_range when there is none.
  Control& Root(std::string_view name);
  // A control by its positions under a root: At("HomeTab", {0, 1}) is Home "Revise".
  Control& At(std::string_view root, std::initializer_list<int> path);
  // The first control of that design id anywhere in the surface, or null.
  Control* FindById(std::string_view id);
  // The intercept or shortcut of that component name, or null.
  Control* FindComponent(std::string_view name);

  // The "Custom Field" menu, rebuilt from the document's field catalogue: buttons
  // "qlCustomField1", "qlCustomField2" ... with tag 0, which is how an insert tells a
  // custom field from a revision field. Nothing happens unless qlCustomField is a menu.
  void ClearCustomFieldMenu();
  void AddCustomFieldMenuButton(std::string_view caption, std::string_view value);

  // Handlers by name; Click runs the bound one and reports whether there was one.
  void Bind(std::string handler, ClickHandler fn);
  bool Click(Control& control, bool& cancel);
  // Told the handler's name when a click finds it unbound, so that a command
  // not built yet leaves a trace instead of doing nothing unseen.
  void SetUnboundClick(std::function<void(std::string_view handler)> fn) { unboundClick_ = std::move(fn); }
  // Handler names that the surface refers to and nothing has bound yet, sorted.
  std::vector<std::string> MissingHandlers() const;

 private:
  std::vector<SurfaceRoot> roots_;
  std::map<std::string, ClickHandler, std::less<>> handlers_;
  std::function<void(std::string_view)> unboundClick_;
};

// The design state of each root, as the module first shows it.
Control HomeTabDefinition();
Control InsertTabDefinition();
Control RibbonOfficeMenuDefinition();
Control BackstageViewDefinition();
Control CommandBarDefinition();
Control MainMenuDefinition();
std::vector<Control> InterceptDefinitions();

}  // namespace quillorn::addin
