#include "addin/backstage_adaptation.h"

#include <initializer_list>
#include <optional>
#include <string>

namespace quillorn::addin {
namespace {

struct Adaptation {
  std::initializer_list<int> path;  // under BackstageView
  std::string Control::*field;
  const char* from2013;
  std::optional<const char*> below2013;  // nullopt: the design value stays
};

const Adaptation kAdaptations[] = {
    {{2}, &Control::idMso, "TabPublish", "TabShare"},
    {{2, 0}, &Control::idMso, "PublishGroup", "GroupShare"},
    {{2, 0, 0}, &Control::idMso, "FileTypes", std::nullopt},
    {{2, 0, 0, 0}, &Control::imageMso, "CheckOutFile", "CheckOutFile"},
    {{2, 0, 0, 2}, &Control::idMso, "FileTypeChange", std::nullopt},
    {{3}, &Control::idMso, "TabSave", ""},
    {{3, 0}, &Control::insertBeforeIdMso, "SaveGroup", ""},
    {{4}, &Control::idMso, "TabShare", std::nullopt},
};

}  // namespace

void AdaptBackstage(CommandSurface& surface, int officeVersion) {
  const bool from2013 = officeVersion >= 2013;
  if (from2013) surface.At("BackstageView", {0}).imageIndex = -1;
  for (const Adaptation& a : kAdaptations) {
    Control& control = surface.At("BackstageView", a.path);
    if (from2013) {
      control.*a.field = a.from2013;
    } else if (a.below2013) {
      control.*a.field = *a.below2013;
    }
  }
}

}  // namespace quillorn::addin
