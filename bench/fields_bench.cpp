// What writing the document fields into a PowerPoint presentation costs in
// automation calls (each one a round trip to another process against a real
// PowerPoint): 50 slides of 20 shapes, 30 user-defined fields, the document
// being the active presentation, 100 shapes named after a field. Beside it, in
// the same run and on an identical presentation, the writes made the way the
// routine made them before: every field and each of the nine control fields
// walking all slides and shapes again. Both must leave the same texts.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "automation/control_fields.h"
#include "automation/doc_properties.h"
#include "automation/doc_record_source.h"
#include "automation/document_fields.h"
#include "foundation/context.h"
#include "hostsim/hosts.h"
#include "hostsim/model.h"

namespace {

using namespace quillorn;
using automation::ControlFieldNames;
using platform::HostType;
using platform::Variant;
using I = std::int32_t;

constexpr int kSlides = 50;
constexpr int kShapesPerSlide = 20;
constexpr int kFields = 30;
constexpr int kNamedShapes = 100;

std::string FieldCode(int i) { return "Field " + std::to_string(i); }

// One PowerPoint with the presentation open and active, and the record it belongs to.
struct Deck {
  Deck() : host(hostsim::CreateHost(HostType::ohaPowerPoint)), app(host->Application()) {
    model = host->Add();
    model->slides.clear();  // a new presentation starts with a slide of its own
    // Field names first, then the control fields' (as shapes carry them: no blanks).
    std::vector<std::string> names;
    for (int i = 0; i < kFields; ++i) names.push_back("Field" + std::to_string(i));
    for (auto name : ControlFieldNames) names.emplace_back(name);
    for (int s = 0, n = 0; s < kSlides; ++s) {
      model->slides.push_back(std::make_shared<hostsim::SlideModel>());
      for (int i = 0; i < kShapesPerSlide; ++i, ++n) {
        const std::string name = n < kNamedShapes ? names[static_cast<std::size_t>(n) % names.size()]
                                                  : "Shape " + std::to_string(n);
        model->slides.back()->shapes.push_back(
            std::make_shared<hostsim::ShapeModel>(hostsim::ShapeModel{.name = name, .text = "old"}));
      }
    }
    doc = Variant(host->Wrap(model));
    dm.docs = {{{"doc_id", I{42}}, {"file_type", I{automation::kFileTypePowerPoint}}, {"APPROVED_BY", I{7}},
                {"APPROVED_DATE", Variant::Null()}, {"CREATED_BY", I{7}}, {"DOC_NAME", "Cleaning rota"},
                {"framework", I{-1}}, {"doc_path", "Housekeeping"}, {"doc_type_id", I{11}},
                {"FRAMEWORK_NAME", "Housekeeping"}, {"DOC_NO_EXT", "HK-001"}, {"NEXT_REVIEW", Variant::Null()},
                {"VER", "3"}, {"VER_DATE", Variant::FromDateTime(45000)}}};
    for (int i = 0; i < kFields; ++i) dm.fields.push_back({FieldCode(i), "value " + std::to_string(i)});
    dm.users[7] = {"jbloggs", "Joe", "Bloggs"};
    dm.SetCode("REV_FIELD", "DATE_FORMAT", "dd/mm/yyyy");
    dm.SetCode("REV_FIELD", "USER_NAME_FORMAT", "1");
    dm.SetCode("REV_FIELD", "LOCATION_PREFIX", "QMS");
    host->ResetCallCounts();
  }
  std::string Texts() const {
    std::string out;
    for (const auto& slide : model->slides) {
      for (const auto& shape : slide->shapes) out += shape->text + "|";
    }
    return out;
  }

  std::shared_ptr<hostsim::SimHost> host;
  Variant app;
  std::shared_ptr<hostsim::DocumentModel> model;
  Variant doc;
  automation::MemoryDocRecordSource dm;
  automation::ControlFieldValueArray values{};
};

// The walk each field made before: all slides and shapes, every time.
void WalkAndSet(const Variant& presentation, const std::string& name, const Variant& text) {
  Variant slides = presentation.Get("Slides");
  const I slide_count = slides.Get("Count").AsInt();
  for (I s = 1; s <= slide_count; ++s) {
    Variant shapes = slides.Get("Item", {s}).Get("Shapes");
    const I shape_count = shapes.Get("Count").AsInt();
    for (I i = 1; i <= shape_count; ++i) {
      Variant shape = shapes.Get("Item", {i});
      if (shape.Get("Name").AsString() == name) shape.Get("TextFrame").Get("TextRange").Put("Text", text);
    }
  }
}

void WriteAsBefore(Deck& deck, const automation::ControlFieldValueArray& values) {
  automation::EnsureCustomProperty(deck.doc, automation::kCmsIdProperty, Variant("42"));
  for (const auto& row : deck.dm.fields) {
    std::string name;
    for (char c : row.CODE) {
      if (c != ' ') name += c;
    }
    WalkAndSet(deck.doc, name, row.VAL);
  }
  for (std::size_t i = 0; i < automation::kControlFieldCount; ++i) {
    WalkAndSet(deck.app.Get("ActivePresentation"), std::string(ControlFieldNames[i]), Variant(values[i]));
  }
}

void Report(benchmark::State& state, std::uint64_t calls) {
  state.counters["calls"] = static_cast<double>(calls);
  state.counters["slides"] = kSlides;
  state.counters["shapes"] = kSlides * kShapesPerSlide;
  state.counters["fields"] = kFields;
}

void BM_SetDocFieldsPowerPoint(benchmark::State& state) {
  foundation::LogContext context;
  foundation::ContextScope scope(context);
  std::uint64_t calls = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto deck = std::make_unique<Deck>();
    automation::DocFieldsContext ctx{deck->dm, HostType::ohaPowerPoint, deck->app, deck->values};
    state.ResumeTiming();
    automation::SetDocFields(ctx, deck->doc, false);
    state.PauseTiming();
    calls = deck->host->TotalCalls();
    // The same presentation written the way it was before must read the same.
    Deck before;
    WriteAsBefore(before, deck->values);
    if (before.Texts() != deck->Texts()) state.SkipWithError("the texts differ from the walk per field");
    deck.reset();
    state.ResumeTiming();
  }
  Report(state, calls);
}
BENCHMARK(BM_SetDocFieldsPowerPoint)->Unit(benchmark::kMillisecond);

void BM_SetDocFieldsPowerPoint_BaselineWalkPerField(benchmark::State& state) {
  foundation::LogContext context;
  foundation::ContextScope scope(context);
  automation::ControlFieldValueArray values;
  {
    Deck deck;
    automation::DocFieldsContext ctx{deck.dm, HostType::ohaPowerPoint, deck.app, deck.values};
    automation::SetDocFields(ctx, deck.doc, false);
    values = deck.values;
  }
  std::uint64_t calls = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto deck = std::make_unique<Deck>();
    state.ResumeTiming();
    WriteAsBefore(*deck, values);
    state.PauseTiming();
    calls = deck->host->TotalCalls();
    deck.reset();
    state.ResumeTiming();
  }
  Report(state, calls);
}
BENCHMARK(BM_SetDocFieldsPowerPoint_BaselineWalkPerField)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
