#include "data/commit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "data/change_capture.h"
#include "data/connection_test_support.h"
#include "data/tdm.h"
#include "platform/clock.h"
#include "platform/faulty_files.h"
#include "platform/queue_main_loop.h"
#include "platform/real_files_for_test.h"
#include "platform/window_messages.h"
#include "server/catalogue.h"
#include "server/submit_functions.h"

namespace quillorn::data {
namespace {

using foundation::testing::ReadAll;
using foundation::testing::TempFolder;
using foundation::testing::WriteAll;
using testing::kWaitMs;
using testing::TracedContext;
using transport::TRpcValue;

// One call as the server saw it.
struct Seen {
  std::string function;
  int user_id = 0;
  std::string logname;
  int request = 0;  // the HTTP request it came in
  bool operator==(const Seen&) const = default;
};

// The reference server on 127.0.0.1 with its store, noting every submit and
// sendfile with the request that carried it.
class CommitServer {
 public:
  CommitServer() : store_(folder_.Path()), server_(server::ServerOptions{}, Functions()) {
    server_.SetFaultPlan([this](const server::SeenRequest&) {
      ++requests_;
      return server::Fault{};
    });
    store_.Execute("CREATE TABLE DOCS (DOC_ID INTEGER, DOC_NAME VARCHAR(512), STATUS CHAR(1))");
    store_.Execute("INSERT INTO DOCS VALUES (1, 'Manual', 'A'), (2, 'Plan', 'E')");
    store_.Execute("CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))");
    store_.Execute("CREATE TABLE FORMS (DOC_NO INTEGER, TEMPLATE_NAME VARCHAR(30))");
    store_.Execute("CREATE TABLE PUBLISHED_DOCS (DOC_NO INTEGER, SOURCE_TYPE CHAR(10), DOC_ID INTEGER)");
    port_ = server_.Start();
  }
  int Port() const { return port_; }
  std::vector<Seen> Calls() {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }
  std::string DocName(int id) {
    const auto rows = store_.Select("SELECT DOC_NAME FROM DOCS WHERE DOC_ID=" + std::to_string(id)).Rows;
    return rows.empty() ? "<none>" : rows[0][0].bytes;
  }
  std::filesystem::path DataFolder() const { return folder_.Path(); }

 private:
  server::FunctionTable Functions() {
    server::FunctionTable table;
    server::RegisterCatalogue(table, store_);
    for (auto& [name, function] : server::SubmitFunctions(store_)) {
      table.Register(name, [this, name = name, function = function](const transport::TRpcRecord& params) {
        {
          std::lock_guard<std::mutex> lock(mutex_);
          calls_.push_back({name, params.GetInteger("user_id"), params.GetString("logname"), requests_.load()});
        }
        return function(params);
      });
    }
    return table;
  }

  TempFolder folder_;
  server::ServerStore store_;
  std::mutex mutex_;
  std::vector<Seen> calls_;
  std::atomic<int> requests_{0};
  server::RpcServer server_;
  int port_ = 0;
};

// An add-in instance's surroundings over one cache folder, pointed at `port`.
struct Instance {
  explicit Instance(int port, std::string cacheDir = {}) : cache(std::move(cacheDir)) {
    if (cache.empty()) cache = traced.folder.Dir() + "Cache/";
    std::filesystem::create_directories(cache);
    WriteAll(traced.folder.Path() / kAddInIniName,
             "[Connection Settings]\r\nPort=" + std::to_string(port) + "\r\nLocal_Address=127.0.0.1\r\n");
  }
  std::unique_ptr<Tdm> Create() {
    auto dm = std::make_unique<Tdm>(TdmFolders{app.Dir(), traced.folder.Dir(), cache}, false, loop, files,
                                    traced.context);
    dm->Messages = messages.get();
    dm->sessionID = 77;
    // Counts the replies on the commit's result object, whoever sorts them.
    auto handler = dm->Connection.ResultFromCommitToServer->OnReturn;
    dm->Connection.ResultFromCommitToServer->OnReturn = [this, handler](transport::TRpcClientModule* sender,
                                                                        TRpcValue& data, TRpcValue& result) {
      handler(sender, data, result);
      ++replies;
      replied->Set();
    };
    return dm;
  }
  // Pumps until `count` replies in all have come back.
  void WaitForReplies(int count) {
    for (int round = 0; round < 100 && replies < count; ++round) {
      if (loop.Wait(*replied, kWaitMs) != platform::MainLoop::WaitResult::Signaled) break;
      replied->Reset();
    }
    ASSERT_EQ(replies, count);
    loop.RunUntilIdle();
  }
  int Count(const std::string& where, const std::string& what) const {
    const std::string trace = traced.Trace();
    const std::string needle = "\t" + where + "\t" + what + "\r\n";
    int n = 0;
    for (auto at = trace.find(needle); at != std::string::npos; at = trace.find(needle, at + 1)) ++n;
    return n;
  }

  TempFolder app;
  TracedContext traced;
  std::string cache;
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  platform::FakeSystemServices system;
  platform::FaultyFiles files{system};
  std::unique_ptr<platform::WindowMessages> messages = platform::CreateInProcessWindowMessages();
  int replies = 0;
  std::unique_ptr<platform::WaitEvent> replied = loop.CreateEvent();
};

// Renames a document in tblDoc, as the pane does, and saves its record. A
// document not yet cached comes in as a fetch brings it, unrecorded.
void RenameDoc(Tdm& dm, int id, const std::string& name) {
  dm.LoadFromCache(dm.tblDoc);
  if (!dm.tblDoc.Locate("DOC_ID", std::int32_t{id})) {
    ASSERT_TRUE(dm.cacheExecSQL("insert into DOCS (DOC_ID) values (" + std::to_string(id) + ")"));
    dm.tblDoc.Refresh();
    ASSERT_TRUE(dm.tblDoc.Locate("DOC_ID", std::int32_t{id}));
  }
  dm.tblDoc.Edit();
  dm.tblDoc.FieldByName("DOC_NAME").SetValue(name);
  dm.tblDoc.Post();
  dm.SaveDocData();
}

std::vector<std::string> Deltas(const Instance& instance) {
  std::vector<std::string> names;
  for (const char* table : {"DOCS", "CODES", "FORMS", "PUBLISHED_DOCS"}) {
    for (const auto& name : CacheFilesOf(platform::testing::RealFiles(), instance.cache, table)) names.push_back(name);
  }
  return names;
}

TEST(ChangeCapture, NextCacheFileNameFollowsTheLastInSortedOrder) {
  struct Case {
    std::vector<std::string> present;
    std::string table;
    std::string next;  // empty: raises
  };
  const std::vector<Case> cases = {
      {{}, "DOCS", "DOCS.000"},
      {{"DOCS.000", "DOCS.001"}, "DOCS", "DOCS.002"},
      {{"docs.009", "DOCS.003"}, "DOCS", "DOCS.010"},
      {{"PUBLISHED_DOCS.012", "DOCFIELDS.004", "cache.dat"}, "DOCS", "DOCS.000"},
      {{"PUBLISHED_DOCS.012"}, "PUBLISHED_DOCS", "PUBLISHED_DOCS.013"},
      {{"DOCS.998"}, "DOCS", "DOCS.999"},
      {{"DOCS.000", "DOCS.bak"}, "DOCS", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.next);
    TempFolder folder;
    for (const auto& name : c.present) WriteAll(folder.Path() / name, "x");
    if (c.next.empty()) {
      EXPECT_THROW(GetNextCacheFileName(platform::testing::RealFiles(), folder.Dir(), c.table), std::exception);
    } else {
      EXPECT_EQ(GetNextCacheFileName(platform::testing::RealFiles(), folder.Dir(), c.table), c.next);
    }
  }
}

TEST(ChangeCapture, OfflineSavesBecomeNumberedDeltasWithTheirOwner) {
  Instance instance(testing::DeadPort());
  auto dm = instance.Create();
  dm->SaveDocData();  // tblDoc is not open: nothing
  dm->LoadFromCache(dm->tblDoc);
  dm->SaveDocData();  // open, but nothing changed: no file and no row
  EXPECT_TRUE(Deltas(instance).empty());
  EXPECT_EQ(dm->cacheLookup("select count(*) from CACHELOG").AsInt(), 0);

  dm->UserID = 5;
  RenameDoc(*dm, 1, "Manual, first");
  dm->UserID = 7;
  RenameDoc(*dm, 1, "Manual, second");
  EXPECT_EQ(Deltas(instance), (std::vector<std::string>{"DOCS.000", "DOCS.001"}));
  EXPECT_EQ(Tdm::MyVarToStrDef(dm->cacheLookup("select USER_ID from CACHELOG where FILENAME='DOCS.000'"), ""), "5");
  EXPECT_EQ(Tdm::MyVarToStrDef(dm->cacheLookup("select USER_ID from CACHELOG where FILENAME='DOCS.001'"), ""), "7");
  EXPECT_TRUE(instance.traced.Traced("SaveToCache (77)", "Log name: DOCS\tDelta file: DOCS.001"));
  // The file is the monitor's record as the wire codes it: one update.
  const TRpcValue first = TRpcValue::FromCode(ReadAll(std::filesystem::path(instance.cache) / "DOCS.000"));
  EXPECT_EQ(first.AsArray()[0].toCode(), "AR=1;I=2;");
  EXPECT_FALSE(dm->monDoc.Changed());

  // The document fields go under CODES.
  dm->LoadFromCache(dm->tblDocFields);
  dm->tblDocFields.Append();
  dm->tblDocFields.FieldByName("CODE").SetValue("Site");
  dm->tblDocFields.Post();
  dm->SaveAllData();
  EXPECT_EQ(CacheFilesOf(platform::testing::RealFiles(), instance.cache, "CODES"), std::vector<std::string>{"CODES.000"});
  EXPECT_TRUE(CacheFilesOf(platform::testing::RealFiles(), instance.cache, "DOCFIELDS").empty());
}

TEST(Commit, DeltasGoOldestFirstInOneBatchUnderTheirOwner) {
  CommitServer server;
  Instance instance(server.Port());
  auto dm = instance.Create();
  dm->UserID = 5;
  RenameDoc(*dm, 2, "Plan, first");
  RenameDoc(*dm, 2, "Plan, second");
  WriteAll(std::filesystem::path(instance.cache) / "FORMS.000", "");  // a delta nobody logged
  dm->UserID = 7;  // somebody else logs in
  ASSERT_TRUE(dm->ConnectToServer(true));
  dm->CommitCache();
  // The deltas have left the folder as soon as they were queued.
  EXPECT_TRUE(Deltas(instance).empty());
  EXPECT_EQ(dm->cacheLookup("select count(*) from CACHELOG").AsInt(), 0);
  instance.WaitForReplies(3);
  const auto calls = server.Calls();
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(calls[0].logname, "DOCS.000");
  EXPECT_EQ(calls[1].logname, "DOCS.001");
  EXPECT_EQ(calls[0].request, calls[1].request);
  EXPECT_EQ(calls[0].user_id, 5);
  EXPECT_EQ(calls[1].user_id, 5);
  EXPECT_EQ((Seen{"submit", 7, "FORMS.000", calls[2].request}), calls[2]);
  EXPECT_EQ(server.DocName(2), "Plan, second");
  EXPECT_NE(ReadAll(instance.traced.folder.Path() / foundation::kTraceFileName)
                .find("WARNING: Do not know who\"FORMS.000\" belongs to! Defaulting to current user."),
            std::string::npos);
}

TEST(Commit, AChangeWhoseDeltaCannotBeWrittenWaitsAndGoesOnceWithTheNextSave) {
  using Kind = platform::FileFault::Kind;
  for (const Kind kind : {Kind::WriteRefused, Kind::DiskFull}) {
    SCOPED_TRACE(static_cast<int>(kind));
    CommitServer server;
    Instance instance(server.Port());
    instance.traced.context.TraceEnabled = false;
    auto dm = instance.Create();
    ASSERT_TRUE(dm->ConnectToServer(true));
    instance.files.Add({.kind = kind, .nameContains = "DOCS.", .times = 1});

    RenameDoc(*dm, 2, "Plan, renamed");
    // No file, not even half of one, and no log row: nothing a commit could send.
    EXPECT_TRUE(Deltas(instance).empty());
    EXPECT_EQ(dm->cacheLookup("select count(*) from CACHELOG").AsInt(), 0);
    EXPECT_TRUE(dm->monDoc.Changed());
    const std::string except = ReadAll(instance.traced.folder.Path() / foundation::kExceptFileName);
    EXPECT_NE(except.find("Cannot create file \"" + instance.cache + "DOCS.000\""), std::string::npos) << except;

    // The next save writes both changes down and sends them in one submit.
    dm->tblDoc.Edit();
    dm->tblDoc.FieldByName("STATUS").SetValue("W");
    dm->tblDoc.Post();
    dm->SaveDocData();
    instance.WaitForReplies(1);
    const auto calls = server.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].logname, "DOCS.000");
    EXPECT_EQ(server.DocName(2), "Plan, renamed");
    EXPECT_FALSE(dm->monDoc.Changed());
    EXPECT_TRUE(Deltas(instance).empty());
  }
}

TEST(Commit, CommitCacheRunsOncePerConnectionInItsOrder) {
  CommitServer server;
  Instance instance(server.Port());
  auto dm = instance.Create();
  const std::filesystem::path cache(instance.cache);
  const std::filesystem::path file = cache / "doc3.docx";
  WriteAll(file, "document three");
  dm->LoadFromCache(dm->tblFiles);
  dm->cacheExecSQL("insert into FILES (DOC_ID, FILENAME, USER_ID, CACHED) values (3, '" + file.string() +
                   "', 5, true)");
  for (const char* name : {"FORMS.000", "PUBLISHED_DOCS.000", "CODES.000", "DOCS.000"}) WriteAll(cache / name, "");
  dm->CommitCache();  // offline: nothing
  EXPECT_EQ(instance.Count("CommitCache", ""), 0);

  ASSERT_TRUE(dm->ConnectToServer(true));
  dm->CommitCache();
  dm->CommitCache();
  EXPECT_EQ(instance.Count("CommitCache", ""), 1);
  instance.WaitForReplies(5);
  std::vector<std::string> order;
  for (const Seen& seen : server.Calls()) order.push_back(seen.function + " " + seen.logname);
  EXPECT_EQ(order, (std::vector<std::string>{"submit DOCS.000", "submit CODES.000", "sendfile ",
                                             "submit PUBLISHED_DOCS.000", "submit FORMS.000"}));

  // Lost and found again: the next connection commits once more.
  dm->Connection.HttpClientDisconnect();
  EXPECT_FALSE(dm->Connection.mChacheComitted);
  dm->SetIsServerReachable(true);
  dm->CommitCache();
  EXPECT_EQ(instance.Count("CommitCache", ""), 2);
}

// The host process killed outright, not unwound: the child below is this test
// program run again, and saves one delta while no server answers.
constexpr char kCrashChildVariable[] = "QUILLORN_COMMIT_CRASH_DIR";
constexpr char kSavedMarker[] = "saved";

TEST(CrashChild, SavesADeltaOfflineAndDies) {
  const char* dir = std::getenv(kCrashChildVariable);
  if (dir == nullptr) GTEST_SKIP() << "runs only as a child of the test below";
  const std::filesystem::path root(dir);
  for (const char* sub : {"app", "data", "Cache"}) std::filesystem::create_directories(root / sub);
  WriteAll(root / "data" / kAddInIniName, "[Connection Settings]\r\nPort=" + std::to_string(testing::DeadPort()) +
                                             "\r\nLocal_Address=127.0.0.1\r\n");
  foundation::LogContext context;
  context.AppDir = (root / "app" / "").string();
  context.AppDataDir = (root / "data" / "").string();
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  platform::FakeSystemServices system;
  Tdm dm(TdmFolders{context.AppDir, context.AppDataDir, (root / "Cache" / "").string()}, false, loop, system,
         context);
  dm.UserID = 5;
  RenameDoc(dm, 1, "Manual, before the crash");
  WriteAll(root / kSavedMarker, "");
  // No destructor, no shutdown, no flush: as when the host is killed.
  std::_Exit(137);
}

TEST(Commit, ADeltaSavedByAProcessThatWasKilledIsCommittedOnReconnect) {
  CommitServer server;
  TempFolder shared;
  const std::string exe = std::filesystem::read_symlink("/proc/self/exe").string();
  // timeout bounds a child that hangs instead of dying.
  const std::string command = std::string(kCrashChildVariable) + "='" + shared.Dir() + "' timeout 60 '" + exe +
                              "' --gtest_filter=CrashChild.SavesADeltaOfflineAndDies > '" + shared.Dir() +
                              "child.log' 2>&1";
  const int status = std::system(command.c_str());
  const std::string childLog = ReadAll(shared.Path() / "child.log");
  ASSERT_TRUE(std::filesystem::exists(shared.Path() / kSavedMarker)) << childLog;
  // It died where it stood: gtest never got to report the test.
  EXPECT_NE(status, 0);
  EXPECT_EQ(childLog.find("[       OK ]"), std::string::npos) << childLog;

  const std::string cache = (shared.Path() / "Cache" / "").string();
  ASSERT_EQ(CacheFilesOf(platform::testing::RealFiles(), cache, "DOCS"), std::vector<std::string>{"DOCS.000"});
  EXPECT_EQ(server.DocName(1), "Manual");

  Instance after(server.Port(), cache);
  auto dm = after.Create();
  dm->UserID = 7;
  // Started while the server was away: the reconnect timer's ping finds it,
  // and the ping's reply commits what waits.
  dm->SetIsServerReachable(false);
  dm->Connection.Timer1.SetEnabled(true);
  after.loop.AdvanceAndRun(kReconnectPingIntervalMs);
  after.WaitForReplies(2);  // the ping's and the submit's
  EXPECT_TRUE(dm->mIsServerReachable());
  EXPECT_FALSE(dm->Connection.Timer1.Enabled());
  ASSERT_EQ(server.Calls().size(), 1u);
  EXPECT_EQ(server.Calls()[0].function, "submit");
  EXPECT_EQ(server.Calls()[0].user_id, 5);
  EXPECT_EQ(server.Calls()[0].logname, "DOCS.000");
  EXPECT_EQ(server.DocName(1), "Manual, before the crash");
  EXPECT_TRUE(CacheFilesOf(platform::testing::RealFiles(), cache, "DOCS").empty());
  EXPECT_EQ(dm->cacheLookup("select count(*) from CACHELOG").AsInt(), 0);
}

TEST(Commit, SubmitRepliesClearDeltasTellTheDesktopAndEmptyPublishedDocs) {
  struct Case {
    const char* name;
    TRpcValue result;
    bool ok;
    bool posted;
    bool deltaGone;
    bool publishedEmptied;
    std::string logged;
  };
  auto exception = [] { return TRpcValue(std::make_unique<transport::TRpcExceptionValue>(0, "no such table")); };
  const std::vector<Case> cases = {
      {"DOCS", transport::TextValue("DOCS.003"), true, true, true, false, ""},
      {"FORMS", transport::TextValue("FORMS.001"), true, false, true, false, ""},
      {"PUBLISHED_DOCS", transport::TextValue("PUBLISHED_DOCS.000"), true, false, true, true, ""},
      {"true", transport::BooleanValue(true), true, false, false, false, ""},
      {"exception", exception(), false, false, false, false, "Server-side exception after Submit:\r\nno such table"},
      {"false", transport::BooleanValue(false), false, false, false, false, "Unexpected Result after Submit"},
      {"integer", transport::IntegerValue(3), false, false, false, false, "Unexpected Result after Submit"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Instance instance(testing::DeadPort());
    auto dm = instance.Create();
    std::vector<platform::WindowMessage> received;
    auto desk = instance.messages->CreateWindow(
        kDesktopWindowClass, "Quillorn Desk", instance.loop,
        [&](const platform::WindowMessage& message) { received.push_back(message); });
    dm->LoadFromCache(dm->tblPublishedDocs);
    dm->cacheExecSQL("insert into PUBLISHED_DOCS (DOC_NO, SOURCE_TYPE) values (4, 'PDF')");
    const std::string delta = c.result.ValueType() == transport::TRpcValueTypes::rpc_Text ? c.result.AsString()
                                                                                          : "DOCS.003";
    WriteAll(std::filesystem::path(instance.cache) / delta, "");
    dm->cacheExecSQL("insert into CACHELOG (FILENAME, USER_ID) values ('" + delta + "', 5)");

    {
      // As the reply's handler runs it: in the instance's context.
      foundation::ContextScope scope(instance.traced.context);
      EXPECT_EQ(dm->Commit.ProcessSubmitResult(c.result), c.ok);
    }
    instance.loop.RunUntilIdle();
    EXPECT_EQ(std::filesystem::exists(std::filesystem::path(instance.cache) / delta), !c.deltaGone);
    EXPECT_EQ(dm->cacheLookup("select count(*) from CACHELOG").AsInt(), c.deltaGone ? 0 : 1);
    EXPECT_EQ(dm->cacheLookup("select count(*) from PUBLISHED_DOCS").AsInt(), c.publishedEmptied ? 0 : 1);
    ASSERT_EQ(received.size(), c.posted ? 1u : 0u);
    if (c.posted) {
      EXPECT_EQ(received[0].msg, platform::RegisteredMessageNumber(kRefreshDocsMessage));
      EXPECT_EQ(received[0].wparam, 0u);
      EXPECT_EQ(received[0].lparam, 0);
    }
    if (!c.logged.empty()) {
      EXPECT_NE(instance.traced.Trace().find(c.logged), std::string::npos) << instance.traced.Trace();
    }
  }
}

TEST(Commit, SavedFilesAreSentUntilTheServerConfirmsThem) {
  CommitServer server;
  Instance instance(server.Port());
  auto dm = instance.Create();
  const std::filesystem::path cache(instance.cache);
  struct Row {
    int doc_id;
    const char* file;
    bool exists;
    bool checked_out;
    bool cached_after;  // once the replies are in
  };
  const Row rows[] = {
      {3, "doc3.docx", true, false, false},  // the saved one: sent and unmarked
      {4, "doc4.xlsx", false, false, true},  // gone from disk: skipped, stays marked
      {5, "doc5.pptx", true, true, true},    // checked out: never sent
  };
  dm->LoadFromCache(dm->tblFiles);
  for (const Row& r : rows) {
    if (r.exists) WriteAll(cache / r.file, std::string("body of ") + r.file);
    dm->cacheExecSQL("insert into FILES (DOC_ID, FILENAME, USER_ID, CHECKED_OUT, CACHED) values (" +
                     std::to_string(r.doc_id) + ", '" + (cache / r.file).string() + "', 5, " +
                     (r.checked_out ? "true" : "false") + ", " + (r.doc_id == 3 ? "false" : "true") + ")");
  }
  dm->tblFiles.Refresh();
  ASSERT_TRUE(dm->tblFiles.Locate("DOC_ID", std::int32_t{3}));
  dm->SaveDocument();  // offline: marked, not sent
  EXPECT_EQ(dm->cacheLookup("select CACHED from FILES where DOC_ID=3").AsBool(), true);
  EXPECT_TRUE(server.Calls().empty());

  ASSERT_TRUE(dm->ConnectToServer(true));
  dm->SaveDocument();
  EXPECT_FALSE(dm->Connection.mPostInProgress.IsSet());
  EXPECT_TRUE(dm->cacheLookup("select CACHED from FILES where DOC_ID=3").AsBool());  // until the reply
  instance.WaitForReplies(1);
  EXPECT_EQ(server.Calls(), (std::vector<Seen>{{"sendfile", 5, "", server.Calls().at(0).request}}));
  EXPECT_EQ(ReadAll(server::SentFilePath(server.DataFolder(), 3)), "body of doc3.docx");
  for (const Row& r : rows) {
    EXPECT_EQ(dm->cacheLookup("select CACHED from FILES where DOC_ID=" + std::to_string(r.doc_id)).AsBool(),
              r.cached_after)
        << r.file;
  }
  EXPECT_TRUE(instance.traced.Traced("ProcessRpcResult", "function: sendfile \r\tresult: 3"));
}

TEST(Commit, PostDocsToServerDoesNotReenterAndAlwaysLowersItsFlag) {
  CommitServer server;
  Instance instance(server.Port());
  auto dm = instance.Create();
  const std::filesystem::path file = std::filesystem::path(instance.cache) / "doc3.docx";
  WriteAll(file, "x");
  dm->LoadFromCache(dm->tblFiles);
  dm->cacheExecSQL("insert into FILES (DOC_ID, FILENAME, CACHED) values (3, '" + file.string() + "', true)");
  ASSERT_TRUE(dm->ConnectToServer(true));

  // A save that comes in from a nested message loop while a send runs.
  dm->Connection.mPostInProgress.Set();
  dm->PostDocsToServer();
  EXPECT_TRUE(dm->Connection.mPostInProgress.IsSet());
  EXPECT_EQ(instance.Count("PostDocsToServer", "..."), 1);
  EXPECT_EQ(instance.Count("SERVER CALL from SaveDocument", "sendfile " + file.string() + "(size: 1)\r\tdoc_id: 3"), 0);
  dm->Connection.mPostInProgress.Clear();

  // A failure on the way goes to the caller and leaves the flag down.
  dm->cacheExecSQL("drop table FILES");
  EXPECT_ANY_THROW(dm->PostDocsToServer());
  EXPECT_FALSE(dm->Connection.mPostInProgress.IsSet());
}

}  // namespace
}  // namespace quillorn::data
