// Writes a document's record, its user-defined fields and the nine control
// fields into the document (custom properties, named shapes, defined names),
// and makes Word's fields show the new values. Never shows a message and never
// lets a host's failure out: every failure ends in the log.
#pragma once

#include <cstdint>

#include "automation/control_fields.h"
#include "automation/doc_record_source.h"
#include "automation/file_type.h"
#include "platform/variant.h"

namespace quillorn::automation {

// What the field routines work with besides the document: the data module's
// record, the host this instance runs in, and the instance's control values.
struct DocFieldsContext {
  DocRecordSource& dm;
  HostType host;
  // The host application; PowerPoint's control fields go to its active
  // presentation, which need not be the document passed in.
  Variant application;
  ControlFieldValueArray& ControlFieldValues;
};

// DocID 0: the record tblDoc stands on; otherwise tblDoc moves to it first.
// RemoveID deletes cmsID from the document instead of making sure of it.
void SetDocFields(DocFieldsContext& ctx, const Variant& Doc, std::int64_t DocID, bool RemoveID);
inline void SetDocFields(DocFieldsContext& ctx, const Variant& Doc, bool RemoveID) {
  SetDocFields(ctx, Doc, 0, RemoveID);
}

// Word only: updates the document-property fields of every story, the text
// boxes of headers and footers, and every table of contents.
void UpdateDocFields(HostType host, const Variant& Doc);

}  // namespace quillorn::automation
