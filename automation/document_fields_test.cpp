#include "automation/document_fields.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "automation/host_for_test.h"
#include "foundation/datetime.h"

namespace quillorn::automation {
namespace {

using testing::Texts;
using I = std::int32_t;

// The record's values, from before the routine ran ("a" to "i"), and as it renders them.
const ControlFieldValueArray kBefore = {"a", "b", "c", "d", "e", "f", "g", "h", "i"};
const ControlFieldValueArray kRendered = {
    "Joe Bloggs", "05/03/2024", "-", "Cleaning rota", "QMS\\Housekeeping\\Procedures\\",
    "HK-001",     "-",          "3", "31/12/2023"};

// A record with every column the fields read, and three user-defined fields, one
// with a blank in its code and no value.
struct Fields : testing::OpenDoc {
  MemoryDocRecordSource dm;
  ControlFieldValueArray values = kBefore;

  Fields(HostType kind, I file_type) : OpenDoc(kind) {
    const auto date = [](int y, int m, int d) {
      return Variant::FromDateTime(foundation::EncodeDate(y, m, d));
    };
    // clang-format off
    const Variant null = Variant::Null();
    dm.docs = {{{"doc_id", I{42}}, {"file_type", file_type}, {"APPROVED_BY", I{7}},
                {"APPROVED_DATE", date(2024, 3, 5)}, {"CREATED_BY", null}, {"DOC_NAME", "Cleaning rota"},
                {"framework", I{3}}, {"doc_path", "Ignored\\Path"}, {"doc_type_id", I{11}},
                {"FRAMEWORK_NAME", "Housekeeping"}, {"DOC_NO_EXT", "HK-001"}, {"NEXT_REVIEW", null},
                {"VER", "3"}, {"VER_DATE", date(2023, 12, 31)}}};
    // clang-format on
    dm.fields = {{"Review Date", Variant::Null()}, {"Owner", "Facilities"}, {"Company", "Acme Ltd"}};
    dm.users[7] = {"jbloggs", "Joe", "Bloggs"};
    dm.SetCode("REV_FIELD", "DATE_FORMAT", "dd/mm/yyyy");
    dm.SetCode("REV_FIELD", "USER_NAME_FORMAT", "1");
    dm.SetCode("REV_FIELD", "LOCATION_PREFIX", "QMS");
    dm.SetCode("DOC_TYPE", "11", "Procedures");
  }
  void Run(std::int64_t doc_id, bool remove_id) {
    DocFieldsContext ctx{dm, host->Kind(), app, values};
    doc_id == 0 ? SetDocFields(ctx, doc, remove_id) : SetDocFields(ctx, doc, doc_id, remove_id);
  }
  void AddShapes(const std::shared_ptr<hostsim::DocumentModel>& d, const Texts& names) {
    d->slides.push_back(std::make_shared<hostsim::SlideModel>());
    for (const auto& n : names) d->slides.back()->shapes.push_back(Shape(n));
  }
  static std::shared_ptr<hostsim::ShapeModel> Shape(const std::string& name) {
    return std::make_shared<hostsim::ShapeModel>(hostsim::ShapeModel{.name = name, .text = "old"});
  }
  // What the document holds as custom properties, defined names and tags; Word's built-in
  // company; the texts of its shapes and of the active presentation's.
  std::map<std::string, std::string> Held() const {
    std::map<std::string, std::string> out;
    for (const auto& p : model->custom_properties) out[p.name] = p.value;
    for (const auto& n : model->names) out[n.name] = n.value;
    for (const auto& t : model->tags) out[t.name] = t.value;
    if (model->builtin_properties.size() > 20) out["(company)"] = model->builtin_properties[20].value;
    for (const auto& d : {model, host->Active()}) {
      const std::string key = d == model ? "(shapes)" : "(active)";
      if (out.contains(key)) continue;  // the document is the active presentation
      for (const auto& slide : d->slides) {
        for (const auto& s : slide->shapes) out[key] += s->text + "|";
      }
    }
    return out;
  }
};

TEST(SetDocFieldsTest, StoresValuesAndFailures) {
  // A record of another kind than the document: every field fails on its own.
  auto each_field = [](const std::string& custom, const std::string& control) {
    Texts out;
    for (const char* code : {"Review Date", "Owner", "Company"}) out.push_back(custom + code);
    for (auto name : ControlFieldNames) out.push_back(control + std::string(name));
    return out;
  };
  const Texts routine = {"in SetDocFields"};
  const Variant null = Variant::Null();
  struct Case {
    const char* what;
    HostType kind = HostType::ohaWord;
    I file_type = kFileTypeWord;
    std::int64_t doc_id = 0;
    bool remove_id = false;
    std::map<std::string, Variant> record;    // columns changed
    std::map<std::string, Variant> settings;  // REV_FIELD codes changed; Empty removes the row
    std::function<void(Fields&)> prepare;
    Texts logged;
    bool untouched = false;                     // the control values stay as they were before the run
    std::map<std::size_t, std::string> values;  // ones that differ from that
    std::map<std::string, std::string> held;    // "" for none
    bool controls_held = false;                 // and all nine control fields as rendered
  };
  // clang-format off
  const std::vector<Case> cases = {
      {.what = "Word: properties, the company built in",
       .held = {{"cmsID", "42"}, {"ReviewDate", ""}, {"Owner", "Facilities"}, {"Company", ""},
                {"(company)", "Acme Ltd"}}, .controls_held = true},
      {.what = "Word: cmsID stays; a null is a dash on a property there already, no Company row too",
       .prepare = [](Fields& f) {
         f.dm.fields = {{"Review Date", Variant::Null()}};
         f.model->custom_properties = {{"cmsID", 4, "99"}, {"ReviewDate", 4, "2020"}};
       },
       .held = {{"cmsID", "99"}, {"ReviewDate", "-"}, {"(company)", "-"}}, .controls_held = true},
      {.what = "Excel: hidden names, an apostrophe before user-defined values", .kind = HostType::ohaExcel,
       .file_type = kFileTypeExcel,
       .held = {{"cmsID", "42"}, {"ReviewDate", "'-"}, {"Owner", "'Facilities"}, {"Company", "'Acme Ltd"},
                {"(company)", ""}}, .controls_held = true},
      {.what = "PowerPoint: shapes of the name on every slide, the control fields in the active presentation",
       .kind = HostType::ohaPowerPoint, .file_type = kFileTypePowerPoint,
       .prepare = [](Fields& f) {
         f.model->slides.clear();
         f.AddShapes(f.model, {"Owner", "ReviewDate", "Title"});
         f.AddShapes(f.model, {"cmsRevision", "Owner", "Company"});
         f.AddShapes(f.host->Add(), {"Owner", "cmsRevision"});
       },
       .held = {{"cmsID", "42"}, {"Owner", ""}, {"(shapes)", "Facilities|-|old|old|Facilities|Acme Ltd|"},
                {"(active)", "old|3|"}}},
      // The second name read fails once, in the first row's walk; "Company" has no text frame first.
      {.what = "PowerPoint, the document active: each row ends where its walk fails, later rows walk on",
       .kind = HostType::ohaPowerPoint, .file_type = kFileTypePowerPoint,
       .prepare = [](Fields& f) {
         f.dm.fields.push_back({"Nowhere", "x"});
         f.model->slides.clear();
         f.AddShapes(f.model, {"Owner", "Title", "Company", "Company", "cmsRevision"});
         f.AddShapes(f.model, {"ReviewDate", "Owner"});
         f.model->slides[0]->shapes[2]->has_text_frame = false;
         f.doc = testing::FaultyObject::Wrap(f.doc, std::make_shared<testing::Fault>(testing::Fault{"Name", 1}));
       },
       .logged = {"PPT: Could not set custom field: Review Date", "PPT: Could not set custom field: Company"},
       .held = {{"(shapes)", "Facilities|old|old|old|3|old|Facilities|"}}},
      {.what = "Publisher: a tag", .kind = HostType::ohaPublisher, .file_type = kFileTypePublisher,
       .held = {{"cmsID", "42"}, {"Owner", ""}, {"cmsRevision", ""}}},
      {.what = "another kind of file: nothing", .file_type = 4, .untouched = true, .held = {{"cmsID", ""}}},
      {.what = "name format no number: the login", .settings = {{"USER_NAME_FORMAT", "full"}},
       .values = {{0, "jbloggs"}}},
      {.what = "given names", .settings = {{"USER_NAME_FORMAT", "2"}}, .values = {{0, "Joe"}}},
      {.what = "surname", .settings = {{"USER_NAME_FORMAT", "3"}}, .values = {{0, "Bloggs"}}},
      {.what = "an unknown format is empty, a null user still a dash", .record = {{"APPROVED_BY", null},
       {"CREATED_BY", I{7}}}, .settings = {{"USER_NAME_FORMAT", "7"}}, .values = {{0, "-"}, {2, ""}}},
      {.what = "nulls: a dash for dates and number, name and revision empty, the revision date day zero",
       .record = {{"APPROVED_DATE", null}, {"DOC_NAME", null}, {"DOC_NO_EXT", null}, {"VER", null},
                  {"VER_DATE", null}}, .settings = {{"DATE_FORMAT", "yyyy-mm-dd"}},
       .values = {{1, "-"}, {3, ""}, {5, "-"}, {7, ""}, {8, "1899-12-30"}}},
      {.what = "global templates ignore the path", .record = {{"framework", I{-2}}},
       .values = {{4, "QMS\\Global Templates\\"}}},
      {.what = "an own path: no closing backslash; no prefix row", .record = {{"framework", I{-1}}},
       .settings = {{"LOCATION_PREFIX", Variant()}}, .values = {{4, "\\Ignored\\Path"}}},
      {.what = "a record given by its id is found first", .doc_id = 43, .prepare = [](Fields& f) {
         f.dm.docs.push_back(f.dm.docs[0]);
         f.dm.docs[1]["doc_id"] = I{43};
         f.dm.docs[1]["VER"] = "9";
       }, .values = {{7, "9"}}, .held = {{"cmsID", "43"}, {"cmsRevision", "9"}}},
      {.what = "removing a cmsID that is not there ends the run", .remove_id = true, .logged = routine,
       .untouched = true, .held = {{"Owner", ""}}},
      {.what = "removing a Publisher tag that is not there", .kind = HostType::ohaPublisher,
       .file_type = kFileTypePublisher, .remove_id = true, .logged = routine, .untouched = true},
      {.what = "removing a cmsID that is there writes the rest", .kind = HostType::ohaExcel,
       .file_type = kFileTypeExcel, .remove_id = true,
       .prepare = [](Fields& f) { f.model->custom_properties = {{"cmsID", 4, "42"}}; },
       .held = {{"cmsID", ""}, {"cmsRevision", "3"}}},
      {.what = "no date format: the user-defined fields, then the end",
       .settings = {{"DATE_FORMAT", Variant()}},
       .logged = routine, .untouched = true, .held = {{"Owner", "Facilities"}, {"cmsRevision", ""}}},
      {.what = "an unknown approver costs that field only", .record = {{"APPROVED_BY", I{8}}},
       .logged = {"Could not create control field: cmsApprovedBy"}, .values = {{0, "a"}},
       .held = {{"cmsApprovedBy", ""}, {"cmsRevisionDate", "31/12/2023"}}},
      {.what = "a workbook's record on a Word document", .file_type = kFileTypeExcel,
       .logged = each_field("EXCEL: Could not create custom Excel field: ",
                            "EXCEL: Could not set control field: ")},
      {.what = "a presentation's record on a Word document", .file_type = kFileTypePowerPoint,
       .logged = each_field("PPT: Could not set custom field: ", "PPT: Could not set control field: ")},
      {.what = "no document: nothing", .prepare = [](Fields& f) { f.doc = Variant(platform::ObjectRef{}); },
       .untouched = true, .held = {{"cmsID", ""}}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Fields f(c.kind, c.file_type);
    for (const auto& [column, v] : c.record) f.dm.docs[0][column] = v;
    for (const auto& [code, v] : c.settings) {
      f.dm.codes.erase({"REV_FIELD", code});
      if (!v.IsEmpty()) f.dm.SetCode("REV_FIELD", code, v);
    }
    if (c.prepare) c.prepare(f);
    f.Run(c.doc_id, c.remove_id);
    EXPECT_EQ(f.ExceptionTexts(), c.logged);
    auto values = c.untouched ? kBefore : kRendered;
    for (const auto& [index, text] : c.values) values[index] = text;
    EXPECT_EQ(f.values, values);
    auto held = f.Held();
    for (const auto& [name, value] : c.held) EXPECT_EQ(held[name], value) << name;
    for (std::size_t i = 0; c.controls_held && i < kControlFieldCount; ++i) {
      EXPECT_EQ(held[std::string(ControlFieldNames[i])], kRendered[i]);
    }
    for (const auto& p : f.model->custom_properties) EXPECT_TRUE(p.type == 4 && !p.link_to_content) << p.name;
    for (const auto& n : f.model->names) EXPECT_FALSE(n.visible) << n.name;
  }
}

TEST(UpdateDocFieldsTest, PropertyFieldsOfEveryStoryAndOfHeaderTextBoxes) {
  testing::OpenDoc w(HostType::ohaWord);
  auto& m = *w.model;
  const hostsim::FieldModel property{.code = "DOCPROPERTY \"cmsRevision\""}, page{.type = 33, .code = "PAGE"};
  auto box = [&](const std::string& text) {
    return std::make_shared<hostsim::ShapeModel>(
        hostsim::ShapeModel{.text = text, .fields = {property, page}});
  };
  // Three sections with primary headers in the first and third only: the chain must jump one.
  for (int i = 0; i < 2; ++i) m.sections.push_back(std::make_shared<hostsim::SectionModel>());
  m.main_story.fields = {property, page};
  m.sections[0]->headers[0] = {.story = {.fields = {property}}, .created = true};
  m.sections[0]->footers[0].created = true;
  m.sections[1]->footers[0] = {.story = {.fields = {property}, .shapes = {box("No. ")}}, .created = true};
  m.sections[2]->headers[0] = {.story = {.shapes = {box("Rev"), box("")}}, .created = true};
  m.tables_of_contents.resize(2);
  UpdateDocFields(HostType::ohaExcel, w.doc);  // in other hosts nothing
  UpdateDocFields(HostType::ohaWord, w.doc);
  // Only property fields: in the body, the first header, the second footer and its text box, and the
  // third header's text boxes, of which the second has no text.
  std::string updates;
  const auto& header3 = m.sections[2]->headers[0].story;
  for (const auto* fields :
       {&m.main_story.fields, &m.sections[0]->headers[0].story.fields,
        &m.sections[1]->footers[0].story.fields, &m.sections[1]->footers[0].story.shapes[0]->fields,
        &header3.shapes[0]->fields, &header3.shapes[1]->fields}) {
    for (const auto& f : *fields) updates += std::to_string(f.updates);
    updates += " ";
  }
  EXPECT_EQ(updates, "10 1 1 10 10 00 ");
  EXPECT_EQ(m.tables_of_contents[0].updates + m.tables_of_contents[1].updates, 2);

  // A Word that has gone: between Begin and Done one trace for each story type from 1 to 17, no exception.
  w.host->Quit();
  w.context.TraceEnabled = true;
  UpdateDocFields(HostType::ohaWord, w.doc);
  const Texts traces = w.Traces();
  ASSERT_EQ(traces.size(), 19u);
  EXPECT_EQ(traces[1],
            "The object invoked has disconnected from its clients.\tin UpdateDocFields StoryRangeType:1");
  EXPECT_EQ(w.ExceptionTexts(), Texts{});
}

}  // namespace
}  // namespace quillorn::automation
