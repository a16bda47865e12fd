// The Insert tab's commands: revision and custom fields, the logo placeholder,
// the custom field dialog, and in the cloud edition the picture route through
// the upload folder. What goes into the document is the automation routines';
// these choose names, labels and values from the data module and speak to the
// user.
#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "addin/addin_module.h"
#include "addin/module_site.h"
#include "addin/small_dialogs.h"
#include "automation/control_fields.h"
#include "automation/insert_fields.h"
#include "data/cache_files.h"
#include "data/lookups.h"
#include "data/tdm.h"
#include "foundation/datetime.h"
#include "foundation/log.h"

namespace quillorn::addin {

namespace {

// The captions of the Revision Field buttons in the order of the control
// fields they insert (not the menu's order, where two are crossed).
constexpr std::array<std::string_view, automation::kControlFieldCount> kControlFieldCaptions = {
    "Approved By",     "Approved Date",    "Created By", "Document Name", "Document Location",
    "Document Number", "Next Review Date", "Revision",   "Revision Date"};

// Approved date, next review date, revision date.
bool IsDateTag(int tag) {
  return tag == 2 || tag == 7 || tag == 9;
}

std::string WithoutBlanks(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c != ' ') out += c;
  }
  return out;
}

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

// Commands reach the data module only from initialisation on; earlier the
// error handler hears of it.
data::Tdm& Require(data::Tdm* dm) {
  if (dm == nullptr) throw std::logic_error("The Insert commands need the data module");
  return *dm;
}

constexpr char kNoLogo[] = "No logo has been specified in the system.";
constexpr char kNoLogoHere[] = "A logo can not be inserted here.";
constexpr char kSettledUploads[] = "(lastchange+0.00002315)<now and done=false";

}  // namespace

void TAddInModule::InsertCustomFieldClick(Control& sender) {
  RunEvent([this, &sender] {
    data::Tdm& dm = Require(dm_.get());
    automation::FieldToInsert field;
    const int tag = sender.tag;
    if (tag < 1) {
      field.name = WithoutBlanks(sender.caption);
    } else {
      field.name = std::string(automation::ControlFieldNames.at(static_cast<std::size_t>(tag - 1)));
      field.label = data::getCodeVal(dm, "REV_FIELD_LABEL", field.name);
    }
    field.isDate = IsDateTag(tag);
    if (host_.Type == HostType::ohaExcel) field.dateFormat = data::getCodeVal(dm, "REV_FIELD", "DATE_FORMAT");
    if (host_.Type == HostType::ohaPowerPoint) {
      bool matched = false;
      for (std::size_t i = 0; i < kControlFieldCaptions.size() && !matched; ++i) {
        if (sender.caption != kControlFieldCaptions[i]) continue;
        field.value = site_->FieldsContext().ControlFieldValues[i];
        matched = true;
      }
      if (!matched) {
        // The document's fields as the cache holds them; a field without a
        // value reads as "-".
        field.value = "-";
        for (const automation::DocFieldRow& row : site_->FieldsContext().dm.DocFields()) {
          if (Lower(row.CODE) != Lower(sender.caption)) continue;
          if (!row.VAL.IsEmptyOrNull()) field.value = row.VAL.AsString();
          break;
        }
      }
    }
    automation::InsertField(host_.Type, platform::Variant(host_.Application), field);
  });
}

void TAddInModule::InsertLogoClick() {
  RunEvent([this] {
    if (host_.Type != HostType::ohaWord) return;
    const std::string logo = data::GetLogoFile(Require(dm_.get()), *host_.System);
    if (logo.empty())
      site_->Prompts().MessageDlg(kNoLogo, platform::MessageKind::Information, platform::Buttons::OK);
    int hour = 0, minute = 0, second = 0, msec = 0;
    foundation::DecodeTime(foundation::Now(), hour, minute, second, msec);
    if (!automation::InsertLogoShape(platform::Variant(host_.Application), logo,
                                     automation::LogoShapeName(minute, second))) {
      site_->Prompts().MessageDlg(kNoLogoHere, platform::MessageKind::Information, platform::Buttons::OK);
    }
  });
}

void TAddInModule::InsertDialogLauncherClick() {
  RunEvent([this] {
    TfrmAddCustomField dialog(
        Require(dm_.get()).tblDocFields, [this](const std::string& name, const std::string& value) {
          automation::FieldToInsert field{.name = WithoutBlanks(name), .value = value};
          automation::InsertField(host_.Type, platform::Variant(host_.Application), field);
        });
    site_->Prompts().ShowDialog(dialog);
  });
}

void TAddInModule::InsertCommandAction(bool& Cancel) {
  RunEvent([this, &Cancel] {
    foundation::LogTrace("InsertCommandAction", "");
    if (!isCloudPlatform_) return;
    // A closed hint counts as freed; the next use makes a new one.
    if (!frmPicture_ || !frmPicture_->Visible) frmPicture_ = std::make_unique<TfrmPicture>(*host_.Loop);
    frmPicture_->FormShow();
    Cancel = true;
    site_->Prompts().ShowDialog(*frmPicture_);
  });
}

void TAddInModule::UploadCheckTimerTimer() {
  RunEvent([this] {
    if (!dm_) return;
    const std::string folder = dm_->Settings.CloudImportFolder;
    if (folder.empty() || finalizedSessionID_ == sessionID_) return;
    const std::string pictures = std::string(kSettledUploads) + " and IsImage=true";
    if (dm_->cacheLookup("select count(*) from uploads where " + pictures).AsInt() == 0) return;
    const platform::Variant name =
        dm_->cacheLookup("select top 1 FileName from uploads where " + pictures + " order by tstamp desc");
    if (name.IsEmptyOrNull()) return;
    // Every settled upload counts as done, pictures or not; only the newest
    // picture goes in.
    dm_->cacheExecSQL(std::string("update uploads set done=true where ") + kSettledUploads);
    const std::string path = folder + name.AsString();
    automation::InsertUploadedPicture(host_.Type, platform::Variant(host_.Application), path);
    host_.System->DeleteFile(path);
  });
}

void TAddInModule::BindInserting() {
  UploadCheckTimer.SetOnTimer([this] { UploadCheckTimerTimer(); });
  surface_.Bind("InsertCustomFieldClick", [this](Control& sender, bool&) { InsertCustomFieldClick(sender); });
  surface_.Bind("InsertLogoClick", [this](Control&, bool&) { InsertLogoClick(); });
  surface_.Bind("InsertDialogLauncherClick", [this](Control&, bool&) { InsertDialogLauncherClick(); });
  surface_.Bind("InsertCommandAction", [this](Control&, bool& cancel) { InsertCommandAction(cancel); });
}

}  // namespace quillorn::addin
