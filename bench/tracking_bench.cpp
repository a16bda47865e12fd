// What a switch of window costs the document tracking: DocumentChangedEvent on
// a document it already tracks, with 10,000 rows in FILES, beside a bare Locate
// on the same table (the one step the path cannot do without) and beside a
// full re-read of the table (what the path did before it checked for changes).
#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "addin/tdm_record_source.h"
#include "automation/control_fields.h"
#include "automation/document_fields.h"
#include "data/fetching.h"
#include "data/settings.h"
#include "data/tdm.h"
#include "data/tdm_document_data.h"
#include "foundation/context.h"
#include "hostsim/hosts.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"
#include "platform/scripted_prompts.h"
#include "platform/system_services.h"
#include "workflow/document_tracking.h"
#include "workflow/module_site.h"

namespace {

namespace fs = std::filesystem;
using namespace quillorn;
using platform::HostType;
using platform::Variant;

constexpr int kFilesRows = 10000;
constexpr std::int32_t kDocId = 4321;

// The module as the tracking sees it, with pane and ribbon calls that do nothing.
class BenchSite final : public workflow::ModuleSite {
 public:
  BenchSite() : host_(hostsim::CreateHost(platform::HostType::ohaWord)) {
    root_ = fs::temp_directory_path() /
            ("quillorn-tracking-bench-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    fs::create_directories(root_ / "Cache");
    const std::string dir = (root_ / "").string();
    const std::string cache = (root_ / "Cache" / "").string();
    context_.AppDataDir = dir;
    context_.AppDir = dir;
    dm_ = std::make_unique<data::Tdm>(data::TdmFolders{dir, dir, cache}, false, loop_, system_, context_);
    data_ = std::make_unique<data::TdmDocumentData>(*dm_, system_);
    records_ = std::make_unique<addin::TdmRecordSource>(*dm_, system_);
    fields_.emplace(automation::DocFieldsContext{*records_, HostType::ohaWord, Variant(host_->Application()), values_});

    foundation::ContextScope scope(context_);
    dm_->CreateCacheDB();
    data::OpenFiles(*dm_);
    auto& db = dm_->Cache.CacheDB();
    db.Execute("BEGIN");
    for (int i = 0; i < kFilesRows; ++i) {
      db.Execute("insert into FILES (DOC_ID, FILENAME, INIT, IGNORE, SESSION_ID, USER_ID) values (?, ?, true, false, 1, 2)",
                 std::vector<Variant>{Variant(i + 1), Variant(cache + "document-" + std::to_string(i + 1) + ".docx")});
    }
    db.Execute("insert into DOCS (DOC_ID, DOC_NO, STATUS, IS_CURRENT, IS_LATEST, FILE_TYPE) values (?, 1, 'A', 'Y', 'Y', 1)",
               std::vector<Variant>{Variant(kDocId)});
    db.Execute("COMMIT");
    dm_->tblFiles.Refresh();
    data::OpenDoc(*dm_, kDocId, data::Fetch::IfNeeded, data::Wait::No);
    auto model = host_->Open(cache + "document-" + std::to_string(kDocId) + ".docx");
    model->custom_properties.push_back({"cmsID", 4, std::to_string(kDocId), false});
    doc_ = Variant(host_->Wrap(model));
  }
  ~BenchSite() override {
    dm_.reset();
    std::error_code ec;
    fs::remove_all(root_, ec);
  }

  const Variant& Doc() const { return doc_; }
  data::Tdm& dm() { return *dm_; }
  foundation::LogContext& Context() { return context_; }

  HostType Host() const override { return HostType::ohaWord; }
  int OfficeVersion() const override { return 2016; }
  bool IsCloudPlatform() const override { return false; }
  std::int32_t SessionID() const override { return 1; }
  Variant Application() override { return Variant(host_->Application()); }
  void DisconnectApplication() override {}
  data::DocumentRecords& Records() override { return *data_; }
  data::DataFetcher& Fetcher() override { return *data_; }
  platform::Prompts& Prompts() override { return prompts_; }
  platform::SystemServices& System() override { return system_; }
  platform::WindowMessages* Messages() override { return nullptr; }
  automation::DocFieldsContext& FieldsContext() override { return *fields_; }
  foundation::ReentryFlag& mInternalSave() override { return internalSave_; }
  foundation::ReentryFlag& mInternalClose() override { return internalClose_; }
  platform::Timer& ShutdownTimer() override { return shutdownTimer_; }
  platform::Timer& UploadCheckTimer() override { return uploadCheckTimer_; }
  bool& mPrintControlled() override { return printControlled_; }
  bool& mDonePrinting() override { return donePrinting_; }
  platform::Timer& PrintJobPoll() override { return printJobPoll_; }
  platform::Timer& PrintDelay() override { return printDelay_; }
  void ShowQuillornPane(std::int64_t docId) override { benchmark::DoNotOptimize(docId); }
  void HideQuillornPane() override {}
  void ShowQuillornTabs(bool) override {}
  void SetQuillornRibbonButtonStates() override {}
  void PopulateCustomFields() override {}
  bool PaneExists() const override { return true; }
  std::optional<workflow::PageFormatSetting> PageFormat() const override { return std::nullopt; }
  void RefreshPaneTemplates() override {}
  void NotBuilt(std::string_view) override {}

 private:
  fs::path root_;
  foundation::LogContext context_;
  platform::ManualClock clock_;
  platform::QueueMainLoop loop_{&clock_};
  platform::FakeSystemServices system_;
  platform::ScriptedPrompts prompts_;
  std::shared_ptr<hostsim::SimHost> host_;
  std::unique_ptr<data::Tdm> dm_;
  std::unique_ptr<data::TdmDocumentData> data_;
  std::unique_ptr<addin::TdmRecordSource> records_;
  automation::ControlFieldValueArray values_{};
  std::optional<automation::DocFieldsContext> fields_;
  foundation::ReentryFlag internalSave_;
  foundation::ReentryFlag internalClose_;
  platform::Timer shutdownTimer_{loop_, 500, [] {}};
  platform::Timer uploadCheckTimer_{loop_, 1000, [] {}};
  bool printControlled_ = false;
  bool donePrinting_ = false;
  platform::Timer printJobPoll_{loop_, 500, [] {}};
  platform::Timer printDelay_{loop_, 1000, [] {}};
  Variant doc_;
};

void BM_WindowSwitchToKnownDocument(benchmark::State& state) {
  BenchSite site;
  workflow::DocumentTracking tracking(site);
  for (auto _ : state) {
    tracking.DocumentChangedEvent(site.Doc());
    if (site.dm().tblFiles.FieldByName("DOC_ID").AsInteger() != kDocId) state.SkipWithError("wrong row");
  }
  state.counters["rows"] = kFilesRows;
}
BENCHMARK(BM_WindowSwitchToKnownDocument)->Unit(benchmark::kMicrosecond);

void BM_WindowSwitch_BaselineBareLocate(benchmark::State& state) {
  BenchSite site;
  foundation::ContextScope scope(site.Context());
  data::Table& files = site.dm().tblFiles;
  int toggle = 0;
  for (auto _ : state) {
    // Alternate so that each locate really moves.
    benchmark::DoNotOptimize(files.Locate("DOC_ID", Variant((toggle ^= 1) != 0 ? kDocId : 1)));
  }
  state.counters["rows"] = kFilesRows;
}
BENCHMARK(BM_WindowSwitch_BaselineBareLocate)->Unit(benchmark::kMicrosecond);

void BM_WindowSwitch_BaselineFullTableRefresh(benchmark::State& state) {
  BenchSite site;
  foundation::ContextScope scope(site.Context());
  data::Table& files = site.dm().tblFiles;
  for (auto _ : state) files.Refresh();
  state.counters["rows"] = kFilesRows;
}
BENCHMARK(BM_WindowSwitch_BaselineFullTableRefresh)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
