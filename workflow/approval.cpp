#include "workflow/approval.h"

#include "data/proc_name_scope.h"
#include "foundation/context.h"
#include "foundation/datetime.h"
#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::workflow {

using foundation::LogException;
using foundation::LogTrace;
using platform::ModalResult;

namespace {

constexpr char kRefreshTemplatesMessage[] = "cmsRefreshTemplates";
constexpr std::int32_t kTemplateDocType = 7;

}  // namespace

int ReviewMonthsOnApproval(const data::DocRecord& doc,
                           const std::function<std::string(const std::string&)>& cacheValue) {
  if (doc.REVIEW_INTERVAL.value_or(0) != 0) return *doc.REVIEW_INTERVAL;
  const std::string framework = doc.FRAMEWORK ? std::to_string(*doc.FRAMEWORK) : std::string();
  std::string months = cacheValue("select val from codes where d_type='FW" + framework + "' and code='DEF_REVIEW'");
  if (months.empty()) months = cacheValue("select val from codes where d_type='APP_OPTION' and code='DEF_REVIEW'");
  return foundation::StrToInt(months);
}

bool Approval::CheckInQuestion() {
  data::DocumentRecords& records = site_.Records();
  // Offline nobody can tell whether the check-out still stands: the copy stays checked out.
  if (!site_.Fetcher().mIsServerReachable() || !records.Files().CHECKED_OUT) return true;
  platform::Prompts& prompts = site_.Prompts();
  prompts.MessageBeep(0x20);
  switch (prompts.MessageDlg(kCheckInQuestion, platform::MessageKind::Confirmation, platform::Buttons::YesNoCancel)) {
    case ModalResult::mrYes:
      break;
    case ModalResult::mrNo:
      return true;
    default:
      return false;
  }
  const std::int32_t docId = records.Files().DOC_ID;
  const Variant status =
      site_.Fetcher().lookup("select status from docs where doc_id=" + std::to_string(docId) + " and is_latest='Y'");
  if (status.AsString() != "C") {
    prompts.MessageBeep(0x10);
    prompts.MessageDlg(kNoLongerCheckedOut, platform::MessageKind::Error, platform::Buttons::OK);
    return false;
  }
  data::Table& files = records.tblFiles();
  files.Resync();
  data::UpdateFiles(files, {.CHECKED_OUT = false});
  return true;
}

void Approval::HomeTabControls0Controls1Click() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("APPROVE btn");
  platform::Prompts& prompts = site_.Prompts();
  prompts.MessageBeep(0x20);
  const data::DocRecord doc = records.Doc();
  const std::string question =
      "Click Yes to APPROVE \r\n\"" + doc.DOC_NAME + "\" Revision " + doc.VER + "\r\nand mark it as current.";
  if (prompts.MessageDlg(question, platform::MessageKind::Confirmation, platform::Buttons::YesNoCancel) !=
      ModalResult::mrYes) {
    return;
  }
  if (!CheckInQuestion()) return;
  tracking_.ResetCmsID();

  data::Table& docs = records.tblDoc();
  const foundation::TDateTime now = foundation::Now();
  data::EditDoc(docs, {.STATUS = "A", .APPROVED_BY = records.UserID(), .APPROVED_DATE = now});
  // A failure here leaves the row being edited, and the module's handler has it.
  const int months = ReviewMonthsOnApproval(doc, [&records](const std::string& sql) {
    return records.cacheLookup(sql).AsString();
  });
  data::EditDoc(docs, {.NEXT_REVIEW = foundation::IncMonth(now, months)});
  LogTrace("tblDoc.Edit", "set status:=A where doc_id=" + std::to_string(doc.DOC_ID));
  docs.Post();

  saving_.DocumentSave();
  if (site_.Host() == HostType::ohaWord && doc.DOC_TYPE_ID == kTemplateDocType) {
    // Every running host reloads its templates from the approved template document.
    if (platform::WindowMessages* messages = site_.Messages()) {
      messages->Broadcast(messages->RegisterMessage(kRefreshTemplatesMessage), 0, 0);
    } else {
      LogTrace("msgRefreshTemplates", "no window messages: nobody is told");
    }
  }
  closing_.ExitDocument();
}

void Approval::DocumentSaveAsComplete() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::ProcNameScope proc("TAddInModule.DocumentSaveAsComplete");
  data::Table& docs = records.tblDoc();
  if (!docs.Active()) {
    LogException(nullptr, "ERROR in DocumentSaveAsComplete: tblDoc not Open!");
    return;
  }
  if (!CheckInQuestion()) return;
  tracking_.ResetCmsID();
  data::EditDoc(docs, {.STATUS = "W"});

  const Variant doc = tracking_.GetActiveDoc();
  if (site_.Host() == HostType::ohaPowerPoint) {
    // PowerPoint's before-save refuses every save of a managed presentation
    // but the add-in's own; Word's and Excel's refuse only the Save As dialog.
    foundation::ReentryFlag::Scope saving = site_.mInternalSave().SetWhile();
    doc.Call("Save");
  } else {
    doc.Call("Save");
  }
  data::EditDoc(docs, {.FILE_EXT = foundation::ExtractFileExt(doc.Get("FullName").AsString())});
  docs.Post();
  records.SaveDocData();
  records.SaveDocument();
  closing_.ExitDocument();
}

}  // namespace quillorn::workflow
