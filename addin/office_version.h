// The host's version as the year the rest of the add-in reasons in, and the two
// small choices made from it at initialisation (where the Insert group goes, and
// PowerPoint's display name). Pure functions: never asks the host anything.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "addin/host.h"

namespace quillorn::addin {

// The first two characters of Application.Version read as a number (14 when they
// are none): 12 is 2007, 13 and 15 are 2013, 14 is 2010, anything else 2016.
int OfficeVersionFromString(std::string_view version);

// The InsertBeforeIdMso of the Insert tab's Quillorn group for this host, or
// nullopt where the design value stays (Word, Publisher).
std::optional<std::string> InsertGroupPosition(HostType type, int officeVersion);

// PowerPoint's mAppName: "Microsoft PowerPoint", and "PowerPoint" from 2016 on.
std::string PowerPointAppName(int officeVersion);

}  // namespace quillorn::addin
