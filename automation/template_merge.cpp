#include "automation/template_merge.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "automation/document_fields.h"
#include "automation/track_changes.h"
#include "foundation/guarded.h"
#include "foundation/log.h"
#include "platform/office_constants.h"

namespace quillorn::automation {
namespace {

using foundation::LogException;
using foundation::LogTrace;
using I = std::int32_t;

// Documents.Open(FileName, ConfirmConversions, ReadOnly, AddToRecentFiles, ...,
// Visible): the places of the arguments passed, the rest left out.
constexpr std::size_t kOpenAddToRecentFiles = 3;
constexpr std::size_t kOpenVisible = 11;

constexpr char kHeaderFooterProc[] = "\"proc: ApplyTemplateHeaderFooter\"";
constexpr char kStylesProc[] = "\"proc: ApplyTemplateSytles\"";
constexpr char kWordMergeProc[] = "\"proc: MergeActiveWordDocumentWithTemplate\"";
constexpr char kPpMergeProc[] = "\"proc: MergeActiveppDocumentWithTemplate\"";

Variant OpenInvisible(const Variant& documents, const std::string& file, bool not_in_recent_files) {
  std::vector<Variant> args(kOpenVisible + 1);
  args[0] = Variant(file);
  if (not_in_recent_files) args[kOpenAddToRecentFiles] = Variant(false);
  args[kOpenVisible] = Variant(false);
  return documents.CallWith("Open", args);
}

void CloseWithoutSaving(const Variant& doc) {
  doc.Call("Close", {Variant(platform::kWdDoNotSaveChanges)});
}

void DeleteFileQuietly(const std::string& path) {
  std::error_code ec;
  std::filesystem::remove(path, ec);
}

// The step texts name the clipboard way this once worked ("Copy",
// "PasteAndFormat"); the log readers know them by these words, so they stay.
struct Transfer {
  bool header;
  I index;
  const char* copy_step;
  const char* paste_step;
  const char* delete_step;  // null: the paste text stays up during the delete
};

const Transfer kFirstPageHeader{
    true, platform::kWdHeaderFooterFirstPage,
    "wdHeaderFooterFirstPage=> Headers.Item(wdHeaderFooterFirstPage).Range.Copy",
    "wdHeaderFooterFirstPage=> "
    "Headers.Item(wdHeaderFooterFirstPage).Range.PasteAndFormat(wdFormatOriginalFormatting)",
    "wdHeaderFooterFirstPage=> Range.Characters.Delete"};
const Transfer kPrimaryHeader{
    true, platform::kWdHeaderFooterPrimary, "wdHeaderFooterPrimary=> Headers.Item(wdHeaderFooterPrimary).Range.Copy",
    "wdHeaderFooterPrimary=> "
    "Headers.Item(wdHeaderFooterPrimary).Range.PasteAndFormat(wdFormatOriginalFormatting)",
    "wdHeaderFooterPrimary=> Range.Characters.Delete"};
const Transfer kFirstPageFooter{
    false, platform::kWdHeaderFooterFirstPage,
    "wdHeaderFooterFirstPage=> Headers.Item(wdHeaderFooterFirstPage).Range.Copy",
    "wdHeaderFooterFirstPage=> "
    "Footers.Item(wdHeaderFooterFirstPage).Range.PasteAndFormat(wdFormatOriginalFormatting)",
    nullptr};
const Transfer kPrimaryFooter{
    false, platform::kWdHeaderFooterPrimary, "wdHeaderFooterPrimary=> Headers.Item(wdHeaderFooterPrimary).Range.Copy",
    "wdHeaderFooterPrimary=> "
    "Footers.Item(wdHeaderFooterPrimary).Range.PasteAndFormat(wdFormatOriginalFormatting)",
    nullptr};

Variant HeaderFooter(const Variant& section, const Transfer& t) {
  return section.Get(t.header ? "Headers" : "Footers").Get("Item", {t.index});
}

bool TemplateHas(const Variant& source_section, const Transfer& t) {
  return HeaderFooter(source_section, t).Get("Exists").AsBool();
}

// One header or footer carried over. `step` is the routine's one step text:
// set before each risky step and cleared after it, so a failure leaves it up.
void TransferHeaderFooter(const Variant& source_section, const Variant& target_section, const Transfer& t,
                          std::string& step, bool first_page_switch) {
  step = t.copy_step;
  Variant kept = HeaderFooter(source_section, t).Get("Range").Get("Duplicate");
  step.clear();
  if (first_page_switch) target_section.Get("PageSetup").Put("DifferentFirstPageHeaderFooter", Variant(true));
  Variant target = HeaderFooter(target_section, t);
  target.Put("LinkToPrevious", Variant(false));
  step = t.paste_step;
  target.Get("Range").Put("FormattedText", kept.Get("FormattedText"));
  if (t.delete_step) step = t.delete_step;
  // Every transfer leaves one paragraph mark too many at the end.
  Variant chars = target.Get("Range").Get("Characters");
  chars.Get("Item", {chars.Get("Count")}).Call("Delete");
  step.clear();
}

void LogStep(const std::exception& e, const std::string& step) {
  LogException(e, step + " with " + e.what() + " " + kHeaderFooterProc);
}

}  // namespace

bool TemplateKeepsPageFormat(TemplateSource& dm, std::int32_t TemplateID) {
  return dm.CodeVal("TEMPLATE_SETTNG", "KEEP_PG_FORMAT:" + std::to_string(TemplateID)) == "Y";
}

void ApplyTemplateHeaderFooter(const Variant& Doc, const Variant& Template, bool KeepFormat, bool Header,
                               bool Footer) {
  std::string step;
  try {
    const I source_count = Template.Get("Sections").Get("Count").AsInt();
    const I target_count = Doc.Get("Sections").Get("Count").AsInt();
    for (I t = 1; t <= target_count; ++t) {
      // Sections past the template's last take its last one.
      const I s = std::min(t, source_count);
      auto source = [&] { return Template.Get("Sections").Get("Item", {s}); };
      auto target = [&] { return Doc.Get("Sections").Get("Item", {t}); };

      try {
        if (Header && TemplateHas(source(), kFirstPageHeader)) {
          TransferHeaderFooter(source(), target(), kFirstPageHeader, step, true);
        } else {
          // Also without headers asked for: the first-page layout is switched off.
          target().Get("PageSetup").Put("DifferentFirstPageHeaderFooter", Variant(false));
        }
      } catch (const std::exception& e) {
        LogStep(e, step);
      }
      try {
        if (Header && TemplateHas(source(), kPrimaryHeader)) {
          TransferHeaderFooter(source(), target(), kPrimaryHeader, step, false);
        }
      } catch (const std::exception& e) {
        LogStep(e, step);
      }
      try {
        if (Footer && TemplateHas(source(), kFirstPageFooter)) {
          TransferHeaderFooter(source(), target(), kFirstPageFooter, step, false);
        }
      } catch (const std::exception& e) {
        LogStep(e, step);
      }
      try {
        if (Footer && TemplateHas(source(), kPrimaryFooter)) {
          TransferHeaderFooter(source(), target(), kPrimaryFooter, step, false);
        }
      } catch (const std::exception& e) {
        LogException(e, kHeaderFooterProc);
      }
      try {
        if (!KeepFormat) {
          // Paper size and orientation stay the document's own.
          Variant from = source().Get("PageSetup");
          Variant to = target().Get("PageSetup");
          for (const char* member : {"TopMargin", "LeftMargin", "BottomMargin", "RightMargin",
                                     "HeaderDistance", "FooterDistance"}) {
            to.Put(member, from.Get(member));
          }
        }
      } catch (const std::exception& e) {
        LogException(e, kHeaderFooterProc);
      }
    }
  } catch (...) {
  }
}

void ApplyTemplateSytles(const Variant& Doc, const std::string& TemplateFile) {
  try {
    Variant copy = OpenInvisible(Doc.Get("Application").Get("Documents"), TemplateFile, false);
    // The name keeps the whole old file name, extension and all, before ".dotx".
    const std::string dotx = TemplateFile + ".dotx";
    copy.Call("SaveAs", {Variant(dotx), Variant(platform::kWdFormatXMLTemplate)});
    copy.Call("Close");
    // Twice on purpose: one call does not carry every style over.
    Doc.Call("CopyStylesFromTemplate", {Variant(dotx)});
    Doc.Call("CopyStylesFromTemplate", {Variant(dotx)});
    DeleteFileQuietly(dotx);
  } catch (const std::exception& e) {
    LogException(e, kStylesProc);
  }
}

bool MergeActiveWordDocumentWithTemplate(TemplateContext& ctx, std::int32_t TemplateID, bool Header,
                                         bool Footer, bool Styles) {
  std::string file;
  try {
    const bool keep_format = TemplateKeepsPageFormat(ctx.dm, TemplateID);
    file = ctx.dm.GetTemplateFile(TemplateID);
    if (file.empty()) return false;
    LogTrace("MergeActiveWordDocumentWithTemplate:",
             keep_format ? "KEEP PG FORMAT: true" : "KEEP PG FORMAT: false");

    try {
      Variant doc;
      Variant tmpl;
      bool closed = false;
      try {
        doc = ctx.application.Get("ActiveDocument");
        const I old_view = doc.Get("ActiveWindow").Get("View").Get("RevisionsView").AsInt();
        tmpl = OpenInvisible(ctx.application.Get("Documents"), file, true);
        // The merge itself is no revision of the document.
        DisableTrackChanges(ctx.host, doc);
        ApplyTemplateHeaderFooter(doc, tmpl, keep_format, Header, Footer);
        CloseWithoutSaving(tmpl);
        closed = true;
        if (Styles) ApplyTemplateSytles(doc, file);
        EnableTrackChanges(ctx.host, doc);
        if (old_view == platform::kWdRevisionsViewFinal) HideTrackingChanges(ctx.host, doc);
      } catch (...) {
        if (!closed && tmpl.HasObject()) CloseWithoutSaving(tmpl);
        throw;
      }
      UpdateDocFields(ctx.host, doc);
      doc.Call("Save");
    } catch (const std::exception& e) {
      LogException(e, kWordMergeProc);
    }
  } catch (const std::exception& e) {
    LogException(e, kWordMergeProc);
    return false;
  }
  DeleteFileQuietly(file);
  return true;
}

bool MergeActiveppDocumentWithTemplate(TemplateContext& ctx, std::int32_t TemplateID) {
  try {
    const std::string file = ctx.dm.GetTemplateFile(TemplateID);
    if (file.empty()) return false;
    // Unlike Word's merge, the local copy is left where it is.
    ctx.application.Get("ActivePresentation").Call("ApplyTemplate", {Variant(file)});
    return true;
  } catch (const std::exception& e) {
    LogException(e, kPpMergeProc);
    return false;
  }
}

}  // namespace quillorn::automation
