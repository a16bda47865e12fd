// TToolBoxForm, the task pane's form as a view-model: the current document's
// record from tblDoc, edited in place through the table so that the change
// capture sees every edit, with the template, review date and page-format
// reactions. Knows nothing of drawing: a PaneRenderer is handed the controls.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "automation/template_command.h"
#include "data/cache_query.h"
#include "data/table.h"
#include "toolbox/pane_renderer.h"
#include "toolbox/toolbox_layout.h"
#include "toolbox/toolbox_site.h"

namespace quillorn::toolbox {

inline constexpr char kTemplatesSql[] =
    "select doc_no, doc_name from templates where (framework=-2 or framework=:framework) "
    "and (file_type=:file_type) order by doc_name";
inline constexpr char kPastReviewDateQuestion[] =
    "Are you sure you want to set the review date prior to to todays date?";
inline constexpr char kApplyTemplateCaption[] = "Apply template";
inline constexpr char kReapplyTemplateCaption[] = "Reapply template";

// A user's input that the form refuses: no such control, a disabled one, an
// item not in the list. The message says which.
class PaneInputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class TToolBoxForm final : private data::TableObserver, private automation::TemplatePane {
 public:
  // The site must outlive the form; the form watches tblDoc until it goes.
  explicit TToolBoxForm(ToolBoxSite& site);
  ~TToolBoxForm() override;
  TToolBoxForm(const TToolBoxForm&) = delete;
  TToolBoxForm& operator=(const TToolBoxForm&) = delete;

  // Called by the pane shell when the document in front changes.
  void ShowDocument(std::int32_t DocID);
  std::int32_t mDoc_ID() const { return mDoc_ID_; }
  bool isTemplate() const { return isTemplate_; }
  bool lastKeepPageFormatting() const { return lastKeepPageFormatting_; }
  // Whether a template document's page-format setting was loaded into the
  // radio buttons, and whether rbTemplate1 is checked now.
  bool PageFormatLoaded() const { return pageFormatLoaded_; }
  bool KeepPageFormatting() const { return rbTemplate1_; }
  // sDoc's automatic edit mode: the document may be edited in the pane.
  bool EditMode() const { return autoEdit_; }
  std::string ActiveTab() const { return activeTab_; }

  // Every control in layout order, as shown now.
  std::vector<PaneControl> Controls();
  void Render(PaneRenderer& renderer) { renderer.Render(Controls()); }

  // The user's input, by control name or caption (the shown tab first). Each
  // raises PaneInputError for input the pane would not take.
  void Set(std::string_view control, const std::string& value);
  void Choose(std::string_view control, const std::string& item);
  void Press(std::string_view control);
  void SelectTab(std::string_view caption);

  // bTemplatesRefreshClick and the data module's template refresh: the list is
  // read again when it is open.
  void bTemplatesRefreshClick();
  void RefreshTemplateQuery();

 private:
  struct ControlState {
    bool enabled = true;
    bool visible = true;
  };

  const ControlDef& Find(std::string_view control) const;
  ControlState& State(std::string_view name) { return states_[std::string(name)]; }
  bool DocReady() const;
  bool FilesReadOnly();
  void sDocDataChange();
  void TemplateButtonState();
  void ShowTemplate();
  void OpenTemplatesQuery();
  void UpdateStatus();
  std::string Value(const ControlDef& def);
  std::vector<std::pair<std::string, std::string>> ListItems(const ControlDef& def);

  void EditField(const ControlDef& def, const std::string& value);
  void edDocNameKeyPress(const std::string& text);
  void DBDateEdit1PropertiesEditValueChanged(const std::string& text);
  void DBLookupComboBox2PropertiesEditValueChanged(const std::string& key);
  void bTemplateApplyClick();

  // TableObserver: sDoc's data and state changes.
  void OnTableEvent(data::Table& table, data::TableEvent event) override;
  // TemplatePane
  void SetCursor(automation::ScreenCursor cursor) override { cursor_ = cursor; }
  int ApplyButtonScreenLeft() const override { return 0; }

  ToolBoxSite& site_;
  data::Tdm& dm_;
  std::int32_t mDoc_ID_ = 0;
  bool isTemplate_ = false;
  bool lastKeepPageFormatting_ = false;
  bool pageFormatLoaded_ = false;
  bool rbTemplate1_ = false;
  bool autoEdit_ = false;
  bool inDataChange_ = false;
  std::optional<std::int32_t> template_;  // cTemplate's selection
  std::string templateButtonCaption_;
  std::string statusCaption_;
  int statusImage_ = 199;
  std::string activeTab_ = "tsProperties";
  automation::ScreenCursor cursor_ = automation::ScreenCursor::crDefault;
  // qTemplates, made anew with each document's framework and file type.
  std::optional<data::CacheQuery> qTemplates;
  std::map<std::string, ControlState> states_;
};

}  // namespace quillorn::toolbox
