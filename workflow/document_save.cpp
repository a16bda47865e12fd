#include "workflow/document_save.h"

#include <exception>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>

#include "automation/document_fields.h"
#include "automation/protection.h"
#include "data/fetching.h"
#include "data/lookups.h"
#include "data/tdm.h"
#include "foundation/context.h"
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

bool IsY(data::Table& table, std::string_view field) { return table.FieldByName(field).AsString() == "Y"; }

void EnsureEditing(data::Table& table) {
  if (table.State() != data::DataSetState::Edit && table.State() != data::DataSetState::Insert) table.Edit();
}

std::string ReadWholeFile(const std::string& fileName) {
  std::ifstream stream(foundation::PathFromUtf8(fileName), std::ios::binary);
  if (!stream) throw std::runtime_error("Cannot open file \"" + fileName + "\".");
  return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

}  // namespace

// The document's own steps in each host, with what they share: the publish
// decision, the published flag, the record and the document.
class DocumentSaving::HostStep {
 public:
  HostStep(DocumentSaving& saving, const Variant& doc)
      : saving_(saving), site_(saving.site_), dm_(saving.site_.dm()), doc_(doc) {
    data::Table& tblDoc = dm_.tblDoc;
    // Offline nobody can tell what the flags will be on the server, so an
    // approved document gets its published forms whatever they say here.
    publish_ = tblDoc.FieldByName("status").AsString() == "A" &&
               (IsY(tblDoc, "PUBLISH_PRIVATE") || IsY(tblDoc, "PUBLISH_PUBLIC") || !dm_.mIsServerReachable());
    unprotected_ = IsY(tblDoc, "PUBLISH_UNPROTECTED");
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
    try {
      if (doc_.Get("Revisions").Get("Count").AsInt() > 0) doc_.Call("AcceptAllRevisions");
    } catch (const std::exception&) {
      // Revisions left in are no reason to give up the save.
    }
  }

  void Word() {
    data::Table& tblDoc = dm_.tblDoc;
    if (IsY(tblDoc, "WEB_FORM") && !dm_.tblFiles.FieldByName("CHECKED_OUT").AsBoolean()) {
      AcceptRevisions();
      doc_.Call("Save");
      site_.NotBuilt("SaveWebForm");
      dm_.SaveWebFormData();
      return;
    }
    if (publish_) {
      TracePublishing();
      try {
        doc_.Put("TrackRevisions", false);
      } catch (const std::exception&) {
        // A document that refuses keeps tracking; the published copy still follows.
      }
      AcceptRevisions();
      PublishingSetDocFields();
      automation::UpdateDocFields(HostType::ohaWord, doc_);
      if (!unprotected_) doc_.Call("Protect", {platform::kWdAllowOnlyFormFields, true, automation::kProtectionPassword});
      doc_.Call("Save");
      saving_.SavePublishedDoc(FullNameOf(doc_), "O");
      if (!unprotected_) doc_.Call("Unprotect", {automation::kProtectionPassword});
      saving_.tracking_.ResetCmsID();
      const std::string pdf = FullNameOf(doc_) + ".pdf";
      try {
        doc_.Call("SaveAs", {pdf, platform::kWdFormatPDF});
      } catch (const std::exception& e) {
        LogException(e, "while publishing as wdFormatPDF!");
      }
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
      try {
        doc_.Call("ExportAsFixedFormat", {platform::kXlTypePDF, pdf});
      } catch (const std::exception& e) {
        LogException(e, "while publishing as xlTypePDF!");
      }
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
    const Variant copy = site_.Application().Get("Presentations").Call("Open", {fullName, false, true, false});
    const Variant slides = copy.Get("Slides");
    const std::int32_t count = slides.Get("Count").AsInt();
    for (std::int32_t i = 1; i <= count; ++i) {
      try {
        const Variant slide = slides.Get("Item", {i});
        const std::string picture = fullName + std::to_string(i) + ".jpg";
        slide.Call("Export", {picture, "JPG"});
        slide.Put("FollowMasterBackground", false);
        slide.Get("Shapes").Get("Range").Call("Delete");
        slide.Put("Layout", platform::kPpLayoutBlank);
        slide.Get("Background").Get("Fill").Call("UserPicture", {picture});
        site_.System().DeleteFile(picture);
      } catch (const std::exception& e) {
        LogException(e, "Could not Protect PPT while publishing");
      }
    }
    const std::string published = fullName + ".o";
    copy.Call("SaveAs", {published, platform::kPpSaveAsOpenXMLPresentation});
    copy.Call("Close");
    saving_.SavePublishedDoc(published, "O");
    site_.System().DeleteFile(published);
  }

  DocumentSaving& saving_;
  ModuleSite& site_;
  data::Tdm& dm_;
  Variant doc_;
  bool publish_ = false;
  bool unprotected_ = false;
  bool published_ = false;
};

bool DocumentSaving::DocumentSave() {
  data::Tdm& dm = site_.dm();
  foundation::ContextScope scope(dm.Context());
  dm.Context().ProcName = "DocumentSave";
  data::Table& tblFiles = dm.tblFiles;
  data::Table& tblDoc = dm.tblDoc;

  tblFiles.Resync();
  if (tblFiles.FieldByName("IGNORE").AsBoolean() || tblFiles.FieldByName("READ_ONLY").AsBoolean()) return false;
  const Variant doc = tracking_.GetActiveDoc();

  // A save marks the document as being edited, unless it is checked out or approved.
  const std::string status = tblDoc.FieldByName("status").AsString();
  if (status != "C" && status != "A") {
    EnsureEditing(tblDoc);
    tblDoc.FieldByName("status") = Variant("E");
    tblDoc.Post();
  }

  // No guard around the host's save: a refusal leaves the flag set until the next save.
  site_.mInternalSave() = true;
  HostStep(*this, doc).Run();
  site_.mInternalSave() = false;

  // A host that changed the file's format keeps the document's place under the new name.
  const std::string fullName = FullNameOf(doc);
  if (foundation::LowerCase(tblFiles.FieldByName("FILENAME").AsString()) != foundation::LowerCase(fullName)) {
    EnsureEditing(tblFiles);
    tblFiles.FieldByName("FILENAME") = Variant(fullName);
    tblFiles.Post();
    EnsureEditing(tblDoc);
    tblDoc.FieldByName("file_ext") = Variant(foundation::ExtractFileExt(fullName));
    tblDoc.Post();
  }

  if (tblFiles.FieldByName("CHECKED_OUT").AsBoolean()) {
    // A checked-out file stays with its user: nothing goes to the server.
    EnsureEditing(tblFiles);
    tblFiles.FieldByName("CACHED") = Variant(true);
    tblFiles.Post();
    return true;
  }

  if (site_.Host() == HostType::ohaWord) {
    const std::optional<PageFormatSetting> pageFormat = site_.PageFormat();
    if (pageFormat && pageFormat->checked != pageFormat->loaded) {
      const std::string sql =
          "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:" +
          tblDoc.FieldByName("doc_no").AsString() +
          (pageFormat->checked ? "', 'Y') matching (D_TYPE,CODE)" : "', 'N') matching (D_TYPE,CODE)");
      try {
        data::ExecSQL(dm, sql);
      } catch (const std::exception& e) {
        // Offline the setting waits for the next change of the box; the save goes on.
        LogException(e, "in DocumentSave");
        dm.Context().ProcName = "DocumentSave";
      }
    }
  }
  dm.SaveDocData();
  dm.SaveDocument();
  dm.SavePublishedDocs();
  return true;
}

void DocumentSaving::SavePublishedDoc(const std::string& fileName, const std::string& sourceType) {
  data::Tdm& dm = site_.dm();
  foundation::ContextScope scope(dm.Context());
  try {
    const std::string content = ReadWholeFile(fileName);
    data::OpenPublishedDocs(dm);
    data::Table& published = dm.tblPublishedDocs;
    const Variant docNo = dm.tblDoc.FieldByName("doc_no").Value();
    if (published.Locate("DOC_NO;SOURCE_TYPE", Variant(platform::VariantList{docNo, Variant(sourceType)}))) {
      published.Edit();
    } else {
      published.Insert();
    }
    published.FieldByName("DOC_ID") = dm.tblDoc.FieldByName("DOC_ID").Value();
    published.FieldByName("DOC_NO") = docNo;
    published.FieldByName("SOURCE_TYPE") = Variant(sourceType);
    published.FieldByName("SOURCE") = Variant(content);
    published.Post();
  } catch (const std::exception& e) {
    const data::DataSetState state = dm.tblPublishedDocs.State();
    if (state == data::DataSetState::Edit || state == data::DataSetState::Insert) dm.tblPublishedDocs.Cancel();
    LogException(e, "in SavePublishedDoc with FileName: \"" + fileName + "\"");
  }
}

void DocumentSaving::DoWaitForCompletion() {
  data::Tdm& dm = site_.dm();
  foundation::ContextScope scope(dm.Context());
  bool goOn = true;
  while (goOn && dm.mIsServerReachable()) {
    if (dm.Connection.ClientModule.WaitForCompletion(dm.Settings.RetryTimeOut)) {
      LogTrace("DoWaitForCompletion", "");
      return;
    }
    site_.Prompts().MessageBeep(0x20);
    goOn = site_.Prompts().MessageDlg(kWaitQuestion, platform::MessageKind::Confirmation,
                                      platform::Buttons::YesNo) == platform::ModalResult::mrYes;
  }
}

}  // namespace quillorn::workflow
