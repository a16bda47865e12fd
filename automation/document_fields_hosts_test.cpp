// Document fields where the other tests don't look: a missing date format on the
// hosts besides Word, and Word's property fields in a later section's footer and
// in a text box there, beside fields that must keep what they show.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "automation/document_fields.h"
#include "automation/log_capture_for_test.h"
#include "foundation/datetime.h"
#include "hostsim/hosts.h"

namespace quillorn::automation {
namespace {

using hostsim::FieldModel;
using hostsim::HostKind;
using I = std::int32_t;

std::shared_ptr<hostsim::ShapeModel> Shape(const std::string& name, const std::string& text = "old") {
  auto s = std::make_shared<hostsim::ShapeModel>();
  s->name = name;
  s->text = text;
  return s;
}

// Without a "DATE_FORMAT" row no control field is written in any host, while
// the custom fields before it are; the run ends in the routine's own record.
TEST(DocFieldsHostsTest, MissingDateFormatLeavesEveryHostsControlFieldsAlone) {
  struct Case {
    HostKind kind;
    I file_type;
    HostType host;
  };
  for (const Case& c : {Case{HostKind::Excel, 3, HostType::ohaExcel},
                        Case{HostKind::PowerPoint, 2, HostType::ohaPowerPoint},
                        Case{HostKind::Word, 1, HostType::ohaWord}}) {
    SCOPED_TRACE(static_cast<int>(c.kind));
    testing::LogCapture log;
    MemoryDocRecordSource dm;
    dm.docs.push_back({{"doc_id", Variant(I{5})},
                       {"file_type", Variant(c.file_type)},
                       {"VER", Variant("8")},
                       {"VER_DATE", Variant::FromDateTime(foundation::EncodeDate(2024, 1, 2))}});
    dm.fields = {{"Site Code", Variant("N1")}};
    dm.SetCode("REV_FIELD", "USER_NAME_FORMAT", Variant("0"));
    auto host = hostsim::CreateHost(c.kind);
    Variant app(host->Application());
    static const char* kCollection[] = {"Documents", "Workbooks", "Presentations"};
    Variant doc = app.Get(kCollection[static_cast<int>(c.kind)]).Call("Add");
    auto model = host->Active();
    model->names.clear();
    if (c.kind == HostKind::PowerPoint) {
      model->slides[0]->shapes = {Shape("SiteCode"), Shape("cmsRevision"), Shape("cmsRevisionDate")};
    } else if (c.kind == HostKind::Excel) {
      model->names.push_back({"cmsRevision", "", false, "'7"});
    } else {
      model->custom_properties.push_back({"cmsRevision", 4, "7", false});
    }
    ControlFieldValueArray values;
    values.fill("kept");
    DocFieldsContext ctx{dm, c.host, app, values};
    SetDocFields(ctx, doc, false);

    EXPECT_EQ(log.ExceptionTexts(), std::vector<std::string>{"in SetDocFields"});
    for (const auto& v : values) EXPECT_EQ(v, "kept");
    switch (c.kind) {
      case HostKind::PowerPoint: {
        const auto& shapes = model->slides[0]->shapes;
        EXPECT_EQ(shapes[0]->text, "N1") << "the custom field came first";
        EXPECT_EQ(shapes[1]->text, "old");
        EXPECT_EQ(shapes[2]->text, "old");
        break;
      }
      case HostKind::Excel: {
        ASSERT_EQ(model->names.size(), 2u);
        EXPECT_EQ(model->names[0].value, "'7");
        EXPECT_EQ(model->names[1].name, "SiteCode");
        EXPECT_EQ(model->names[1].value, "'N1");
        break;
      }
      default: {
        ASSERT_EQ(model->custom_properties.size(), 3u);  // cmsRevision, cmsID, SiteCode
        EXPECT_EQ(model->custom_properties[0].value, "7");
        EXPECT_EQ(model->custom_properties[2].name, "SiteCode");
        break;
      }
    }
  }
}

FieldModel Field(int type, const std::string& code, const std::string& shows) { return {type, code, shows, 0}; }

// Section 1's primary footer holds plain text; section 2's holds a property field
// in its own text, and a text box with a property field between a date and a
// page number. Only the chain of footer stories reaches section 2, and only the
// text box walk reaches the box.
TEST(DocFieldsHostsTest, UpdateReachesASecondSectionsFooterTextBoxAndNothingElse) {
  testing::LogCapture log;
  auto host = hostsim::CreateHost(HostKind::Word);
  Variant app(host->Application());
  Variant doc = app.Get("Documents").Call("Add");
  auto& m = *host->Active();
  m.custom_properties.push_back({"cmsDocNumber", 4, "HK-002", false});
  m.sections.push_back(std::make_shared<hostsim::SectionModel>());
  auto& first = m.sections[0]->footers[0];
  first.created = true;
  first.story.text = "Printed copies are uncontrolled\r";
  auto& second = m.sections[1]->footers[0];
  second.created = true;
  second.story.fields = {Field(85, "DOCPROPERTY \"cmsDocNumber\"", "HK-001")};
  auto box = Shape("Text Box 3", "No. ");
  box->fields = {Field(31, "DATE", "01/01/2020"), Field(85, "DOCPROPERTY \"cmsDocNumber\"", "HK-001"),
                 Field(33, "PAGE", "4")};
  second.story.shapes.push_back(box);

  UpdateDocFields(HostType::ohaWord, doc);

  struct Expect {
    const char* what;
    const FieldModel& field;
    int updates;
    const char* shows;
  };
  for (const Expect& e : {Expect{"footer text", second.story.fields[0], 1, "HK-002"},
                          Expect{"date in the box", box->fields[0], 0, "01/01/2020"},
                          Expect{"property in the box", box->fields[1], 1, "HK-002"},
                          Expect{"page in the box", box->fields[2], 0, "4"}}) {
    EXPECT_EQ(e.field.updates, e.updates) << e.what;
    EXPECT_EQ(e.field.result, e.shows) << e.what;
  }
  EXPECT_EQ(first.story.text, "Printed copies are uncontrolled\r");
  EXPECT_TRUE(log.ExceptionTexts().empty());
}

}  // namespace
}  // namespace quillorn::automation
