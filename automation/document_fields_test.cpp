#include "automation/document_fields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "automation/log_capture_for_test.h"
#include "foundation/datetime.h"
#include "hostsim/hosts.h"

namespace quillorn::automation {
namespace {

using hostsim::DocumentModel;
using hostsim::HostKind;
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

// A document record with every column the fields read, users, codes and two
// user-defined fields, one of them with a blank in its code and a null value.
struct Fixture {
  testing::LogCapture log{false};
  MemoryDocRecordSource dm;
  ControlFieldValueArray values;
  std::shared_ptr<hostsim::SimHost> host;
  Variant app;
  Variant doc;

  explicit Fixture(HostKind kind, I file_type) {
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
    static const char* kCollection[] = {"Documents", "Workbooks", "Presentations", "Documents"};
    doc = app.Get(kCollection[static_cast<int>(kind)]).Call("Add");
  }
  DocumentModel& Model() { return *host->Active(); }
  DocFieldsContext Context(HostType h) { return DocFieldsContext{dm, h, app, values}; }
  void Run(HostType h, bool remove_id = false, std::int64_t doc_id = 0) {
    auto ctx = Context(h);
    SetDocFields(ctx, doc, doc_id, remove_id);
  }
};

const std::vector<std::string> kExpectedValues = {
    "Joe Bloggs", "05/03/2024", "-", "Cleaning rota", "QMS\\Housekeeping\\Procedures\\",
    "HK-001",     "-",          "3", "31/12/2023"};

TEST(SetDocFieldsTest, WritesEachHostsStores) {
  struct Case {
    const char* what;
    HostKind kind;
    I file_type;
    HostType host;
    std::function<void(Fixture&)> prepare;
    std::function<void(Fixture&)> check;
  };
  const std::vector<Case> cases = {
      {"Word: properties, company built in, no Company property", HostKind::Word, 1, HostType::ohaWord,
       nullptr,
       [](Fixture& f) {
         auto& d = f.Model();
         ASSERT_NE(FindProp(d, "cmsID"), nullptr);
         EXPECT_EQ(FindProp(d, "cmsID")->value, "42");
         EXPECT_EQ(FindProp(d, "cmsID")->type, 4);
         ASSERT_NE(FindProp(d, "ReviewDate"), nullptr);
         EXPECT_EQ(FindProp(d, "Review Date"), nullptr);
         EXPECT_EQ(FindProp(d, "Owner")->value, "Facilities");
         EXPECT_EQ(FindProp(d, "Company"), nullptr);
         EXPECT_EQ(d.builtin_properties[20].name, "Company");
         EXPECT_EQ(d.builtin_properties[20].value, "Acme Ltd");
         for (std::size_t i = 0; i < kControlFieldCount; ++i) {
           const auto* p = FindProp(d, std::string(ControlFieldNames[i]));
           ASSERT_NE(p, nullptr) << ControlFieldNames[i];
           EXPECT_EQ(p->value, kExpectedValues[i]) << ControlFieldNames[i];
           EXPECT_FALSE(p->link_to_content);
         }
         EXPECT_TRUE(d.names.empty());
       }},
      {"Word: an existing cmsID is left as it stands", HostKind::Word, 1, HostType::ohaWord,
       [](Fixture& f) {
         f.Model().custom_properties.push_back({"cmsID", 4, "99", false});
       },
       [](Fixture& f) { EXPECT_EQ(FindProp(f.Model(), "cmsID")->value, "99"); }},
      {"Excel: hidden names, apostrophe on custom fields only", HostKind::Excel, 3, HostType::ohaExcel,
       nullptr,
       [](Fixture& f) {
         auto& d = f.Model();
         EXPECT_EQ(FindProp(d, "cmsID")->value, "42");
         ASSERT_NE(FindName(d, "ReviewDate"), nullptr);
         EXPECT_EQ(FindName(d, "ReviewDate")->value, "'-");
         EXPECT_FALSE(FindName(d, "ReviewDate")->visible);
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
      {"PowerPoint: named shapes on every slide", HostKind::PowerPoint, 2, HostType::ohaPowerPoint,
       [](Fixture& f) {
         auto& d = f.Model();
         d.slides.push_back(std::make_shared<hostsim::SlideModel>());
         d.slides[0]->shapes = {NamedShape("Owner"), NamedShape("ReviewDate"), NamedShape("Title")};
         d.slides[1]->shapes = {NamedShape("cmsRevision"), NamedShape("Owner"), NamedShape("Company")};
       },
       [](Fixture& f) {
         auto& d = f.Model();
         EXPECT_EQ(FindProp(d, "cmsID")->value, "42");
         EXPECT_EQ(d.slides[0]->shapes[0]->text, "Facilities");
         EXPECT_EQ(d.slides[0]->shapes[1]->text, "-");
         EXPECT_EQ(d.slides[0]->shapes[2]->text, "old");
         EXPECT_EQ(d.slides[1]->shapes[0]->text, "3");
         EXPECT_EQ(d.slides[1]->shapes[1]->text, "Facilities");
         EXPECT_EQ(d.slides[1]->shapes[2]->text, "Acme Ltd");
         EXPECT_EQ(d.custom_properties.size(), 1u);
       }},
      {"Publisher: a tag and nothing else", HostKind::Publisher, 5, HostType::ohaPublisher, nullptr,
       [](Fixture& f) {
         auto& d = f.Model();
         ASSERT_EQ(d.tags.size(), 1u);
         EXPECT_EQ(d.tags[0].name, "cmsID");
         EXPECT_EQ(d.tags[0].value, "42");
         EXPECT_TRUE(d.custom_properties.empty());
       }},
      {"unknown file type: identity untouched, nothing else", HostKind::Word, 4, HostType::ohaWord, nullptr,
       [](Fixture& f) {
         EXPECT_TRUE(f.Model().custom_properties.empty());
         EXPECT_EQ(f.Model().builtin_properties[20].value, "");
         EXPECT_EQ(f.values[3], "");
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Fixture f(c.kind, c.file_type);
    if (c.prepare) c.prepare(f);
    f.Run(c.host);
    c.check(f);
    EXPECT_TRUE(f.log.Exceptions().empty()) << f.log.Exceptions().front();
    if (c.file_type != 4) {
      EXPECT_EQ(std::vector<std::string>(f.values.begin(), f.values.end()), kExpectedValues);
    }
  }
}

TEST(SetDocFieldsTest, WordNullValueShowsDashOnlyOnAnExistingProperty) {
  Fixture f(HostKind::Word, 1);
  f.dm.fields = {{"Review Date", Variant::Null()}, {"Next Audit", Variant::Null()}};
  f.Model().custom_properties.push_back({"ReviewDate", 4, "2020", false});
  f.Run(HostType::ohaWord);
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
    std::map<std::string, Variant> codes;  // REV_FIELD codes to set
    std::vector<std::pair<std::size_t, std::string>> expected;
  };
  const std::vector<Case> cases = {
      {"login form", {}, {{"USER_NAME_FORMAT", Variant("0")}}, {{0, "jbloggs"}}},
      {"given names", {}, {{"USER_NAME_FORMAT", Variant("2")}}, {{0, "Joe"}}},
      {"surname", {}, {{"USER_NAME_FORMAT", Variant("3")}}, {{0, "Bloggs"}}},
      {"unknown form: empty, not a dash",
       {{"CREATED_BY", Variant(I{7})}},
       {{"USER_NAME_FORMAT", Variant("7")}},
       {{0, ""}, {2, ""}}},
      {"no integer counts as login", {}, {{"USER_NAME_FORMAT", Variant("full")}}, {{0, "jbloggs"}}},
      {"null user is a dash in any form",
       {{"APPROVED_BY", Variant::Null()}},
       {{"USER_NAME_FORMAT", Variant("7")}},
       {{0, "-"}, {2, "-"}}},
      {"null dates, a null revision date is day zero",
       {{"APPROVED_DATE", Variant::Null()}, {"VER_DATE", Variant::Null()}},
       {{"DATE_FORMAT", Variant("yyyy-mm-dd")}},
       {{1, "-"}, {6, "-"}, {8, "1899-12-30"}}},
      {"null name and revision are empty",
       {{"DOC_NAME", Variant::Null()}, {"VER", Variant::Null()}, {"DOC_NO_EXT", Variant::Null()}},
       {},
       {{3, ""}, {7, ""}, {5, "-"}}},
      {"global templates ignore the path",
       {{"framework", Variant(I{-2})}},
       {},
       {{4, "QMS\\Global Templates\\"}}},
      {"own path has no closing backslash", {{"framework", Variant(I{-1})}}, {}, {{4, "QMS\\Ignored\\Path"}}},
      {"no prefix row",
       {{"framework", Variant(I{-1})}},
       {{"LOCATION_PREFIX", Variant()}},
       {{4, "\\Ignored\\Path"}}},
      {"unknown document type", {{"doc_type_id", Variant(I{12})}}, {}, {{4, "QMS\\Housekeeping\\\\"}}},
      {"review date formatted",
       {{"NEXT_REVIEW", Variant::FromDateTime(foundation::EncodeDate(2025, 1, 9))}},
       {},
       {{6, "09/01/2025"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Fixture f(HostKind::Word, 1);
    for (const auto& [k, v] : c.record) f.dm.docs[0][k] = v;
    for (const auto& [k, v] : c.codes) {
      if (v.IsEmpty()) {
        f.dm.codes.erase({"REV_FIELD", k});
      } else {
        f.dm.SetCode("REV_FIELD", k, v);
      }
    }
    f.Run(HostType::ohaWord);
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
    HostKind kind;
    I file_type;
    bool remove_id;
    std::function<void(Fixture&)> prepare;
    std::vector<std::string> logged;  // the Msg of every exception record, in order
    std::function<void(Fixture&)> check;
  };
  const std::vector<std::string> unchanged = {"a", "b", "c", "d", "e", "f", "g", "h", "i"};
  auto every_control = [](const std::string& prefix) {
    std::vector<std::string> v;
    for (auto n : ControlFieldNames) v.push_back(prefix + std::string(n));
    return v;
  };
  auto custom_then_control = [&](const std::string& custom, const std::string& control) {
    std::vector<std::string> v = {custom + "Review Date", custom + "Owner", custom + "Company"};
    for (auto& s : every_control(control)) v.push_back(s);
    return v;
  };
  const std::vector<Case> cases = {
      {"removing a missing cmsID ends the run",
       HostKind::Word,
       1,
       true,
       nullptr,
       {"in SetDocFields"},
       [&](Fixture& f) {
         EXPECT_TRUE(f.Model().custom_properties.empty());
         EXPECT_EQ(f.Model().builtin_properties[20].value, "");
         EXPECT_EQ(std::vector<std::string>(f.values.begin(), f.values.end()), unchanged);
       }},
      {"removing a present cmsID writes the rest",
       HostKind::Excel,
       3,
       true,
       [](Fixture& f) {
         f.Model().custom_properties.push_back({"cmsID", 4, "42", false});
       },
       {},
       [](Fixture& f) {
         EXPECT_EQ(FindProp(f.Model(), "cmsID"), nullptr);
         EXPECT_NE(FindName(f.Model(), "cmsRevision"), nullptr);
       }},
      {"removing a missing Publisher tag",
       HostKind::Publisher,
       5,
       true,
       nullptr,
       {"in SetDocFields"},
       [&](Fixture& f) { EXPECT_EQ(std::vector<std::string>(f.values.begin(), f.values.end()), unchanged); }},
      {"no date format: no control field at all",
       HostKind::Word,
       1,
       false,
       [](Fixture& f) {
         f.dm.codes.erase({"REV_FIELD", "DATE_FORMAT"});
       },
       {"in SetDocFields"},
       [&](Fixture& f) {
         EXPECT_EQ(FindProp(f.Model(), "cmsRevision"), nullptr);
         EXPECT_NE(FindProp(f.Model(), "Owner"), nullptr);
         EXPECT_EQ(std::vector<std::string>(f.values.begin(), f.values.end()), unchanged);
       }},
      {"an unknown approver costs that field only",
       HostKind::Word,
       1,
       false,
       [](Fixture& f) { f.dm.docs[0]["APPROVED_BY"] = Variant(I{8}); },
       {"Could not create control field: cmsApprovedBy"},
       [](Fixture& f) {
         EXPECT_EQ(f.values[0], "a");
         EXPECT_EQ(FindProp(f.Model(), "cmsApprovedBy"), nullptr);
         EXPECT_EQ(FindProp(f.Model(), "cmsRevisionDate")->value, "31/12/2023");
       }},
      {"a workbook record on a Word document", HostKind::Word, 3, false, nullptr,
       custom_then_control("EXCEL: Could not create custom Excel field: ",
                           "EXCEL: Could not set control field: "),
       [](Fixture& f) {
         EXPECT_EQ(FindProp(f.Model(), "cmsID")->value, "42");
         EXPECT_EQ(f.values[7], "3");
       }},
      {"a presentation record on a Word document", HostKind::Word, 2, false, nullptr,
       custom_then_control("PPT: Could not set custom field: ", "PPT: Could not set control field: "),
       [](Fixture& f) { EXPECT_EQ(f.values[8], "31/12/2023"); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Fixture f(c.kind, c.file_type);
    std::copy(unchanged.begin(), unchanged.end(), f.values.begin());
    if (c.prepare) c.prepare(f);
    f.Run(HostType::ohaWord, c.remove_id);
    EXPECT_EQ(f.log.ExceptionTexts(), c.logged);
    if (c.check) c.check(f);
  }
}

// Passes every member on to `inner` but those named, which raise as a busy host does.
class RaisingObject : public platform::AutomationObject {
 public:
  RaisingObject(platform::ObjectRef inner, std::vector<std::string> failing)
      : inner_(std::move(inner)), failing_(std::move(failing)) {}
  Variant GetProperty(std::string_view name, std::span<const Variant> args) override {
    Check(name);
    return inner_->GetProperty(name, args);
  }
  void PutProperty(std::string_view name, std::span<const Variant> args, const Variant& value) override {
    Check(name);
    inner_->PutProperty(name, args, value);
  }
  Variant CallMethod(std::string_view name, std::span<const Variant> args) override {
    Check(name);
    return inner_->CallMethod(name, args);
  }

 private:
  void Check(std::string_view name) const {
    for (const auto& f : failing_) {
      if (f == name) throw platform::HostError("Call was rejected by callee.");
    }
  }
  platform::ObjectRef inner_;
  std::vector<std::string> failing_;
};

TEST(SetDocFieldsTest, BusyHostGivesTheExactExceptionRecords) {
  Fixture f(HostKind::PowerPoint, 2);
  f.log.Context().ProcName = "dm.SaveDocument";
  Variant doc(std::static_pointer_cast<platform::AutomationObject>(
      std::make_shared<RaisingObject>(f.doc.AsObject(), std::vector<std::string>{"Slides"})));
  Variant app(std::static_pointer_cast<platform::AutomationObject>(
      std::make_shared<RaisingObject>(f.app.AsObject(), std::vector<std::string>{"ActivePresentation"})));
  DocFieldsContext ctx{f.dm, HostType::ohaPowerPoint, app, f.values};
  SetDocFields(ctx, doc, false);
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
  Fixture f(HostKind::Word, 1);
  f.log.Context().TraceEnabled = true;
  f.log.Context().ProcName = "dm.SaveDocument";
  auto ctx = f.Context(HostType::ohaWord);
  SetDocFields(ctx, Variant(platform::ObjectRef{}), 0, false);
  EXPECT_EQ(f.log.Traces(), std::vector<std::string>{"SetDocFields\tfrom within dm.SaveDocument"});
  EXPECT_EQ(f.dm.open_codes_calls, 0);
  EXPECT_TRUE(f.Model().custom_properties.empty());
}

TEST(SetDocFieldsTest, PowerPointControlFieldsGoToTheActivePresentation) {
  Fixture f(HostKind::PowerPoint, 2);
  Variant first = f.doc;
  auto first_model = f.host->Active();
  first_model->slides[0]->shapes = {NamedShape("Owner"), NamedShape("cmsRevision")};
  f.app.Get("Presentations").Call("Add");
  auto active = f.host->Active();
  active->slides[0]->shapes = {NamedShape("Owner"), NamedShape("cmsRevision")};
  f.Run(HostType::ohaPowerPoint);
  EXPECT_EQ(first_model->slides[0]->shapes[0]->text, "Facilities");
  EXPECT_EQ(first_model->slides[0]->shapes[1]->text, "old");
  EXPECT_EQ(active->slides[0]->shapes[0]->text, "old");
  EXPECT_EQ(active->slides[0]->shapes[1]->text, "3");
  EXPECT_EQ(FindProp(*first_model, "cmsID")->value, "42");
}

TEST(SetDocFieldsTest, LocatesTheGivenRecordFirst) {
  Fixture f(HostKind::Word, 1);
  auto second = f.dm.docs[0];
  second["doc_id"] = Variant(I{43});
  second["VER"] = Variant("9");
  f.dm.docs.push_back(second);
  f.Run(HostType::ohaWord, false, 43);
  EXPECT_EQ(FindProp(f.Model(), "cmsID")->value, "43");
  EXPECT_EQ(FindProp(f.Model(), "cmsRevision")->value, "9");
  EXPECT_EQ(f.dm.current_doc, 1u);
}

}  // namespace
}  // namespace quillorn::automation
