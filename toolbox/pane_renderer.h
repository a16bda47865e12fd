// What a renderer gets of a pane view-model: a flat list of controls, each with
// its name, caption, kind, shown value, list items and states, in layout order.
// The view-model never draws; a text renderer (the simulator) and the Win32 pane
// draw from this list and send the user's input back by control name.
#pragma once

#include <string>
#include <vector>

namespace quillorn::toolbox {

enum class ControlKind { Tab, Group, Label, Text, Edit, Memo, Date, Check, Lookup, Radio, Button, Image };

const char* KindName(ControlKind kind);

struct PaneControl {
  std::string name;
  std::string caption;
  ControlKind kind = ControlKind::Label;
  std::string parent;  // the group or tab it sits in; "" for a tab
  // Text of an edit, "True"/"False" of a check box or radio button, the shown
  // item of a lookup, the picture id of an image.
  std::string value;
  std::vector<std::string> items;  // a lookup's list, as shown
  bool enabled = true;
  bool visible = true;
};

class PaneRenderer {
 public:
  virtual ~PaneRenderer() = default;
  // The whole pane, after anything in it may have changed.
  virtual void Render(const std::vector<PaneControl>& controls) = 0;
};

}  // namespace quillorn::toolbox
