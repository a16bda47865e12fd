#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "automation/document_fields.h"
#include "automation/log_capture_for_test.h"
#include "hostsim/hosts.h"

namespace quillorn::automation {
namespace {

using hostsim::FieldModel;
using platform::HostType;

FieldModel DocProperty(const std::string& name) {
  return FieldModel{85, "DOCPROPERTY \"" + name + "\"", "stale", 0};
}
FieldModel PageNumber() {
  return FieldModel{33, "PAGE", "7", 0};
}

// A Word document with three sections. Primary headers exist in sections 1 and
// 3 only, so the chain must jump a section; a text box in the third header holds
// a property field, as does one in the second section's footer beside a date and
// a page number; the body holds a page field beside a property field.
struct WordDoc {
  std::shared_ptr<hostsim::SimHost> host = hostsim::CreateHost(HostType::ohaWord);
  Variant app{host->Application()};
  Variant doc;
  hostsim::DocumentModel* model;

  static std::shared_ptr<hostsim::ShapeModel> Box(const std::string& text, std::vector<FieldModel> fields) {
    auto box = std::make_shared<hostsim::ShapeModel>();
    box->text = text;
    box->fields = std::move(fields);
    return box;
  }

  WordDoc() {
    doc = app.Get("Documents").Call("Add");
    model = host->Active().get();
    model->custom_properties.push_back({"cmsRevision", 4, "5", false});
    for (int i = 0; i < 2; ++i) model->sections.push_back(std::make_shared<hostsim::SectionModel>());
    model->main_story.fields = {DocProperty("cmsRevision"), PageNumber()};
    auto& h1 = model->sections[0]->headers[0];
    h1.created = true;
    h1.story.fields = {DocProperty("cmsRevision")};
    auto& h3 = model->sections[2]->headers[0];
    h3.created = true;
    h3.story.shapes = {Box("Rev", {DocProperty("cmsRevision"), PageNumber()}),
                       Box("", {DocProperty("cmsRevision")})};
    model->sections[0]->footers[0].created = true;
    auto& f2 = model->sections[1]->footers[0];
    f2.created = true;
    f2.story.fields = {DocProperty("cmsRevision")};
    f2.story.shapes = {
        Box("No. ", {FieldModel{31, "DATE", "01/01/2020", 0}, DocProperty("cmsRevision"), PageNumber()})};
    model->tables_of_contents.resize(2);
  }
};

TEST(UpdateDocFieldsTest, ReachesEveryStoryAndHeaderTextBox) {
  testing::LogCapture log(true);
  WordDoc w;
  UpdateDocFields(HostType::ohaWord, w.doc);
  auto& m = *w.model;
  struct Expect {
    const char* what;
    const FieldModel& field;
    int updates;
    const char* result;
  };
  const std::vector<Expect> expected = {
      {"body property", m.main_story.fields[0], 1, "5"},
      {"body page number", m.main_story.fields[1], 0, "7"},
      {"first section header", m.sections[0]->headers[0].story.fields[0], 1, "5"},
      {"text box in third header", m.sections[2]->headers[0].story.shapes[0]->fields[0], 1, "5"},
      {"page number in text box", m.sections[2]->headers[0].story.shapes[0]->fields[1], 0, "7"},
      {"text box without text", m.sections[2]->headers[0].story.shapes[1]->fields[0], 0, "stale"},
      {"second section footer", m.sections[1]->footers[0].story.fields[0], 1, "5"},
      {"date in its text box", m.sections[1]->footers[0].story.shapes[0]->fields[0], 0, "01/01/2020"},
      {"property in its text box", m.sections[1]->footers[0].story.shapes[0]->fields[1], 1, "5"},
      {"page in its text box", m.sections[1]->footers[0].story.shapes[0]->fields[2], 0, "7"},
  };
  for (const auto& e : expected) {
    EXPECT_EQ(e.field.updates, e.updates) << e.what;
    EXPECT_EQ(e.field.result, e.result) << e.what;
  }
  EXPECT_EQ(m.tables_of_contents[0].updates, 1);
  EXPECT_EQ(m.tables_of_contents[1].updates, 1);

  std::vector<std::string> traces = {"...\tUpdateDocFields (Begin)", "...\tStoryRangeType: 1",
                                     "...\t...range.Fields.Count: 2", "...\t...field 1 type: 85",
                                     "...\t...field 2 type: 33"};
  const std::string missing =
      "The requested member of the collection does not exist.\tin UpdateDocFields StoryRangeType:";
  for (int t = 2; t <= 6; ++t) traces.push_back(missing + std::to_string(t));
  // Primary headers: sections 1 and 3; primary footers: sections 1 and 2. Text box fields aren't traced.
  for (const char* s : {"...\tStoryRangeType: 7", "...\t...range.Fields.Count: 1", "...\t...field 1 type: 85",
                        "...\tStoryRangeType: 7", "...\t...range.Fields.Count: 0", "",
                        "...\tStoryRangeType: 9", "...\t...range.Fields.Count: 0", "...\tStoryRangeType: 9",
                        "...\t...range.Fields.Count: 1", "...\t...field 1 type: 85"}) {
    traces.push_back(*s ? std::string(s) : missing + "8");
  }
  for (int t = 10; t <= 17; ++t) traces.push_back(missing + std::to_string(t));
  traces.push_back("...\tUpdateDocFields (Done)");
  EXPECT_EQ(log.Traces(), traces);
}

TEST(UpdateDocFieldsTest, OtherHostsAndFailuresOnlyTrace) {
  struct Case {
    const char* what;
    HostType host;
    bool kill_host;
    std::vector<std::string> first_traces;
    std::size_t trace_count;
  };
  const std::vector<Case> cases = {
      {"Excel: Begin and nothing else", HostType::ohaExcel, false, {"...\tUpdateDocFields (Begin)"}, 1},
      {"PowerPoint: Begin and nothing else",
       HostType::ohaPowerPoint,
       false,
       {"...\tUpdateDocFields (Begin)"},
       1},
      {"a dead Word: every story type traced, then Done",
       HostType::ohaWord,
       true,
       {"...\tUpdateDocFields (Begin)",
        "The object invoked has disconnected from its clients.\tin UpdateDocFields StoryRangeType:1"},
       19},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    testing::LogCapture log(true);
    WordDoc w;
    if (c.kill_host) w.host->Quit();
    UpdateDocFields(c.host, w.doc);
    auto traces = log.Traces();
    ASSERT_EQ(traces.size(), c.trace_count);
    for (std::size_t i = 0; i < c.first_traces.size(); ++i) EXPECT_EQ(traces[i], c.first_traces[i]);
    if (c.kill_host) {
      EXPECT_EQ(traces.back(), "...\tUpdateDocFields (Done)");
    }
    EXPECT_FALSE(std::filesystem::exists(log.Folder().Path() / foundation::kExceptFileName));
    if (!c.kill_host) {
      EXPECT_EQ(w.model->main_story.fields[0].updates, 0);
    }
  }
}

}  // namespace
}  // namespace quillorn::automation
