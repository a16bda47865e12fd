// Fits the backstage definition to the host's user interface generation: the
// tabs it extends are named differently from 2013 on. Touches only the
// BackstageView root of the surface and never adds or removes a control.
#pragma once

#include "addin/command_surface.h"

namespace quillorn::addin {

// From 2013 the 2013 names; below it the 2007/2010 ones, leaving what those
// hosts do not have at its design value. Running it twice gives the same surface.
void AdaptBackstage(CommandSurface& surface, int officeVersion);

}  // namespace quillorn::addin
