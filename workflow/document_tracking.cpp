#include "workflow/document_tracking.h"

#include <exception>
#include <string>

#include "automation/doc_properties.h"
#include "automation/document_fields.h"
#include "automation/logo.h"
#include "automation/protection.h"
#include "automation/stamping.h"
#include "automation/track_changes.h"
#include "data/cache_files.h"
#include "data/cache_store.h"
#include "data/fetching.h"
#include "data/login.h"
#include "data/proc_name_scope.h"
#include "data/settings.h"
#include "data/tdm.h"
#include "foundation/context.h"
#include "foundation/log.h"
#include "platform/prompts.h"

namespace quillorn::workflow {

namespace {

using foundation::LogTrace;

constexpr char kLoginToSeeToolbox[] =
    "The QuillornToolBox will not be displayed unless you login.\rHowever settings for this document allows you to "
    "continue editing it as normal.";
constexpr char kServerNotReachable[] =
    "The QuillornToolBox cannot be displayed at this time as your server is not reachable.\rYou may continue "
    "editing the document but cannot check it back into Quillorn from here.";

// The log-in dialog's answer for a user who gave up; the data module answers 0.
constexpr int kLoginCancelled = -2;

bool FlagOf(data::Table& table, const char* name) { return table.FieldByName(name).AsBoolean(); }

void SetField(data::Table& table, const char* name, const Variant& value) { table.FieldByName(name).SetValue(value); }

// What stamping reads: the FILES row's CHECKED_OUT and the record tblDoc stands on.
automation::StampRecord StampRecordOf(data::Tdm& dm) {
  automation::StampRecord record;
  record.CHECKED_OUT = FlagOf(dm.tblFiles, "CHECKED_OUT");
  if (dm.tblDoc.Active()) {
    record.status = dm.tblDoc.FieldByName("STATUS").AsString();
    record.is_current = dm.tblDoc.FieldByName("IS_CURRENT").AsString();
    record.is_latest = dm.tblDoc.FieldByName("IS_LATEST").AsString();
  }
  return record;
}

bool IsLatestOrCurrent(data::Tdm& dm) {
  if (!dm.tblDoc.Active()) return false;
  return dm.tblDoc.FieldByName("IS_LATEST").AsString() == "Y" || dm.tblDoc.FieldByName("IS_CURRENT").AsString() == "Y";
}

// doc_no of the record tblDoc stands on, 0 without one.
int DocNoOf(data::Tdm& dm, std::int32_t docId) {
  if (!dm.tblDoc.Active() || !dm.tblDoc.Locate("doc_id", Variant(docId))) return 0;
  return dm.tblDoc.FieldByName("DOC_NO").AsInteger();
}

void PostIfEditing(data::Table& table) {
  if (table.State() == data::DataSetState::Edit || table.State() == data::DataSetState::Insert) table.Post();
}

}  // namespace

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
    docId = data::StrToIntDef(value, 0);
    docUserId = 0;
    return;
  }
  docId = data::StrToIntDef(std::string_view(value).substr(0, semicolon), 0);
  docUserId = data::StrToIntDef(std::string_view(value).substr(semicolon + 1, 10), 0);
}

void DocumentTracking::DocumentChangedEvent(const Variant& doc) {
  data::Tdm& dm = site_.dm();
  foundation::ContextScope scope(dm.Context());
  data::ProcNameScope proc("DocumentChangedEvent");
  data::Table& files = dm.tblFiles;

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
    data::OpenFiles(dm);
    // The first document of a session throws away a checked-out copy's row that
    // an earlier session left for this very file.
    dm.cacheExecSQL("delete from FILES where CHECKED_OUT=true and FILENAME='" + data::SqlSafeString(docName) + "'");
    filesRefresh_.Forget();
    filesRefresh_.Refresh(files);
  } else {
    LogTrace("tblFiles Active", "");
    // Other host processes write FILES too.
    filesRefresh_.Refresh(files);
  }

  // A row under the negated id is a private copy of the system's own and wins.
  bool found = false;
  if (docId != 0) {
    found = files.Locate("DOC_ID", Variant(-docId)) || files.Locate("DOC_ID", Variant(docId));
  }
  if (!found) found = files.Locate("FILENAME", Variant(docName), data::LocateOptions{.caseInsensitive = true});
  if (found) docName = files.FieldByName("FILENAME").AsString();
  LogTrace(found ? "DocName in tblFiles" : "DocName NOT in tblFiles", "");
  const bool oleIgnore = found && FlagOf(files, "OLE_IGNORE");
  LogTrace(oleIgnore ? "OLE_IGNORE=true" : "OLE_IGNORE=false", "");

  if (oleIgnore) {
    if (files.FieldByName("SESSION_ID").IsNull()) {
      LogTrace("Set tblFiles SessionID: ", std::to_string(site_.SessionID()) + " for file: " + docName);
      files.Edit();
      SetField(files, "SESSION_ID", Variant(site_.SessionID()));
      files.Post();
    }
    return;
  }

  if (found && FlagOf(files, "INIT")) {
    LogTrace("init=true", "");
    if (FlagOf(files, "IGNORE")) {
      LogTrace("ignore=true", "");
      DeactivateToolbox();
    } else {
      LogTrace("ignore=false", "");
      const std::int32_t rowDocId = files.FieldByName("DOC_ID").AsInteger();
      if (dm.tblDoc.Active() && dm.tblDoc.Locate("doc_id", Variant(rowDocId))) {
        ActivateToolbox(rowDocId);
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
  PostIfEditing(files);
}

void DocumentTracking::FirstHandling(const Variant& doc) {
  data::Tdm& dm = site_.dm();
  data::Table& files = dm.tblFiles;
  const HostType host = site_.Host();

  automation::HideTrackingChanges(host, doc);
  const std::int32_t id = files.FieldByName("DOC_ID").AsInteger();
  const std::int32_t userId = files.FieldByName("USER_ID").AsInteger();
  dm.UserID = userId;

  // The cache counts as current: nothing here may wait for the server.
  dm.mDocFieldsLive = true;
  data::OpenDocFields(dm, false);
  if (dm.AddIn != nullptr) dm.AddIn->PopulateCustomFields();
  dm.mUsersLive = true;
  data::OpenUsers(dm, false);
  data::OpenUserGroupLinks(dm, false);
  data::OpenGroups(dm, false);
  data::OpenDoc(dm, id, false, false);
  data::OpenDocPermissions(dm, id, userId, false, false);
  dm.mLogoLive = true;
  data::OpenLogo(dm, false);
  dm.mCodesLive = true;

  files.Edit();
  SetField(files, "SESSION_ID", Variant(site_.SessionID()));
  files.Post();

  automation::UnprotectDocument(host, doc, FlagOf(files, "READ_ONLY"));
  ResetCmsID();

  if (FlagOf(files, "PRINT")) {
    LogTrace("print=true", "");
    automation::StampDocument(host, StampRecordOf(dm), id, doc, FlagOf(files, "PRINT_CONTROLLED"), true);
    if (IsLatestOrCurrent(dm)) WriteFields(doc, 0);
    files.Edit();
    SetField(files, "INIT", Variant(true));
    SetField(files, "IGNORE", Variant(true));
    files.Post();
    if (host == HostType::ohaWord) doc.Put("Saved", Variant(true));
    site_.NotBuilt("HandlePrintOpen");
    // A print-only open gets no pane.
    return;
  }

  LogTrace("print=false", "");
  site_.NotBuilt("ConnectTetherClient");
  dm.ConnectToServer(false);
  dm.mTemplatesLive = true;
  data::OpenTemplates(dm, false);
  dm.mWebFormLive = true;
  data::OpenWebForm(dm, DocNoOf(dm, id), false, false);
  automation::StampDocument(host, StampRecordOf(dm), id, doc, !FlagOf(files, "READ_ONLY"), false);
  if (IsLatestOrCurrent(dm)) {
    LogTrace("(is_latest or is_current)=true", "");
    WriteFields(doc, 0);
  }
  files.Edit();
  SetField(files, "INIT", Variant(true));
  files.Post();

  if (FlagOf(files, "READ_ONLY")) {
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
  data::Tdm& dm = site_.dm();
  data::Table& files = dm.tblFiles;
  const HostType host = site_.Host();

  files.Append();
  SetField(files, "FILENAME", Variant(docName));
  SetField(files, "SESSION_ID", Variant(site_.SessionID()));
  SetField(files, "DOC_ID", Variant(docId));
  SetField(files, "INIT", Variant(true));

  if (docId == 0) {
    SetField(files, "IGNORE", Variant(true));
    files.Post();
    DeactivateToolbox();
    return;
  }
  if (docUserId == 0) {
    // A copy of a managed file: left alone, and the pane of the document
    // before it stays up.
    SetField(files, "IGNORE", Variant(true));
    SetField(files, "CHECKED_OUT", Variant(false));
    SetField(files, "READ_ONLY", Variant(false));
    files.Post();
    return;
  }

  // A checked-out copy: whoever logs in decides what the user gets.
  SetField(files, "IGNORE", Variant(false));
  automation::HideTrackingChanges(host, doc);
  int login = data::PromptUserForLogin(dm, site_.Prompts(), site_.OfficeVersion());
  if (login == 0) login = kLoginCancelled;

  if (login == docUserId) {
    SetField(files, "CHECKED_OUT", Variant(true));
    SetField(files, "READ_ONLY", Variant(false));
    files.Post();
    automation::UnprotectDocument(host, doc, false);
    automation::StampDocument(host, StampRecordOf(dm), docId, doc, true, false);
    if (host == HostType::ohaWord) doc.Put("Saved", Variant(true));
    dm.ConnectToServer(false);
    data::OpenUsers(dm, false);
    data::OpenUserGroupLinks(dm, false);
    data::OpenGroups(dm, false);
    // The owner is back: the record and rights are asked for now, so that the
    // pane shows them as the server has them.
    data::OpenDoc(dm, docId, true, true);
    OpenCheckedOutRestAndActivate(docId);
    return;
  }

  const bool wasProtected = automation::UnprotectDocument(host, doc, false);
  SetField(files, "CHECKED_OUT", Variant(true));
  SetField(files, "READ_ONLY", Variant(wasProtected));
  files.Post();
  automation::StampDocument(host, StampRecordOf(dm), docId, doc, !wasProtected, false);
  if (wasProtected) automation::ProtectDocument(host, doc);
  if (host == HostType::ohaWord) doc.Put("Saved", Variant(true));
  if (wasProtected || login == kLoginCancelled) {
    DeactivateToolbox();
    site_.Prompts().MessageDlg(kLoginToSeeToolbox, platform::MessageKind::Information, platform::Buttons::OK);
    return;
  }
  if (dm.mIsServerReachable()) {
    data::OpenDoc(dm, docId, false, false);
    OpenCheckedOutRestAndActivate(docId);
    return;
  }
  DeactivateToolbox();
  site_.Prompts().MessageDlg(kServerNotReachable, platform::MessageKind::Information, platform::Buttons::OK);
}

// What a checked-out copy needs beside its record before its pane shows, the
// same whoever may edit it.
void DocumentTracking::OpenCheckedOutRestAndActivate(std::int32_t docId) {
  data::Tdm& dm = site_.dm();
  OpenPermissionsUnlessCached(docId);
  data::OpenDocFields(dm, false);
  data::OpenLogo(dm, false);
  data::OpenTemplates(dm, false);
  data::OpenWebForm(dm, DocNoOf(dm, docId), false, false);
  ActivateToolbox(docId);
}

void DocumentTracking::OpenPermissionsUnlessCached(std::int32_t docId) {
  data::Tdm& dm = site_.dm();
  if (!data::DocPermissionsIsCached(dm, docId, dm.UserID)) data::OpenDocPermissions(dm, docId, dm.UserID, true, true);
}

void DocumentTracking::WriteFields(const Variant& doc, std::int64_t docId) {
  automation::SetDocFields(site_.FieldsContext(), doc, docId, false);
  automation::UpdateDocFields(site_.Host(), doc);
  // Only Word documents carry the logo shapes.
  if (site_.Host() == HostType::ohaWord) automation::UpdateLogo(doc, data::GetLogoFile(site_.dm(), site_.System()));
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
    foundation::ContextScope scope(site_.dm().Context());
    LogTrace("GetActiveDoc", "could not get ActiveDocument");
  }
  return Variant();
}

void DocumentTracking::ResetCmsID() {
  data::Tdm& dm = site_.dm();
  foundation::ContextScope scope(dm.Context());
  data::ProcNameScope proc("TAddInModule.ResetCmsID");
  if (!dm.tblDoc.Active()) {
    foundation::LogException(nullptr, "ResetCmsID: tblDoc not Open!");
    return;
  }
  data::Table& files = dm.tblFiles;
  files.Resync();
  std::string value = std::to_string(files.FieldByName("DOC_ID").AsInteger());
  if (FlagOf(files, "CHECKED_OUT")) value += ";" + std::to_string(files.FieldByName("USER_ID").AsInteger());
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
  data::Tdm& dm = site_.dm();
  foundation::ContextScope scope(dm.Context());
  data::ProcNameScope proc("RefreshDocFields");
  try {
    const bool docOpen = dm.tblDoc.Active();
    const Variant keptId = docOpen ? dm.tblDoc.FieldByName("DOC_ID").Value() : Variant::Null();
    data::Table& files = dm.tblFiles;
    data::OpenFiles(dm);
    const HostType host = site_.Host();
    if (host == HostType::ohaWord) {
      const Variant documents = site_.Application().Get("Documents");
      const std::int32_t count = documents.Get("Count").AsInt();
      for (std::int32_t i = 1; i <= count; ++i) {
        const Variant doc = documents.Get("Item", {Variant(i)});
        const std::string name = doc.Get("FullName").AsString();
        if (!files.Locate("FILENAME", Variant(name), data::LocateOptions{.caseInsensitive = true})) continue;
        // A file the system leaves alone (foreign, a copy, a print) has no record to show.
        if (!FlagOf(files, "INIT") || FlagOf(files, "IGNORE")) continue;
        const bool wasProtected = automation::UnprotectDocument(host, doc, FlagOf(files, "READ_ONLY"));
        const bool tracking = doc.Get("TrackRevisions").AsBool();
        if (tracking) automation::DisableTrackChanges(host, doc);
        // Each document takes its own record's values, not the active one's.
        WriteFields(doc, files.FieldByName("DOC_ID").AsInteger());
        if (tracking) automation::EnableTrackChanges(host, doc);
        if (wasProtected) automation::ProtectDocument(host, doc);
      }
    }
    // The active document's rows are current again, as everything else expects.
    if (docOpen && !keptId.IsEmptyOrNull()) {
      dm.tblDoc.Locate("doc_id", keptId);
      files.Locate("DOC_ID", keptId);
    }
  } catch (const std::exception& e) {
    foundation::LogException(e, "RefreshDocFields");
  }
}

void DocumentTracking::RefreshTemplateQuery() {
  // Excel and Publisher have no template list in their panes.
  if (site_.Host() == HostType::ohaWord || site_.Host() == HostType::ohaPowerPoint) site_.RefreshPaneTemplates();
}

}  // namespace quillorn::workflow
