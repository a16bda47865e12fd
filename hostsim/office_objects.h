// Objects that Word, Excel, PowerPoint and Publisher share: shapes and their
// text, font, line and fill; fields; custom and built-in properties; tags.
// Each wraps a node of the plain model and never copies its data.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hostsim/model.h"
#include "hostsim/sim_object.h"

namespace quillorn::hostsim {

class SimHost;

// Wrapper of `shape`, which lives in `list` (so that Delete can take it out).
ObjectRef ShapeRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc, const std::shared_ptr<ShapeModel>& shape,
                   ShapeList* list);
// A shapes collection: AddTextBox adds to `add_to`; Count and Item see the
// lists `visible` gives (by default `add_to` alone), as Word's header Shapes
// sees the shapes of every header and footer. `facet` tells collections over
// the same list apart.
using ShapeListsFn = std::function<std::vector<ShapeList*>()>;
ObjectRef ShapesRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc, ShapeList* add_to,
                    ShapeListsFn visible = nullptr, std::string_view facet = "shapes");
ObjectRef FieldsRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc, std::vector<FieldModel>* fields);
ObjectRef CustomPropertiesRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc);
ObjectRef BuiltInPropertiesRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc);
ObjectRef TagsRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc);

// Collection index: 1-based integer or name. Raises when out of range.
std::size_t IndexArg(const Variant& index, std::size_t count, std::string_view what);

// Writes a small file where a host would write an export (a PDF, a picture),
// so that code that goes on to read or delete that file finds it.
void WriteStandInFile(const std::string& path, const std::string& what);

// What a document property field shows once updated.
void UpdateField(FieldModel& field, const DocumentModel& doc);

}  // namespace quillorn::hostsim
