// What the four simulated applications have in common: the application's own
// settings and Quit, the document collection, the members every document has
// (names, Saved, Save, SaveAs, Close, properties) and its window.
#pragma once

#include <memory>
#include <string>

#include "hostsim/model.h"
#include "hostsim/sim_object.h"

namespace quillorn::hostsim {

class SimHost;

class ApplicationBase : public SimObject {
 public:
  // `collection` is "Documents", "Workbooks" or "Presentations"; `active` is
  // the name of the active document's property.
  ApplicationBase(SimHost& host, std::string app_name, std::string collection, std::string active);
};

class DocumentBase : public SimObject {
 public:
  DocumentBase(SimHost& host, std::shared_ptr<DocumentModel> doc, std::string type_name);
};

// The one window of a document.
ObjectRef WindowRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc);
ObjectRef WindowsRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc);  // null: the application's
// The document's name as the host shows it: file name, or "Document1" for a new one.
std::string DocumentName(const DocumentModel& doc);

}  // namespace quillorn::hostsim
