// What writing the fields costs a PowerPoint presentation in automation calls:
// every field row and every control field walks all slides and all shapes, so
// the count grows with the product of fields and shapes. The formula below is
// read off the code path; the simulator counts each get, put and method call.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "automation/document_fields.h"
#include "automation/log_capture_for_test.h"
#include "foundation/datetime.h"
#include "hostsim/hosts.h"

namespace quillorn::automation {
namespace {

using I = std::int32_t;
using U = std::uint64_t;

struct Size {
  U slides;
  U shapes;  // on every slide
  U fields;  // rows of tblDocFields
};

// Calls of one walk over the presentation: Slides, Count, then per slide Item,
// Shapes, Count, and per shape Item and Name.
U WalkCalls(const Size& s) { return 2 + s.slides * (3 + 2 * s.shapes); }

// cmsID missing: CustomDocumentProperties and Item (which raises), then
// CustomDocumentProperties and Add. Each control field first fetches the active
// presentation. Each shape whose name matches costs TextFrame, TextRange, Text.
U ExpectedCalls(const Size& s, U text_writes) {
  return 4 + kControlFieldCount + (s.fields + kControlFieldCount) * WalkCalls(s) + 3 * text_writes;
}

struct Presentation {
  testing::LogCapture log{false};
  MemoryDocRecordSource dm;
  ControlFieldValueArray values;
  std::shared_ptr<hostsim::SimHost> host = hostsim::CreateHost(hostsim::HostKind::PowerPoint);
  Variant app{host->Application()};
  Variant doc;

  // Shape 1 of every slide is named like the first field, shape 2 like a control
  // field; the rest match nothing.
  explicit Presentation(const Size& s) {
    dm.docs.push_back({{"doc_id", Variant(I{42})},
                       {"file_type", Variant(I{2})},
                       {"APPROVED_BY", Variant::Null()},
                       {"APPROVED_DATE", Variant::Null()},
                       {"CREATED_BY", Variant::Null()},
                       {"DOC_NAME", Variant("Board pack")},
                       {"framework", Variant(I{-2})},
                       {"doc_path", Variant("")},
                       {"doc_type_id", Variant(I{1})},
                       {"FRAMEWORK_NAME", Variant("")},
                       {"DOC_NO_EXT", Variant("BP-7")},
                       {"NEXT_REVIEW", Variant::Null()},
                       {"VER", Variant("2")},
                       {"VER_DATE", Variant::FromDateTime(foundation::EncodeDate(2024, 6, 1))}});
    for (U f = 1; f <= s.fields; ++f) dm.fields.push_back({"Field " + std::to_string(f), Variant("v")});
    dm.SetCode("REV_FIELD", "DATE_FORMAT", Variant("dd/mm/yyyy"));
    dm.SetCode("REV_FIELD", "USER_NAME_FORMAT", Variant("0"));
    doc = app.Get("Presentations").Call("Add");
    auto model = host->Active();
    model->slides.clear();
    for (U i = 0; i < s.slides; ++i) {
      auto slide = std::make_shared<hostsim::SlideModel>();
      for (U k = 1; k <= s.shapes; ++k) {
        auto shape = std::make_shared<hostsim::ShapeModel>();
        shape->name = k == 1 ? "Field1" : k == 2 ? "cmsRevision" : "Shape " + std::to_string(k);
        slide->shapes.push_back(shape);
      }
      model->slides.push_back(slide);
    }
  }

  U Run() {
    host->ResetCallCounts();
    DocFieldsContext ctx{dm, HostType::ohaPowerPoint, app, values};
    SetDocFields(ctx, doc, false);
    return host->TotalCalls();
  }
};

TEST(DocFieldsCallsTest, PowerPointCostIsTheProductOfFieldsAndShapes) {
  const std::vector<Size> sizes = {{1, 2, 1}, {3, 2, 0}, {2, 5, 4}, {7, 3, 2}, {50, 20, 30}};
  for (const Size& s : sizes) {
    SCOPED_TRACE(std::to_string(s.slides) + " slides of " + std::to_string(s.shapes) + " shapes, " +
                 std::to_string(s.fields) + " fields");
    Presentation p(s);
    const U writes = (s.fields > 0 ? s.slides : 0) + s.slides;  // "Field1" and "cmsRevision" on every slide
    EXPECT_EQ(p.Run(), ExpectedCalls(s, writes));
    EXPECT_TRUE(p.log.Exceptions().empty());
    const auto& first = p.host->Active()->slides.front()->shapes;
    if (s.fields > 0) {
      EXPECT_EQ(first[0]->text, "v");
    }
    EXPECT_EQ(first[1]->text, "2");
  }
  // The figure quoted in docs/performance.md: 39 walks of 2,152 calls each, 13
  // calls for the identity and the active presentation, 100 text writes.
  EXPECT_EQ(ExpectedCalls({50, 20, 30}, 100), 84241u);
}

}  // namespace
}  // namespace quillorn::automation
