#include "automation/stamping.h"

#include <filesystem>
#include <system_error>

#include "automation/stamp_metafile.h"
#include "foundation/guarded.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "platform/office_constants.h"

namespace quillorn::automation {
namespace {

using foundation::LogTrace;
using platform::Variant;
using I = std::int32_t;

constexpr I kRed = 255;
constexpr double kStampBandHeight = 200;
constexpr char kHeaderPictureCode[] = "&G";

// A full-width band centred on the page's height, in the given shapes.
Variant AddStampBox(const Variant& shapes, double page_height, double page_width, const char* name,
                    const std::string& text, I alignment, I size) {
  Variant box = shapes.Call("AddTextBox", {platform::kMsoTextOrientationHorizontal, 0.0, page_height / 2 - 100, page_width,
                                           kStampBandHeight});
  box.Put("Name", Variant(name));
  Variant text_range = box.Get("TextFrame").Get("TextRange");
  text_range.Put("Text", Variant(text));
  text_range.Get("ParagraphFormat").Put("Alignment", Variant(alignment));
  box.Get("Line").Put("Visible", Variant(false));
  Variant font = text_range.Get("Font");
  font.Put("Color", Variant(kRed));
  font.Put("Size", Variant(size));
  font.Put("Bold", Variant(platform::kMsoTrue));
  return box;
}

void StampWord(const Variant& Doc, const std::string& text) {
  foundation::Quietly([&] {
    Doc.Get("Sections").Get("item", {I{1}}).Get("footers").Get("item", {platform::kWdHeaderFooterPrimary})
        .Get("Shapes").Get("item", {kStampShapeName}).Call("Delete");
  });
  if (text.empty()) return;
  Variant shapes = Doc.Get("Sections").Get("item", {I{1}}).Get("Footers").Get("item", {platform::kWdHeaderFooterPrimary})
                       .Get("Shapes");
  Variant page_setup = Doc.Get("PageSetup");
  const double height = page_setup.Get("PageHeight").AsDouble();
  const double width = page_setup.Get("PageWidth").AsDouble();
  AddStampBox(shapes, height, width, kStampShapeName, text, platform::kWdAlignParagraphCenter, I{64});
}

void StampPowerPoint(const Variant& Doc, const std::string& text) {
  foundation::Quietly([&] { Doc.Get("TitleMaster").Get("Shapes").Get("item", {kStampShapeName}).Call("Delete"); });
  foundation::Quietly([&] { Doc.Get("SlideMaster").Get("Shapes").Get("item", {kStampShapeName2}).Call("Delete"); });
  if (text.empty()) return;
  // The title master stays once added, also when the stamp is taken off again.
  if (!Doc.Get("HasTitleMaster").AsBool()) Doc.Call("AddTitleMaster");
  Variant page_setup = Doc.Get("PageSetup");
  const double height = page_setup.Get("SlideHeight").AsDouble();
  const double width = page_setup.Get("SlideWidth").AsDouble();
  AddStampBox(Doc.Get("TitleMaster").Get("Shapes"), height, width, kStampShapeName, text, platform::kPpAlignCenter, I{72});
  AddStampBox(Doc.Get("SlideMaster").Get("Shapes"), height, width, kStampShapeName2, text, platform::kPpAlignCenter, I{72});
}

void StampExcel(const Variant& Doc, const std::string& text) {
  if (!text.empty()) {
    const std::string path = StampPicturePath(Doc.Get("FullName").AsString());
    CreateStampMetafile(text, path);
    Variant sheets = Doc.Get("Sheets");
    const I count = sheets.Get("Count").AsInt();
    for (I i = 1; i <= count; ++i) {
      Variant page_setup = sheets.Get("Item", {i}).Get("PageSetup");
      page_setup.Get("CenterHeaderPicture").Put("Filename", Variant(path));
      // Appended on every stamp, so a sheet stamped twice shows "&G" twice.
      page_setup.Put("CenterHeader", Variant(page_setup.Get("CenterHeader").AsString() + "\r" + kHeaderPictureCode));
    }
    std::error_code ignored;
    std::filesystem::remove(foundation::PathFromUtf8(path), ignored);
    return;
  }
  Variant sheets = Doc.Get("Sheets");
  const I count = sheets.Get("Count").AsInt();
  for (I i = 1; i <= count; ++i) {
    Variant page_setup = sheets.Get("Item", {i}).Get("PageSetup");
    // The whole centre header goes, whatever else stood in it: that is the rule.
    if (page_setup.Get("CenterHeader").AsString().find(kHeaderPictureCode) != std::string::npos) {
      page_setup.Put("CenterHeader", Variant(" "));
    }
  }
}

}  // namespace

std::string GetStampText(std::string_view Status, bool Current, bool Latest, bool Controlled, bool Printing) {
  const bool approved = Status == "A" || Status == "R";
  if (approved && Current) {
    if (!Printing || Controlled) return {};
    return kStampUncontrolled;
  }
  if (approved || (!Current && !Latest)) return kStampSuperseded;
  if (Status == "!") return kStampOutOfDate;
  if (!Status.empty() && std::string_view("ECNP").find(Status) != std::string_view::npos) return kStampDraft;
  if (Status == "W") return kStampNotApproved;
  if (Status == "D") return kStampDeleted;
  return {};
}

std::string StampTextFor(const StampRecord& record, bool Controlled, bool Printing) {
  if (Controlled && !Printing) return {};
  if (record.CHECKED_OUT) return GetStampText("C", false, true, Controlled, Printing);
  return GetStampText(record.status, record.is_current == "Y", record.is_latest == "Y", Controlled, Printing);
}

std::string StampPicturePath(std::string_view FullName) {
  const std::string ext = foundation::ExtractFileExt(FullName);
  std::string path(FullName);
  if (ext.empty()) return path + ".wmf";
  path.replace(path.find(ext), ext.size(), ".wmf");
  return path;
}

void StampDocument(HostType host, const StampRecord& record, std::int64_t /*DocID*/, const Variant& Doc,
                   bool Controlled, bool Printing) {
  foundation::Guarded("PROC: StampDocument", [&] {
    const std::string text = StampTextFor(record, Controlled, Printing);
    LogTrace("Stamp", "stampText: " + text);
    switch (host) {
      case HostType::ohaWord:
        foundation::Guarded("PROC: StampDocument {for WORD}", [&] { StampWord(Doc, text); });
        break;
      case HostType::ohaPowerPoint:
        foundation::Guarded("PROC: StampDocument {for POWERPOINT}", [&] { StampPowerPoint(Doc, text); });
        break;
      case HostType::ohaExcel:
        foundation::Guarded("PROC: StampDocument {for EXCEL}", [&] { StampExcel(Doc, text); });
        break;
      default:
        break;
    }
  });
}

}  // namespace quillorn::automation
