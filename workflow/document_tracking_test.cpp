#include "workflow/document_tracking.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "automation/stamping.h"
#include "data/fetch_test_support.h"
#include "data/fetching.h"
#include "data/tdm.h"
#include "hostsim/model.h"
#include "platform/scripted_prompts.h"
#include "workflow/workflow_fixture_for_test.h"

namespace quillorn::workflow {
namespace {

using hostsim::DocumentModel;
using platform::HostType;
using platform::DialogAnswer;
using platform::MessageAnswer;
using platform::MessageKind;
using platform::ModalResult;
using testing::CachedDoc;
using testing::FakeSite;
using testing::FilesRow;
using Calls = std::vector<std::string>;

const Calls kActivated12 = {"ShowQuillornPane 12", "SetQuillornRibbonButtonStates", "ShowQuillornTabs true"};
const Calls kDeactivated = {"ShowQuillornTabs false", "SetQuillornRibbonButtonStates", "HideQuillornPane"};

constexpr char kLoginMessage[] =
    "The QuillornToolBox will not be displayed unless you login.\rHowever settings for this document allows you to "
    "continue editing it as normal.";
constexpr char kOfflineMessage[] =
    "The QuillornToolBox cannot be displayed at this time as your server is not reachable.\rYou may continue "
    "editing the document but cannot check it back into Quillorn from here.";

std::string Property(const DocumentModel& model, const std::string& name) {
  for (const auto& p : model.custom_properties) {
    if (p.name == name) return p.value;
  }
  return "<none>";
}

// An Excel control field: a hidden defined name.
std::string NameValue(const DocumentModel& model, const std::string& name) {
  for (const auto& n : model.names) {
    if (n.name == name) return n.value.empty() ? n.refers_to : n.value;
  }
  return "<none>";
}

// The Word stamp's text, "" without a stamp.
std::string WordStamp(const DocumentModel& model) {
  for (const auto& shape : model.sections[0]->footers[0].story.shapes) {
    if (shape->name == automation::kStampShapeName && !shape->deleted) return shape->text;
  }
  return "";
}

bool WordProtected(const DocumentModel& model) { return model.protection_type != -1; }

// Only the pane and ribbon calls, without what the data module asked for.
Calls PaneCalls(const FakeSite& site) {
  Calls out;
  std::copy_if(site.calls.begin(), site.calls.end(), std::back_inserter(out),
               [](const std::string& c) { return c != "PopulateCustomFields" && c.rfind("dm ", 0) != 0; });
  return out;
}

TEST(ExtractDocID, ReadsIdAndTheUserOfACheckedOutCopy) {
  struct Case {
    std::optional<std::string> cmsID;
    std::int32_t id;
    std::int32_t user;
  };
  const std::vector<Case> cases = {
      {std::nullopt, 0, 0},
      {"", 0, 0},
      {"12", 12, 0},
      {"12;", 12, 0},
      {"12;abc", 12, 0},
      {"abc;7", 0, 7},
      {"12;3", 12, 3},
      {"12;123456789012", 12, 1234567890},  // only ten characters are read
      {"12;1234567890xyz", 12, 1234567890},
      {"twelve", 0, 0},
  };
  for (HostType kind : {HostType::ohaWord, HostType::ohaPublisher}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.cmsID.value_or("<no property>"));
      FakeSite site(kind);
      const Variant doc = site.OpenDocument("a.docx", c.cmsID);
      std::int32_t id = -1;
      std::int32_t user = -1;
      ExtractDocID(site.Host(), doc, id, user);
      EXPECT_EQ(id, c.id);
      EXPECT_EQ(user, c.user);
    }
  }
}

TEST(DocumentTracking, EachKindOfDocumentInWord) {
  struct Case {
    const char* kind;
    std::optional<FilesRow> announced;  // FILENAME filled in by the test
    std::optional<std::string> cmsID;
    std::string status;
    bool openDocBefore;  // tblDoc already open, as after an earlier document
    FilesRow after;      // FILENAME filled in by the test
    Calls calls;
    std::string stamp;
    bool isProtected;
    std::string cmsIDAfter;
    Calls notBuilt;
  };
  const std::vector<Case> cases = {
      {"machinery file",
       FilesRow{.DOC_ID = 12, .OLE_IGNORE = true},
       "12",
       "A",
       false,
       FilesRow{.DOC_ID = 12, .OLE_IGNORE = true, .SESSION_ID = 4711},
       {},
       "",
       false,
       "12",
       {}},
      {"announced, first sight",
       FilesRow{.DOC_ID = 12, .USER_ID = 3},
       "12",
       "A",
       false,
       FilesRow{.DOC_ID = 12, .INIT = true, .SESSION_ID = 4711, .USER_ID = 3},
       kActivated12,
       "",
       false,
       "12",
       {"ConnectTetherClient"}},
      {"announced read-only, under revision",
       FilesRow{.DOC_ID = 12, .READ_ONLY = true, .USER_ID = 3},
       std::nullopt,
       "E",
       false,
       FilesRow{.DOC_ID = 12, .INIT = true, .SESSION_ID = 4711, .READ_ONLY = true, .USER_ID = 3},
       kActivated12,
       "DRAFT",
       true,
       "12",
       {"ConnectTetherClient"}},
      {"announced for an ordinary print",
       FilesRow{.DOC_ID = 12, .PRINT = true, .USER_ID = 3},
       "12",
       "A",
       false,
       FilesRow{.DOC_ID = 12, .INIT = true, .IGNORE = true, .SESSION_ID = 4711, .PRINT = true, .USER_ID = 3},
       {},
       "UNCONTROLLED",
       false,
       "12",
       {"HandlePrintOpen"}},
      {"announced for a controlled print",
       FilesRow{.DOC_ID = 12, .PRINT = true, .PRINT_CONTROLLED = true, .USER_ID = 3},
       "12",
       "A",
       false,
       FilesRow{.DOC_ID = 12,
                .INIT = true,
                .IGNORE = true,
                .SESSION_ID = 4711,
                .PRINT = true,
                .PRINT_CONTROLLED = true,
                .USER_ID = 3},
       {},
       "",
       false,
       "12",
       {"HandlePrintOpen"}},
      {"known, tracked",
       FilesRow{.DOC_ID = 12, .INIT = true, .IGNORE = false, .SESSION_ID = 1},
       "12",
       "A",
       true,
       FilesRow{.DOC_ID = 12, .INIT = true, .IGNORE = false, .SESSION_ID = 1},
       kActivated12,
       "",
       false,
       "12",
       {}},
      {"known, tracked, record not open",
       FilesRow{.DOC_ID = 12, .INIT = true, .IGNORE = false, .SESSION_ID = 1},
       "12",
       "A",
       false,
       FilesRow{.DOC_ID = 12, .INIT = true, .IGNORE = false, .SESSION_ID = 1},
       kDeactivated,
       "",
       false,
       "12",
       {}},
      {"known, ignored",
       FilesRow{.DOC_ID = 12, .INIT = true, .IGNORE = true, .SESSION_ID = 1},
       "12",
       "A",
       true,
       FilesRow{.DOC_ID = 12, .INIT = true, .IGNORE = true, .SESSION_ID = 1},
       kDeactivated,
       "",
       false,
       "12",
       {}},
      {"foreign",
       std::nullopt,
       std::nullopt,
       "A",
       false,
       FilesRow{.DOC_ID = 0, .INIT = true, .IGNORE = true, .SESSION_ID = 4711},
       kDeactivated,
       "",
       false,
       "<none>",
       {}},
      {"letters before the semicolon count as no id",
       std::nullopt,
       "abc;7",
       "A",
       false,
       FilesRow{.DOC_ID = 0, .INIT = true, .IGNORE = true, .SESSION_ID = 4711},
       kDeactivated,
       "",
       false,
       "abc;7",
       {}},
      {"copy of a managed file",
       std::nullopt,
       "12",
       "A",
       false,
       FilesRow{.DOC_ID = 12, .INIT = true, .IGNORE = true, .SESSION_ID = 4711},
       {},
       "",
       false,
       "12",
       {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.kind);
    FakeSite site(HostType::ohaWord);
    site.CacheFieldCodes();
    site.CacheDocument(CachedDoc{.DOC_ID = 12, .DOC_NO = 120, .DOC_NAME = "Cleaning", .STATUS = c.status}, 3);
    const std::string path = site.cache + "Cleaning.docx";
    if (c.announced) {
      FilesRow row = *c.announced;
      row.FILENAME = path;
      site.Announce(row);
    }
    if (c.openDocBefore) {
      ASSERT_TRUE(data::OpenDoc(*site.tdm, 12, data::Fetch::IfNeeded, data::Wait::No));
    }
    const Variant doc = site.OpenDocument("Cleaning.docx", c.cmsID);
    const auto model = site.Model(doc);

    site.Tracking().DocumentChangedEvent(doc);

    const auto row = site.Row(path);
    ASSERT_TRUE(row.has_value());
    FilesRow expected = c.after;
    expected.FILENAME = path;
    EXPECT_EQ(row->DOC_ID, expected.DOC_ID);
    EXPECT_EQ(row->FILENAME, expected.FILENAME);
    EXPECT_EQ(row->INIT, expected.INIT);
    EXPECT_EQ(row->IGNORE, expected.IGNORE);
    EXPECT_EQ(row->SESSION_ID, expected.SESSION_ID);
    EXPECT_EQ(row->READ_ONLY, expected.READ_ONLY);
    EXPECT_EQ(row->CHECKED_OUT, expected.CHECKED_OUT);
    EXPECT_EQ(row->PRINT, expected.PRINT);
    EXPECT_EQ(site.FilesRowCount(), 1);
    EXPECT_EQ(PaneCalls(site), c.calls);
    EXPECT_EQ(WordStamp(*model), c.stamp);
    EXPECT_EQ(WordProtected(*model), c.isProtected);
    EXPECT_EQ(Property(*model, "cmsID"), c.cmsIDAfter);
    EXPECT_EQ(site.notBuilt, c.notBuilt);
    EXPECT_TRUE(site.prompts.Shown().empty());
    EXPECT_EQ((*site.tdm).tblFiles.State(), data::DataSetState::Browse);
    // Every path leaves the file's row as the current one.
    EXPECT_EQ((*site.tdm).tblFiles.FieldByName("FILENAME").AsString(), path);
    if (c.after.INIT && !c.announced.value_or(FilesRow{}).INIT && c.after.DOC_ID != 0 && c.announced) {
      // First handling: fields written, the host sees no change of the user's.
      EXPECT_EQ(Property(*model, "cmsDocName"), "Cleaning");
      EXPECT_TRUE(model->saved);
      EXPECT_EQ((*site.tdm).UserID, 3);
    }
  }
}

TEST(DocumentTracking, FirstSightInEveryHostMarksTheFileAndWritesItsIdentity) {
  for (HostType kind : {HostType::ohaWord, HostType::ohaExcel, HostType::ohaPowerPoint, HostType::ohaPublisher}) {
    SCOPED_TRACE(static_cast<int>(kind));
    FakeSite site(kind);
    site.CacheFieldCodes();
    site.CacheDocument(CachedDoc{.DOC_ID = 12, .DOC_NO = 120, .DOC_NAME = "Cleaning", .STATUS = "A"}, 3);
    const std::string path = site.cache + "Cleaning.file";
    site.Announce(FilesRow{.DOC_ID = 12, .FILENAME = path, .READ_ONLY = true, .USER_ID = 3});
    const Variant doc = site.OpenDocument("Cleaning.file", std::nullopt);
    const auto model = site.Model(doc);
    model->revisions = 3;
    model->track_revisions = true;

    site.Tracking().DocumentChangedEvent(doc);

    const auto row = site.Row(path);
    ASSERT_TRUE(row.has_value());
    EXPECT_TRUE(row->INIT);
    EXPECT_EQ(row->SESSION_ID, 4711);
    EXPECT_EQ(PaneCalls(site), kActivated12);
    if (kind == HostType::ohaPublisher) {
      ASSERT_EQ(model->tags.size(), 1u);
      EXPECT_EQ(model->tags[0].name, "cmsID");
      EXPECT_EQ(model->tags[0].value, "12");
    } else {
      EXPECT_EQ(Property(*model, "cmsID"), "12");
    }
    if (kind == HostType::ohaExcel) {
      EXPECT_TRUE(model->protect_structure);
    }
    if (kind == HostType::ohaPowerPoint) {
      EXPECT_TRUE(model->final);
    }
    if (kind == HostType::ohaWord) {
      EXPECT_TRUE(WordProtected(*model));
      EXPECT_FALSE(model->track_revisions) << "revisions go before the lock";
      EXPECT_EQ(model->revisions, 0);
    }
  }
}

TEST(DocumentTracking, CheckedOutCopyAsksWhoLogsIn) {
  struct Case {
    const char* who;
    std::optional<DialogAnswer> login;  // nullopt: cancelled
    bool wasProtected;
    bool online;
    bool readOnlyAfter;
    Calls calls;
    std::string stamp;
    const char* message;  // nullptr: none
  };
  const DialogAnswer owner{"TdlgLogin", {{"edLogin", "alice"}, {"edPwd", "pw"}}, "Ok"};
  const DialogAnswer other{"TdlgLogin", {{"edLogin", "bob"}, {"edPwd", "pw2"}}, "Ok"};
  const std::vector<Case> cases = {
      {"the owner", owner, false, false, false, kActivated12, "", nullptr},
      {"the owner of a protected copy", owner, true, false, false, kActivated12, "", nullptr},
      {"somebody else, offline", other, false, false, false, kDeactivated, "", kOfflineMessage},
      {"somebody else, online", other, false, true, false, kActivated12, "", nullptr},
      {"somebody else, protected copy", other, true, false, true, kDeactivated, "DRAFT", kLoginMessage},
      {"cancelled", std::nullopt, false, false, false, kDeactivated, "", kLoginMessage},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.who);
    std::optional<data::testing::FetchServer> server;
    if (c.online) {
      server.emplace();
      server->Exec("alter table Users add column WEB_PASSWORD VARCHAR(16)");
      server->Exec("insert into Users (USER_ID, LOGIN, WEB_PASSWORD) values (5, 'BOB', 'pw2')");
    }
    FakeSite site(HostType::ohaWord, server ? server->Port() : 0);
    if (c.online) {
      ASSERT_TRUE((*site.tdm).ConnectToServer(true));
    }
    site.CacheDocument(CachedDoc{.DOC_ID = 12, .DOC_NO = 120, .STATUS = "A"}, 3);
    site.CacheUser(3, "ALICE", "pw");
    site.CacheUser(5, "BOB", "pw2");
    const std::string path = site.cache + "out/Out.docx";
    const Variant doc = site.OpenPath(path, "12;3");
    const auto model = site.Model(doc);
    if (c.wasProtected) {
      model->protection_type = 2;
      model->protection_password = "ZTRshelter";
    }
    site.prompts.AnswerDialog(c.login.value_or(DialogAnswer{"TdlgLogin", {}, "Cancel"}));
    if (c.message) site.prompts.Answer(MessageAnswer{ModalResult::mrOk, c.message, MessageKind::Information});

    site.Tracking().DocumentChangedEvent(doc);

    const auto row = site.Row(path);
    ASSERT_TRUE(row.has_value());
    EXPECT_EQ(row->DOC_ID, 12);
    EXPECT_TRUE(row->INIT);
    EXPECT_EQ(row->IGNORE, std::optional<bool>(false));
    EXPECT_TRUE(row->CHECKED_OUT) << "a cancelled log-in still leaves the copy checked out";
    EXPECT_EQ(row->READ_ONLY, c.readOnlyAfter);
    EXPECT_EQ(row->SESSION_ID, 4711);
    EXPECT_EQ(PaneCalls(site), c.calls);
    EXPECT_EQ(WordStamp(*model), c.stamp);
    EXPECT_EQ(WordProtected(*model), c.readOnlyAfter);
    EXPECT_EQ(Property(*model, "cmsID"), "12;3") << "the copy's identity is not rewritten";
    EXPECT_EQ(site.prompts.Unanswered(), 0u);
    EXPECT_EQ(site.prompts.Shown().size(), c.message ? 2u : 1u);
  }
}

TEST(DocumentTracking, FirstEventOfASessionDropsACheckedOutLeftoverOfThatFile) {
  FakeSite site(HostType::ohaWord);
  site.CacheDocument(CachedDoc{.DOC_ID = 12, .STATUS = "A"}, 3);
  site.CacheDocument(CachedDoc{.DOC_ID = 13, .STATUS = "A"}, 3);
  site.CacheUser(3, "ALICE", "pw");
  const std::string first = site.cache + "out/First.docx";
  const std::string second = site.cache + "out/Second.docx";
  // Rows a crashed session left behind.
  site.Announce(FilesRow{.DOC_ID = 12, .FILENAME = first, .INIT = true, .IGNORE = false, .SESSION_ID = 1,
                         .USER_ID = 3, .CHECKED_OUT = true});
  site.Announce(FilesRow{.DOC_ID = 13, .FILENAME = second, .INIT = true, .IGNORE = false, .SESSION_ID = 1,
                         .USER_ID = 3, .CHECKED_OUT = true});
  site.prompts.AnswerDialog(DialogAnswer{"TdlgLogin", {{"edLogin", "alice"}, {"edPwd", "pw"}}, "Ok"});

  const Variant one = site.OpenPath(first, "12;3");
  site.Tracking().DocumentChangedEvent(one);
  ASSERT_EQ(site.prompts.Shown().size(), 1u) << "the leftover went: the copy takes the log-in path";
  EXPECT_EQ(site.Row(first)->SESSION_ID, 4711);
  EXPECT_TRUE(site.Row(first)->CHECKED_OUT);
  EXPECT_EQ(PaneCalls(site), kActivated12);

  // The table is open now: the second copy finds its old row and is taken as tracked.
  site.calls.clear();
  const Variant two = site.OpenPath(second, "13;3");
  site.Tracking().DocumentChangedEvent(two);
  EXPECT_EQ(site.prompts.Shown().size(), 1u);
  EXPECT_EQ(site.Row(second)->SESSION_ID, 1);
  EXPECT_EQ(PaneCalls(site), (Calls{"ShowQuillornPane 13", "SetQuillornRibbonButtonStates", "ShowQuillornTabs true"}));
}

TEST(DocumentTracking, RowIsFoundByIdBeforeNameAndKeepsItsFileName) {
  FakeSite site(HostType::ohaWord);
  site.CacheDocument(CachedDoc{.DOC_ID = 12, .STATUS = "A"}, 3);
  const std::string announced = site.cache + "Original.DOCX";
  site.Announce(FilesRow{.DOC_ID = 12, .FILENAME = announced, .INIT = true, .IGNORE = false, .SESSION_ID = 1});
  // A private copy under the negated id wins over the positive row.
  site.Announce(FilesRow{.DOC_ID = -12, .FILENAME = site.cache + "Private.docx", .INIT = true, .IGNORE = true,
                         .SESSION_ID = 1});
  ASSERT_TRUE(data::OpenDoc(*site.tdm, 12, data::Fetch::IfNeeded, data::Wait::No));

  const Variant moved = site.OpenDocument("Moved.docx", "12");
  site.Tracking().DocumentChangedEvent(moved);
  EXPECT_EQ((*site.tdm).tblFiles.FieldByName("DOC_ID").AsInteger(), -12);
  EXPECT_EQ(PaneCalls(site), kDeactivated);
  EXPECT_FALSE(site.Row(site.cache + "Moved.docx").has_value()) << "no row is added for the path";
  EXPECT_EQ(site.FilesRowCount(), 2);

  // By name, without regard to case, when the file has no identity.
  site.calls.clear();
  const Variant byName = site.OpenDocument("original.docx", std::nullopt);
  site.Tracking().DocumentChangedEvent(byName);
  EXPECT_EQ((*site.tdm).tblFiles.FieldByName("FILENAME").AsString(), announced);
  EXPECT_EQ(PaneCalls(site), kActivated12);
  EXPECT_EQ(site.FilesRowCount(), 2);
}

TEST(DocumentTracking, CopyOfAManagedFileLeavesThePaneOfTheDocumentBefore) {
  FakeSite site(HostType::ohaWord);
  site.CacheDocument(CachedDoc{.DOC_ID = 13, .STATUS = "A"}, 3);
  site.Announce(FilesRow{.DOC_ID = 13, .FILENAME = site.cache + "b.docx", .USER_ID = 3});
  site.Tracking().DocumentChangedEvent(site.OpenDocument("b.docx", "13"));
  site.calls.clear();
  // A copy of document 12 that this machine has no row for.
  site.Tracking().DocumentChangedEvent(site.OpenDocument("copy of a.docx", "12"));
  EXPECT_TRUE(PaneCalls(site).empty());
  site.Tracking().DocumentChangedEvent(site.OpenDocument("new.docx", std::nullopt));
  EXPECT_EQ(PaneCalls(site), kDeactivated);
  EXPECT_EQ(site.FilesRowCount(), 3);
  // The copy is ignored for good: its next activation deactivates too.
  site.calls.clear();
  site.Tracking().DocumentChangedEvent(site.OpenDocument("copy of a.docx", "12"));
  EXPECT_EQ(PaneCalls(site), kDeactivated);
}

TEST(DocumentTracking, UnnamedDocumentIsLeftAlone) {
  FakeSite site(HostType::ohaWord);
  const auto model = site.host->Add();
  model->full_name.clear();
  model->untitled_name.clear();
  site.Tracking().DocumentChangedEvent(Variant(site.host->Wrap(model)));
  EXPECT_TRUE(site.calls.empty());
  EXPECT_FALSE((*site.tdm).tblFiles.Active());
}

TEST(DocumentTracking, SwitchingBetweenKnownDocumentsMakesNoRemoteCall) {
  data::testing::FetchServer server;
  FakeSite site(HostType::ohaWord, server.Port());
  site.CacheDocument(CachedDoc{.DOC_ID = 12, .STATUS = "A"}, 3);
  site.CacheDocument(CachedDoc{.DOC_ID = 13, .STATUS = "E"}, 3);
  site.Announce(FilesRow{.DOC_ID = 12, .FILENAME = site.cache + "a.docx", .INIT = true, .IGNORE = false});
  site.Announce(FilesRow{.DOC_ID = 13, .FILENAME = site.cache + "b.docx", .INIT = true, .IGNORE = false});
  ASSERT_TRUE((*site.tdm).ConnectToServer(true));
  ASSERT_TRUE(data::OpenDoc(*site.tdm, 12, data::Fetch::IfNeeded, data::Wait::No));
  const Variant a = site.OpenDocument("a.docx", "12");
  const Variant b = site.OpenDocument("b.docx", "13");
  server.Server().ClearSeen();

  for (int i = 0; i < 5; ++i) {
    site.Tracking().DocumentChangedEvent(a);
    site.Tracking().DocumentChangedEvent(b);
  }
  EXPECT_EQ(site.calls.size(), 30u);
  // A blocking ping goes after anything sent before it on the same connection.
  ASSERT_TRUE((*site.tdm).ConnectToServer(true));
  EXPECT_EQ(server.Server().Seen().size(), 1u);
  EXPECT_TRUE(server.Statements().empty());
}

TEST(DocumentTracking, ResetCmsIdWritesTheRowsIdentityIntoTheActiveDocument) {
  struct Case {
    bool checkedOut;
    std::optional<std::string> before;
    std::string after;
  };
  const std::vector<Case> cases = {
      {false, std::nullopt, "12"}, {false, "99", "12"}, {true, "12", "12;3"}, {true, std::nullopt, "12;3"}};
  for (HostType kind : {HostType::ohaWord, HostType::ohaPublisher}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.after + (c.before ? " over " + *c.before : " added"));
      FakeSite site(kind);
      site.CacheDocument(CachedDoc{.DOC_ID = 12}, 3);
      site.Announce(FilesRow{.DOC_ID = 12, .FILENAME = site.cache + "a.doc", .INIT = true, .USER_ID = 3,
                             .CHECKED_OUT = c.checkedOut});
      const Variant doc = site.OpenDocument("a.doc", c.before);
      data::OpenFiles((*site.tdm));
      ASSERT_TRUE((*site.tdm).tblFiles.Locate("DOC_ID", Variant(12)));
      // Closed record table: logged and nothing written.
      site.Tracking().ResetCmsID();
      std::int32_t id = 0;
      std::int32_t user = 0;
      ExtractDocID(site.Host(), doc, id, user);
      EXPECT_EQ(id, c.before ? std::stoi(*c.before) : 0);

      ASSERT_TRUE(data::OpenDoc(*site.tdm, 12, data::Fetch::IfNeeded, data::Wait::No));
      site.Tracking().ResetCmsID();
      const auto model = site.Model(doc);
      if (kind == HostType::ohaPublisher) {
        ASSERT_EQ(model->tags.size(), 1u);
        EXPECT_EQ(model->tags[0].value, c.after);
      } else {
        ASSERT_EQ(model->custom_properties.size(), 1u);
        EXPECT_EQ(model->custom_properties[0].value, c.after);
        EXPECT_EQ(model->custom_properties[0].type, 4);
      }
    }
  }
}

TEST(DocumentTracking, ToolboxFollowsHostAndCloudMode) {
  struct Case {
    HostType kind;
    bool cloud;
    bool uploadPolled;
    bool templatesRefreshed;
  };
  const std::vector<Case> cases = {
      {HostType::ohaWord, true, true, true},         {HostType::ohaWord, false, false, true},
      {HostType::ohaExcel, true, false, false},      {HostType::ohaPowerPoint, true, false, true},
      {HostType::ohaPublisher, true, false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.kind));
    FakeSite site(c.kind);
    site.cloud = c.cloud;
    site.Tracking().ActivateToolbox(12);
    EXPECT_EQ(site.calls, kActivated12);
    EXPECT_EQ(site.uploadCheckTimer.Enabled(), c.uploadPolled);
    site.calls.clear();
    site.Tracking().DeactivateToolbox();
    EXPECT_EQ(site.calls, kDeactivated);
    site.calls.clear();
    site.Tracking().RefreshTemplateQuery();
    EXPECT_EQ(site.calls, c.templatesRefreshed ? Calls{"RefreshPaneTemplates"} : Calls{});
    EXPECT_FALSE(site.Tracking().GetActiveDoc().HasObject()) << "no document open: Empty, or Excel's Nothing";
  }
}

TEST(DocumentTracking, RefreshDocFieldsRewritesEveryHandledWordDocumentAndKeepsTheCurrentRows) {
  FakeSite site(HostType::ohaWord);
  site.CacheFieldCodes();
  site.CacheDocument(CachedDoc{.DOC_ID = 12, .DOC_NAME = "Twelve", .STATUS = "A"}, 3);
  site.CacheDocument(CachedDoc{.DOC_ID = 13, .DOC_NAME = "Thirteen", .STATUS = "A"}, 3);
  site.Announce(FilesRow{.DOC_ID = 12, .FILENAME = site.cache + "a.docx", .USER_ID = 3});
  site.Announce(FilesRow{.DOC_ID = 13, .FILENAME = site.cache + "b.docx", .READ_ONLY = true, .USER_ID = 3});
  const Variant a = site.OpenDocument("a.docx", "12");
  site.Tracking().DocumentChangedEvent(a);
  const Variant b = site.OpenDocument("b.docx", "13");
  site.Tracking().DocumentChangedEvent(b);
  const Variant foreign = site.OpenDocument("c.docx", std::nullopt);
  site.Tracking().DocumentChangedEvent(foreign);
  site.Tracking().DocumentChangedEvent(b);  // b is active: its rows are current

  // New names arrived for both records; b is locked and tracks changes.
  site.Exec("update DOCS set DOC_NAME=DOC_NAME || ' (new)'");
  (*site.tdm).tblDoc.Refresh();
  const auto modelA = site.Model(a);
  const auto modelB = site.Model(b);
  modelB->track_revisions = true;
  ASSERT_TRUE(WordProtected(*modelB));

  site.Tracking().RefreshDocFields(13);
  EXPECT_EQ(Property(*modelA, "cmsDocName"), "Twelve (new)");
  EXPECT_EQ(Property(*modelB, "cmsDocName"), "Thirteen (new)");
  EXPECT_EQ(Property(*site.Model(foreign), "cmsDocName"), "<none>");
  EXPECT_TRUE(WordProtected(*modelB)) << "locked again afterwards";
  EXPECT_TRUE(modelB->track_revisions);
  EXPECT_EQ((*site.tdm).tblDoc.FieldByName("DOC_ID").AsInteger(), 13);
  EXPECT_EQ((*site.tdm).tblFiles.FieldByName("DOC_ID").AsInteger(), 13);
}

TEST(DocumentTracking, RefreshDocFieldsOutsideWordOnlyPutsTheRowsBack) {
  FakeSite site(HostType::ohaExcel);
  site.CacheFieldCodes();
  site.CacheDocument(CachedDoc{.DOC_ID = 12, .DOC_NAME = "Twelve", .FILE_TYPE = 3}, 3);
  site.Announce(FilesRow{.DOC_ID = 12, .FILENAME = site.cache + "a.xlsx", .USER_ID = 3});
  const Variant a = site.OpenDocument("a.xlsx", "12");
  site.Tracking().DocumentChangedEvent(a);
  site.Exec("update DOCS set DOC_NAME='Renamed'");
  (*site.tdm).tblDoc.Refresh();
  const auto model = site.Model(a);
  ASSERT_EQ(NameValue(*model, "cmsDocName"), "Twelve");
  site.Tracking().RefreshDocFields(12);
  EXPECT_EQ(NameValue(*model, "cmsDocName"), "Twelve");
  EXPECT_EQ((*site.tdm).tblFiles.FieldByName("DOC_ID").AsInteger(), 12);
}

}  // namespace
}  // namespace quillorn::workflow
