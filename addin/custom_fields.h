// The "Custom Field" menu rebuilt from the document type's field list: one
// button per row of tblDocFields, in the table's order. A surface whose
// qlCustomField is missing or not a menu is left as it is.
#pragma once

#include "addin/command_surface.h"
#include "data/table.h"

namespace quillorn::addin {

// Empties the menu and adds a button for each row's CODE (its VAL goes along
// unused). The table's cursor ends past the last row.
void PopulateCustomFields(CommandSurface& surface, data::Table& tblDocFields);

}  // namespace quillorn::addin
