#include "workflow/document_tracking.h"

#include <exception>
#include <string>

#include "automation/doc_properties.h"
#include "automation/document_fields.h"
#include "automation/logo.h"
#include "automation/protection.h"
#include "automation/stamping.h"
#include "automation/track_changes.h"
#include "data/proc_name_scope.h"
#include "data/records.h"
#include "data/sql_dialect.h"
#include "foundation/context.h"
#include "foundation/guarded.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "platform/prompts.h"

namespace quillorn::workflow {

namespace {

using data::Fetch;
using data::Wait;
using foundation::LogTrace;

constexpr char kLoginToSeeToolbox[] =
    "The QuillornToolBox will not be displayed unless you login.\rHowever settings for this document allows you to "
    "continue editing it as normal.";
constexpr char kServerNotReachable[] =
    "The QuillornToolBox cannot be displayed at this time as your server is not reachable.\rYou may continue "
    "editing the document but cannot check it back into Quillorn from here.";

// The log-in dialog's answer for a user who gave up; the data module answers 0.
constexpr int kLoginCancelled = -2;

// doc_no of the record of that id, 0 without one.
int DocNoOf(data::DocumentRecords& records, std::int32_t docId) {
  data::Table& docs = records.tblDoc();
  if (!docs.Active() || !data::LocateDocId(docs, docId)) return 0;
  return records.Doc().DOC_NO;
}

}  // namespace

automation::StampRecord StampRecordOf(data::DocumentRecords& records) {
  automation::StampRecord stamp;
  stamp.CHECKED_OUT = records.Files().CHECKED_OUT;
  const data::DocRecord doc = records.Doc();
  stamp.status = doc.STATUS;
  stamp.is_current = doc.IS_CURRENT;
  stamp.is_latest = doc.IS_LATEST;
  return stamp;
}

void ExtractDocID(HostType host, const Variant& doc, std::int32_t& docId, std::int32_t& docUserId) {
  std::string value;
  try {
    const Variant read = host == HostType::ohaPublisher ? automation::Tag(doc, automation::kCmsIdProperty).Get("value")
                                                        : automation::CustomPropertyValue(doc, automation::kCmsIdProperty);
    value = read.AsString();
  } catch (const std::exception&) {
    // No such property: the document has no identity.
  }
  const std::size_t semicolon = value.find(';');
  if (semicolon == std::string::npos) {
    docId = foundation::StrToIntDef(value, 0);
    docUserId = 0;
    return;
  }
  docId = foundation::StrToIntDef(std::string_view(value).substr(0, semicolon), 0);
  docUserId = foundation::StrToIntDef(std::string_view(value).substr(semicolon + 1, 10), 0);
}

void DocumentTracking::DocumentChangedEvent(const Variant& doc) {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("DocumentChangedEvent");
  data::Table& files = records.tblFiles();

  std::string docName;
  try {
    docName = doc.Get("FullName").AsString();
    LogTrace("got docName: ", docName);
  } catch (const std::exception&) {
    LogTrace("doc.FullName failed", "");
    docName.clear();
  }

  std::int32_t docId = 0;
  std::int32_t docUserId = 0;
  try {
    ExtractDocID(site_.Host(), doc, docId, docUserId);
    LogTrace("got DocId: ", std::to_string(docId) + " and DocUserId: " + std::to_string(docUserId));
  } catch (const std::exception&) {
    LogTrace("ExtractDocID failed", "");
    docId = 0;
    docUserId = 0;
  }

  if (docName.empty()) return;
  if (!files.Active()) {
    LogTrace("tblFiles NOT Active", "");
    site_.Fetcher().OpenFiles();
    // The first document of a session throws away a checked-out copy's row that
    // an earlier session left for this very file.
    records.cacheExecSQL("delete from FILES where CHECKED_OUT=true and FILENAME='" + data::SqlSafeString(docName) +
                         "'");
    filesRefresh_.Forget();
    filesRefresh_.Refresh(files);
  } else {
    LogTrace("tblFiles Active", "");
    // Other host processes write FILES too.
    filesRefresh_.Refresh(files);
  }

  // A row under the negated id is a private copy of the system's own and wins.
  bool found = false;
  if (docId != 0) found = data::LocateDocId(files, -docId) || data::LocateDocId(files, docId);
  if (!found) found = files.Locate("FILENAME", Variant(docName), data::LocateOptions{.caseInsensitive = true});
  const data::FilesRecord row = records.Files();
  if (found) docName = row.FILENAME;
  LogTrace(found ? "DocName in tblFiles" : "DocName NOT in tblFiles", "");
  const bool oleIgnore = found && row.OLE_IGNORE;
  LogTrace(oleIgnore ? "OLE_IGNORE=true" : "OLE_IGNORE=false", "");

  if (oleIgnore) {
    if (!row.SESSION_ID) {
      LogTrace("Set tblFiles SessionID: ", std::to_string(site_.SessionID()) + " for file: " + docName);
      data::UpdateFiles(files, {.SESSION_ID = site_.SessionID()});
    }
    return;
  }

  if (found && row.INIT) {
    LogTrace("init=true", "");
    if (row.IGNORE) {
      LogTrace("ignore=true", "");
      DeactivateToolbox();
    } else {
      LogTrace("ignore=false", "");
      data::Table& docs = records.tblDoc();
      if (docs.Active() && data::LocateDocId(docs, row.DOC_ID)) {
        ActivateToolbox(row.DOC_ID);
      } else {
        DeactivateToolbox();
      }
    }
  } else if (found) {
    LogTrace("init=false", "");
    FirstHandling(doc);
  } else {
    LogTrace("DocName not in tblFiles: ", docName);
    AppendRow(doc, docName, docId, docUserId);
  }
  files.PostIfEditing();
}

void DocumentTracking::FirstHandling(const Variant& doc) {
  data::DocumentRecords& records = site_.Records();
  data::DataFetcher& fetcher = site_.Fetcher();
  data::Table& files = records.tblFiles();
  const HostType host = site_.Host();

  automation::HideTrackingChanges(host, doc);
  const data::FilesRecord row = records.Files();
  const std::int32_t id = row.DOC_ID;
  records.SetUserID(row.USER_ID);

  // The cache counts as current: nothing here may wait for the server.
  fetcher.OpenDocFields(Fetch::CacheIsCurrent);
  site_.PopulateCustomFields();
  fetcher.OpenUsers(Fetch::CacheIsCurrent);
  fetcher.OpenUserGroupLinks(Fetch::IfNeeded);
  fetcher.OpenGroups(Fetch::IfNeeded);
  fetcher.OpenDoc(id, Fetch::IfNeeded, Wait::No);
  fetcher.OpenDocPermissions(id, row.USER_ID, Fetch::IfNeeded, Wait::No);
  fetcher.OpenLogo(Fetch::CacheIsCurrent);
  fetcher.OpenCodes(Fetch::CacheIsCurrent);

  data::UpdateFiles(files, {.SESSION_ID = site_.SessionID()});

  automation::UnprotectDocument(host, doc, row.READ_ONLY);
  ResetCmsID();

  if (row.PRINT) {
    LogTrace("print=true", "");
    automation::StampDocument(host, StampRecordOf(records), id, doc, row.PRINT_CONTROLLED, true);
    if (records.Doc().IsLatestOrCurrent()) WriteFields(doc, 0);
    data::UpdateFiles(files, {.INIT = true, .IGNORE = true});
    if (host == HostType::ohaWord) doc.Put("Saved", Variant(true));
    if (printOpen_) printOpen_(doc);
    // A print-only open gets no pane.
    return;
  }

  LogTrace("print=false", "");
  site_.NotBuilt("ConnectTetherClient");
  fetcher.ConnectToServer(Wait::No);
  fetcher.OpenTemplates(Fetch::CacheIsCurrent);
  fetcher.OpenWebForm(DocNoOf(records, id), Fetch::CacheIsCurrent, Wait::No);
  automation::StampDocument(host, StampRecordOf(records), id, doc, !row.READ_ONLY, false);
  if (records.Doc().IsLatestOrCurrent()) {
    LogTrace("(is_latest or is_current)=true", "");
    WriteFields(doc, 0);
  }
  data::UpdateFiles(files, {.INIT = true});

  if (row.READ_ONLY) {
    LogTrace("read_only=true", "");
    if (host == HostType::ohaWord && doc.Get("Revisions").Get("Count").AsInt() > 0) {
      doc.Put("TrackRevisions", Variant(false));
      if (doc.Get("Revisions").Get("Count").AsInt() > 0) doc.Call("AcceptAllRevisions");
    }
    automation::ProtectDocument(host, doc);
  }
  // What was done here is no change of the user's.
  if (host == HostType::ohaWord) doc.Put("Saved", Variant(true));
  ActivateToolbox(id);
}

void DocumentTracking::AppendRow(const Variant& doc, const std::string& docName, std::int32_t docId,
                                 std::int32_t docUserId) {
  data::DocumentRecords& records = site_.Records();
  data::DataFetcher& fetcher = site_.Fetcher();
  data::Table& files = records.tblFiles();
  const HostType host = site_.Host();
  data::FilesChange row{.FILENAME = docName, .DOC_ID = docId, .SESSION_ID = site_.SessionID(), .INIT = true};

  if (docId == 0) {
    row.IGNORE = true;
    data::AppendFiles(files, row);
    DeactivateToolbox();
    return;
  }
  if (docUserId == 0) {
    // A copy of a managed file: left alone, and the pane of the document
    // before it stays up.
    row.IGNORE = true;
    row.CHECKED_OUT = false;
    row.READ_ONLY = false;
    data::AppendFiles(files, row);
    return;
  }

  // A checked-out copy: whoever logs in decides what the user gets.
  row.IGNORE = false;
  row.CHECKED_OUT = true;
  automation::HideTrackingChanges(host, doc);
  int login = records.PromptUserForLogin(site_.Prompts(), site_.OfficeVersion());
  if (login == 0) login = kLoginCancelled;

  if (login == docUserId) {
    row.READ_ONLY = false;
    data::AppendFiles(files, row);
    automation::UnprotectDocument(host, doc, false);
    automation::StampDocument(host, StampRecordOf(records), docId, doc, true, false);
    if (host == HostType::ohaWord) doc.Put("Saved", Variant(true));
    fetcher.ConnectToServer(Wait::No);
    fetcher.OpenUsers(Fetch::IfNeeded);
    fetcher.OpenUserGroupLinks(Fetch::IfNeeded);
    fetcher.OpenGroups(Fetch::IfNeeded);
    // The owner is back: the record and rights are asked for now, so that the
    // pane shows them as the server has them.
    fetcher.OpenDoc(docId, Fetch::Refresh, Wait::ForAnswer);
    OpenCheckedOutRestAndActivate(docId);
    return;
  }

  const bool wasProtected = automation::UnprotectDocument(host, doc, false);
  row.READ_ONLY = wasProtected;
  data::AppendFiles(files, row);
  automation::StampDocument(host, StampRecordOf(records), docId, doc, !wasProtected, false);
  if (wasProtected) automation::ProtectDocument(host, doc);
  if (host == HostType::ohaWord) doc.Put("Saved", Variant(true));
  if (wasProtected || login == kLoginCancelled) {
    DeactivateToolbox();
    site_.Prompts().MessageDlg(kLoginToSeeToolbox, platform::MessageKind::Information, platform::Buttons::OK);
    return;
  }
  if (fetcher.mIsServerReachable()) {
    fetcher.OpenDoc(docId, Fetch::IfNeeded, Wait::No);
    OpenCheckedOutRestAndActivate(docId);
    return;
  }
  DeactivateToolbox();
  site_.Prompts().MessageDlg(kServerNotReachable, platform::MessageKind::Information, platform::Buttons::OK);
}

// What a checked-out copy needs beside its record before its pane shows, the
// same whoever may edit it.
void DocumentTracking::OpenCheckedOutRestAndActivate(std::int32_t docId) {
  data::DataFetcher& fetcher = site_.Fetcher();
  const int userId = site_.Records().UserID();
  if (!fetcher.DocPermissionsIsCached(docId, userId)) {
    fetcher.OpenDocPermissions(docId, userId, Fetch::Refresh, Wait::ForAnswer);
  }
  fetcher.OpenDocFields(Fetch::IfNeeded);
  fetcher.OpenLogo(Fetch::IfNeeded);
  fetcher.OpenTemplates(Fetch::IfNeeded);
  fetcher.OpenWebForm(DocNoOf(site_.Records(), docId), Fetch::IfNeeded, Wait::No);
  ActivateToolbox(docId);
}

void DocumentTracking::WriteFields(const Variant& doc, std::int64_t docId) {
  automation::SetDocFields(site_.FieldsContext(), doc, docId, false);
  automation::UpdateDocFields(site_.Host(), doc);
  // Only Word documents carry the logo shapes.
  if (site_.Host() == HostType::ohaWord) automation::UpdateLogo(doc, site_.Fetcher().GetLogoFile());
}

Variant DocumentTracking::GetActiveDoc() {
  try {
    const Variant app = site_.Application();
    switch (site_.Host()) {
      case HostType::ohaExcel: return app.Get("ActiveWorkbook");
      case HostType::ohaPowerPoint: return app.Get("ActivePresentation");
      case HostType::ohaWord:
      case HostType::ohaPublisher: return app.Get("ActiveDocument");
    }
  } catch (const std::exception&) {
    foundation::ContextScope scope(site_.Records().Context());
    LogTrace("GetActiveDoc", "could not get ActiveDocument");
  }
  return Variant();
}

void DocumentTracking::ResetCmsID() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("TAddInModule.ResetCmsID");
  if (!records.tblDoc().Active()) {
    foundation::LogException(nullptr, "ResetCmsID: tblDoc not Open!");
    return;
  }
  records.tblFiles().Resync();
  const data::FilesRecord row = records.Files();
  std::string value = std::to_string(row.DOC_ID);
  if (row.CHECKED_OUT) value += ";" + std::to_string(row.USER_ID);
  LogTrace("Reset cmsID:", "doc_id=" + value);

  const Variant active = GetActiveDoc();
  if (site_.Host() == HostType::ohaPublisher) {
    try {
      automation::Tag(active, automation::kCmsIdProperty).Put("value", Variant(value));
    } catch (const std::exception&) {
      automation::AddTag(active, automation::kCmsIdProperty, Variant(value));
    }
    return;
  }
  automation::SetOrAddCustomProperty(active, automation::kCmsIdProperty, Variant(value));
}

void DocumentTracking::ActivateToolbox(std::int64_t docId) {
  site_.ShowQuillornPane(docId);
  site_.SetQuillornRibbonButtonStates();
  site_.ShowQuillornTabs(true);
  // Pictures that the cloud's upload page drops for Word documents are polled for.
  if (site_.IsCloudPlatform() && site_.Host() == HostType::ohaWord) site_.UploadCheckTimer().SetEnabled(true);
}

void DocumentTracking::DeactivateToolbox() {
  site_.ShowQuillornTabs(false);
  site_.SetQuillornRibbonButtonStates();
  site_.HideQuillornPane();
}

void DocumentTracking::RefreshDocFields(std::int64_t /*docId*/) {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("RefreshDocFields");
  foundation::Guarded("RefreshDocFields", [&] {
    data::Table& docs = records.tblDoc();
    const bool docOpen = docs.Active();
    const std::int32_t keptId = docOpen && !docs.IsEmpty() ? records.Doc().DOC_ID : 0;
    data::Table& files = records.tblFiles();
    site_.Fetcher().OpenFiles();
    const HostType host = site_.Host();
    if (host == HostType::ohaWord) {
      const Variant documents = site_.Application().Get("Documents");
      const std::int32_t count = documents.Get("Count").AsInt();
      for (std::int32_t i = 1; i <= count; ++i) {
        const Variant doc = documents.Get("Item", {Variant(i)});
        const std::string name = doc.Get("FullName").AsString();
        if (!files.Locate("FILENAME", Variant(name), data::LocateOptions{.caseInsensitive = true})) continue;
        // A file the system leaves alone (foreign, a copy, a print) has no record to show.
        const data::FilesRecord row = records.Files();
        if (!row.INIT || row.IGNORE) continue;
        const bool wasProtected = automation::UnprotectDocument(host, doc, row.READ_ONLY);
        const bool tracking = doc.Get("TrackRevisions").AsBool();
        if (tracking) automation::DisableTrackChanges(host, doc);
        // Each document takes its own record's values, not the active one's.
        WriteFields(doc, row.DOC_ID);
        if (tracking) automation::EnableTrackChanges(host, doc);
        if (wasProtected) automation::ProtectDocument(host, doc);
      }
    }
    // The active document's rows are current again, as everything else expects.
    if (keptId != 0) {
      data::LocateDocId(docs, keptId);
      data::LocateDocId(files, keptId);
    }
  });
}

void DocumentTracking::RefreshTemplateQuery() {
  // Excel and Publisher have no template list in their panes.
  if (site_.Host() == HostType::ohaWord || site_.Host() == HostType::ohaPowerPoint) site_.RefreshPaneTemplates();
}

}  // namespace quillorn::workflow
