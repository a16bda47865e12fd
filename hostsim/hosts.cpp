#include "hostsim/hosts.h"

#include "hostsim/excel.h"
#include "hostsim/powerpoint.h"
#include "hostsim/publisher.h"
#include "hostsim/word.h"

namespace quillorn::hostsim {

std::shared_ptr<SimHost> CreateHost(HostType kind) {
  switch (kind) {
    case HostType::ohaWord: return WordHost::Create();
    case HostType::ohaExcel: return ExcelHost::Create();
    case HostType::ohaPowerPoint: return PowerPointHost::Create();
    case HostType::ohaPublisher: return PublisherHost::Create();
  }
  return WordHost::Create();
}

std::optional<HostType> HostKindForFile(std::string_view path) {
  auto slash = path.find_last_of("/\\");
  auto name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  auto dot = name.find_last_of('.');
  if (dot == std::string_view::npos) return std::nullopt;
  const std::string ext = Lower(name.substr(dot));
  for (const char* e : {".docx", ".doc", ".dotx", ".docm", ".dot", ".dotm"}) {
    if (ext == e) return HostType::ohaWord;
  }
  for (const char* e : {".xlsx", ".xls", ".xlsm", ".xltx"}) {
    if (ext == e) return HostType::ohaExcel;
  }
  for (const char* e : {".pptx", ".ppt", ".pptm", ".potx"}) {
    if (ext == e) return HostType::ohaPowerPoint;
  }
  if (ext == ".pub") return HostType::ohaPublisher;
  return std::nullopt;
}

std::optional<HostType> HostKindFromName(std::string_view name) {
  const std::string n = Lower(name);
  if (n == "word") return HostType::ohaWord;
  if (n == "excel") return HostType::ohaExcel;
  if (n == "powerpoint") return HostType::ohaPowerPoint;
  if (n == "publisher") return HostType::ohaPublisher;
  return std::nullopt;
}

}  // namespace quillorn::hostsim
