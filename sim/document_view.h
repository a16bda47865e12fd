// What a user could see of a simulated document and of the add-in's pane and
// ribbon, read for the narration and the scenario's expectations; and the one
// change a user makes by hand, typing. Never calls the add-in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "hostsim/model.h"

namespace quillorn::addin {
struct Control;
class CommandSurface;
}

namespace quillorn::sim {

class SimInstance;

// The status stamp's word: Word's footer box, PowerPoint's master boxes, the
// word drawn in Excel's centre-header picture ("(picture)" when it cannot be
// read); empty without a stamp.
std::string StampWord(const hostsim::DocumentModel& doc);
// A custom document property (Publisher: a tag); nullopt when there is none.
std::optional<std::string> PropertyValue(const hostsim::DocumentModel& doc, std::string_view name);
// Word's protection, Excel's sheet or workbook protection, PowerPoint's final mark.
bool IsProtected(const hostsim::DocumentModel& doc);
// The user types at the end of the text (Word), into the first sheet's name
// area (Excel) or the first slide; the document counts as changed.
void TypeText(hostsim::DocumentModel& doc, const std::string& text);

// Whether the host's Quillorn pane is up; nullopt when the host has no pane item.
std::optional<bool> PaneShown(SimInstance& instance);
// A ribbon or backstage control by component name, design id or caption (the
// first in the surface's order; "ROOT/NAME" only under that root component);
// null when there is none. With an Office version, only what that version
// shows: the Office menu in 2007, the File view (backstage) from 2010.
addin::Control* FindControl(addin::CommandSurface& surface, std::string_view name, int officeVersion = 0);
// The same for a click ("CommandBar/Approve"). `offered` tells whether the user
// can reach the control: it and every control above it visible, and it enabled.
addin::Control* FindClickable(addin::CommandSurface& surface, std::string_view name, bool& offered,
                              int officeVersion = 0);

}  // namespace quillorn::sim
