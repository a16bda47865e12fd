#include "data/commit.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "data/data_test_support.h"
#include "data/fetching.h"

namespace quillorn::data {
namespace {

using foundation::testing::ReadAll;
using foundation::testing::TempFolder;
using foundation::testing::WriteAll;
using testing::Instance;
using testing::RefServer;
using testing::Seen;
using transport::TRpcValue;
namespace fs = std::filesystem;

// Renames a document in tblDoc, as the pane does, and saves its record. A
// document not yet cached comes in as a fetch brings it, unrecorded.
void RenameDoc(Tdm& dm, int id, const std::string& name) {
  dm.LoadFromCache(dm.tblDoc);
  if (!dm.tblDoc.Locate("DOC_ID", std::int32_t{id})) {
    ASSERT_TRUE(dm.cacheExecSQL("insert into DOCS (DOC_ID) values (" + std::to_string(id) + ")"));
    ASSERT_TRUE(dm.tblDoc.Locate("DOC_ID", std::int32_t{id}));
  }
  dm.tblDoc.Edit();
  dm.tblDoc.FieldByName("DOC_NAME").SetValue(name);
  dm.tblDoc.Post();
  dm.SaveDocData();
}

TEST(ChangeCapture, OfflineSavesBecomeNumberedDeltasWithTheirOwner) {
  Instance instance(testing::DeadPort());
  Tdm& dm = *instance.dm;
  dm.SaveDocData();  // tblDoc is not open: nothing
  dm.LoadFromCache(dm.tblDoc);
  dm.SaveDocData();  // open, but nothing changed: no file and no row
  // A row added only to track a document is no change of it: nothing for the server.
  dm.tblDoc.Append();
  dm.tblDoc.FieldByName("DOC_ID").SetValue(std::int32_t{1});
  dm.tblDoc.Post();
  dm.SaveDocData();
  EXPECT_TRUE(instance.Deltas().empty());
  dm.UserID = 5;
  RenameDoc(dm, 1, "Manual, first");
  dm.UserID = 7;
  RenameDoc(dm, 1, "Manual, second");
  EXPECT_EQ(instance.Deltas(), (std::vector<std::string>{"DOCS.000", "DOCS.001"}));
  EXPECT_EQ(instance.CacheText("select group_concat(USER_ID) from CACHELOG"), "5,7");
  EXPECT_TRUE(instance.traced.Traced("SaveToCache (77)", "Log name: DOCS\tDelta file: DOCS.001"));
  // The file is the monitor's record as the wire codes it: one update.
  EXPECT_EQ(TRpcValue::FromCode(ReadAll(fs::path(instance.cache) / "DOCS.000")).AsArray()[0].toCode(), "AR=1;I=2;");

  // The document fields go under CODES; the web form under its own name.
  for (Table* table : {&dm.tblDocFields, &dm.tblWebForm}) {
    dm.LoadFromCache(*table);
    table->Append();
    table->Fields(0).SetValue("4");
    table->Post();
  }
  dm.SaveAllData();
  EXPECT_EQ(instance.Deltas(), (std::vector<std::string>{"DOCS.000", "DOCS.001", "CODES.000", "FORMS.000"}));
}

TEST(Commit, AChangeWhoseDeltaCannotBeWrittenWaitsAndGoesOnceWithTheNextSave) {
  using Kind = platform::FileFault::Kind;
  for (const char* fault : {"write refused", "disk full", "no log row"}) {
    SCOPED_TRACE(fault);
    RefServer server;
    server.Exec("INSERT INTO DOCS (DOC_ID, DOC_NAME, STATUS) VALUES (2, 'Plan', 'E')");
    Instance instance(server.Port());
    Tdm& dm = *instance.dm;
    instance.GoOnline();
    dm.LoadFromCache(dm.tblDoc);
    if (fault == std::string("no log row")) {
      instance.Cache("alter table CACHELOG rename to AWAY");
    } else {
      instance.files.Add({.kind = *fault == 'w' ? Kind::WriteRefused : Kind::DiskFull, .nameContains = "DOCS."});
    }
    RenameDoc(dm, 2, "Plan, renamed");
    // No file, not even half of one, and no log row: nothing a commit could send.
    EXPECT_TRUE(instance.Deltas().empty());
    EXPECT_TRUE(dm.monDoc.Changed());
    EXPECT_TRUE(instance.traced.Logged("DOCS.000\". The change waits for the next save."));
    dm.cacheExecSQL("alter table AWAY rename to CACHELOG");

    // The next save writes both changes down and sends them in one submit.
    dm.tblDoc.Edit();
    dm.tblDoc.FieldByName("STATUS").SetValue("W");
    dm.tblDoc.Post();
    dm.SaveDocData();
    ASSERT_TRUE(instance.WaitFor(dm.Connection.ResultFromCommitToServer));
    ASSERT_EQ(server.Calls().size(), 1u);
    EXPECT_EQ(server.One("SELECT DOC_NAME || STATUS FROM DOCS WHERE DOC_ID=2"), "Plan, renamedW");
    EXPECT_FALSE(dm.monDoc.Changed());
    EXPECT_TRUE(instance.Deltas().empty());
    EXPECT_EQ(instance.CacheCount("select count(*) from CACHELOG"), 0);
  }
}

// Whatever waited goes once per connection, oldest first under its owner: the
// documents' rows (one batch per table) before their files, the files before
// what was published from them. A saved file stays marked until the server
// confirms it; one that is gone or checked out is not sent.
TEST(Commit, CommitCacheSendsWhatWaitedOncePerConnectionInItsOrderUnderItsOwner) {
  RefServer server;
  server.Exec("INSERT INTO DOCS (DOC_ID, DOC_NAME) VALUES (2, 'Plan')");
  Instance instance(server.Port());
  Tdm& dm = *instance.dm;
  const std::string& cache = instance.cache;
  dm.UserID = 5;
  RenameDoc(dm, 2, "Plan, first");
  RenameDoc(dm, 2, "Plan, second");
  for (const char* name : {"FORMS.000", "PUBLISHED_DOCS.000", "CODES.000"}) WriteAll(cache + name, "");  // unlogged
  WriteAll(cache + "CODES.001", "{damaged");  // stays, for someone to look at
  WriteAll(cache + "doc3.docx", "body of doc3");
  WriteAll(cache + "doc5.pptx", "checked out");
  OpenFiles(dm);
  instance.Cache("insert into FILES (DOC_ID, FILENAME, USER_ID, CACHED, CHECKED_OUT) values (3, '" + cache +
                 "doc3.docx', 5, false, false), (4, '" + cache + "gone.xlsx', 5, true, false), (5, '" + cache +
                 "doc5.pptx', 5, true, true)");
  ASSERT_TRUE(dm.tblFiles.Locate("DOC_ID", std::int32_t{3}));
  dm.SaveDocument();  // offline: marked, not sent
  EXPECT_EQ(instance.CacheCount("select count(*) from FILES where CACHED=true"), 3);
  dm.CommitCache();  // offline: nothing
  EXPECT_EQ(instance.traced.Count("CommitCache", ""), 0);

  dm.UserID = 7;  // somebody else logs in
  instance.GoOnline();
  dm.CommitCache();
  dm.CommitCache();
  // The deltas have left the folder as soon as they were queued.
  EXPECT_EQ(instance.Deltas(), std::vector<std::string>{"CODES.001"});
  EXPECT_EQ(instance.CacheCount("select count(*) from CACHELOG"), 0);
  ASSERT_TRUE(instance.WaitFor(dm.Connection.ResultFromCommitToServer, 6));
  const auto calls = server.Calls();
  ASSERT_EQ(calls.size(), 6u);
  EXPECT_EQ(calls, (std::vector<Seen>{{"submit", 5, "DOCS.000", calls[0].request},
                                      {"submit", 5, "DOCS.001", calls[0].request},
                                      {"submit", 7, "CODES.000", calls[2].request},
                                      {"sendfile", 5, "", calls[3].request},
                                      {"submit", 7, "PUBLISHED_DOCS.000", calls[4].request},
                                      {"submit", 7, "FORMS.000", calls[5].request}}));
  EXPECT_EQ(server.One("SELECT DOC_NAME FROM DOCS WHERE DOC_ID=2"), "Plan, second");
  EXPECT_TRUE(instance.traced.Logged("WARNING: Do not know who\"FORMS.000\" belongs to! Defaulting to current user."));
  EXPECT_TRUE(instance.traced.Logged("Delta file: CODES.001"));
  EXPECT_EQ(ReadAll(server::SentFilePath(server.DataFolder(), 3)), "body of doc3");
  EXPECT_EQ(instance.CacheCount("select sum(DOC_ID) from FILES where CACHED=true"), 4 + 5);

  // Lost and found again: the next connection commits once more.
  dm.Connection.HttpClientDisconnect();
  dm.SetIsServerReachable(true);
  dm.CommitCache();
  EXPECT_EQ(instance.traced.Count("CommitCache", ""), 2);
  // A save that comes in from a nested message loop while a send runs starts no other.
  dm.Connection.mPostInProgress.Set();
  dm.SaveDocument();
  const std::string sent = "sendfile " + cache + "doc3.docx(size: 12)\r\tdoc_id: 3";
  EXPECT_EQ(instance.traced.Count("SERVER CALL from SaveDocument", sent), 1);
  dm.Connection.mPostInProgress.Clear();
  // A failure on the way goes to the caller and leaves the flag down.
  instance.Cache("drop table FILES");
  EXPECT_ANY_THROW(dm.PostDocsToServer());
  EXPECT_FALSE(dm.Connection.mPostInProgress.IsSet());
}

// The host process killed outright, not unwound: the child below is this test
// program run again, and saves one delta while no server answers.
constexpr char kCrashChildVariable[] = "QUILLORN_COMMIT_CRASH_DIR";

TEST(CrashChild, SavesADeltaOfflineAndDies) {
  const char* dir = std::getenv(kCrashChildVariable);
  if (dir == nullptr) GTEST_SKIP() << "runs only as a child of the test below";
  auto* instance = new Instance(testing::DeadPort(), (fs::path(dir) / "Cache" / "").string());
  instance->dm->UserID = 5;
  RenameDoc(*instance->dm, 1, "Manual, before the crash");
  for (const TempFolder* own : {&instance->app, &instance->traced.folder}) fs::remove_all(own->Path());
  WriteAll(fs::path(dir) / "saved", "");
  // No destructor, no shutdown, no flush: as when the host is killed.
  std::_Exit(137);
}

TEST(Commit, ADeltaSavedByAProcessThatWasKilledIsCommittedOnReconnect) {
  RefServer server;
  server.Exec("INSERT INTO DOCS (DOC_ID, DOC_NAME) VALUES (1, 'Manual')");
  TempFolder shared;
  // timeout bounds a child that hangs instead of dying.
  const int status = std::system((std::string(kCrashChildVariable) + "='" + shared.Dir() + "' timeout 60 '" +
                                  fs::read_symlink("/proc/self/exe").string() + "' --gtest_filter=CrashChild.* > '" +
                                  shared.Dir() + "child.log' 2>&1")
                                     .c_str());
  const std::string childLog = ReadAll(shared.Path() / "child.log");
  ASSERT_TRUE(fs::exists(shared.Path() / "saved")) << childLog;
  // It died where it stood: gtest never got to report the test.
  EXPECT_NE(status, 0);
  EXPECT_EQ(childLog.find("[       OK ]"), std::string::npos) << childLog;

  Instance after(server.Port(), (shared.Path() / "Cache" / "").string());
  Tdm& dm = *after.dm;
  ASSERT_EQ(after.Deltas(), std::vector<std::string>{"DOCS.000"});
  dm.UserID = 7;
  // Started while the server was away: the reconnect timer's ping finds it,
  // and the ping's reply commits what waits.
  dm.SetIsServerReachable(false);
  dm.Connection.Timer1.SetEnabled(true);
  after.loop.AdvanceAndRun(kReconnectPingIntervalMs);
  ASSERT_TRUE(after.WaitFor(dm.Connection.ResultFromCommitToServer, 2));  // the ping's and the submit's
  EXPECT_FALSE(dm.Connection.Timer1.Enabled());
  EXPECT_EQ(server.Calls(), (std::vector<Seen>{{"submit", 5, "DOCS.000", server.Calls().at(0).request}}));
  EXPECT_EQ(server.One("SELECT DOC_NAME FROM DOCS WHERE DOC_ID=1"), "Manual, before the crash");
  EXPECT_TRUE(after.Deltas().empty());
  EXPECT_EQ(after.CacheCount("select count(*) from CACHELOG"), 0);
}

TEST(Commit, SubmitRepliesClearTheirDeltaTellTheDesktopAndEmptyPublishedDocs) {
  struct Case {
    TRpcValue result;
    bool ok = true, posted = false, deltaGone = true, publishedEmptied = false;
    std::string logged;
  };
  std::vector<Case> cases;
  cases.push_back({.result = transport::TextValue("DOCS.003"), .posted = true});
  cases.push_back({.result = transport::TextValue("PUBLISHED_DOCS.000"), .publishedEmptied = true});
  cases.push_back({.result = transport::BooleanValue(true), .deltaGone = false});
  cases.push_back({.result = TRpcValue(std::make_unique<transport::TRpcExceptionValue>(0, "no such table")),
                   .ok = false, .deltaGone = false, .logged = "Server-side exception after Submit:\r\nno such table"});
  cases.push_back({.result = transport::BooleanValue(false), .ok = false, .deltaGone = false,
                   .logged = "Unexpected Result after Submit"});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.result.toCode());
    Instance instance(testing::DeadPort());
    Tdm& dm = *instance.dm;
    std::vector<platform::WindowMessage> received;
    auto desk = instance.messages->CreateWindow(kDesktopWindowClass, "Quillorn Desk", instance.loop,
                                                [&](const platform::WindowMessage& m) { received.push_back(m); });
    dm.LoadFromCache(dm.tblPublishedDocs);
    instance.Cache("insert into PUBLISHED_DOCS (DOC_NO, SOURCE_TYPE) values (4, 'PDF')");
    const std::string delta = c.result.ValueType() == transport::TRpcValueTypes::rpc_Text ? c.result.AsString()
                                                                                          : "DOCS.003";
    WriteAll(instance.cache + delta, "");
    instance.Cache("insert into CACHELOG (FILENAME, USER_ID) values ('" + delta + "', 5)");
    {
      // As the reply's handler runs it: in the instance's context.
      foundation::ContextScope scope(instance.traced.context);
      EXPECT_EQ(dm.Commit.ProcessSubmitResult(c.result), c.ok);
    }
    instance.loop.RunUntilIdle();
    EXPECT_EQ(static_cast<int>(instance.Deltas().size()) + instance.CacheCount("select count(*) from CACHELOG"),
              c.deltaGone ? 0 : 2);
    EXPECT_EQ(instance.CacheCount("select count(*) from PUBLISHED_DOCS"), c.publishedEmptied ? 0 : 1);
    ASSERT_EQ(received.size(), c.posted ? 1u : 0u);
    EXPECT_TRUE(!c.posted || received[0].msg == platform::RegisteredMessageNumber(kRefreshDocsMessage));
    EXPECT_TRUE(c.logged.empty() || instance.traced.Logged(c.logged));
  }
}

}  // namespace
}  // namespace quillorn::data
