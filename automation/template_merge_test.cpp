#include "automation/template_merge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "automation/host_for_test.h"
#include "automation/template_command.h"
#include "automation/template_options.h"
#include "hostsim/doc_file.h"
#include "platform/scripted_prompts.h"

namespace quillorn::automation {
namespace {

namespace fs = std::filesystem;
using hostsim::SectionModel;
using platform::ModalResult;
using testing::Texts;

// A document with a first-page header of its own ("own first") in each section, the
// later sections linked to the one before; for Word a revision field and unsaved
// changes too. A template stored beside it, for Word with section n reading "Tn
// primary header" and so on and margins 10n to 15n, handed out as a fresh copy each
// time as the data module's temp files are. And the pane the command runs in, with
// its prompts: where the options dialog is put is noted, the script answers.
struct Desk : testing::OpenDoc, TemplateSource, TemplatePane, platform::Prompts {
  std::string master;  // empty: no template stored
  std::map<std::string, std::string> codes;
  bool cached = true, online = false;
  Texts sql, handed_out;
  std::vector<std::int32_t> recorded;
  std::function<void()> on_fetch;
  platform::ScriptedPrompts script;
  std::vector<ScreenCursor> cursors;
  std::optional<int> dialog_left;

  explicit Desk(HostType kind, int sections = 1, int template_sections = 1, bool template_first_page = true)
      : OpenDoc(kind, "document.docx") {
    master = (folder.Path() / (kind == HostType::ohaWord ? "master.dotx" : "master.potx")).string();
    auto t = hostsim::NewDocumentModel(kind);
    if (kind == HostType::ohaWord) {
      t->sections.clear();
      for (int n = 1; n <= template_sections; ++n) {
        auto s = std::make_shared<SectionModel>();
        const std::string tag = "T" + std::to_string(n);
        for (int i : {0, 1}) {
          s->headers[i].story.text = tag + (i ? " first header\r" : " primary header\r");
          s->footers[i].story.text = tag + (i ? " first footer\r" : " primary footer\r");
          s->headers[i].created = s->footers[i].created = true;
        }
        s->page_setup = {10.0 * n, 12.0 * n, 11.0 * n, 13.0 * n, 14.0 * n, 15.0 * n};
        s->page_setup.different_first_page = template_first_page;
        t->sections.push_back(s);
      }
      model->sections.clear();
      for (int n = 1; n <= sections; ++n) {
        auto s = std::make_shared<SectionModel>();
        s->headers[1].story.text = "own first\r";
        s->headers[1].created = s->page_setup.different_first_page = true;
        for (int i : {0, 1, 2}) s->headers[i].link_to_previous = s->footers[i].link_to_previous = n > 1;
        model->sections.push_back(s);
      }
      model->main_story.fields = {hostsim::FieldModel{.code = "DOCPROPERTY \"cmsRevision\""}};
      model->custom_properties = {{"cmsRevision", 4, "4"}};
      model->saved = false;
    }
    hostsim::SaveDocumentFile(*t, master);
  }
  TemplateContext Context() { return TemplateContext{*this, host->Kind(), app}; }

  std::string GetTemplateFile(std::int32_t id) override {
    if (on_fetch) on_fetch();
    if (master.empty()) return {};
    handed_out.push_back(
        (folder.Path() / ("cms" + std::to_string(id) + "_" + std::to_string(handed_out.size()))).string());
    fs::copy_file(master, handed_out.back());
    return handed_out.back();
  }
  Variant CacheLookup(const std::string& statement) override {
    return sql.push_back(statement), cached ? Variant(std::int32_t{5}) : Variant::Null();
  }
  bool IsServerReachable() const override { return online; }
  void SetDocTemplateID(std::int32_t id) override { recorded.push_back(id); }
  std::string CodeVal(std::string_view d_type, std::string_view code) override {
    return codes[std::string(d_type) + "/" + std::string(code)];
  }
  void SetCursor(ScreenCursor c) override { cursors.push_back(c); }
  int ApplyButtonScreenLeft() const override { return 640; }
  ModalResult MessageDlg(std::string_view text, platform::MessageKind kind,
                         platform::Buttons buttons) override {
    return script.MessageDlg(text, kind, buttons);
  }
  void MessageBeep(unsigned type) override { script.MessageBeep(type); }
  ModalResult ShowDialog(platform::DialogModel& dialog) override {
    dialog_left = dynamic_cast<TTemplateOptions&>(dialog).Left;
    return script.ShowDialog(dialog);
  }
  Variant Template() { return app.Get("Documents").Call("Open", {Variant(master)}); }
  SectionModel& Section(int n) { return *model->sections.at(static_cast<std::size_t>(n - 1)); }

  // What the command left, in one line.
  std::string State() const {
    std::ostringstream out;
    const auto left = std::count_if(handed_out.begin(), handed_out.end(), [](const std::string& f) {
      return fs::is_regular_file(f) || fs::is_regular_file(f + ".dotx");
    });
    if (host->Kind() == HostType::ohaPowerPoint) {
      out << "template " << fs::path(model->applied_template).filename().string() << ", ";
    } else if (host->Kind() == HostType::ohaWord) {
      const auto& m = *model;
      out << "header " << (m.sections[0]->headers[0].story.text == "T1 primary header\r" ? "T1" : "own")
          << ", top " << m.sections[0]->page_setup.top_margin << ", tracking " << m.track_revisions
          << ", marks shown " << m.show_revisions_and_comments << ", saved " << m.saved << ", styles";
      for (const auto& s : m.style_templates) out << " " << fs::path(s).filename().string();
      out << ", field updates " << m.main_story.fields[0].updates << ", open " << host->Documents().size()
          << ", ";
    }
    out << "copies left " << left;
    return out.str();
  }
};

TEST(ApplyTemplateHeaderFooterTest, SectionsHeadersFootersAndMargins) {
  struct Case {
    const char* what;
    int template_sections = 1;
    bool template_first_page = true;
    int doc_sections = 2;
    bool keep_format = false, header = true, footer = true;
    std::vector<int> took;  // per document section: the template section it took
  };
  // clang-format off
  const std::vector<Case> cases = {
      {.what = "sections past the template's last take its last", .template_sections = 2, .doc_sections = 3,
       .took = {1, 2, 2}},
      {.what = "no first page in the template: that layout off; headers only", .template_first_page = false,
       .footer = false, .took = {1, 1}},
      {.what = "headers off: the own first-page text stays, its layout goes; page format kept",
       .keep_format = true, .header = false, .took = {1, 1}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Desk d(HostType::ohaWord, c.doc_sections, c.template_sections, c.template_first_page);
    ApplyTemplateHeaderFooter(d.doc, d.Template(), c.keep_format, c.header, c.footer);
    for (int n = 1; n <= c.doc_sections; ++n) {
      SCOPED_TRACE("section " + std::to_string(n));
      const int k = c.took[static_cast<std::size_t>(n - 1)];
      const std::string tag = "T" + std::to_string(k);
      const SectionModel& s = d.Section(n);
      const bool first_page = c.header && c.template_first_page;
      EXPECT_EQ(s.page_setup.different_first_page, first_page);
      EXPECT_EQ(s.headers[1].story.text, first_page ? tag + " first header\r" : "own first\r");
      EXPECT_EQ(s.headers[0].story.text, c.header ? tag + " primary header\r" : "\r");
      EXPECT_EQ(s.headers[0].link_to_previous, !c.header && n > 1);
      EXPECT_EQ(s.footers[1].story.text, c.footer && c.template_first_page ? tag + " first footer\r" : "\r");
      EXPECT_EQ(s.footers[0].story.text, c.footer ? tag + " primary footer\r" : "\r");
      const auto& p = s.page_setup;  // the template's are 10k to 15k
      EXPECT_EQ(p.top_margin + p.bottom_margin + p.left_margin + p.right_margin + p.header_distance +
                    p.footer_distance,
                c.keep_format ? 360 : 75 * k);
    }
    EXPECT_EQ(d.ExceptionTexts(), Texts{});
  }
}

TEST(ApplyTemplateHeaderFooterTest, EachBlockLogsItsStepAndTheNextGoesOn) {
  const std::string proc = "\"proc: ApplyTemplateHeaderFooter\"";
  const std::string tail = " with Call was rejected by callee. " + proc;
  const std::string paste = ".Item(wdHeaderFooterFirstPage).Range.PasteAndFormat(wdFormatOriginalFormatting)";
  const std::string copy = ".Item(wdHeaderFooterFirstPage).Range.Copy";
  struct Case {
    testing::Fault fault;
    std::string logged;  // empty: nothing
    std::function<void(Desk&)> check;
  };
  // clang-format off
  const std::vector<Case> cases = {
      {.fault = {"Duplicate"}, .logged = "wdHeaderFooterFirstPage=> Headers" + copy + tail,
       .check = [](Desk& d) {
         EXPECT_EQ(d.Section(1).headers[1].story.text + d.Section(1).headers[0].story.text,
                   "own first\rT1 primary header\r");
       }},
      {.fault = {"FormattedText"}, .logged = "wdHeaderFooterFirstPage=> Headers" + paste + tail},
      {.fault = {"LinkToPrevious"}, .logged = tail},  // between the steps
      {.fault = {"Delete", 1}, .logged = "wdHeaderFooterPrimary=> Range.Characters.Delete" + tail},
      // The first-page footer's delete leaves the paste text up.
      {.fault = {"Delete", 2}, .logged = "wdHeaderFooterFirstPage=> Footers" + paste + tail},
      {.fault = {"Delete", 3}, .logged = proc},  // the primary footer's block has no step text
      {.fault = {"LeftMargin"}, .logged = proc, .check = [](Desk& d) {
         EXPECT_EQ(d.Section(1).page_setup.top_margin + d.Section(1).page_setup.left_margin, 10 + 72);
         EXPECT_EQ(d.Section(2).page_setup.left_margin, 11);
       }},
      {.fault = {"Count"}, .check = [](Desk& d) { EXPECT_EQ(d.Section(1).headers[0].story.text, "\r"); }},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault.member + " after " + std::to_string(c.fault.skip));
    Desk d(HostType::ohaWord, 2);
    auto fault = std::make_shared<testing::Fault>(c.fault);
    ApplyTemplateHeaderFooter(testing::FaultyObject::Wrap(d.doc, fault),
                              testing::FaultyObject::Wrap(d.Template(), fault), false, true, true);
    EXPECT_EQ(d.ExceptionTexts(), c.logged.empty() ? Texts{} : Texts{c.logged});
    if (c.check) c.check(d);
  }
}

// The pane's command and the merges below it, in every host.
TEST(ApplyTemplateCommandTest, FlowsAndMerges) {
  using K = platform::MessageKind;
  const std::string problem = "There was a problem applying the template.";
  const std::string applying = "Applying selected template ...|0";
  const std::string untouched =
      "header own, top 72, tracking 0, marks shown 1, saved 0, styles, field updates 0, open 1, copies left "
      "0";
  struct Case {
    const char* what;
    HostType kind = HostType::ohaWord;
    bool cached = true, online = false, stored = true;
    std::string keep;  // the template's KEEP_PG_FORMAT
    int old_view = 0;
    std::vector<std::pair<std::string, std::string>> boxes;  // what the user sets in the options dialog
    std::function<void(Desk&)> prepare;
    std::string message;  // empty: none
    K message_kind = K::Error;
    Texts logged;
    bool recorded = false;  // the template id recorded on the document
    std::string status;     // "StatusBar|ScreenUpdating" when the file was fetched; empty: never fetched
    std::string state;
  };
  // clang-format off
  const std::vector<Case> cases = {
      {.what = "not cached and offline: a warning, nothing else", .cached = false,
       .message = "You need to be online to retrieve the template from the server!",
       .message_kind = K::Warning,
       .state = untouched},
      {.what = "not cached but online: applied; lower-case y is no, the final view again", .cached = false,
       .online = true, .keep = "y", .recorded = true, .status = applying,
       .state = "header T1, top 10, tracking 1, marks shown 0, saved 1, styles, field updates 1, open 1, "
                "copies left 0"},
      {.what = "Y keeps the margins; the original view; styles taken twice", .keep = "Y", .old_view = 1,
       .boxes = {{"oStyles", "True"}}, .recorded = true, .status = applying,
       .state = "header T1, top 72, tracking 1, marks shown 1, saved 1, styles cms9_0.dotx cms9_0.dotx, "
                "field updates 1, open 1, copies left 0"},
      {.what = "every box cleared: nothing happens", .boxes = {{"oHeader", "False"}, {"oFooter", "false"}},
       .state = untouched},
      {.what = "the styles alone will do; no template file: the problem", .stored = false,
       .boxes = {{"oHeader", "0"}, {"oFooter", "FALSE"}, {"oStyles", "1"}}, .message = problem,
       .status = applying, .state = untouched},
      {.what = "an unreadable template: logged, recorded all the same",
       .prepare = [](Desk& d) { std::ofstream(d.master, std::ios::trunc) << "not a document"; },
       .logged = {"\"proc: MergeActiveWordDocumentWithTemplate\""}, .recorded = true, .status = applying,
       .state = untouched},
      // The styles copy can't be saved where a folder of its name stands; Word keeps the copy open.
      {.what = "the styles fail, the merge goes on", .boxes = {{"oStyles", "True"}},
       .prepare = [](Desk& d) { fs::create_directory(d.folder.Path() / "cms9_0.dotx"); },
       .logged = {"\"proc: ApplyTemplateSytles\""}, .recorded = true, .status = applying,
       .state = "header T1, top 10, tracking 1, marks shown 0, saved 1, styles, field updates 1, open 2, "
                "copies left 0"},
      {.what = "PowerPoint: no dialog, its copy stays", .kind = HostType::ohaPowerPoint, .recorded = true,
       .status = "|1", .state = "template cms9_0, copies left 1"},
      {.what = "PowerPoint, no file", .kind = HostType::ohaPowerPoint, .stored = false, .message = problem,
       .status = "|1", .state = "template , copies left 0"},
      {.what = "PowerPoint gone", .kind = HostType::ohaPowerPoint, .prepare = [](Desk& d) { d.host->Quit(); },
       .message = problem, .logged = {"\"proc: MergeActiveppDocumentWithTemplate\""}, .status = "|1",
       .state = "template , copies left 1"},
      {.what = "Excel: nothing applied", .kind = HostType::ohaExcel, .state = "copies left 0"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Desk d(c.kind);
    d.cached = c.cached;
    d.online = c.online;
    d.codes["TEMPLATE_SETTNG/KEEP_PG_FORMAT:9"] = c.keep;
    d.model->revisions_view = c.old_view;
    if (!c.stored) d.master.clear();
    std::string status;
    d.on_fetch = [&] { status = d.host->status_bar + "|" + (d.host->screen_updating ? "1" : "0"); };
    if (c.prepare) c.prepare(d);
    const bool asks = c.kind == HostType::ohaWord && c.message_kind != K::Warning;
    if (asks) d.script.AnswerDialog({"TTemplateOptions", c.boxes, "Apply"});
    if (!c.message.empty()) d.script.Answer({ModalResult::mrOk, c.message, c.message_kind});
    TemplateCommandContext ctx{d.Context(), d, d};
    ApplyTemplateCommand(ctx, 9);
    EXPECT_EQ(d.script.Unanswered(), 0u);
    EXPECT_EQ(d.sql, Texts{"select doc_no from templates where (source is not null) and doc_no=9"});
    EXPECT_EQ(d.recorded, c.recorded ? std::vector<std::int32_t>{9} : std::vector<std::int32_t>{});
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(d.ExceptionTexts(), c.logged);
    EXPECT_EQ(d.State(), c.state);
    EXPECT_EQ(d.host->status_bar + (d.host->screen_updating ? "|1" : "|0"), "|1") << "Word's status put back";
    EXPECT_EQ(d.dialog_left, asks ? std::optional<int>(740) : std::nullopt)
        << "beside the pane's Apply button";
    // The hourglass while it works, once it starts.
    ASSERT_EQ(d.cursors.empty(), c.message_kind == K::Warning);
    EXPECT_TRUE(d.cursors.empty() || (d.cursors.front() == ScreenCursor::crHourGlass &&
                                      d.cursors.back() == ScreenCursor::crDefault));
  }
}

}  // namespace
}  // namespace quillorn::automation
