// The simulator's renderer of the toolbox pane: each shown control as one line
// of text, so that the narration can tell what changed and a scenario can
// expect a control's value and state.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "toolbox/pane_renderer.h"

namespace quillorn::sim {

class TextPaneRenderer final : public toolbox::PaneRenderer {
 public:
  void Render(const std::vector<toolbox::PaneControl>& controls) override;

  // What each control shows, by name: "Document name = "Fire Safety Plan"",
  // with "(disabled)" after a control that takes no input. Hidden controls,
  // groups and tabs other than the one in front are not there.
  const std::map<std::string, std::string>& Lines() const { return lines_; }
  const std::vector<std::string>& Order() const { return order_; }
  const std::vector<toolbox::PaneControl>& Controls() const { return controls_; }

 private:
  std::vector<toolbox::PaneControl> controls_;
  std::map<std::string, std::string> lines_;
  std::vector<std::string> order_;
};

}  // namespace quillorn::sim
