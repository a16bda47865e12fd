#include "automation/template_merge.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "automation/fault_injection_for_test.h"
#include "automation/log_capture_for_test.h"
#include "hostsim/doc_file.h"
#include "hostsim/hosts.h"

namespace quillorn::automation {
namespace {

namespace fs = std::filesystem;
using hostsim::DocumentModel;
using platform::HostType;
using hostsim::SectionModel;
using testing::Fault;
using testing::FaultyObject;
using I = std::int32_t;

// Section n of a template: text "Tn primary" and so on, top margin 10 * n.
std::shared_ptr<DocumentModel> TemplateModel(int sections, bool first_page) {
  auto t = hostsim::NewDocumentModel(HostType::ohaWord);
  t->sections.clear();
  for (int n = 1; n <= sections; ++n) {
    auto s = std::make_shared<SectionModel>();
    const std::string tag = "T" + std::to_string(n);
    s->headers[0].story.text = tag + " primary header\r";
    s->footers[0].story.text = tag + " primary footer\r";
    s->headers[1].story.text = tag + " first header\r";
    s->footers[1].story.text = tag + " first footer\r";
    for (auto* hf : {&s->headers[0], &s->footers[0], &s->headers[1], &s->footers[1]}) hf->created = true;
    s->page_setup.different_first_page = first_page;
    s->page_setup.top_margin = 10.0 * n;
    s->page_setup.left_margin = 11.0 * n;
    s->page_setup.bottom_margin = 12.0 * n;
    s->page_setup.right_margin = 13.0 * n;
    s->page_setup.header_distance = 14.0 * n;
    s->page_setup.footer_distance = 15.0 * n;
    t->sections.push_back(s);
  }
  return t;
}

// The document: `sections` sections whose first-page headers read "own first"
// and whose later sections are linked to the previous one.
struct WordPair {
  std::shared_ptr<hostsim::SimHost> host = hostsim::CreateHost(HostType::ohaWord);
  Variant app{host->Application()};
  Variant doc;
  Variant tmpl;
  DocumentModel* d;

  WordPair(int doc_sections, const std::shared_ptr<DocumentModel>& template_model, const fs::path& folder) {
    doc = app.Get("Documents").Call("Add");
    d = host->Active().get();
    d->sections.clear();
    for (int n = 1; n <= doc_sections; ++n) {
      auto s = std::make_shared<SectionModel>();
      s->headers[1].story.text = "own first\r";
      s->headers[1].created = true;
      s->page_setup.different_first_page = true;
      if (n > 1) {
        for (auto& h : s->headers) h.link_to_previous = true;
        for (auto& f : s->footers) f.link_to_previous = true;
      }
      d->sections.push_back(s);
    }
    const std::string file = (folder / "template.docx").string();
    hostsim::SaveDocumentFile(*template_model, file);
    tmpl = app.Get("Documents").Call("Open", {Variant(file)});
  }
  SectionModel& Section(int n) { return *d->sections[static_cast<std::size_t>(n - 1)]; }
};

TEST(ApplyTemplateHeaderFooterTest, SectionsHeadersFootersAndMargins) {
  struct Case {
    const char* what;
    int template_sections;
    bool template_first_page;
    int doc_sections;
    bool keep_format, header, footer;
    std::vector<int> took;  // per document section: the template section it took
    bool first_page_after;  // the document's first-page switch afterwards
  };
  const std::vector<Case> cases = {
      {"one template section feeds three", 1, true, 3, false, true, true, {1, 1, 1}, true},
      {"only the first of three template sections", 3, true, 1, false, true, true, {1}, true},
      {"two and two", 2, true, 2, false, true, true, {1, 2}, true},
      {"headers off: own first-page text stays, its layout goes",
       1,
       true,
       2,
       false,
       false,
       true,
       {1, 1},
       false},
      {"template without a first page: layout off, primaries carried",
       1,
       false,
       2,
       false,
       true,
       true,
       {1, 1},
       false},
      {"footers only still switch the first page off", 1, true, 1, false, false, true, {1}, false},
      {"kept page format", 1, true, 2, true, true, true, {1, 1}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    testing::LogCapture log;
    WordPair w(c.doc_sections, TemplateModel(c.template_sections, c.template_first_page),
               log.Folder().Path());
    ApplyTemplateHeaderFooter(w.doc, w.tmpl, c.keep_format, c.header, c.footer);
    for (int n = 1; n <= c.doc_sections; ++n) {
      SCOPED_TRACE("section " + std::to_string(n));
      const int k = c.took[static_cast<std::size_t>(n - 1)];
      const std::string tag = "T" + std::to_string(k);
      SectionModel& s = w.Section(n);
      EXPECT_EQ(s.page_setup.different_first_page, c.first_page_after);
      const bool first_page = c.header && c.template_first_page;
      EXPECT_EQ(s.headers[1].story.text, first_page ? tag + " first header\r" : "own first\r");
      EXPECT_EQ(s.headers[0].story.text, c.header ? tag + " primary header\r" : "\r");
      if (c.header) {
        EXPECT_FALSE(s.headers[0].link_to_previous);
        EXPECT_EQ(s.headers[1].link_to_previous, !first_page && n > 1);
      }
      EXPECT_EQ(s.footers[1].story.text, c.template_first_page ? tag + " first footer\r" : "\r");
      EXPECT_EQ(s.footers[0].story.text, tag + " primary footer\r");
      const auto& p = s.page_setup;
      const std::vector<double> margins = {p.top_margin,   p.left_margin,     p.bottom_margin,
                                           p.right_margin, p.header_distance, p.footer_distance};
      if (c.keep_format) {
        EXPECT_EQ(margins, std::vector<double>({72, 72, 72, 72, 36, 36}));
      } else {
        EXPECT_EQ(margins, std::vector<double>({10.0 * k, 11.0 * k, 12.0 * k, 13.0 * k, 14.0 * k, 15.0 * k}));
      }
      EXPECT_EQ(p.page_height, 792);
    }
    EXPECT_TRUE(log.Exceptions().empty());
  }
}

TEST(ApplyTemplateHeaderFooterTest, EachBlockLogsItsStep) {
  const std::string proc = "\"proc: ApplyTemplateHeaderFooter\"";
  const std::string tail = " with Call was rejected by callee. " + proc;
  const std::string copy = "wdHeaderFooterFirstPage=> Headers.Item(wdHeaderFooterFirstPage).Range.Copy";
  struct Case {
    const char* what;
    Fault fault;
    std::string logged;  // empty: nothing
    std::function<void(WordPair&)> check;
  };
  const std::vector<Case> cases = {
      {"first-page header copy",
       {"Duplicate", Fault::On::Get},
       copy + tail,
       [](WordPair& w) {
         EXPECT_EQ(w.Section(1).headers[1].story.text, "own first\r");
         EXPECT_EQ(w.Section(1).headers[0].story.text, "T1 primary header\r");
       }},
      {"first-page header paste",
       {"FormattedText", Fault::On::Put},
       "wdHeaderFooterFirstPage=> Headers.Item(wdHeaderFooterFirstPage).Range.PasteAndFormat("
       "wdFormatOriginalFormatting)" +
           tail},
      {"first-page header delete", {"Delete"}, "wdHeaderFooterFirstPage=> Range.Characters.Delete" + tail},
      {"link to previous has no step text", {"LinkToPrevious", Fault::On::Put}, tail},
      {"primary header delete",
       {"Delete", Fault::On::Any, 1},
       "wdHeaderFooterPrimary=> Range.Characters.Delete" + tail},
      {"first-page footer copy names the header",
       {"Duplicate", Fault::On::Get, 2},
       copy + tail,
       [](WordPair& w) { EXPECT_EQ(w.Section(1).footers[1].story.text, "\r"); }},
      {"first-page footer delete keeps the paste text",
       {"Delete", Fault::On::Any, 2},
       "wdHeaderFooterFirstPage=> Footers.Item(wdHeaderFooterFirstPage).Range.PasteAndFormat("
       "wdFormatOriginalFormatting)" +
           tail},
      {"primary footer: the bare routine", {"Delete", Fault::On::Any, 3}, proc},
      {"margins: the bare routine",
       {"LeftMargin", Fault::On::Put},
       proc,
       [](WordPair& w) {
         EXPECT_EQ(w.Section(1).page_setup.top_margin, 10);
         EXPECT_EQ(w.Section(1).page_setup.left_margin, 72);
         EXPECT_EQ(w.Section(2).page_setup.left_margin, 11);
       }},
      {"section count: silent",
       {"Count", Fault::On::Get, 0, -1},
       "",
       [](WordPair& w) { EXPECT_EQ(w.Section(1).headers[0].story.text, "\r"); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    testing::LogCapture log;
    WordPair w(2, TemplateModel(1, true), log.Folder().Path());
    auto fault = std::make_shared<Fault>(c.fault);
    ApplyTemplateHeaderFooter(FaultyObject::Wrap(w.doc, fault), FaultyObject::Wrap(w.tmpl, fault), false,
                              true, true);
    EXPECT_EQ(log.ExceptionTexts(), c.logged.empty() ? std::vector<std::string>{} : std::vector{c.logged});
    if (c.check) c.check(w);
  }
}

}  // namespace
}  // namespace quillorn::automation
