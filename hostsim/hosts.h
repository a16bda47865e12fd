// Starting a simulated host by kind, and choosing the kind from a file's
// extension the way the desktop would choose the program that opens it.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "hostsim/host.h"

namespace quillorn::hostsim {

std::shared_ptr<SimHost> CreateHost(HostType kind);
// .docx .doc .dotx .docm .dot -> Word, .xlsx .xls .xlsm -> Excel, .pptx .ppt .potx
// -> PowerPoint, .pub -> Publisher; anything else has no host.
std::optional<HostType> HostKindForFile(std::string_view path);
std::optional<HostType> HostKindFromName(std::string_view name);  // "word", "excel", ...

}  // namespace quillorn::hostsim
