#include "automation/template_command.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "automation/log_capture_for_test.h"
#include "automation/template_options.h"
#include "hostsim/doc_file.h"
#include "hostsim/hosts.h"
#include "platform/scripted_prompts.h"

namespace quillorn::automation {
namespace {

namespace fs = std::filesystem;
using platform::HostType;
using platform::ModalResult;

// Hands out a fresh copy of the stored template each time, as the data module's
// temp files are, and notes what Word showed at that moment.
class FakeTemplates : public TemplateSource {
 public:
  fs::path folder;
  std::string master;  // empty: no template stored
  std::map<std::string, std::string> codes;
  bool cached = true;
  bool online = false;
  std::vector<std::string> sql;
  std::vector<std::int32_t> recorded;
  std::vector<std::string> handed_out;
  std::function<void()> on_fetch;

  std::string GetTemplateFile(std::int32_t id) override {
    if (on_fetch) on_fetch();
    if (master.empty()) return {};
    const fs::path copy = folder / ("cms" + std::to_string(id) + "_" + std::to_string(handed_out.size()));
    fs::copy_file(master, copy);
    handed_out.push_back(copy.string());
    return copy.string();
  }
  Variant CacheLookup(const std::string& statement) override {
    sql.push_back(statement);
    return cached ? Variant(std::int32_t{5}) : Variant::Null();
  }
  bool IsServerReachable() const override { return online; }
  void SetDocTemplateID(std::int32_t id) override { recorded.push_back(id); }
  std::string CodeVal(std::string_view d_type, std::string_view code) override {
    auto it = codes.find(std::string(d_type) + "/" + std::string(code));
    return it == codes.end() ? std::string() : it->second;
  }
};

struct HostAndTemplate {
  testing::LogCapture log{true};
  std::shared_ptr<hostsim::SimHost> host;
  Variant app;
  std::shared_ptr<hostsim::DocumentModel> doc;
  FakeTemplates dm;

  explicit HostAndTemplate(HostType kind) : host(hostsim::CreateHost(kind)), app(host->Application()) {
    dm.folder = log.Folder().Path();
    doc = host->Open((log.Folder().Path() / "document.docx").string());
    if (kind == HostType::ohaWord) {
      auto t = hostsim::NewDocumentModel(HostType::ohaWord);
      t->sections[0]->headers[0].story.text = "Template header\r";
      t->sections[0]->headers[0].created = true;
      t->sections[0]->page_setup.top_margin = 20;
      dm.master = (log.Folder().Path() / "master.dotx").string();
      hostsim::SaveDocumentFile(*t, dm.master);
      doc->main_story.fields.push_back({85, "DOCPROPERTY \"cmsRevision\"", "", 0});
      doc->custom_properties.push_back({"cmsRevision", 4, "4", false});
      doc->saved = false;
    } else {
      dm.master = (log.Folder().Path() / "master.potx").string();
      hostsim::SaveDocumentFile(*hostsim::NewDocumentModel(kind), dm.master);
    }
  }
  TemplateContext Context() {
    return TemplateContext{dm, host->Kind(), app};
  }
  bool LeftoverFiles() const {
    for (const auto& e : fs::directory_iterator(log.Folder().Path())) {
      if (e.path().filename().string().rfind("cms", 0) == 0) return true;
    }
    return false;
  }
};

TEST(MergeWordTemplateTest, WholeMergeAndItsSwitches) {
  struct Case {
    const char* what;
    std::string keep;  // KEEP_PG_FORMAT value, "" for no row
    int old_view;
    bool tracking_before;
    bool styles;
  };
  const std::vector<Case> cases = {
      {"final view, margins carried", "", 0, false, false},
      {"kept format, original view", "Y", 1, true, true},
      {"lower-case y is no", "y", 0, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    HostAndTemplate s(HostType::ohaWord);
    if (!c.keep.empty()) s.dm.codes["TEMPLATE_SETTNG/KEEP_PG_FORMAT:77"] = c.keep;
    s.doc->revisions_view = c.old_view;
    s.doc->track_revisions = c.tracking_before;
    auto ctx = s.Context();
    EXPECT_TRUE(MergeActiveWordDocumentWithTemplate(ctx, 77, true, true, c.styles));
    const bool keep = c.keep == "Y";
    EXPECT_EQ(s.log.Traces().front(), std::string("MergeActiveWordDocumentWithTemplate:\tKEEP PG FORMAT: ") +
                                          (keep ? "true" : "false"));
    EXPECT_EQ(s.doc->sections[0]->headers[0].story.text, "Template header\r");
    EXPECT_EQ(s.doc->sections[0]->page_setup.top_margin, keep ? 72 : 20);
    EXPECT_TRUE(s.doc->track_revisions);
    EXPECT_EQ(s.doc->show_revisions_and_comments, c.old_view != 0);
    EXPECT_EQ(s.host->Documents().size(), 1u) << "the template is closed";
    EXPECT_EQ(s.doc->main_story.fields[0].result, "4") << "fields updated";
    EXPECT_TRUE(s.doc->saved);
    EXPECT_TRUE(fs::exists(s.doc->full_name));
    ASSERT_EQ(s.dm.handed_out.size(), 1u);
    if (c.styles) {
      const std::string dotx = s.dm.handed_out[0] + ".dotx";
      EXPECT_EQ(s.doc->style_templates, std::vector<std::string>({dotx, dotx}));
    } else {
      EXPECT_TRUE(s.doc->style_templates.empty());
    }
    EXPECT_FALSE(s.LeftoverFiles()) << "template copy and .dotx deleted";
    EXPECT_TRUE(s.log.ExceptionTexts().empty());
  }
}

TEST(MergeWordTemplateTest, FailuresAndTheMissingTemplate) {
  const std::string proc = "\"proc: MergeActiveWordDocumentWithTemplate\"";
  struct Case {
    const char* what;
    std::function<void(HostAndTemplate&)> prepare;
    bool result;
    std::vector<std::string> logged;
    bool saved;
    std::size_t open_after;  // documents Word still has open
  };
  auto unreadable = [](HostAndTemplate& s) {
    std::ofstream(s.dm.master, std::ios::trunc) << "not a document";
  };
  // The styles copy can't be saved where a folder of its name stands.
  auto styles_fail = [](HostAndTemplate& s) {
    s.dm.on_fetch = [&s] { fs::create_directory(fs::path(s.dm.folder) / "cms77_0.dotx"); };
  };
  // clang-format off
  const std::vector<Case> cases = {
      {"no template stored", [](HostAndTemplate& s) { s.dm.master.clear(); }, false, {}, false, 1},
      {"unreadable template: no tracking change, no save", unreadable, true, {proc}, false, 1},
      {"no active document", [](HostAndTemplate& s) { s.host->Close(s.doc); }, true, {proc}, false, 0},
      {"styles fail, the merge goes on", styles_fail, true, {"\"proc: ApplyTemplateSytles\""}, true, 2},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    HostAndTemplate s(HostType::ohaWord);
    c.prepare(s);
    auto ctx = s.Context();
    EXPECT_EQ(MergeActiveWordDocumentWithTemplate(ctx, 77, true, true, true), c.result);
    EXPECT_EQ(s.log.ExceptionTexts(), c.logged);
    EXPECT_EQ(s.doc->saved, c.saved);
    EXPECT_TRUE(c.saved || !s.doc->track_revisions) << "tracking is left alone when the merge fails";
    EXPECT_EQ(s.host->Documents().size(), c.open_after);
    for (const auto& f : s.dm.handed_out) EXPECT_FALSE(fs::exists(f));
  }
}

TEST(MergePowerPointTemplateTest, AppliesOnTheActivePresentation) {
  struct Case {
    const char* what;
    bool stored, quit, result;
    std::vector<std::string> logged;
  };
  for (const Case& c :
       {Case{"applied", true, false, true, {}}, Case{"no template", false, false, false, {}},
        Case{"PowerPoint gone", true, true, false, {"\"proc: MergeActiveppDocumentWithTemplate\""}}}) {
    SCOPED_TRACE(c.what);
    HostAndTemplate s(HostType::ohaPowerPoint);
    if (!c.stored) s.dm.master.clear();
    if (c.quit) s.host->Quit();
    auto ctx = s.Context();
    EXPECT_EQ(MergeActiveppDocumentWithTemplate(ctx, 5), c.result);
    EXPECT_EQ(s.log.ExceptionTexts(), c.logged);
    if (c.result) {
      EXPECT_EQ(s.doc->applied_template, s.dm.handed_out.at(0));
      EXPECT_TRUE(fs::exists(s.dm.handed_out[0])) << "the copy stays";
    }
  }
}

TEST(TemplateOptionsTest, DefaultsAndTheApplyRule) {
  TTemplateOptions o;
  EXPECT_TRUE(o.oHeader && o.oFooter);
  EXPECT_FALSE(o.oStyles);
  EXPECT_EQ(std::string(TTemplateOptions::kCaption), "Apply Template Options");
  EXPECT_EQ(
      TTemplateOptions::kStylesHint,
      "Like-named styles in the document are redefined to match the\r\nstyle descriptions in the template. "
      "Unique styles from the template\r\nare copied to the document. Unique styles in the document remain "
      "intact.");
  for (int bits = 0; bits < 8; ++bits) {
    o.SetField("oHeader", bits & 1 ? "True" : "False");
    o.SetField("oFooter", bits & 2 ? "true" : "0");
    o.SetField("oStyles", bits & 4 ? "1" : "FALSE");
    EXPECT_EQ(o.Press("Apply"), bits == 0 ? ModalResult::mrCancel : ModalResult::mrOk) << bits;
  }
}

class FakePane : public TemplatePane {
 public:
  std::vector<ScreenCursor> cursors;
  void SetCursor(ScreenCursor c) override { cursors.push_back(c); }
  int ApplyButtonScreenLeft() const override { return 640; }
};

// Notes where the options dialog was put before the script answers it.
class WatchingPrompts : public platform::Prompts {
 public:
  platform::ScriptedPrompts script;
  std::optional<int> dialog_left;
  ModalResult MessageDlg(std::string_view text, platform::MessageKind kind,
                         platform::Buttons buttons) override {
    return script.MessageDlg(text, kind, buttons);
  }
  void MessageBeep(unsigned type) override { script.MessageBeep(type); }
  ModalResult ShowDialog(platform::DialogModel& dialog) override {
    if (auto* o = dynamic_cast<TTemplateOptions*>(&dialog)) dialog_left = o->Left;
    return script.ShowDialog(dialog);
  }
};

TEST(ApplyTemplateCommandTest, Flows) {
  using C = ScreenCursor;
  using K = platform::MessageKind;
  const std::string offline = "You need to be online to retrieve the template from the server!";
  const std::string problem = "There was a problem applying the template.";
  const std::string applying = "Applying selected template ...|0";
  struct Case {
    const char* what;
    HostType kind;
    bool cached, online, stored;
    std::map<std::string, std::string> boxes;  // what the user sets in the options dialog
    std::vector<C> cursors;
    std::string message;  // empty: none
    K message_kind;
    bool recorded;       // the template id is recorded on the document
    std::string status;  // "StatusBar|ScreenUpdating" when the file was asked for, empty: never asked
  };
  const std::vector<C> none, shut = {C::crHourGlass, C::crDefault},
                             full = {C::crHourGlass, C::crDefault, C::crDefault};
  const std::map<std::string, std::string> both_off = {{"oHeader", "False"}, {"oFooter", "False"}};
  // clang-format off
  const std::vector<Case> cases = {
      {"not cached and offline: warning only", HostType::ohaWord, false, false, true, {},
       none, offline, K::Warning, false, ""},
      {"not cached but online: applied", HostType::ohaWord, false, true, true, {},
       full, "", K::Error, true, applying},
      {"every box cleared: nothing happens", HostType::ohaWord, true, false, true, both_off,
       shut, "", K::Error, false, ""},
      {"no template file: the problem message", HostType::ohaWord, true, false, false, {{"oStyles", "True"}},
       full, problem, K::Error, false, applying},
      {"PowerPoint: no dialog", HostType::ohaPowerPoint, true, false, true, {},
       full, "", K::Error, true, "|1"},
      {"PowerPoint without a file", HostType::ohaPowerPoint, true, false, false, {},
       full, problem, K::Error, false, "|1"},
      {"Excel: nothing applied", HostType::ohaExcel, true, false, true, {},
       shut, "", K::Error, false, ""},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    HostAndTemplate s(c.kind);
    s.dm.cached = c.cached;
    s.dm.online = c.online;
    if (!c.stored) s.dm.master.clear();
    std::string status;
    s.dm.on_fetch = [&] { status = s.host->status_bar + "|" + (s.host->screen_updating ? "1" : "0"); };
    WatchingPrompts prompts;
    if (c.kind == HostType::ohaWord && (c.cached || c.online)) {
      prompts.script.AnswerDialog({"TTemplateOptions", {c.boxes.begin(), c.boxes.end()}, "Apply"});
    }
    if (!c.message.empty()) prompts.script.Answer({ModalResult::mrOk, c.message, c.message_kind});
    FakePane pane;
    TemplateCommandContext ctx{s.Context(), prompts, pane};
    ApplyTemplateCommand(ctx, 9);
    EXPECT_EQ(pane.cursors, c.cursors);
    std::vector<std::string> shown;
    for (const auto& r : prompts.script.Shown()) {
      if (r.type == platform::PromptRecord::Type::Message) shown.push_back(r.text);
    }
    EXPECT_EQ(shown, c.message.empty() ? std::vector<std::string>{} : std::vector{c.message});
    EXPECT_EQ(prompts.script.Unanswered(), 0u);
    EXPECT_EQ(s.dm.recorded, c.recorded ? std::vector<std::int32_t>{9} : std::vector<std::int32_t>{});
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(s.dm.sql, std::vector<std::string>{
                            "select doc_no from templates where (source is not null) and doc_no=9"});
    EXPECT_EQ(s.host->status_bar, "");
    EXPECT_TRUE(s.host->screen_updating);
    if (c.kind == HostType::ohaWord && !c.cursors.empty()) {
      EXPECT_EQ(prompts.dialog_left, std::optional<int>(740));
    }
  }
}

}  // namespace
}  // namespace quillorn::automation
