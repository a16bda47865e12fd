// The file form of a simulated document: the whole model as JSON, so that a
// document saved by one simulated host opens in another process as it was.
// Never touches the running host's state; callers decide when to read or write.
#pragma once

#include <memory>
#include <string>

#include "hostsim/model.h"

namespace quillorn::hostsim {

// Top-level keys: "host" ("word", "excel", "powerpoint", "publisher"),
// "customProperties" [{name, type, value}], "builtInProperties" {name: value},
// "tags", "protection", "sections" (headers/footers with text, fields, shapes),
// "mainStory", "sheets", "names", "slides", "titleMaster", "slideMaster"...
std::string DocumentToJson(const DocumentModel& doc);
// Raises std::runtime_error for text that is not a simulated document.
std::shared_ptr<DocumentModel> DocumentFromJson(const std::string& text, HostType expected);

// Reads or writes a file. A missing file or an empty one gives a new empty
// document of the host's kind; an unreadable one raises std::runtime_error.
std::shared_ptr<DocumentModel> LoadDocumentFile(const std::string& path, HostType host);
void SaveDocumentFile(const DocumentModel& doc, const std::string& path);

const char* HostKindName(HostType kind) noexcept;

}  // namespace quillorn::hostsim
