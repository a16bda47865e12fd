#include "hostsim/hosts.h"

#include "hostsim/excel.h"
#include "hostsim/powerpoint.h"
#include "hostsim/publisher.h"
#include "hostsim/word.h"

namespace quillorn::hostsim {

std::shared_ptr<SimHost> CreateHost(HostKind kind) {
  switch (kind) {
    case HostKind::Word: return WordHost::Create();
    case HostKind::Excel: return ExcelHost::Create();
    case HostKind::PowerPoint: return PowerPointHost::Create();
    case HostKind::Publisher: return PublisherHost::Create();
  }
  return WordHost::Create();
}

std::optional<HostKind> HostKindForFile(std::string_view path) {
  auto slash = path.find_last_of("/\\");
  auto name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  auto dot = name.find_last_of('.');
  if (dot == std::string_view::npos) return std::nullopt;
  const std::string ext = Lower(name.substr(dot));
  for (const char* e : {".docx", ".doc", ".dotx", ".docm", ".dot", ".dotm"}) {
    if (ext == e) return HostKind::Word;
  }
  for (const char* e : {".xlsx", ".xls", ".xlsm", ".xltx"}) {
    if (ext == e) return HostKind::Excel;
  }
  for (const char* e : {".pptx", ".ppt", ".pptm", ".potx"}) {
    if (ext == e) return HostKind::PowerPoint;
  }
  if (ext == ".pub") return HostKind::Publisher;
  return std::nullopt;
}

std::optional<HostKind> HostKindFromName(std::string_view name) {
  const std::string n = Lower(name);
  if (n == "word") return HostKind::Word;
  if (n == "excel") return HostKind::Excel;
  if (n == "powerpoint") return HostKind::PowerPoint;
  if (n == "publisher") return HostKind::Publisher;
  return std::nullopt;
}

}  // namespace quillorn::hostsim
