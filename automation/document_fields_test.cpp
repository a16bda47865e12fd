#include "automation/document_fields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "automation/fault_injection_for_test.h"
#include "automation/log_capture_for_test.h"
#include "foundation/datetime.h"
#include "hostsim/hosts.h"

namespace quillorn::automation {
namespace {

using hostsim::DocumentModel;
using platform::HostType;
using I = std::int32_t;

const hostsim::PropertyModel* FindProp(const DocumentModel& d, const std::string& name) {
  for (const auto& p : d.custom_properties) {
    if (p.name == name) return &p;
  }
  return nullptr;
}

const hostsim::NameModel* FindName(const DocumentModel& d, const std::string& name) {
  for (const auto& n : d.names) {
    if (n.name == name) return &n;
  }
  return nullptr;
}

std::shared_ptr<hostsim::ShapeModel> NamedShape(const std::string& name, const std::string& text = "old") {
  auto s = std::make_shared<hostsim::ShapeModel>();
  s->name = name;
  s->text = text;
  return s;
}

// A document record with every column the fields read, users, codes and three
// user-defined fields, one of them with a blank in its code and a null value.
struct Fixture {
  testing::LogCapture log{false};
  MemoryDocRecordSource dm;
  ControlFieldValueArray values;
  std::shared_ptr<hostsim::SimHost> host;
  Variant app;
  Variant doc;

  explicit Fixture(HostType kind, I file_type) {
    dm.docs.push_back({{"doc_id", Variant(I{42})},
                       {"file_type", Variant(file_type)},
                       {"APPROVED_BY", Variant(I{7})},
                       {"APPROVED_DATE", Variant::FromDateTime(foundation::EncodeDate(2024, 3, 5))},
                       {"CREATED_BY", Variant::Null()},
                       {"DOC_NAME", Variant("Cleaning rota")},
                       {"framework", Variant(I{3})},
                       {"doc_path", Variant("Ignored\\Path")},
                       {"doc_type_id", Variant(I{11})},
                       {"FRAMEWORK_NAME", Variant("Housekeeping")},
                       {"DOC_NO_EXT", Variant("HK-001")},
                       {"NEXT_REVIEW", Variant::Null()},
                       {"VER", Variant("3")},
                       {"VER_DATE", Variant::FromDateTime(foundation::EncodeDate(2023, 12, 31))}});
    dm.fields = {
        {"Review Date", Variant::Null()}, {"Owner", Variant("Facilities")}, {"Company", Variant("Acme Ltd")}};
    dm.users[7] = {"jbloggs", "Joe", "Bloggs"};
    dm.SetCode("REV_FIELD", "DATE_FORMAT", Variant("dd/mm/yyyy"));
    dm.SetCode("REV_FIELD", "USER_NAME_FORMAT", Variant("1"));
    dm.SetCode("REV_FIELD", "LOCATION_PREFIX", Variant("QMS"));
    dm.SetCode("DOC_TYPE", "11", Variant("Procedures"));
    host = hostsim::CreateHost(kind);
    app = Variant(host->Application());
    doc = app.Get(kind == HostType::ohaExcel ? "Workbooks" : kind == HostType::ohaPowerPoint ? "Presentations" : "Documents")
              .Call("Add");
  }
  DocumentModel& Model() { return *host->Active(); }
  std::vector<std::string> Values() const { return {values.begin(), values.end()}; }
  void Run(bool remove_id = false, std::int64_t doc_id = 0, HostType h = HostType::ohaWord) {
    DocFieldsContext ctx{dm, h, app, values};
    SetDocFields(ctx, doc, doc_id, remove_id);
  }
};

const std::vector<std::string> kExpectedValues = {
    "Joe Bloggs", "05/03/2024", "-", "Cleaning rota", "QMS\\Housekeeping\\Procedures\\",
    "HK-001",     "-",          "3", "31/12/2023"};

TEST(SetDocFieldsTest, WritesEachHostsStores) {
  struct Case {
    const char* what;
    HostType kind;
    I file_type;
    std::function<void(Fixture&)> prepare;
    std::function<void(DocumentModel&)> check;
  };
  const std::vector<Case> cases = {
      {"Word: properties, company built in, no Company property", HostType::ohaWord, 1, nullptr,
       [](DocumentModel& d) {
         EXPECT_EQ(FindProp(d, "cmsID")->value, "42");
         EXPECT_EQ(FindProp(d, "cmsID")->type, 4);
         ASSERT_NE(FindProp(d, "ReviewDate"), nullptr);
         EXPECT_EQ(FindProp(d, "Owner")->value, "Facilities");
         EXPECT_EQ(FindProp(d, "Company"), nullptr);
         EXPECT_EQ(d.builtin_properties[20].value, "Acme Ltd");
         for (std::size_t i = 0; i < kControlFieldCount; ++i) {
           const auto* p = FindProp(d, std::string(ControlFieldNames[i]));
           ASSERT_NE(p, nullptr) << ControlFieldNames[i];
           EXPECT_EQ(p->value, kExpectedValues[i]) << ControlFieldNames[i];
           EXPECT_FALSE(p->link_to_content);
         }
         EXPECT_TRUE(d.names.empty());
       }},
      {"Word: an existing cmsID is left as it stands", HostType::ohaWord, 1,
       [](Fixture& f) {
         f.Model().custom_properties.push_back({"cmsID", 4, "99", false});
       },
       [](DocumentModel& d) { EXPECT_EQ(FindProp(d, "cmsID")->value, "99"); }},
      {"Excel: hidden names, apostrophe on custom fields only", HostType::ohaExcel, 3, nullptr,
       [](DocumentModel& d) {
         EXPECT_EQ(FindProp(d, "cmsID")->value, "42");
         ASSERT_NE(FindName(d, "ReviewDate"), nullptr);
         EXPECT_EQ(FindName(d, "ReviewDate")->value, "'-");
         EXPECT_EQ(FindName(d, "Owner")->value, "'Facilities");
         ASSERT_NE(FindName(d, "Company"), nullptr);
         EXPECT_EQ(FindName(d, "Company")->value, "'Acme Ltd");
         EXPECT_EQ(d.builtin_properties[20].value, "");
         for (std::size_t i = 0; i < kControlFieldCount; ++i) {
           const auto* n = FindName(d, std::string(ControlFieldNames[i]));
           ASSERT_NE(n, nullptr) << ControlFieldNames[i];
           EXPECT_EQ(n->value, kExpectedValues[i]);
           EXPECT_FALSE(n->visible);
         }
         EXPECT_EQ(d.custom_properties.size(), 1u);
       }},
      {"PowerPoint: named shapes on every slide", HostType::ohaPowerPoint, 2,
       [](Fixture& f) {
         auto& d = f.Model();
         d.slides.push_back(std::make_shared<hostsim::SlideModel>());
         d.slides[0]->shapes = {NamedShape("Owner"), NamedShape("ReviewDate"), NamedShape("Title")};
         d.slides[1]->shapes = {NamedShape("cmsRevision"), NamedShape("Owner"), NamedShape("Company")};
       },
       [](DocumentModel& d) {
         EXPECT_EQ(FindProp(d, "cmsID")->value, "42");
         std::vector<std::string> texts;
         for (const auto& slide : d.slides) {
           for (const auto& s : slide->shapes) texts.push_back(s->text);
         }
         EXPECT_EQ(texts,
                   std::vector<std::string>({"Facilities", "-", "old", "3", "Facilities", "Acme Ltd"}));
         EXPECT_EQ(d.custom_properties.size(), 1u);
       }},
      {"Publisher: a tag and nothing else", HostType::ohaPublisher, 5, nullptr,
       [](DocumentModel& d) {
         ASSERT_EQ(d.tags.size(), 1u);
         EXPECT_EQ(d.tags[0].name, "cmsID");
         EXPECT_EQ(d.tags[0].value, "42");
         EXPECT_TRUE(d.custom_properties.empty());
       }},
      {"unknown file type: identity untouched, nothing else", HostType::ohaWord, 4, nullptr,
       [](DocumentModel& d) {
         EXPECT_TRUE(d.custom_properties.empty());
         EXPECT_EQ(d.builtin_properties[20].value, "");
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Fixture f(c.kind, c.file_type);
    if (c.prepare) c.prepare(f);
    f.Run();
    c.check(f.Model());
    EXPECT_TRUE(f.log.Exceptions().empty()) << f.log.Exceptions().front();
    EXPECT_EQ(f.Values(), c.file_type == 4 ? std::vector<std::string>(kControlFieldCount) : kExpectedValues);
  }
}

TEST(SetDocFieldsTest, WordNullValueShowsDashOnlyOnAnExistingProperty) {
  Fixture f(HostType::ohaWord, 1);
  f.dm.fields = {{"Review Date", Variant::Null()}, {"Next Audit", Variant::Null()}};
  f.Model().custom_properties.push_back({"ReviewDate", 4, "2020", false});
  f.Run();
  EXPECT_EQ(FindProp(f.Model(), "ReviewDate")->value, "-");
  ASSERT_NE(FindProp(f.Model(), "NextAudit"), nullptr);
  EXPECT_EQ(FindProp(f.Model(), "NextAudit")->value, "");
  // Without a Company row the built-in company still gets a dash.
  EXPECT_EQ(f.Model().builtin_properties[20].value, "-");
}

TEST(SetDocFieldsTest, ControlFieldRendering) {
  struct Case {
    const char* what;
    std::map<std::string, Variant> record;
    std::map<std::string, Variant> codes;  // REV_FIELD codes to set, empty to remove
    std::vector<std::pair<std::size_t, std::string>> expected;
  };
  // clang-format off
  const std::vector<Case> cases = {
      {"login form", {}, {{"USER_NAME_FORMAT", Variant("0")}}, {{0, "jbloggs"}}},
      {"given names", {}, {{"USER_NAME_FORMAT", Variant("2")}}, {{0, "Joe"}}},
      {"surname", {}, {{"USER_NAME_FORMAT", Variant("3")}}, {{0, "Bloggs"}}},
      {"unknown form: empty, not a dash", {{"CREATED_BY", Variant(I{7})}},
       {{"USER_NAME_FORMAT", Variant("7")}}, {{0, ""}, {2, ""}}},
      {"no integer counts as login", {}, {{"USER_NAME_FORMAT", Variant("full")}}, {{0, "jbloggs"}}},
      {"null user is a dash in any form", {{"APPROVED_BY", Variant::Null()}},
       {{"USER_NAME_FORMAT", Variant("7")}}, {{0, "-"}, {2, "-"}}},
      {"null dates, a null revision date is day zero",
       {{"APPROVED_DATE", Variant::Null()}, {"VER_DATE", Variant::Null()}},
       {{"DATE_FORMAT", Variant("yyyy-mm-dd")}}, {{1, "-"}, {6, "-"}, {8, "1899-12-30"}}},
      {"null name and revision are empty", {{"DOC_NAME", Variant::Null()}, {"VER", Variant::Null()},
       {"DOC_NO_EXT", Variant::Null()}}, {}, {{3, ""}, {7, ""}, {5, "-"}}},
      {"global templates ignore the path", {{"framework", Variant(I{-2})}}, {},
       {{4, "QMS\\Global Templates\\"}}},
      {"own path has no closing backslash", {{"framework", Variant(I{-1})}}, {},
       {{4, "QMS\\Ignored\\Path"}}},
      {"no prefix row", {{"framework", Variant(I{-1})}}, {{"LOCATION_PREFIX", Variant()}},
       {{4, "\\Ignored\\Path"}}},
      {"unknown document type", {{"doc_type_id", Variant(I{12})}}, {}, {{4, "QMS\\Housekeeping\\\\"}}},
      {"review date formatted",
       {{"NEXT_REVIEW", Variant::FromDateTime(foundation::EncodeDate(2025, 1, 9))}}, {}, {{6, "09/01/2025"}}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Fixture f(HostType::ohaWord, 1);
    for (const auto& [k, v] : c.record) f.dm.docs[0][k] = v;
    for (const auto& [k, v] : c.codes) {
      if (v.IsEmpty()) {
        f.dm.codes.erase({"REV_FIELD", k});
      } else {
        f.dm.SetCode("REV_FIELD", k, v);
      }
    }
    f.Run();
    for (const auto& [index, text] : c.expected) {
      EXPECT_EQ(f.values[index], text) << ControlFieldNames[index];
      EXPECT_EQ(FindProp(f.Model(), std::string(ControlFieldNames[index]))->value, text);
    }
    EXPECT_TRUE(f.log.Exceptions().empty());
  }
}

TEST(SetDocFieldsTest, FailuresEndWhereTheirGuardSays) {
  struct Case {
    const char* what;
    HostType kind;
    I file_type;
    bool remove_id;
    std::function<void(Fixture&)> prepare;
    std::vector<std::string> logged;  // the Msg of every exception record, in order
    std::function<void(Fixture&)> check;
  };
  const std::vector<std::string> unchanged = {"a", "b", "c", "d", "e", "f", "g", "h", "i"};
  std::vector<std::string> workbook_on_word = {"EXCEL: Could not create custom Excel field: Review Date",
                                               "EXCEL: Could not create custom Excel field: Owner",
                                               "EXCEL: Could not create custom Excel field: Company"};
  for (auto n : ControlFieldNames)
    workbook_on_word.push_back("EXCEL: Could not set control field: " + std::string(n));
  auto no_date_format = [](Fixture& f) {
    f.dm.codes.erase({"REV_FIELD", "DATE_FORMAT"});
    if (f.host->Kind() == HostType::ohaPowerPoint) {
      f.Model().slides[0]->shapes = {NamedShape("Owner"), NamedShape("cmsRevision")};
    }
  };
  // Without a date format no control field is written in any host; the custom fields before it are.
  auto only_custom_fields = [](Fixture& f) {
    auto& d = f.Model();
    const bool ppt = f.host->Kind() == HostType::ohaPowerPoint;
    EXPECT_TRUE(FindProp(d, "Owner") || FindName(d, "Owner") ||
                (ppt && d.slides[0]->shapes[0]->text == "Facilities"));
    EXPECT_TRUE(!FindProp(d, "cmsRevision") && !FindName(d, "cmsRevision"));
    EXPECT_TRUE(!ppt || d.slides[0]->shapes[1]->text == "old");
  };
  // clang-format off
  const std::vector<Case> cases = {
      {"removing a missing cmsID ends the run", HostType::ohaWord, 1, true, nullptr, {"in SetDocFields"},
       [](Fixture& f) {
         EXPECT_TRUE(f.Model().custom_properties.empty() && f.Model().builtin_properties[20].value.empty());
       }},
      {"removing a present cmsID writes the rest", HostType::ohaExcel, 3, true,
       [](Fixture& f) { f.Model().custom_properties.push_back({"cmsID", 4, "42", false}); }, {},
       [](Fixture& f) { EXPECT_TRUE(!FindProp(f.Model(), "cmsID") && FindName(f.Model(), "cmsRevision")); }},
      {"removing a missing Publisher tag", HostType::ohaPublisher, 5, true, nullptr, {"in SetDocFields"},
       nullptr},
      {"Word without a date format", HostType::ohaWord, 1, false, no_date_format, {"in SetDocFields"},
       only_custom_fields},
      {"Excel without a date format", HostType::ohaExcel, 3, false, no_date_format, {"in SetDocFields"},
       only_custom_fields},
      {"PowerPoint without a date format", HostType::ohaPowerPoint, 2, false, no_date_format,
       {"in SetDocFields"}, only_custom_fields},
      {"an unknown approver costs that field only", HostType::ohaWord, 1, false,
       [](Fixture& f) { f.dm.docs[0]["APPROVED_BY"] = Variant(I{8}); },
       {"Could not create control field: cmsApprovedBy"},
       [](Fixture& f) {
         EXPECT_EQ(f.values[0], "a");
         EXPECT_EQ(FindProp(f.Model(), "cmsApprovedBy"), nullptr);
         EXPECT_EQ(FindProp(f.Model(), "cmsRevisionDate")->value, "31/12/2023");
       }},
      {"a workbook record on a Word document", HostType::ohaWord, 3, false, nullptr, workbook_on_word,
       [](Fixture& f) { EXPECT_TRUE(FindProp(f.Model(), "cmsID")->value == "42" && f.values[7] == "3"); }},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Fixture f(c.kind, c.file_type);
    std::copy(unchanged.begin(), unchanged.end(), f.values.begin());
    if (c.prepare) c.prepare(f);
    f.Run(c.remove_id);
    EXPECT_EQ(f.log.ExceptionTexts(), c.logged);
    if (c.check) c.check(f);
    // The routine's own handler ends the run before any control value is computed.
    if (c.logged == std::vector<std::string>{"in SetDocFields"}) {
      EXPECT_EQ(f.Values(), unchanged);
    }
  }
}

// A busy PowerPoint: every record names its field as stored, blank and all.
TEST(SetDocFieldsTest, BusyHostGivesTheExactExceptionRecords) {
  Fixture f(HostType::ohaPowerPoint, 2);
  f.log.Context().ProcName = "dm.SaveDocument";
  auto slides = std::make_shared<testing::Fault>(testing::Fault{"Slides", testing::Fault::On::Any, 0, -1});
  auto active =
      std::make_shared<testing::Fault>(testing::Fault{"ActivePresentation", testing::Fault::On::Any, 0, -1});
  DocFieldsContext ctx{f.dm, HostType::ohaPowerPoint, testing::FaultyObject::Wrap(f.app, active), f.values};
  SetDocFields(ctx, testing::FaultyObject::Wrap(f.doc, slides), false);
  const auto records = f.log.Exceptions();
  ASSERT_EQ(records.size(), 12u);
  // ProcName goes into the first record only: logging clears it.
  EXPECT_EQ(records[0],
            "dm.SaveDocument\rCall was rejected by callee.\rPPT: Could not set custom field: Review Date");
  EXPECT_EQ(records[1], "\rCall was rejected by callee.\rPPT: Could not set custom field: Owner");
  EXPECT_EQ(records[3], "\rCall was rejected by callee.\rPPT: Could not set control field: cmsApprovedBy");
  EXPECT_EQ(records[11], "\rCall was rejected by callee.\rPPT: Could not set control field: cmsRevisionDate");
  EXPECT_EQ(FindProp(f.Model(), "cmsID")->value, "42");
  EXPECT_EQ(f.values[3], "Cleaning rota");
}

TEST(SetDocFieldsTest, NullDocumentOnlyTraces) {
  Fixture f(HostType::ohaWord, 1);
  f.log.Context().TraceEnabled = true;
  f.log.Context().ProcName = "dm.SaveDocument";
  DocFieldsContext ctx{f.dm, HostType::ohaWord, f.app, f.values};
  SetDocFields(ctx, Variant(platform::ObjectRef{}), 0, false);
  EXPECT_EQ(f.log.Traces(), std::vector<std::string>{"SetDocFields\tfrom within dm.SaveDocument"});
  EXPECT_EQ(f.dm.open_codes_calls, 0);
  EXPECT_TRUE(f.Model().custom_properties.empty());
}

TEST(SetDocFieldsTest, PowerPointControlFieldsGoToTheActivePresentation) {
  Fixture f(HostType::ohaPowerPoint, 2);
  auto first = f.host->Active();
  first->slides[0]->shapes = {NamedShape("Owner"), NamedShape("cmsRevision")};
  f.app.Get("Presentations").Call("Add");
  auto active = f.host->Active();
  active->slides[0]->shapes = {NamedShape("Owner"), NamedShape("cmsRevision")};
  f.Run();
  EXPECT_EQ(first->slides[0]->shapes[0]->text, "Facilities");
  EXPECT_EQ(first->slides[0]->shapes[1]->text, "old");
  EXPECT_EQ(active->slides[0]->shapes[0]->text, "old");
  EXPECT_EQ(active->slides[0]->shapes[1]->text, "3");
  EXPECT_EQ(FindProp(*first, "cmsID")->value, "42");
}

TEST(SetDocFieldsTest, LocatesTheGivenRecordFirst) {
  Fixture f(HostType::ohaWord, 1);
  auto second = f.dm.docs[0];
  second["doc_id"] = Variant(I{43});
  second["VER"] = Variant("9");
  f.dm.docs.push_back(second);
  f.Run(false, 43);
  EXPECT_EQ(FindProp(f.Model(), "cmsID")->value, "43");
  EXPECT_EQ(FindProp(f.Model(), "cmsRevision")->value, "9");
  EXPECT_EQ(f.dm.current_doc, 1u);
}

// What writing the fields costs a presentation in automation calls: every field
// row and every control field walks all slides and all shapes, with each bound
// read once. docs/performance.md quotes the largest size.
TEST(SetDocFieldsTest, PowerPointCostIsTheProductOfFieldsAndShapes) {
  using U = std::uint64_t;
  struct Size {
    U slides, shapes, fields;
  };
  // One walk: Slides, Count, then per slide Item, Shapes, Count, and per shape Item and Name.
  auto walk = [](const Size& s) { return 2 + s.slides * (3 + 2 * s.shapes); };
  // cmsID missing: CustomDocumentProperties and Item (which raises), then CustomDocumentProperties and
  // Add. Each control field first fetches the active presentation. A matching shape costs TextFrame,
  // TextRange, Text.
  auto expected = [&](const Size& s, U writes) {
    return 4 + kControlFieldCount + (s.fields + kControlFieldCount) * walk(s) + 3 * writes;
  };
  for (const Size& s : {Size{1, 2, 1}, Size{3, 2, 0}, Size{2, 5, 4}, Size{7, 3, 2}, Size{50, 20, 30}}) {
    SCOPED_TRACE(std::to_string(s.slides) + " slides of " + std::to_string(s.shapes) + " shapes, " +
                 std::to_string(s.fields) + " fields");
    Fixture f(HostType::ohaPowerPoint, 2);
    f.dm.fields.clear();
    for (U n = 1; n <= s.fields; ++n) f.dm.fields.push_back({"Field " + std::to_string(n), Variant("v")});
    // Shape 1 of every slide is named like the first field, shape 2 like a control field.
    f.Model().slides.clear();
    for (U i = 0; i < s.slides; ++i) {
      auto slide = std::make_shared<hostsim::SlideModel>();
      for (U k = 1; k <= s.shapes; ++k) {
        slide->shapes.push_back(NamedShape(k == 1   ? "Field1"
                                           : k == 2 ? "cmsRevision"
                                                    : "Shape " + std::to_string(k)));
      }
      f.Model().slides.push_back(slide);
    }
    f.host->ResetCallCounts();
    f.Run(false, 0, HostType::ohaPowerPoint);
    EXPECT_EQ(f.host->TotalCalls(), expected(s, (s.fields > 0 ? s.slides : 0) + s.slides));
    EXPECT_TRUE(f.log.Exceptions().empty());
    EXPECT_EQ(f.Model().slides[0]->shapes[1]->text, "3");
  }
  EXPECT_EQ(expected({50, 20, 30}, 100), 84241u);
}

}  // namespace
}  // namespace quillorn::automation
