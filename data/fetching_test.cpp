#include "data/fetching.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "data/fetch_test_support.h"
#include "data/remote_catalogue.h"
#include "data/tdm.h"

namespace quillorn::data {
namespace {

using testing::DeadPort;
using testing::FetchInstance;
using testing::FetchServer;
using transport::TRpcDataSet;
using transport::TRpcFieldTypes;

std::vector<std::string> Selects(const FetchServer& server) { return server.Statements(); }

TEST(Fetching, SharedTablesFetchOnlyWhenEmptyOrRefreshedAndOnlyOnline) {
  struct Case {
    const char* routine;
    void (*open)(Tdm&, Fetch);
    Table Tdm::*table;
    bool LiveSets::*live;
    const char* cachedRow;  // a row from an earlier session
    const char* sql;
    bool whateverTheState;
    std::shared_ptr<transport::TRpcResult> FetchResults::*result;
  };
  const std::vector<Case> cases = {
      {"OpenDocFields", OpenDocFields, &Tdm::tblDocFields, &LiveSets::mDocFieldsLive,
       "insert into DOCFIELDS (CODE, VAL) values ('a', 'b')", kDocFieldsSql, false, &FetchResults::DocFieldsResult},
      {"OpenUsers", OpenUsers, &Tdm::tblUsers, &LiveSets::mUsersLive, "insert into USERS (USER_ID) values (1)", kUsersSql,
       false, &FetchResults::UsersResult},
      {"OpenGroups", OpenGroups, &Tdm::tblGroups, &LiveSets::mGroupsLive, "insert into GROUPS (GROUP_ID) values (1)",
       kGroupsSql, false, &FetchResults::GroupsResult},
      {"OpenUserGroupLinks", OpenUserGroupLinks, &Tdm::tblUserGroupLinks, &LiveSets::mUserGroupLinksLive,
       "insert into USER_GROUP_LINKS (USER_ID, GROUP_ID) values (1, 1)", kUserGroupLinksSql, false, &FetchResults::UserGroupLinksResult},
      {"OpenCodes", OpenCodes, &Tdm::tblCodes, &LiveSets::mCodesLive, "insert into CODES (D_TYPE) values ('X')", kCodesSql,
       false, &FetchResults::CodesResult},
      {"OpenLogo", OpenLogo, &Tdm::tblLogo, &LiveSets::mLogoLive, "insert into LOGO (LOGO) values ('png')", kLogoSql, true, &FetchResults::LogoResult},
      {"OpenTemplates", OpenTemplates, &Tdm::tblTemplates, &LiveSets::mTemplatesLive,
       "insert into TEMPLATES (DOC_NO) values (1)", kTemplatesSql, true, &FetchResults::TemplatesResult},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.routine);
    FetchServer server;
    FetchInstance instance(server.Port());
    Tdm& dm = *instance.dm;
    instance.GoOnline();
    instance.dm->LoadFromCache(dm.*c.table);
    instance.Cache(c.cachedRow);
    (dm.*c.table).Close();

    // Rows from an earlier session, a plain open: no call.
    c.open(dm, Fetch::IfNeeded);
    EXPECT_TRUE((dm.*c.table).Active());
    EXPECT_EQ((dm.*c.table).RecordCount(), 1);
    // Refresh: one select with the table's own statement; the flag is false until the reply.
    dm.Live.*c.live = true;
    c.open(dm, Fetch::Refresh);
    EXPECT_FALSE(dm.Live.*c.live);
    ASSERT_TRUE(instance.WaitForReturn(*(dm.Results.*c.result)));
    EXPECT_EQ(Selects(server), std::vector<std::string>{c.sql});
    // The server's table is empty: without a key the reply replaces all rows.
    EXPECT_EQ((dm.*c.table).RecordCount(), 0);

    // Empty now and not live: a plain open asks; offline only the logo and templates do.
    dm.Live.*c.live = false;
    dm.SetIsServerReachable(false);
    c.open(dm, Fetch::IfNeeded);
    if (c.whateverTheState) {
      ASSERT_TRUE(instance.WaitForReturn(*(dm.Results.*c.result)));
    }
    EXPECT_EQ(Selects(server).size(), c.whateverTheState ? 2u : 1u);
    EXPECT_EQ(instance.traced.Traced(c.routine, ""), std::string(c.routine) != "OpenTemplates");
  }
}

TEST(Fetching, RefreshReplacesTheRowKeepsStoredValuesOverNullsAndTheUsersPendingChange) {
  FetchServer server;
  server.Exec("insert into DOCS (DOC_ID, DOC_NO, DOC_NAME, STATUS, NOTES) values (5, 50, 'Server name', 'E', null)");
  FetchInstance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  dm.LoadFromCache(dm.tblDoc);
  instance.Cache("insert into DOCS (DOC_ID, DOC_NO, DOC_NAME, STATUS, NOTES, KEYWORDS) values "
                 "(5, 50, 'Cached name', 'A', 'kept notes', 'old words')");
  dm.tblDoc.Close();
  ASSERT_TRUE(DocIsCached(dm, 5));
  // The user changes the record before the fetch.
  dm.tblDoc.Edit();
  dm.tblDoc.FieldByName("KEYWORDS").SetValue(Variant("user words"));
  dm.tblDoc.Post();

  EXPECT_TRUE(OpenDoc(dm, 5, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_EQ(server.Statements(), std::vector<std::string>{"SELECT * from VIEW_DOC(5)"});
  EXPECT_EQ(dm.tblDoc.FieldByName("DOC_NAME").AsString(), "Server name");
  EXPECT_EQ(dm.tblDoc.FieldByName("STATUS").AsString(), "E");
  EXPECT_EQ(dm.tblDoc.FieldByName("NOTES").AsString(), "kept notes");
  EXPECT_EQ(dm.tblDoc.FieldByName("KEYWORDS").AsString(), "user words");
  EXPECT_EQ(dm.tblDoc.RecordCount(), 1);
  // The user's change went into a delta, the server's rows did not.
  ASSERT_TRUE(std::filesystem::exists(instance.cache + "DOCS.000"));
  EXPECT_FALSE(std::filesystem::exists(instance.cache + "DOCS.001"));
  EXPECT_FALSE(dm.monDoc.Changed());
  EXPECT_TRUE(dm.monDoc.Active());
  EXPECT_TRUE(instance.traced.Traced("SERVER CALL from FetchData (WAIT FOR RESULT)", "select SQL: SELECT * from VIEW_DOC(5)"));
  EXPECT_TRUE(instance.traced.Traced("ProcessRpcResult",
                                     "function: select tblDoc\r\tCopyRpcDataSetRowsToLocal\tRows: 1"));
  // A document the server doesn't know.
  EXPECT_FALSE(OpenDoc(dm, 6, Fetch::Refresh, Wait::ForAnswer));
}

TEST(Fetching, DocumentRoutinesOfflineAnswerFromTheCacheAndPingOnlyForAMissingRow) {
  FetchInstance instance(DeadPort());
  Tdm& dm = *instance.dm;
  dm.SetIsServerReachable(false);  // the start-up's first report
  dm.LoadFromCache(dm.tblDoc);
  instance.Cache("insert into DOCS (DOC_ID) values (5)");
  instance.Cache("insert into DOC_PERMISSIONS (DOC_ID, USER_ID) values (5, 3)");
  instance.Cache("insert into FORMS (DOC_NO) values (50)");
  dm.tblDoc.Close();
  const auto pings = [&] {
    const std::string trace = instance.traced.Trace();
    int n = 0;
    for (std::size_t at = trace.find("\tConnectToServer\tBlocking"); at != std::string::npos;
         at = trace.find("\tConnectToServer\tBlocking", at + 1)) {
      ++n;
    }
    return n;
  };
  EXPECT_TRUE(OpenDoc(dm, 5, Fetch::IfNeeded, Wait::ForAnswer));
  EXPECT_FALSE(OpenDoc(dm, 5, Fetch::Refresh, Wait::No));
  EXPECT_FALSE(OpenDoc(dm, 5, Fetch::Refresh, Wait::ForAnswer));  // cached, but Refresh wanted the server
  EXPECT_EQ(pings(), 0);
  EXPECT_FALSE(OpenDoc(dm, 6, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_EQ(pings(), 1);
  // The rights' offline locate looks for user 0, never the caller's user: it always pings.
  EXPECT_TRUE(DocPermissionsIsCached(dm, 5, 3));
  EXPECT_FALSE(OpenDocPermissions(dm, 5, 3, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_EQ(pings(), 2);
  EXPECT_TRUE(OpenDocPermissions(dm, 5, 3, Fetch::IfNeeded, Wait::No));
  // The web form: blocking gives the locate, online or not.
  EXPECT_TRUE(OpenWebForm(dm, 50, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_EQ(pings(), 2);
  EXPECT_FALSE(OpenWebForm(dm, 51, Fetch::IfNeeded, Wait::ForAnswer));
  EXPECT_EQ(pings(), 3);
  dm.Live.mWebFormLive = true;
  EXPECT_FALSE(OpenWebForm(dm, 50, Fetch::IfNeeded, Wait::ForAnswer));  // live and no refresh: no answer given
  EXPECT_FALSE(dm.mIsServerReachable());
}

TEST(Fetching, PermissionsAndWebFormArriveWithTheirHandlers) {
  FetchServer server;
  server.Exec("insert into Users (USER_ID, P_EDIT) values (3, 'Y')");
  server.Exec("insert into FORMS (DOC_NO, TEMPLATE_NAME) values (50, 'Register')");
  FetchInstance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  EXPECT_FALSE(OpenDocPermissions(dm, 5, 3, Fetch::Refresh, Wait::No));  // the rows come later
  ASSERT_TRUE(instance.WaitForReturn(*dm.Results.DocPermissionsResult));
  EXPECT_TRUE(DocPermissionsIsCached(dm, 5, 3));
  EXPECT_EQ(dm.tblDocPermissions.FieldByName("P_EDIT").AsString(), "Y");
  EXPECT_EQ(instance.addIn.calls, std::vector<std::string>{"SetQuillornRibbonButtonStates"});
  EXPECT_EQ(server.Statements().front(), DocPermissionsSql(5, 3));

  EXPECT_TRUE(OpenWebForm(dm, 50, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_EQ(dm.tblWebForm.FieldByName("TEMPLATE_NAME").AsString(), "Register");
  EXPECT_EQ(server.Statements().back(),
            "SELECT DOC_NO, TEMPLATE_NAME, HTML_FORM, LAST_EXTRACTED, FIELDS_USED, REGISTER_NAME FROM FORMS where "
            "DOC_NO = 50");
}

TEST(Fetching, TemplatesRefreshSweepsWhatTheServerDroppedAndKeepsStoredFiles) {
  FetchServer server;
  const char* row = "insert into DOCS (DOC_ID, DOC_NO, DOC_NAME, VER, SEQ, FILE_TYPE, DOC_TYPE_ID, IS_CURRENT, STATUS) ";
  server.Exec(std::string(row) + "values (1, 10, 'Letter', '2', 4, 1, 7, 'Y', 'A')");
  server.Exec(std::string(row) + "values (3, 30, 'Slides', '1', 1, 2, 7, 'Y', 'A')");
  server.Exec(std::string(row) + "values (4, 40, 'Draft', '1', 1, 1, 7, 'Y', 'E')");  // not approved
  FetchInstance instance(server.Port());
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblTemplates);
  instance.Cache("insert into TEMPLATES (DOC_NO, DOC_NAME, SEQ, SOURCE, OLD) values (10, 'Letter (1)', 3, 'stored', false)");
  instance.Cache("insert into TEMPLATES (DOC_NO, DOC_NAME, SOURCE, OLD) values (20, 'Gone (1)', 'gone', false)");
  dm.tblTemplates.Close();
  // Offline all the same: the templates are asked for whatever the state.
  instance.GoOnline();
  dm.SetIsServerReachable(false);
  OpenTemplates(dm, Fetch::Refresh);
  ASSERT_TRUE(instance.WaitForReturn(*dm.Results.TemplatesResult));
  EXPECT_TRUE(dm.Live.mTemplatesLive);
  EXPECT_EQ(instance.addIn.calls, std::vector<std::string>{"RefreshTemplateQuery"});
  ASSERT_EQ(dm.tblTemplates.RecordCount(), 2);
  ASSERT_TRUE(dm.tblTemplates.Locate("DOC_NO", Variant(10)));
  EXPECT_EQ(dm.tblTemplates.FieldByName("DOC_NAME").AsString(), "Letter (2)");
  EXPECT_EQ(dm.tblTemplates.FieldByName("SEQ").AsInteger(), 4);
  EXPECT_EQ(dm.tblTemplates.FieldByName("SOURCE").AsString(), "stored");
  EXPECT_FALSE(dm.tblTemplates.FieldByName("OLD").AsBoolean());
  ASSERT_TRUE(dm.tblTemplates.Locate("DOC_NO", Variant(30)));
  EXPECT_TRUE(dm.tblTemplates.FieldByName("SOURCE").IsNull());
  EXPECT_TRUE(dm.cacheLookup("select DOC_NO from TEMPLATES where DOC_NO=20").IsNull());
}

TEST(Fetching, DocFieldsReplyTellsTheModuleAndUsersReplyReopensTheApprovers) {
  FetchServer server;
  server.Exec("insert into CODES values ('DOC_FIELD', 'cmsTitle', 'Title')");
  server.Exec("insert into Users (USER_ID, GIVEN_NAMES, SURNAME, DESIGNATION, P_APPROVE) values "
              "(7, 'Ann', 'Lee', 'QA', 'Y')");
  server.Exec("insert into Users (USER_ID, GIVEN_NAMES, P_APPROVE, IS_WEB_USER) values (8, 'Web', 'Y', 'Y')");
  FetchInstance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  OpenDocFields(dm, Fetch::IfNeeded);
  ASSERT_TRUE(instance.WaitForReturn(*dm.Results.DocFieldsResult));
  EXPECT_TRUE(dm.Live.mDocFieldsLive);
  EXPECT_EQ(instance.addIn.calls, (std::vector<std::string>{"RefreshDocFields", "PopulateCustomFields"}));
  ASSERT_EQ(dm.tblDocFields.RecordCount(), 1);
  EXPECT_EQ(dm.tblDocFields.FieldByName("CODE").AsString(), "cmsTitle");

  OpenUsers(dm, Fetch::IfNeeded);
  EXPECT_FALSE(dm.qApprovalUsers.Active());  // the groups aren't live
  ASSERT_TRUE(instance.WaitForReturn(*dm.Results.UsersResult));
  EXPECT_TRUE(dm.Live.mUsersLive);
  ASSERT_TRUE(dm.qApprovalUsers.Active());
  ASSERT_EQ(dm.qApprovalUsers.RecordCount(), 1);  // the web user isn't fetched
  EXPECT_EQ(dm.qApprovalUsers.FieldByName("approval_user").AsString(), "Ann Lee (QA)");
}

TEST(Fetching, AFailedSelectLeavesTheTableAndItsFlag) {
  FetchServer server;
  FetchInstance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  dm.LoadFromCache(dm.tblDocFields);
  instance.Cache("insert into DOCFIELDS (CODE) values ('old')");
  dm.tblDocFields.Close();
  server.ForceReply([] { return transport::TRpcValue(std::make_unique<transport::TRpcExceptionValue>(0, "no view")); });
  OpenDocFields(dm, Fetch::Refresh);
  ASSERT_TRUE(instance.WaitForReturn(*dm.Results.DocFieldsResult));
  // The delete comes only with a data set.
  EXPECT_EQ(dm.tblDocFields.RecordCount(), 1);
  EXPECT_NE(instance.traced.Trace().find("\rServer-side exception after Select:\r\nno view\r\n"), std::string::npos);
  // The flag means "received", whatever the reply was; the groups' means "a data set came".
  EXPECT_TRUE(dm.Live.mDocFieldsLive);
  OpenGroups(dm, Fetch::Refresh);
  ASSERT_TRUE(instance.WaitForReturn(*dm.Results.GroupsResult));
  EXPECT_FALSE(dm.Live.mGroupsLive);
}

TEST(Fetching, CopyMatchesRowsByTheirKeysOrReplacesAKeylessTable) {
  FetchInstance instance(DeadPort());
  // Called here directly, not through the module: its log is made current by hand.
  foundation::ContextScope scope(instance.traced.context);
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblDocPermissions);
  instance.Cache("insert into DOC_PERMISSIONS (DOC_ID, USER_ID, P_EDIT, P_VIEW) values (5, 3, 'N', 'Y')");
  instance.Cache("insert into DOC_PERMISSIONS (DOC_ID, USER_ID, P_EDIT) values (5, 4, 'N')");
  instance.Cache("insert into USER_GROUP_LINKS values (1, 1)");
  instance.Cache("insert into USER_GROUP_LINKS values (2, 1)");
  dm.tblDocPermissions.Close();
  dm.LoadFromCache(dm.tblDocPermissions);
  dm.LoadFromCache(dm.tblUserGroupLinks);

  TRpcDataSet rights;
  rights.AddField("doc_id", TRpcFieldTypes::ft_Integer);
  rights.AddField("user_id", TRpcFieldTypes::ft_Integer);
  rights.AddField("p_edit", TRpcFieldTypes::ft_String);
  rights.AddField("no_such_column", TRpcFieldTypes::ft_String);
  for (auto [doc, user, edit] : {std::tuple{5, 3, "Y"}, std::tuple{6, 3, "Y"}}) {
    auto& row = rights.AppendRow();
    row.SetInteger("doc_id", doc);
    row.SetInteger("user_id", user);
    row.SetText("p_edit", edit);
    row.SetText("no_such_column", "ignored");
  }
  EXPECT_EQ(CopyRpcDataSetRowsToLocal(rights, dm.tblDocPermissions, "DOC_ID;USER_ID"), 2);
  EXPECT_EQ(dm.tblDocPermissions.RecordCount(), 3);
  struct Expect {
    int doc, user;
    const char* edit;
    const char* view;
  };
  for (const Expect& e : {Expect{5, 3, "Y", "Y"}, Expect{5, 4, "N", ""}, Expect{6, 3, "Y", ""}}) {
    SCOPED_TRACE(std::to_string(e.doc) + "/" + std::to_string(e.user));
    ASSERT_TRUE(DocPermissionsIsCached(dm, e.doc, e.user));
    EXPECT_EQ(dm.tblDocPermissions.FieldByName("P_EDIT").AsString(), e.edit);
    EXPECT_EQ(dm.tblDocPermissions.FieldByName("P_VIEW").AsString(), e.view);
  }

  TRpcDataSet links;
  links.AddField("USER_ID", TRpcFieldTypes::ft_Integer);
  links.AddField("GROUP_ID", TRpcFieldTypes::ft_Integer);
  auto& link = links.AppendRow();
  link.SetInteger("USER_ID", 9);
  link.SetInteger("GROUP_ID", 2);
  EXPECT_EQ(CopyRpcDataSetRowsToLocal(links, dm.tblUserGroupLinks, ""), 1);
  ASSERT_EQ(dm.tblUserGroupLinks.RecordCount(), 1);
  EXPECT_EQ(dm.tblUserGroupLinks.FieldByName("USER_ID").AsInteger(), 9);
}

TEST(Fetching, ARowThatFailsToPostIsLoggedAndTheRestArrive) {
  FetchInstance instance(DeadPort());
  // Called here directly, not through the module: its log is made current by hand.
  foundation::ContextScope scope(instance.traced.context);
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblGroups);
  TRpcDataSet groups;
  groups.AddField("GROUP_ID", TRpcFieldTypes::ft_Integer);
  groups.AddField("GROUP_NAME", TRpcFieldTypes::ft_String);
  groups.AppendRow().SetInteger("GROUP_ID", 1);
  // GROUPS is keyed in the cache but not matched by the copy: a second row 1 fails.
  auto& twice = groups.AppendRow();
  twice.SetInteger("GROUP_ID", 1);
  twice.SetText("GROUP_NAME", "again");
  groups.AppendRow().SetInteger("GROUP_ID", 3);
  EXPECT_EQ(CopyRpcDataSetRowsToLocal(groups, dm.tblGroups, ""), 3);
  EXPECT_EQ(dm.tblGroups.RecordCount(), 2);
  EXPECT_EQ(dm.tblGroups.State(), DataSetState::Browse);
  const std::string trace = instance.traced.Trace();
  EXPECT_NE(trace.find("\rERROR on posting to tblGroups\r\n"), std::string::npos) << trace;
  EXPECT_EQ(trace.find("ERROR in CopyRpcDataSetRowsToLocal"), std::string::npos);

  // A table that is gone from the database fails outside any row.
  Table missing(dm.Cache.CacheDB(), "NO_SUCH_TABLE", "", "tblMissing");
  EXPECT_EQ(CopyRpcDataSetRowsToLocal(groups, missing, ""), 0);
  EXPECT_NE(instance.traced.Trace().find("\rERROR in CopyRpcDataSetRowsToLocal for tblMissing\r"), std::string::npos);
}

}  // namespace
}  // namespace quillorn::data
