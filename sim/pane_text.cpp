#include "sim/pane_text.h"

namespace quillorn::sim {

using toolbox::ControlKind;

void TextPaneRenderer::Render(const std::vector<toolbox::PaneControl>& controls) {
  controls_ = controls;
  lines_.clear();
  order_.clear();
  for (const toolbox::PaneControl& c : controls) {
    if (!c.visible || c.kind == ControlKind::Tab || c.kind == ControlKind::Group) continue;
    if (c.kind == ControlKind::Label && c.name != "lblStatus") continue;  // labels say nothing of the record
    // A long caption (the keywords' explanation) would drown the value.
    constexpr std::size_t kLongCaption = 40;
    std::string line = c.caption.empty() || c.caption.size() > kLongCaption ? c.name : "\"" + c.caption + "\"";
    if (c.kind == ControlKind::Image) {
      line += " picture " + c.value;
    } else if (c.kind != ControlKind::Button) {
      line += " = \"" + c.value + "\"";
    }
    if (!c.enabled) line += " (disabled)";
    lines_[c.name] = line;
    order_.push_back(c.name);
  }
}

}  // namespace quillorn::sim
