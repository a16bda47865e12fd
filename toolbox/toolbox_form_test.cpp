#include "toolbox/toolbox_form.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "data/data_test_support.h"
#include "platform/scripted_prompts.h"

namespace quillorn::toolbox {
namespace {

using platform::HostType;

// A form over an offline data module whose cache holds the documents of a test.
struct Pane final : ToolBoxSite {
  explicit Pane(HostType host = HostType::ohaWord) : host_(host) { dm.LoadFromCache(dm.tblUsers); }
  data::Tdm& Dm() override { return dm; }
  HostType Host() const override { return host_; }
  platform::Variant Application() override { return {}; }
  platform::Prompts& Prompts() override { return prompts; }
  automation::TemplateSource& Templates() override { throw std::logic_error("no templates here"); }
  automation::DocFieldsContext& FieldsContext() override { throw std::logic_error("no fields here"); }
  void TrackActiveDocument() override {}

  void Cache(const std::string& sql) { instance.Cache(sql); }
  // Loads what the cache holds and shows the document.
  void Show(int docId) {
    dm.LoadFromCache(dm.tblUsers);
    dm.LoadFromCache(dm.tblFiles);
    dm.LoadFromCache(dm.tblDoc);
    form.ShowDocument(docId);
  }
  std::map<std::string, PaneControl> ByName() {
    std::map<std::string, PaneControl> out;
    for (PaneControl& c : form.Controls()) out[c.name] = c;
    return out;
  }

  HostType host_;
  data::testing::Instance instance{data::testing::DeadPort()};
  data::Tdm& dm = *instance.dm;
  platform::ScriptedPrompts prompts;
  TToolBoxForm form{*this};
};

TEST(ToolBoxForm, ListsEveryControlWithItsCaptionAndShowsWhatItIsBoundTo) {
  Pane pane;
  pane.Cache("insert into USERS (USER_ID, LOGIN, GIVEN_NAMES, SURNAME, P_APPROVE) values (4, 'ANNA', 'Anna', 'Berg', 'Y')");
  pane.Cache("insert into DOCS (DOC_ID, DOC_NO, DOC_NAME, VER, VER_DATE, DOC_TYPE_ID, STATUS, STATUS_DATE, STATUS_BY, "
             "NEXT_REVIEW, CREATED_DATE, CREATED_BY, NOTES, PUBLISH_PRIVATE, PUBLISH_PUBLIC, PUBLISH_UNPROTECTED, "
             "REVIEW_INTERVAL, APPROVAL_BY, FILE_TYPE, FRAMEWORK, KEYWORDS) values (7, 7, 'Plan', '3', '2024-02-01', "
             "2, 'W', '2024-03-04', 4, '2025-03-04', '2020-01-06', 4, 'Checked.', 'Y', 'N', null, 12, 4, 1, 5, "
             "'fire drill')");
  pane.Cache("insert into FILES (DOC_ID, FILENAME, READ_ONLY) values (7, 'c:\\Plan.docx', false)");
  pane.Show(7);

  struct Row {
    const char* name;
    const char* caption;
    const char* parent;
    const char* value;  // null: not checked here
  };
  // clang-format off
  const std::vector<Row> layout{
      {.name = "tsProperties", .caption = "Properties", .parent = ""},
      {.name = "cpProperties", .caption = " Properties ", .parent = "tsProperties"},
      {.name = "edDocName", .caption = "Document name", .parent = "cpProperties", .value = "Plan"},
      {.name = "DBTextEdit2", .caption = "Created date", .parent = "cpProperties", .value = "2020-01-06"},
      {.name = "DBTextEdit3", .caption = "Created by", .parent = "cpProperties", .value = "ANNA"},
      {.name = "lTemplate", .caption = "Template", .parent = "cpProperties"},
      {.name = "cTemplate", .caption = "", .parent = "cpProperties", .value = ""},
      {.name = "bTemplatesRefresh", .caption = "", .parent = "cpProperties", .value = "212"},
      {.name = "bTemplateApply", .caption = "Apply template", .parent = "cpProperties", .value = "Apply template"},
      {.name = "cpPublishingOptions", .caption = " Publishing Options ", .parent = "tsProperties"},
      {.name = "Image2", .caption = "", .parent = "cpPublishingOptions", .value = "209"},
      {.name = "cbPublishPrivate", .caption = "Publish as Private", .parent = "cpPublishingOptions", .value = "True"},
      {.name = "Image3", .caption = "", .parent = "cpPublishingOptions", .value = "210"},
      {.name = "cbPublishPublic", .caption = "Publish as Public", .parent = "cpPublishingOptions", .value = "False"},
      {.name = "Image4", .caption = "", .parent = "cpPublishingOptions", .value = "211"},
      {.name = "cbPublishUnprotected", .caption = "Publish as Unprotected", .parent = "cpPublishingOptions", .value = "False"},
      {.name = "cpRevision", .caption = " Revision Details ", .parent = "tsProperties"},
      {.name = "edVer", .caption = "Revision", .parent = "cpRevision", .value = "3"},
      {.name = "edVerDate", .caption = "Revision date", .parent = "cpRevision", .value = "2024-02-01"},
      {.name = "DBLookupComboBox2", .caption = "Review interval", .parent = "cpRevision", .value = "12 months"},
      {.name = "DBDateEdit1", .caption = "Next review", .parent = "cpRevision", .value = "2025-03-04"},
      {.name = "DBLookupComboBox3", .caption = "Approval by", .parent = "cpRevision", .value = "Anna Berg"},
      {.name = "DBMemo1", .caption = "Revision notes", .parent = "cpRevision", .value = "Checked."},
      {.name = "cpTemplateSettings", .caption = "", .parent = "tsProperties"},
      {.name = "lTemplateSettings", .caption = "When applying this template to documents always...", .parent = "cpTemplateSettings"},
      {.name = "rbTemplate1", .caption = "keep original page formatting", .parent = "cpTemplateSettings"},
      {.name = "rbTemplate2", .caption = "use template's page formatting", .parent = "cpTemplateSettings"},
      {.name = "StatusPanel", .caption = " Revision Status ", .parent = "tsProperties"},
      // "W" is the second letter of "AWREPDN!C ".
      {.name = "Image1", .caption = "", .parent = "StatusPanel", .value = "201"},
      {.name = "lblStatus", .caption = "", .parent = "StatusPanel", .value = "Waiting approval..."},
      {.name = "edStatusBy", .caption = "Set by", .parent = "StatusPanel", .value = "ANNA"},
      {.name = "edStatusDate", .caption = "Date", .parent = "StatusPanel", .value = "2024-03-04"},
      {.name = "tsForms", .caption = "Web Form", .parent = ""},
      {.name = "tsTagging", .caption = "Tagging", .parent = ""},
      {.name = "DBMemo2", .caption = "Enter a list of keywords which will be used in cataloging this document for searches",
       .parent = "tsTagging", .value = "fire drill"},
      {.name = "tsWorkflow", .caption = "Workflow", .parent = ""},
      {.name = "gbActions", .caption = "Actions", .parent = "tsWorkflow"},
      {.name = "DBLookupComboBox1", .caption = "Approval by", .parent = "gbActions", .value = "Anna Berg"},
      {.name = "gbNotifications", .caption = "Notifications", .parent = "tsWorkflow"},
  };
  // clang-format on
  const std::vector<PaneControl> controls = pane.form.Controls();
  ASSERT_EQ(controls.size(), layout.size());
  for (std::size_t i = 0; i < layout.size(); ++i) {
    SCOPED_TRACE(layout[i].name);
    EXPECT_EQ(controls[i].name, layout[i].name);
    EXPECT_EQ(controls[i].caption, layout[i].caption);
    EXPECT_EQ(controls[i].parent, layout[i].parent);
    if (layout[i].value != nullptr) {
      EXPECT_EQ(controls[i].value, layout[i].value);
    }
  }
  // The bindings are the record's columns: the lists show their items, and
  // an edit goes into the cache's row.
  auto byName = pane.ByName();
  EXPECT_EQ(byName["DBLookupComboBox2"].items.size(), 29u);
  EXPECT_EQ(byName["DBLookupComboBox3"].items, std::vector<std::string>{"Anna Berg"});
  pane.form.SelectTab("Tagging");
  pane.form.Set("DBMemo2", "smoke, alarm");
  EXPECT_EQ(pane.instance.CacheText("select KEYWORDS from DOCS where DOC_ID=7"), "smoke  alarm");
  pane.form.Set("Publish as Public", "True");
  pane.form.Set("Revision notes", "Rechecked.");
  EXPECT_EQ(pane.instance.CacheText("select PUBLISH_PUBLIC || NOTES from DOCS where DOC_ID=7"), "YRechecked.");
  pane.form.Choose("Approval by", "Anna Berg");
  EXPECT_THROW(pane.form.Choose("Review interval", "7 years"), PaneInputError);
}

TEST(ToolBoxForm, EditModeAndShownControlsFollowTheDocument) {
  struct Case {
    const char* what;
    HostType host = HostType::ohaWord;
    int fileType = 1;
    int docType = 2;
    int framework = 5;
    const char* files = "false";  // READ_ONLY of the FILES row; null: no row
    const char* templateId = "null";
    bool edit = true;
    bool templates = true;        // cTemplate and its companions shown
    bool templateSettings = false;
    bool webForm = true;
    bool applyEnabled = false;
  };
  for (const Case& c : {
           Case{.what = "an editable Word document"},
           Case{.what = "with a template", .templateId = "14", .applyEnabled = true},
           Case{.what = "a reader", .files = "true", .templateId = "14", .edit = false},
           Case{.what = "not in FILES", .files = nullptr, .templateId = "14", .edit = false},
           Case{.what = "an Excel workbook", .host = HostType::ohaExcel, .fileType = 3, .templateId = "14",
                .templates = false, .webForm = false},
           Case{.what = "a Word template", .docType = 7, .framework = -2, .templateSettings = true, .webForm = false},
           Case{.what = "a PowerPoint template", .host = HostType::ohaPowerPoint, .fileType = 2, .docType = 7,
                .framework = -2, .templateId = "14", .webForm = false, .applyEnabled = true},
       }) {
    SCOPED_TRACE(c.what);
    Pane pane(c.host);
    pane.Cache("insert into DOCS (DOC_ID, DOC_NO, DOC_NAME, DOC_TYPE_ID, STATUS, FILE_TYPE, FRAMEWORK, TEMPLATE_ID) "
               "values (7, 7, 'Plan', " + std::to_string(c.docType) + ", 'E', " + std::to_string(c.fileType) + ", " +
               std::to_string(c.framework) + ", " + c.templateId + ")");
    if (c.files != nullptr) {
      pane.Cache(std::string("insert into FILES (DOC_ID, FILENAME, READ_ONLY) values (7, 'c:\\Plan', ") + c.files + ")");
    }
    pane.Show(7);
    auto shown = pane.ByName();
    EXPECT_EQ(pane.form.EditMode(), c.edit);
    EXPECT_EQ(shown["edDocName"].enabled, c.edit);
    EXPECT_EQ(shown["DBLookupComboBox2"].enabled, c.edit);
    EXPECT_FALSE(shown["DBTextEdit3"].enabled);
    for (const char* name : {"cTemplate", "lTemplate", "bTemplateApply", "bTemplatesRefresh"}) {
      EXPECT_EQ(shown[name].visible, c.templates) << name;
    }
    if (c.templates) {
      EXPECT_EQ(shown["cTemplate"].enabled, c.edit);
    }
    EXPECT_EQ(shown["bTemplateApply"].enabled, c.applyEnabled);
    EXPECT_EQ(shown["bTemplateApply"].value, std::string(c.templateId) == "null" ? "Apply template" : "Reapply template");
    EXPECT_EQ(shown["cpTemplateSettings"].visible, c.templateSettings);
    EXPECT_EQ(shown["rbTemplate1"].visible, c.templateSettings);
    EXPECT_EQ(shown["cpPublishingOptions"].visible, !c.templateSettings);
    EXPECT_EQ(shown["tsForms"].visible, c.webForm);
    EXPECT_EQ(pane.form.PageFormatLoaded(), c.docType == 7);
    if (!c.edit) {
      EXPECT_THROW(pane.form.Set("Document name", "Other"), PaneInputError);
    }
  }
}

TEST(ToolBoxForm, ReviewDateByHandAndThePageFormatSetting) {
  Pane pane;
  pane.Cache("insert into CODES values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:7', 'Y')");
  pane.Cache("insert into DOCS (DOC_ID, DOC_NO, DOC_TYPE_ID, FILE_TYPE, FRAMEWORK, REVIEW_INTERVAL, NEXT_REVIEW) "
             "values (7, 7, 7, 1, -2, 12, '2030-01-01')");
  pane.Cache("insert into FILES (DOC_ID, FILENAME, READ_ONLY) values (7, 'c:\\T', false)");
  pane.dm.LoadFromCache(pane.dm.tblCodes);
  pane.Show(7);
  // Dates are kept as numbers in the cache: read them as the pane shows them.
  auto shown = [&] {
    auto controls = pane.ByName();
    return controls["DBDateEdit1"].value + "/" + controls["DBLookupComboBox2"].value;
  };
  // The loaded setting and the box as the user leaves it, for the save.
  EXPECT_TRUE(pane.form.lastKeepPageFormatting());
  pane.form.Choose("rbTemplate2", "True");
  EXPECT_FALSE(pane.form.KeepPageFormatting());
  EXPECT_TRUE(pane.form.lastKeepPageFormatting());
  EXPECT_THROW(pane.form.Choose("rbTemplate1", "False"), PaneInputError);

  // Clearing the date sets interval 0; a date by hand after that clears it.
  pane.form.Set("Next review", "");
  EXPECT_EQ(shown(), "/None");
  pane.form.Set("Next review", "2031-05-06");
  EXPECT_EQ(shown(), "2031-05-06/Default");
  // A past date is asked about; No leaves the stored date.
  pane.prompts.Answer(platform::ModalResult::mrNo);
  pane.form.Set("Next review", "2001-01-01");
  EXPECT_EQ(shown(), "2031-05-06/Default");
  EXPECT_EQ(pane.prompts.Shown().size(), 1u);
}

}  // namespace
}  // namespace quillorn::toolbox
