// Whatever opens or becomes active in a host ends up here: the routine tells a
// document announced by the desktop program from one it already tracks, a
// checked-out copy, a copy of a managed file and a foreign file, by the cmsID
// inside the file and the file's FILES row, and treats each as its kind needs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "automation/stamping.h"

#include "workflow/files_refresh.h"
#include "workflow/module_site.h"

namespace quillorn::workflow {

// cmsID of `doc` read as "id" or "id;user"; both 0 when it is missing or no number.
void ExtractDocID(HostType host, const Variant& doc, std::int32_t& docId, std::int32_t& docUserId);

// What stamping reads: the FILES row's CHECKED_OUT and the record tblDoc stands on.
automation::StampRecord StampRecordOf(data::DocumentRecords& records);

class DocumentTracking {
 public:
  explicit DocumentTracking(ModuleSite& site) : site_(site) {}

  void DocumentChangedEvent(const Variant& doc);
  // The host's active document, workbook or presentation; Empty when there is none.
  Variant GetActiveDoc();
  // Writes the current FILES row's identity into the active document.
  void ResetCmsID();
  void ActivateToolbox(std::int64_t docId);
  void DeactivateToolbox();
  // The data module's answers when fetched rows arrive while documents are open.
  void RefreshDocFields(std::int64_t docId);
  void RefreshTemplateQuery();
  // Where a document opened only to be printed goes once it is stamped.
  void SetPrintOpen(std::function<void(const Variant& doc)> handler) { printOpen_ = std::move(handler); }

 private:
  // INIT false: the announced document's first handling.
  void FirstHandling(const Variant& doc);
  // No row: the file is recorded as what its cmsID says it is.
  void AppendRow(const Variant& doc, const std::string& docName, std::int32_t docId, std::int32_t docUserId);
  void OpenCheckedOutRestAndActivate(std::int32_t docId);
  // Record, fields and (Word) logo into the document; docId 0 keeps tblDoc's row.
  void WriteFields(const Variant& doc, std::int64_t docId);

  ModuleSite& site_;
  FilesRefresh filesRefresh_;
  std::function<void(const Variant& doc)> printOpen_;
};

}  // namespace quillorn::workflow
