#include "automation/document_fields.h"

#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "automation/doc_properties.h"
#include "foundation/context.h"
#include "foundation/log.h"
#include "platform/office_constants.h"

namespace quillorn::automation {
namespace {

using foundation::LogException;
using foundation::LogTrace;
using I = std::int32_t;

constexpr I kFirstStoryType = 1;
constexpr I kLastStoryType = 17;
// wdEvenPagesHeaderStory .. wdFirstPageFooterStory
constexpr I kFirstHeaderFooterStory = 6;
constexpr I kLastHeaderFooterStory = 11;

std::string WithoutBlanks(const std::string& s) {
  std::string out;
  out.reserve(s.size());
  for (char c : s) {
    if (c != ' ') out += c;
  }
  return out;
}

// The shapes of one presentation with their names, in the order a walk of all
// slides and their shapes meets them, read once per run instead of once per
// field: against a real PowerPoint every read is a round trip to another
// process. The run writes texts only, never names or slides, so what was read
// stays true for the whole run. Where a read fails, the walk is taken up again
// at that point by the next field that gets there, so each field meets a
// failure, or does not, as a walk of its own would have.
class ShapeNames {
 public:
  explicit ShapeNames(Variant presentation) : presentation_(std::move(presentation)) {}

  // Sets the text of every shape called `name`; one name may feed many shapes,
  // none is no change. The first failure ends it and goes to the caller.
  void SetText(std::string_view name, const Variant& text) {
    for (std::size_t at = 0; at < shapes_.size() || ReadNext(); ++at) {
      if (shapes_[at].first == name) shapes_[at].second.Get("TextFrame").Get("TextRange").Put("Text", text);
    }
  }

 private:
  // Reads the next shape and its name; false once every slide is done. The
  // place in the walk moves only past what was read without a failure.
  bool ReadNext() {
    if (done_) return false;
    if (slides_.IsEmpty()) {
      Variant slides = presentation_.Get("Slides");
      slide_count_ = slides.Get("Count").AsInt();
      slides_ = std::move(slides);
    }
    while (shape_ >= shape_count_) {
      if (slide_ >= slide_count_) {
        done_ = true;
        return false;
      }
      Variant shapes = slides_.Get("Item", {slide_ + 1}).Get("Shapes");
      shape_count_ = shapes.Get("Count").AsInt();
      slide_shapes_ = std::move(shapes);
      ++slide_;
      shape_ = 0;
    }
    Variant shape = slide_shapes_.Get("Item", {shape_ + 1});
    shapes_.emplace_back(shape.Get("Name").AsString(), std::move(shape));
    ++shape_;
    return true;
  }

  Variant presentation_;
  Variant slides_;  // Empty until read
  I slide_count_ = 0;
  I slide_ = 0;  // slides whose shape list has been fetched
  Variant slide_shapes_;
  I shape_count_ = 0;
  I shape_ = 0;  // shapes of the current slide read so far
  bool done_ = false;
  std::vector<std::pair<std::string, Variant>> shapes_;
};

// Two handles on one presentation: COM gives a new one on every fetch, so they
// are told apart by name, which PowerPoint keeps unique among open
// presentations (an unsaved one is "Presentation2"). A name that cannot be read
// counts as another presentation: that costs a walk of its own, never a write
// in the wrong place.
bool SamePresentation(const Variant& a, const Variant& b) {
  try {
    return a.Get("FullName").AsString() == b.Get("FullName").AsString();
  } catch (const std::exception&) {
    return false;
  }
}

// User-defined fields go to the document, control fields to the active
// presentation; when that is the document, both share one walk.
class PresentationShapes {
 public:
  PresentationShapes(const Variant& Doc, const Variant& application) : Doc_(Doc), application_(application) {}

  ShapeNames& OfDoc() {
    if (!doc_) doc_.emplace(Doc_);
    return *doc_;
  }
  // Asks for the active presentation until that succeeds; a failure goes to
  // the caller each time, as it did for every control field.
  ShapeNames& OfActive() {
    if (active_ == nullptr) {
      const Variant presentation = application_.Get("ActivePresentation");
      active_ = SamePresentation(Doc_, presentation) ? &OfDoc() : &other_.emplace(presentation);
    }
    return *active_;
  }

 private:
  const Variant& Doc_;
  const Variant& application_;
  std::optional<ShapeNames> doc_;
  std::optional<ShapeNames> other_;
  ShapeNames* active_ = nullptr;
};

void WriteIdentity(const Variant& Doc, I file_type, std::int64_t DocID, bool RemoveID) {
  const Variant id(std::to_string(DocID));
  switch (file_type) {
    case kFileTypeWord:
    case kFileTypePowerPoint:
    case kFileTypeExcel:
      if (RemoveID) {
        DeleteCustomProperty(Doc, kCmsIdProperty);
      } else {
        EnsureCustomProperty(Doc, kCmsIdProperty, id);
      }
      break;
    case kFileTypePublisher:
      if (RemoveID) {
        DeleteTag(Doc, kCmsIdProperty);
      } else {
        EnsureTag(Doc, kCmsIdProperty, id);
      }
      break;
    default:
      break;
  }
}

Variant CompanyValue(const std::vector<DocFieldRow>& rows) {
  for (const auto& row : rows) {
    if (row.CODE != "Company") continue;
    if (row.VAL.IsEmptyOrNull()) return Variant("-");
    try {
      return Variant(row.VAL.AsString());
    } catch (const std::exception&) {
      return Variant("-");
    }
  }
  return Variant("-");
}

void WriteCustomField(const Variant& Doc, I file_type, const DocFieldRow& row, PresentationShapes& shapes) {
  const std::string name = WithoutBlanks(row.CODE);
  const bool is_null = row.VAL.IsEmptyOrNull();
  switch (file_type) {
    case kFileTypeWord:
      if (row.CODE == "Company") return;
      try {
        // A property made here for a null value gets the empty text, one that
        // was there already gets "-"; documents in circulation rely on both.
        SetOrAddCustomProperty(Doc, name, Variant(is_null ? std::string("-") : row.VAL.AsString()),
                               Variant(row.VAL.AsString()));
      } catch (const std::exception& e) {
        LogException(e, "WORD: Could not create custom field: " + row.CODE);
      }
      break;
    case kFileTypePowerPoint:
      try {
        shapes.OfDoc().SetText(name, is_null ? Variant("-") : row.VAL);
      } catch (const std::exception& e) {
        LogException(e, "PPT: Could not set custom field: " + row.CODE);
      }
      break;
    case kFileTypeExcel:
      try {
        SetHiddenName(Doc, name, Variant(is_null ? std::string("'-") : "'" + row.VAL.AsString()));
      } catch (const std::exception& e) {
        LogException(e, "EXCEL: Could not create custom Excel field: " + row.CODE);
      }
      break;
    default:
      break;
  }
}

void WriteControlField(const Variant& Doc, I file_type, std::string_view name, const std::string& value,
                       PresentationShapes& shapes) {
  const std::string name_text(name);
  switch (file_type) {
    case kFileTypeWord:
      SetOrAddCustomProperty(Doc, name, Variant(value));
      break;
    case kFileTypePowerPoint:
      try {
        shapes.OfActive().SetText(name, Variant(value));
      } catch (const std::exception& e) {
        LogException(e, "PPT: Could not set control field: " + name_text);
      }
      break;
    case kFileTypeExcel:
      try {
        SetHiddenName(Doc, name, Variant(value));
      } catch (const std::exception& e) {
        LogException(e, "EXCEL: Could not set control field: " + name_text);
      }
      break;
    default:
      break;  // Publisher keeps the values for the insert commands only
  }
}

void UpdateDocPropertyFields(const Variant& fields, bool trace) {
  const I count = fields.Get("Count").AsInt();
  if (trace) LogTrace("...", "...range.Fields.Count: " + std::to_string(count));
  for (I i = 1; i <= count; ++i) {
    Variant field = fields.Get("Item", {i});
    const I type = field.Get("Type").AsInt();
    if (trace) LogTrace("...", "...field " + std::to_string(i) + " type: " + std::to_string(type));
    // Dates, page numbers and references keep what Word shows.
    if (type == platform::kWdFieldDocProperty) field.Call("Update");
  }
}

// Failures are swallowed: the rest of this range is skipped and the story chain goes on.
void UpdateFieldsInRange(const Variant& range) {
  try {
    range.Call("WholeStory");
    UpdateDocPropertyFields(range.Get("Fields"), true);
    const I story_type = range.Get("StoryType").AsInt();
    if (story_type < kFirstHeaderFooterStory || story_type > kLastHeaderFooterStory) return;
    // Text boxes in headers and footers: Word's story chain doesn't reach their fields.
    Variant shapes = range.Get("ShapeRange");
    const I shape_count = shapes.Get("Count").AsInt();
    for (I i = 1; i <= shape_count; ++i) {
      Variant frame = shapes.Get("Item", {i}).Get("TextFrame");
      if (!frame.Get("HasText").AsBool()) continue;
      UpdateDocPropertyFields(frame.Get("TextRange").Get("Fields"), false);
    }
  } catch (const std::exception&) {
  }
}

}  // namespace

void SetDocFields(DocFieldsContext& ctx, const Variant& Doc, std::int64_t DocID, bool RemoveID) {
  LogTrace("SetDocFields", "from within " + foundation::CurrentContext().ProcName);
  if (!Doc.HasObject()) return;
  try {
    DocRecordSource& dm = ctx.dm;
    if (DocID == 0) {
      DocID = dm.DocValue("doc_id").AsInt64();
    } else {
      dm.LocateDoc(DocID);
    }
    const Variant file_type_value = dm.DocValue("file_type");
    const I file_type = file_type_value.IsEmptyOrNull() ? 0 : file_type_value.AsInt();
    WriteIdentity(Doc, file_type, DocID, RemoveID);
    if (file_type != kFileTypeWord && file_type != kFileTypePowerPoint && file_type != kFileTypeExcel &&
        file_type != kFileTypePublisher) {
      return;
    }

    const std::vector<DocFieldRow> rows = dm.DocFields();
    if (file_type == kFileTypeWord) PutCompanyProperty(Doc, CompanyValue(rows));
    PresentationShapes shapes(Doc, ctx.application);
    for (const auto& row : rows) WriteCustomField(Doc, file_type, row, shapes);

    dm.OpenCodes(false);
    dm.OpenUsers(false);
    const ControlFieldFormats formats = ReadControlFieldFormats(dm);
    for (std::size_t index = 0; index < kControlFieldCount; ++index) {
      const std::string name(ControlFieldNames[index]);
      try {
        std::string value = ControlFieldValue(dm, index, formats);
        ctx.ControlFieldValues[index] = value;
        WriteControlField(Doc, file_type, name, value, shapes);
      } catch (const std::exception& e) {
        LogException(e, "Could not create control field: " + name);
      }
    }
  } catch (const std::exception& e) {
    LogException(e, "in SetDocFields");
  }
}

void UpdateDocFields(HostType host, const Variant& Doc) {
  LogTrace("...", "UpdateDocFields (Begin)");
  if (host != HostType::ohaWord) return;
  for (I type = kFirstStoryType; type <= kLastStoryType; ++type) {
    try {
      Variant range = Doc.Get("StoryRanges").Get("Item", {type});
      // The chain is what reaches the headers and footers of later sections.
      while (range.HasObject()) {
        LogTrace("...", "StoryRangeType: " + std::to_string(type));
        UpdateFieldsInRange(range);
        range = range.Get("NextStoryRange");
      }
    } catch (const std::exception& e) {
      LogTrace(e.what(), "in UpdateDocFields StoryRangeType:" + std::to_string(type));
    }
  }
  I toc_count = 0;
  try {
    toc_count = Doc.Get("TablesOfContents").Get("Count").AsInt();
  } catch (const std::exception&) {
  }
  for (I i = 1; i <= toc_count; ++i) {
    try {
      Doc.Get("TablesOfContents").Get("Item", {i}).Call("Update");
    } catch (const std::exception&) {
    }
  }
  LogTrace("...", "UpdateDocFields (Done)");
}

}  // namespace quillorn::automation
