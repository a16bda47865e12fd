#include "workflow/document_save.h"

#include <exception>
#include <optional>
#include <string>

#include "automation/document_fields.h"
#include "automation/protection.h"
#include "data/records.h"
#include "foundation/context.h"
#include "foundation/guarded.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "platform/office_constants.h"

namespace quillorn::workflow {

using foundation::LogException;
using foundation::LogTrace;

namespace {


constexpr char kWaitQuestion[] =
    "Your document is being saved to Quillorn.\rResponse from the server is slow or the document is quite "
    "large.\rIf you do not want to wait now, Office will save the document to Quillorn next time\ryou use "
    "it.\r\rWait a bit longer?";

std::string FullNameOf(const Variant& doc) { return doc.Get("FullName").AsString(); }

}  // namespace

// The document's own steps in each host, with what they share: the publish
// decision, the published flag, the record and the document.
class DocumentSaving::HostStep {
 public:
  HostStep(DocumentSaving& saving, const Variant& doc) : saving_(saving), site_(saving.site_), doc_(doc) {
    const data::DocRecord record = site_.Records().Doc();
    // Offline nobody can tell what the flags will be on the server, so an
    // approved document gets its published forms whatever they say here.
    publish_ = record.STATUS == "A" && (record.PUBLISH_PRIVATE == "Y" || record.PUBLISH_PUBLIC == "Y" ||
                                        !site_.Fetcher().mIsServerReachable());
    unprotected_ = record.PUBLISH_UNPROTECTED == "Y";
  }

  void Run() {
    switch (site_.Host()) {
      case HostType::ohaWord:
        Word();
        break;
      case HostType::ohaExcel:
        Excel();
        break;
      case HostType::ohaPowerPoint:
        PowerPoint();
        break;
      case HostType::ohaPublisher:
        doc_.Call("Save");
        break;
    }
  }

 private:
  void TracePublishing() const {
    LogTrace("DocumentSave", unprotected_ ? "Generating published approved doc as UNprotected"
                                          : "Generating published approved doc as protected");
  }
  // The fields without cmsID: what leaves the system carries no identity.
  void PublishingSetDocFields() {
    automation::SetDocFields(site_.FieldsContext(), doc_, true);
    published_ = true;
  }
  void SetDocFields() { automation::SetDocFields(site_.FieldsContext(), doc_, false); }
  void AcceptRevisions() {
    // Revisions left in are no reason to give up the save.
    foundation::Quietly([&] {
      if (doc_.Get("Revisions").Get("Count").AsInt() > 0) doc_.Call("AcceptAllRevisions");
    });
  }

  void Word() {
    if (site_.Records().Doc().WEB_FORM == "Y" && !site_.Records().Files().CHECKED_OUT) {
      AcceptRevisions();
      doc_.Call("Save");
      site_.NotBuilt("SaveWebForm");
      site_.Records().SaveWebFormData();
      return;
    }
    if (publish_) {
      TracePublishing();
      // A document that refuses keeps tracking; the published copy still follows.
      foundation::Quietly([&] { doc_.Put("TrackRevisions", false); });
      AcceptRevisions();
      PublishingSetDocFields();
      automation::UpdateDocFields(HostType::ohaWord, doc_);
      if (!unprotected_) doc_.Call("Protect", {platform::kWdAllowOnlyFormFields, true, automation::kProtectionPassword});
      doc_.Call("Save");
      saving_.SavePublishedDoc(FullNameOf(doc_), "O");
      if (!unprotected_) doc_.Call("Unprotect", {automation::kProtectionPassword});
      saving_.tracking_.ResetCmsID();
      const std::string pdf = FullNameOf(doc_) + ".pdf";
      foundation::Guarded("while publishing as wdFormatPDF!", [&] { doc_.Call("SaveAs", {pdf, platform::kWdFormatPDF}); });
      if (site_.System().FileExists(pdf)) {
        saving_.SavePublishedDoc(pdf, "P");
        site_.System().DeleteFile(pdf);
      } else {
        LogException(nullptr, "Publishing as wdFormatPDF failed for: " + pdf);
      }
    }
    if (!published_) {
      SetDocFields();
      automation::UpdateDocFields(HostType::ohaWord, doc_);
    }
    doc_.Call("Save");
  }

  void ProtectSheets(bool protect) {
    const Variant sheets = doc_.Get("Worksheets");
    const std::int32_t count = sheets.Get("Count").AsInt();
    for (std::int32_t i = 1; i <= count; ++i) {
      sheets.Get("Item", {i}).Call(protect ? "Protect" : "Unprotect", {automation::kProtectionPassword});
    }
  }

  void Excel() {
    if (publish_) {
      TracePublishing();
      PublishingSetDocFields();
      if (!unprotected_) {
        ProtectSheets(true);
        doc_.Call("Protect", {automation::kProtectionPassword});
      }
      doc_.Call("Save");
      saving_.SavePublishedDoc(FullNameOf(doc_), "O");
      if (!unprotected_) {
        doc_.Call("Unprotect", {automation::kProtectionPassword});
        ProtectSheets(false);
      }
      saving_.tracking_.ResetCmsID();
      const std::string pdf = FullNameOf(doc_) + ".pdf";
      foundation::Guarded("while publishing as xlTypePDF!",
                          [&] { doc_.Call("ExportAsFixedFormat", {platform::kXlTypePDF, pdf}); });
      // No test that the file came: a missing one ends in SavePublishedDoc's log.
      saving_.SavePublishedDoc(pdf, "P");
      site_.System().DeleteFile(pdf);
    }
    if (!published_) SetDocFields();
    doc_.Call("Save");
  }

  void PowerPoint() {
    if (publish_) {
      TracePublishing();
      PublishingSetDocFields();
      automation::UpdateDocFields(HostType::ohaPowerPoint, doc_);
      doc_.Call("Save");
      const std::string fullName = FullNameOf(doc_);
      const std::string pdf = fullName + ".pdf";
      try {
        // Print range left out: all slides, as the range type says.
        doc_.Call("ExportAsFixedFormat", {pdf, platform::kPpFixedFormatTypePDF, platform::kPpFixedFormatIntentPrint, false,
                                          platform::kPpPrintHandoutHorizontalFirst, platform::kPpPrintOutputSlides, Variant(), Variant(),
                                          platform::kPpPrintAll});
      } catch (const std::exception&) {
        // Versions without the export still save as PDF.
        doc_.Call("SaveAs", {pdf, platform::kPpSaveAsPDF});
      }
      if (unprotected_) {
        saving_.SavePublishedDoc(fullName, "O");
      } else {
        PublishProtectedCopy(fullName);
      }
      saving_.SavePublishedDoc(pdf, "P");
      site_.System().DeleteFile(pdf);
      saving_.tracking_.ResetCmsID();
    }
    if (!published_) {
      SetDocFields();
      automation::UpdateDocFields(HostType::ohaPowerPoint, doc_);
    }
    doc_.Call("Save");
  }

  // PowerPoint has no protection of its own: the published copy shows each
  // slide as a picture on its background, with nothing left to edit.
  void PublishProtectedCopy(const std::string& fullName) {
    data::DocumentRecords& records = site_.Records();
    const std::string trackedName = records.Files().FILENAME;
    const Variant copy = site_.Application().Get("Presentations").Call("Open", {fullName, false, true, false});
    const Variant slides = copy.Get("Slides");
    const std::int32_t count = slides.Get("Count").AsInt();
    for (std::int32_t i = 1; i <= count; ++i) {
      foundation::Guarded("Could not Protect PPT while publishing", [&] {
        const Variant slide = slides.Get("Item", {i});
        const std::string picture = fullName + std::to_string(i) + ".jpg";
        slide.Call("Export", {picture, "JPG"});
        slide.Put("FollowMasterBackground", false);
        slide.Get("Shapes").Get("Range").Call("Delete");
        slide.Put("Layout", platform::kPpLayoutBlank);
        slide.Get("Background").Get("Fill").Call("UserPicture", {picture});
        site_.System().DeleteFile(picture);
      });
    }
    const std::string published = fullName + ".o";
    copy.Call("SaveAs", {published, platform::kPpSaveAsOpenXMLPresentation});
    copy.Call("Close");
    // The copy, too, was announced to the add-in as it opened, and took a row of
    // its own as the current one. The rest of this save belongs to the
    // presentation being saved: its row is made current again, or its identity
    // and file name would be written into the copy's row.
    records.tblFiles().Locate("FILENAME", Variant(trackedName), data::LocateOptions{.caseInsensitive = true});
    saving_.SavePublishedDoc(published, "O");
    site_.System().DeleteFile(published);
  }

  DocumentSaving& saving_;
  ModuleSite& site_;
  Variant doc_;
  bool publish_ = false;
  bool unprotected_ = false;
  bool published_ = false;
};

bool DocumentSaving::DocumentSave() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  records.Context().ProcName = "DocumentSave";
  data::Table& tblFiles = records.tblFiles();
  data::Table& tblDoc = records.tblDoc();

  tblFiles.Resync();
  const data::FilesRecord row = records.Files();
  if (row.IGNORE || row.READ_ONLY) return false;
  const Variant doc = tracking_.GetActiveDoc();

  // A save marks the document as being edited, unless it is checked out or approved.
  const std::string status = records.Doc().STATUS;
  if (status != "C" && status != "A") data::UpdateDoc(tblDoc, {.STATUS = "E"});

  // Not a scope: a save the host refuses (an exception out of it) leaves the
  // flag set until the next save.
  site_.mInternalSave().Set();
  HostStep(*this, doc).Run();
  site_.mInternalSave().Clear();

  // A host that changed the file's format keeps the document's place under the new name.
  const std::string fullName = FullNameOf(doc);
  if (foundation::LowerCase(records.Files().FILENAME) != foundation::LowerCase(fullName)) {
    data::UpdateFiles(tblFiles, {.FILENAME = fullName});
    data::UpdateDoc(tblDoc, {.FILE_EXT = foundation::ExtractFileExt(fullName)});
  }

  if (records.Files().CHECKED_OUT) {
    // A checked-out file stays with its user: nothing goes to the server.
    data::UpdateFiles(tblFiles, {.CACHED = true});
    return true;
  }

  if (site_.Host() == HostType::ohaWord) {
    const std::optional<PageFormatSetting> pageFormat = site_.PageFormat();
    if (pageFormat && pageFormat->checked != pageFormat->loaded) {
      const std::string sql =
          "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:" +
          std::to_string(records.Doc().DOC_NO) +
          (pageFormat->checked ? "', 'Y') matching (D_TYPE,CODE)" : "', 'N') matching (D_TYPE,CODE)");
      // Offline the setting waits for the next change of the box; the save goes on.
      foundation::Guarded("in DocumentSave", [&] { site_.Fetcher().ExecSQL(sql); });
      records.Context().ProcName = "DocumentSave";
    }
  }
  records.SaveDocData();
  records.SaveDocument();
  records.SavePublishedDocs();
  return true;
}

void DocumentSaving::SavePublishedDoc(const std::string& fileName, const std::string& sourceType) {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  data::Table& published = records.tblPublishedDocs();
  try {
    std::string content;
    if (!site_.System().ReadFile(fileName, content)) throw std::runtime_error("Cannot open file \"" + fileName + "\".");
    site_.Fetcher().OpenPublishedDocs();
    const data::DocRecord doc = records.Doc();
    const Variant docNo(doc.DOC_NO);
    if (published.Locate("DOC_NO;SOURCE_TYPE", Variant(platform::VariantList{docNo, Variant(sourceType)}))) {
      published.Edit();
    } else {
      published.Insert();
    }
    published.FieldByName("DOC_ID") = Variant(doc.DOC_ID);
    published.FieldByName("DOC_NO") = docNo;
    published.FieldByName("SOURCE_TYPE") = Variant(sourceType);
    published.FieldByName("SOURCE") = Variant(content);
    published.Post();
  } catch (const std::exception& e) {
    published.CancelIfEditing();
    LogException(e, "in SavePublishedDoc with FileName: \"" + fileName + "\"");
  }
}

void DocumentSaving::DoWaitForCompletion() {
  data::DataFetcher& fetcher = site_.Fetcher();
  foundation::ContextScope scope(site_.Records().Context());
  bool goOn = true;
  while (goOn && fetcher.mIsServerReachable()) {
    if (fetcher.WaitForCompletion()) {
      LogTrace("DoWaitForCompletion", "");
      return;
    }
    site_.Prompts().MessageBeep(0x20);
    goOn = site_.Prompts().MessageDlg(kWaitQuestion, platform::MessageKind::Confirmation,
                                      platform::Buttons::YesNo) == platform::ModalResult::mrYes;
  }
}

}  // namespace quillorn::workflow
