#include "toolbox/toolbox_form.h"

#include <cmath>
#include <cstdio>

#include "automation/document_fields.h"
#include "data/doc_readers.h"
#include "data/fetching.h"
#include "data/lookups.h"
#include "data/review_dates.h"
#include "foundation/datetime.h"
#include "foundation/guarded.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "foundation/status.h"

namespace quillorn::toolbox {
namespace {

using data::DataSetState;
using data::Table;
using data::TableEvent;
using platform::HostType;
using platform::Variant;

constexpr std::int32_t kTemplateDocType = 7;
constexpr std::int32_t kGlobalFramework = -2;
constexpr std::int32_t kWordFileType = 1;
constexpr std::int32_t kPowerPointFileType = 2;

std::string Lower(std::string_view text) { return foundation::LowerCase(text); }

bool Truth(const std::string& value) {
  const std::string v = Lower(value);
  if (v == "true" || v == "1" || v == "y") return true;
  if (v == "false" || v == "0" || v == "n") return false;
  throw PaneInputError("a check box takes True or False, not " + value);
}

// Dates as the pane shows them and takes them: yyyy-mm-dd, with the time when
// there is one.
std::string DateText(double days) {
  const bool whole = std::floor(days) == days;
  return foundation::FormatDateTime(whole ? "yyyy-mm-dd" : "yyyy-mm-dd hh:nn", days);
}

std::optional<double> ParseDate(const std::string& text) {
  int y = 0, m = 0, d = 0;
  char tail = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &y, &m, &d, &tail) != 3) return std::nullopt;
  foundation::TDateTime out = 0;
  if (!foundation::TryEncodeDate(y, m, d, out)) return std::nullopt;
  return out;
}

std::string Shown(const Variant& value) {
  if (value.kind() == Variant::Kind::DateTime) return DateText(value.AsDateTime());
  return value.AsString();
}

}  // namespace

TToolBoxForm::TToolBoxForm(ToolBoxSite& site) : site_(site), dm_(site.Dm()) {
  // FormCreate: sDoc on tblDoc.
  dm_.tblDoc.AddObserver(this);
  templateButtonCaption_ = std::string(FindControlDef("bTemplateApply")->caption);
  State("tsForms").visible = false;
}

TToolBoxForm::~TToolBoxForm() {
  dm_.tblDoc.RemoveObserver(this);
  foundation::LogTrace("ToolBoxFormDestroy", "");
}

bool TToolBoxForm::DocReady() const { return dm_.tblDoc.Active() && !dm_.tblDoc.Eof(); }

bool TToolBoxForm::FilesReadOnly() {
  Table& files = dm_.tblFiles;
  return !files.Active() || files.Eof() || files.FieldByName("READ_ONLY").AsBoolean();
}

void TToolBoxForm::ShowDocument(std::int32_t DocID) {
  mDoc_ID_ = DocID;
  Table& doc = dm_.tblDoc;
  if (!DocReady()) return;
  // Another document's unfinished edit is kept, as a data-aware control would
  // post it on leaving the record.
  doc.PostIfEditing();
  doc.Locate("DOC_ID", Variant(DocID));
  Table& files = dm_.tblFiles;
  const bool inFiles = files.Active() && files.Locate("DOC_ID", Variant(DocID));
  // A document not in tblFiles is somebody else's to change: shown read-only.
  autoEdit_ = inFiles && !files.FieldByName("READ_ONLY").AsBoolean();
  sDocDataChange();
  UpdateStatus();
  isTemplate_ = doc.FieldByName("DOC_TYPE_ID").AsInteger() == kTemplateDocType;
  const std::int32_t fileType = doc.FieldByName("FILE_TYPE").AsInteger();
  State("tsForms").visible = fileType == kWordFileType && !isTemplate_;
  State("cTemplate").enabled = autoEdit_;
  State("rbTemplate1").enabled = autoEdit_;
  State("rbTemplate2").enabled = autoEdit_;
  const bool templatesShown = fileType == kWordFileType || fileType == kPowerPointFileType;
  for (const char* name : {"cTemplate", "lTemplate", "bTemplateApply", "bTemplatesRefresh"}) {
    State(name).visible = templatesShown;
  }
  State("cpTemplateSettings").visible = fileType == kWordFileType && isTemplate_;
  State("cpPublishingOptions").visible = !State("cpTemplateSettings").visible;
  pageFormatLoaded_ = false;
  if (isTemplate_) {
    const std::string code = "KEEP_PG_FORMAT:" + doc.FieldByName("DOC_NO").AsString();
    rbTemplate1_ = data::getCodeVal(dm_, "TEMPLATE_SETTNG", code) == "Y";
    lastKeepPageFormatting_ = rbTemplate1_;
    pageFormatLoaded_ = true;
  }
  if (templatesShown && dm_.tblTemplates.Active()) OpenTemplatesQuery();
  ShowTemplate();
  // The web form's page and its fields come with the web form designer.
}

void TToolBoxForm::OpenTemplatesQuery() {
  Table& doc = dm_.tblDoc;
  std::string sql = kTemplatesSql;
  auto bind = [&sql](const std::string& name, const std::string& value) {
    sql.replace(sql.find(name), name.size(), value);
  };
  // Both are numbers of the record, never text a user typed.
  bind(":framework", std::to_string(doc.FieldByName("FRAMEWORK").AsInteger()));
  bind(":file_type", std::to_string(doc.FieldByName("FILE_TYPE").AsInteger()));
  qTemplates.reset();
  qTemplates.emplace(dm_.Cache.CacheDB(), sql, "qTemplates");
  qTemplates->Open();
}

void TToolBoxForm::RefreshTemplateQuery() {
  if (!qTemplates || !qTemplates->Active() || !DocReady()) return;
  OpenTemplatesQuery();
}

void TToolBoxForm::bTemplatesRefreshClick() {
  data::OpenTemplates(dm_, data::Fetch::Refresh);
  RefreshTemplateQuery();
}

void TToolBoxForm::ShowTemplate() {
  if (!DocReady()) return;
  const data::Field templateId = dm_.tblDoc.FieldByName("TEMPLATE_ID");
  if (!templateId.IsNull()) {
    template_ = templateId.AsInteger();
    templateButtonCaption_ = kReapplyTemplateCaption;
  } else {
    template_.reset();
    templateButtonCaption_ = kApplyTemplateCaption;
  }
}

void TToolBoxForm::UpdateStatus() {
  statusImage_ = foundation::StatusImageIndex(dm_.tblDoc.FieldByName("STATUS").AsString());
}

void TToolBoxForm::sDocDataChange() {
  if (!DocReady() || inDataChange_) return;
  inDataChange_ = true;
  statusCaption_ = foundation::StatusCaption(dm_.tblDoc.FieldByName("STATUS").AsString());
  ShowTemplate();
  TemplateButtonState();
  State("cpTemplateSettings").visible = dm_.tblDoc.FieldByName("FRAMEWORK").AsInteger() == kGlobalFramework;
  State("cpPublishingOptions").visible = !State("cpTemplateSettings").visible;
  UpdateStatus();
  inDataChange_ = false;
}

void TToolBoxForm::TemplateButtonState() {
  const HostType host = site_.Host();
  if (host != HostType::ohaWord && host != HostType::ohaPowerPoint) {
    State("bTemplateApply").enabled = false;
    State("cTemplate").enabled = false;
    return;
  }
  State("cTemplate").enabled = true;
  State("bTemplateApply").enabled = template_.has_value() && !FilesReadOnly();
}

void TToolBoxForm::OnTableEvent(Table& table, TableEvent event) {
  if (&table != &dm_.tblDoc) return;
  switch (event) {
    case TableEvent::AfterEdit: {
      // sDocStateChange: the host offers to save a document whose record changed.
      const Variant app = site_.Application();
      if (!app.HasObject()) return;
      foundation::Quietly([&] {
        switch (site_.Host()) {
          case HostType::ohaExcel:
            if (app.Get("Workbooks").Get("Count").AsInt() > 0) app.Get("ActiveWorkbook").Put("Saved", Variant(false));
            break;
          case HostType::ohaWord:
            if (app.Get("Documents").Get("Count").AsInt() > 0) app.Get("ActiveDocument").Put("Saved", Variant(false));
            break;
          case HostType::ohaPowerPoint:
            if (app.Get("Presentations").Get("Count").AsInt() > 0) {
              app.Get("ActivePresentation").Put("Saved", Variant(false));
            }
            break;
          default: break;
        }
      });
      break;
    }
    case TableEvent::AfterOpen:
    case TableEvent::AfterPost:
    case TableEvent::AfterCancel:
    case TableEvent::AfterScroll:
      sDocDataChange();
      break;
    default: break;
  }
}

// ---- What the pane shows -----------------------------------------------------------

std::vector<std::pair<std::string, std::string>> TToolBoxForm::ListItems(const ControlDef& def) {
  std::vector<std::pair<std::string, std::string>> items;  // key, shown text
  if (def.list == "sTemplates") {
    if (!qTemplates || !qTemplates->Active()) return items;
    for (qTemplates->First(); !qTemplates->Eof(); qTemplates->Next()) {
      items.emplace_back(qTemplates->FieldByName("doc_no").AsString(), qTemplates->FieldByName("doc_name").AsString());
    }
  } else if (def.list == "sReviewIntervals") {
    Table& t = dm_.tblReviewIntervals;
    if (!t.Active()) t.Open();
    for (t.First(); !t.Eof(); t.Next()) {
      items.emplace_back(t.FieldByName("id").AsString(), t.FieldByName("descript").AsString());
    }
  } else if (def.list == "sApprovalUsers") {
    data::CacheQuery& q = dm_.qApprovalUsers;
    foundation::Quietly([&] { q.Open(); });
    if (!q.Active()) return items;
    for (q.First(); !q.Eof(); q.Next()) {
      items.emplace_back(q.FieldByName("USER_ID").AsString(), q.FieldByName("approval_user").AsString());
    }
  }
  return items;
}

std::string TToolBoxForm::Value(const ControlDef& def) {
  switch (def.kind) {
    case ControlKind::Tab:
    case ControlKind::Group:
    case ControlKind::Label:
      return def.name == "lblStatus" ? statusCaption_ : std::string(def.caption);
    case ControlKind::Button:
      return def.name == "bTemplateApply" ? templateButtonCaption_ : std::string(def.caption);
    case ControlKind::Image:
      if (def.name == "Image1") return std::to_string(statusImage_);
      if (def.name == "Image2") return std::to_string(kImage2);
      if (def.name == "Image3") return std::to_string(kImage3);
      if (def.name == "Image4") return std::to_string(kImage4);
      return std::to_string(kTemplatesRefreshImage);
    case ControlKind::Radio:
      return (def.name == "rbTemplate1" ? rbTemplate1_ : !rbTemplate1_) ? "True" : "False";
    default: break;
  }
  if (!DocReady() && !def.field.empty()) return "";
  if (def.kind == ControlKind::Check) return dm_.tblDoc.Flag(def.field) ? "True" : "False";
  if (def.kind == ControlKind::Lookup) {
    std::string key;
    if (def.name == "cTemplate") {
      key = template_ ? std::to_string(*template_) : "";
    } else {
      key = dm_.tblDoc.FieldByName(def.field).AsString();
    }
    for (const auto& [itemKey, text] : ListItems(def)) {
      if (itemKey == key) return text;
    }
    return key;
  }
  return def.field.empty() ? "" : Shown(dm_.tblDoc.FieldByName(def.field).Value());
}

std::vector<PaneControl> TToolBoxForm::Controls() {
  std::vector<PaneControl> controls;
  for (const ControlDef& def : ToolBoxLayout()) {
    PaneControl c;
    c.name = def.name;
    c.caption = def.kind == ControlKind::Button ? Value(def) : std::string(def.caption);
    c.kind = def.kind;
    c.parent = def.parent;
    // A calculated field reads other tables, which a log-in may have closed
    // for the moment: the control then shows nothing rather than failing.
    try {
      c.value = Value(def);
      if (def.kind == ControlKind::Lookup) {
        for (auto& item : ListItems(def)) c.items.push_back(std::move(item.second));
      }
    } catch (const std::exception&) {
      c.value.clear();
      c.items.clear();
    }
    const auto it = states_.find(std::string(def.name));
    const ControlState state = it == states_.end() ? ControlState{} : it->second;
    // A bound control edits only what sDoc may edit.
    c.enabled = state.enabled && (def.field.empty() || (autoEdit_ && def.kind != ControlKind::Text));
    c.visible = state.visible;
    controls.push_back(std::move(c));
  }
  // A hidden group hides what is in it.
  std::map<std::string, bool> shown;
  for (PaneControl& c : controls) {
    if (!c.parent.empty() && !shown[c.parent]) c.visible = false;
    shown[c.name] = c.visible;
  }
  return controls;
}

// ---- The user's input --------------------------------------------------------------

const ControlDef& TToolBoxForm::Find(std::string_view control) const {
  if (const ControlDef* def = FindControlDef(control)) return *def;
  // By caption, on the tab in front first: "Approval by" stands on two tabs.
  const std::string want = Lower(control);
  auto tabOf = [](const ControlDef& def) {
    std::string_view parent = def.parent;
    if (parent.empty()) return std::string(def.name);
    const ControlDef* up = FindControlDef(parent);
    while (up != nullptr && !up->parent.empty()) up = FindControlDef(up->parent);
    return std::string(up != nullptr ? up->name : parent);
  };
  const ControlDef* other = nullptr;
  for (const ControlDef& def : ToolBoxLayout()) {
    if (Lower(def.caption) != want || def.kind == ControlKind::Label) continue;
    if (tabOf(def) == activeTab_) return def;
    if (other == nullptr) other = &def;
  }
  if (other == nullptr) throw PaneInputError("the pane has no control " + std::string(control));
  return *other;
}

void TToolBoxForm::SelectTab(std::string_view caption) {
  for (const PaneControl& c : Controls()) {
    if (c.kind != ControlKind::Tab) continue;
    if (Lower(c.caption) != Lower(caption) && Lower(c.name) != Lower(caption)) continue;
    if (!c.visible) throw PaneInputError("the tab " + std::string(caption) + " is not shown");
    activeTab_ = c.name;
    return;
  }
  throw PaneInputError("the pane has no tab " + std::string(caption));
}

namespace {

void RequireUsable(const PaneControl& c) {
  if (!c.visible) throw PaneInputError(c.name + " is not shown");
  if (!c.enabled) throw PaneInputError(c.name + " is disabled");
}

}  // namespace

void TToolBoxForm::Set(std::string_view control, const std::string& value) {
  const ControlDef& def = Find(control);
  for (const PaneControl& c : Controls()) {
    if (c.name == def.name) RequireUsable(c);
  }
  switch (def.kind) {
    case ControlKind::Edit:
    case ControlKind::Memo:
    case ControlKind::Date:
    case ControlKind::Check:
      break;
    case ControlKind::Lookup:
    case ControlKind::Radio:
      Choose(control, value);
      return;
    default:
      throw PaneInputError(std::string(def.name) + " takes no text");
  }
  if (def.name == "edDocName") return edDocNameKeyPress(value);
  if (def.name == "DBDateEdit1") return DBDateEdit1PropertiesEditValueChanged(value);
  EditField(def, value);
}

void TToolBoxForm::EditField(const ControlDef& def, const std::string& value) {
  Table& doc = dm_.tblDoc;
  doc.EnsureEditing();
  data::Field field = doc.FieldByName(def.field);
  if (def.kind == ControlKind::Check) {
    field.SetValue(Variant(Truth(value) ? "Y" : "N"));
  } else if (def.kind == ControlKind::Date) {
    if (value.empty()) {
      field.Clear();
    } else {
      const auto date = ParseDate(value);
      if (!date) throw PaneInputError("a date is written yyyy-mm-dd, not " + value);
      field.SetValue(Variant::FromDateTime(*date));
    }
  } else if (def.field == "KEYWORDS") {
    data::tblDocKEYWORDSSetText(doc, value);
  } else {
    field.SetValue(value.empty() ? Variant::Null() : Variant(value));
  }
  // Leaving the control posts the row, so the change capture has it.
  doc.Post();
}

void TToolBoxForm::edDocNameKeyPress(const std::string& text) {
  Table& doc = dm_.tblDoc;
  if (doc.FieldByName("DOC_NAME").AsString() == text) return;
  doc.EnsureEditing();
  doc.FieldByName("DOC_NAME").SetValue(Variant(text));
  doc.Post();
  // The new name reaches the document's fields at once.
  const Variant app = site_.Application();
  if (!app.HasObject()) return;
  automation::DocFieldsContext& fields = site_.FieldsContext();
  switch (site_.Host()) {
    case HostType::ohaExcel:
      if (app.Get("Workbooks").Get("Count").AsInt() > 0) {
        automation::SetDocFields(fields, app.Get("ActiveWorkbook"), 0, false);
      }
      break;
    case HostType::ohaWord:
      if (app.Get("Documents").Get("Count").AsInt() > 0) {
        const Variant active = app.Get("ActiveDocument");
        automation::SetDocFields(fields, active, 0, false);
        automation::UpdateDocFields(HostType::ohaWord, active);
      }
      break;
    case HostType::ohaPowerPoint:
      if (app.Get("Presentations").Get("Count").AsInt() > 0) {
        automation::SetDocFields(fields, app.Get("ActivePresentation"), 0, false);
      }
      break;
    default: break;
  }
}

void TToolBoxForm::DBDateEdit1PropertiesEditValueChanged(const std::string& text) {
  Table& doc = dm_.tblDoc;
  if (text.empty()) {
    doc.EnsureEditing();
    doc.FieldByName("NEXT_REVIEW").Clear();
    doc.FieldByName("REVIEW_INTERVAL").SetValue(Variant(std::int32_t{0}));
    doc.Post();
    return;
  }
  const auto date = ParseDate(text);
  if (!date) throw PaneInputError("a date is written yyyy-mm-dd, not " + text);
  if (*date < foundation::Date() &&
      site_.Prompts().MessageDlg(kPastReviewDateQuestion, platform::MessageKind::Confirmation,
                                 platform::Buttons::YesNo) != platform::ModalResult::mrYes) {
    return;  // the edit is reset: the stored date stands
  }
  doc.EnsureEditing();
  doc.FieldByName("NEXT_REVIEW").SetValue(Variant::FromDateTime(*date));
  // A date set by hand stands without an interval.
  if (!doc.FieldByName("REVIEW_INTERVAL").IsNull() && doc.FieldByName("REVIEW_INTERVAL").AsInteger() == 0) {
    doc.FieldByName("REVIEW_INTERVAL").Clear();
  }
  doc.Post();
}

void TToolBoxForm::DBLookupComboBox2PropertiesEditValueChanged(const std::string& key) {
  Table& doc = dm_.tblDoc;
  doc.EnsureEditing();
  doc.FieldByName("REVIEW_INTERVAL").SetValue(key.empty() ? Variant::Null() : Variant(std::stoi(key)));
  data::CalcAndSetReviewDate(dm_, site_.Prompts(), key, doc);
  doc.PostIfEditing();
}

void TToolBoxForm::Choose(std::string_view control, const std::string& item) {
  const ControlDef& def = Find(control);
  for (const PaneControl& c : Controls()) {
    if (c.name == def.name) RequireUsable(c);
  }
  if (def.kind == ControlKind::Radio) {
    if (!Truth(item)) throw PaneInputError("a radio button is chosen, never cleared: choose the other one");
    rbTemplate1_ = def.name == "rbTemplate1";
    return;
  }
  if (def.kind != ControlKind::Lookup) throw PaneInputError(std::string(def.name) + " has no list");
  std::optional<std::string> key;
  std::string listed;
  for (const auto& [itemKey, text] : ListItems(def)) {
    if (text == item) key = itemKey;
    listed += (listed.empty() ? "" : ", ") + text;
  }
  if (!key) throw PaneInputError(std::string(def.name) + " has no item " + item + "; it lists: " + listed);
  if (def.name == "cTemplate") {
    template_ = std::stoi(*key);
    // cTemplatePropertiesCloseUp
    TemplateButtonState();
  } else if (def.name == "DBLookupComboBox2") {
    DBLookupComboBox2PropertiesEditValueChanged(*key);
  } else {
    Table& doc = dm_.tblDoc;
    doc.EnsureEditing();
    doc.FieldByName(def.field).SetValue(key->empty() ? Variant::Null() : Variant(std::stoi(*key)));
    doc.Post();
  }
}

void TToolBoxForm::Press(std::string_view control) {
  const ControlDef& def = Find(control);
  for (const PaneControl& c : Controls()) {
    if (c.name == def.name) RequireUsable(c);
  }
  if (def.name == "bTemplateApply") return bTemplateApplyClick();
  if (def.name == "bTemplatesRefresh") return bTemplatesRefreshClick();
  if (def.kind == ControlKind::Tab) return SelectTab(def.caption);
  throw PaneInputError(std::string(def.name) + " is not a button");
}

void TToolBoxForm::bTemplateApplyClick() {
  if (!template_) return;
  automation::TemplateCommandContext ctx{{site_.Templates(), site_.Host(), site_.Application()},
                                         site_.Prompts(), *this};
  automation::ApplyTemplateCommand(ctx, *template_);
  // The template recorded on the document is a change of the record like any
  // other edit in the pane: posted, so the next save sends it.
  dm_.tblDoc.PostIfEditing();
  // Word announced the template's file to the add-in as it opened it for the
  // merge, and that foreign file's row became the current one, with the pane
  // taken away. The document in front is still the one the template went into:
  // it is tracked again as at a switch of window, so that its save is the
  // add-in's and its pane comes back.
  site_.TrackActiveDocument();
}

}  // namespace quillorn::toolbox
