// The toolbox form's controls as designed: tabs, groups and controls in their
// order, with captions and the tblDoc column or lookup source each is bound to.
// Layout only: which control is enabled or visible is the form's business.
#pragma once

#include <span>
#include <string_view>

#include "toolbox/pane_renderer.h"

namespace quillorn::toolbox {

struct ControlDef {
  std::string_view name;
  std::string_view caption;
  ControlKind kind;
  std::string_view parent;  // group or tab; "" for a tab
  std::string_view field;   // tblDoc column; "" for an unbound control
  std::string_view list;    // lookup source: sTemplates, sReviewIntervals, sApprovalUsers
  std::string_view key;     // the list's key field
  std::string_view listField;  // the list's shown field
};

std::span<const ControlDef> ToolBoxLayout();
// By name, case-insensitive; null when the form has no such control.
const ControlDef* FindControlDef(std::string_view name);

inline constexpr int kFormWidth = 259;
inline constexpr int kFormHeight = 737;

// Picture ids of the add-in's resources.
inline constexpr int kImage2 = 209;
inline constexpr int kImage3 = 210;
inline constexpr int kImage4 = 211;
inline constexpr int kTemplatesRefreshImage = 212;

}  // namespace quillorn::toolbox
