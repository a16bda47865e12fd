#include "addin/office_version.h"

#include "data/settings.h"

namespace quillorn::addin {

int OfficeVersionFromString(std::string_view version) {
  const int major = data::StrToIntDef(version.substr(0, 2), 14);
  // 13 was never shipped; it is read as 2013 on purpose, out of order as it looks.
  switch (major) {
    case 12: return 2007;
    case 13: return 2013;
    case 14: return 2010;
    case 15: return 2013;
    default: return 2016;
  }
}

std::optional<std::string> InsertGroupPosition(HostType type, int officeVersion) {
  switch (type) {
    case HostType::ohaExcel: return "GroupInsertTablesExcel";
    case HostType::ohaPowerPoint: return officeVersion >= 2013 ? "GroupSlides2" : "GroupInsertTables";
    default: return std::nullopt;
  }
}

std::string PowerPointAppName(int officeVersion) {
  return officeVersion == 2016 ? "PowerPoint" : "Microsoft PowerPoint";
}

}  // namespace quillorn::addin
