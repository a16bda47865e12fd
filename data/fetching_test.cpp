#include "data/fetching.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/data_test_support.h"
#include "data/records.h"
#include "data/remote_catalogue.h"

namespace quillorn::data {
namespace {

using testing::DeadPort;
using testing::Instance;
using testing::RefServer;
using transport::TRpcFieldTypes;

TEST(Fetching, DocumentRoutinesOfflineAnswerFromTheCacheAndPingOnlyForAMissingRow) {
  Instance instance(DeadPort());
  Tdm& dm = *instance.dm;
  dm.SetIsServerReachable(false);  // the start-up's first report
  dm.LoadFromCache(dm.tblDoc);
  instance.Cache("insert into DOCS (DOC_ID) values (5)");
  instance.Cache("insert into DOC_PERMISSIONS (DOC_ID, USER_ID) values (5, 3)");
  instance.Cache("insert into FORMS (DOC_NO) values (50)");
  const auto pings = [&] { return instance.traced.Count("ConnectToServer", "Blocking"); };
  EXPECT_TRUE(OpenDoc(dm, 5, Fetch::IfNeeded, Wait::ForAnswer));
  EXPECT_FALSE(OpenDoc(dm, 5, Fetch::Refresh, Wait::No));
  EXPECT_FALSE(OpenDoc(dm, 5, Fetch::Refresh, Wait::ForAnswer));  // cached, but Refresh wanted the server
  EXPECT_EQ(pings(), 0);
  EXPECT_FALSE(OpenDoc(dm, 6, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_EQ(pings(), 1);
  // The rights' offline locate looks for user 0, never the caller's user: it always pings.
  EXPECT_TRUE(OpenDocPermissions(dm, 5, 3, Fetch::IfNeeded, Wait::No));
  EXPECT_FALSE(OpenDocPermissions(dm, 5, 3, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_EQ(pings(), 2);
  // The web form: blocking gives the locate, online or not, and pings only for a missing row.
  EXPECT_TRUE(OpenWebForm(dm, 50, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_FALSE(OpenWebForm(dm, 51, Fetch::IfNeeded, Wait::ForAnswer));
  EXPECT_EQ(pings(), 3);
  EXPECT_FALSE(OpenWebForm(dm, 50, Fetch::CacheIsCurrent, Wait::ForAnswer));  // live and no refresh: no answer
}

TEST(Fetching, RepliesReachTheirTablesAndTellTheAddIn) {
  RefServer server;
  server.Exec("insert into Users (USER_ID, GIVEN_NAMES, SURNAME, DESIGNATION, P_APPROVE, P_EDIT, IS_WEB_USER) values "
              "(3, 'Ann', 'Lee', 'QA', 'Y', 'Y', null), (8, 'Web', null, null, 'Y', 'Y', 'Y')");
  server.Exec("insert into CODES values ('DOC_FIELD', 'cmsTitle', 'Title')");
  server.Exec("insert into FORMS (DOC_NO, TEMPLATE_NAME) values (50, 'Register')");
  server.Exec("insert into DOCS (DOC_ID, DOC_NO, DOC_NAME, VER, SEQ, FILE_TYPE, DOC_TYPE_ID, IS_CURRENT, STATUS) "
              "values (1, 10, 'Letter', '2', 4, 1, 7, 'Y', 'A'), (3, 30, 'Slides', '1', 1, 2, 7, 'Y', 'A'), "
              "(4, 40, 'Draft', '1', 1, 1, 7, 'Y', 'E')");  // the last one not approved
  Instance instance(server.Port());
  Tdm& dm = *instance.dm;
  instance.GoOnline();
  EXPECT_FALSE(OpenDocPermissions(dm, 5, 3, Fetch::Refresh, Wait::No));  // the rows come later
  ASSERT_TRUE(instance.WaitFor(dm.Results.DocPermissionsResult));
  EXPECT_TRUE(DocPermissionsIsCached(dm, 5, 3) && dm.tblDocPermissions.Flag("P_EDIT"));
  EXPECT_TRUE(OpenWebForm(dm, 50, Fetch::Refresh, Wait::ForAnswer));
  EXPECT_EQ(dm.tblWebForm.FieldByName("TEMPLATE_NAME").AsString(), "Register");
  OpenDocFields(dm, Fetch::IfNeeded);
  ASSERT_TRUE(instance.WaitFor(dm.Results.DocFieldsResult));
  EXPECT_EQ(dm.tblDocFields.FieldByName("CODE").AsString(), "cmsTitle");
  OpenUsers(dm, Fetch::IfNeeded);
  EXPECT_FALSE(dm.qApprovalUsers.Active());  // the groups aren't live
  ASSERT_TRUE(instance.WaitFor(dm.Results.UsersResult));
  ASSERT_EQ(dm.qApprovalUsers.RecordCount(), 1);  // the web user isn't fetched
  EXPECT_EQ(dm.qApprovalUsers.FieldByName("approval_user").AsString(), "Ann Lee (QA)");

  // The templates are asked for offline all the same. The reply clears the mark of
  // what it lists, keeping the stored file; what stays marked goes.
  dm.LoadFromCache(dm.tblTemplates);
  instance.Cache("insert into TEMPLATES (DOC_NO, DOC_NAME, SEQ, SOURCE, OLD) values (10, 'Letter (1)', 3, 'stored', "
                 "false), (20, 'Gone (1)', 1, 'gone', false)");
  dm.SetIsServerReachable(false);
  OpenTemplates(dm, Fetch::Refresh);
  ASSERT_TRUE(instance.WaitFor(dm.Results.TemplatesResult));
  EXPECT_EQ(dm.tblTemplates.RecordCount(), 2);
  EXPECT_EQ(instance.CacheText("select group_concat(DOC_NAME || SEQ || coalesce(SOURCE, '-') || OLD) from TEMPLATES"),
            "Letter (2)4stored0,Slides (1)1-0");
  EXPECT_EQ(instance.addIn.calls, (std::vector<std::string>{"SetQuillornRibbonButtonStates", "RefreshDocFields",
                                                            "PopulateCustomFields", "RefreshTemplateQuery"}));
}

TEST(Fetching, CopyMatchesRowsByTheirKeysOrReplacesAKeylessTableAndSkipsARowThatFails) {
  Instance instance(DeadPort());
  // Called here directly, not through the module: its log is made current by hand.
  foundation::ContextScope scope(instance.traced.context);
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblDocPermissions);
  dm.LoadFromCache(dm.tblGroups);
  instance.Cache("insert into DOC_PERMISSIONS (DOC_ID, USER_ID, P_EDIT, P_VIEW) values (5, 3, 'N', 'Y'), "
                 "(5, 4, 'N', null)");
  instance.Cache("insert into GROUPS (GROUP_ID) values (8)");
  dm.tblDocPermissions.Refresh();
  transport::TRpcDataSet rights;
  for (const char* field : {"doc_id", "user_id", "p_edit", "no_such_column"}) {
    rights.AddField(field, TRpcFieldTypes::ft_String);
  }
  for (const char* doc : {"5", "6"}) {
    auto& row = rights.AppendRow();
    row.SetText("doc_id", doc);
    row.SetText("user_id", "3");
    row.SetText("p_edit", "Y");
    row.SetText("no_such_column", "x");
  }
  EXPECT_EQ(CopyRpcDataSetRowsToLocal(rights, dm.tblDocPermissions, "DOC_ID;USER_ID"), 2);
  EXPECT_EQ(instance.CacheText("select group_concat(DOC_ID || USER_ID || P_EDIT || coalesce(P_VIEW, '-')) "
                               "from DOC_PERMISSIONS"),
            "53YY,54N-,63Y-");
  // GROUPS is keyed in the cache but not matched by the copy: a second row 1 fails alone.
  transport::TRpcDataSet groups;
  groups.AddField("GROUP_ID", TRpcFieldTypes::ft_Integer);
  for (int id : {1, 1, 3}) groups.AppendRow().SetInteger("GROUP_ID", id);
  EXPECT_EQ(CopyRpcDataSetRowsToLocal(groups, dm.tblGroups, ""), 3);
  EXPECT_EQ(dm.tblGroups.RecordCount(), 2);
  EXPECT_EQ(dm.tblGroups.State(), DataSetState::Browse);
  EXPECT_TRUE(instance.traced.Logged("\rERROR on posting to tblGroups\r\n"));
  // A table that is gone from the database fails outside any row.
  Table missing(dm.Cache.CacheDB(), "NO_SUCH_TABLE", "", "tblMissing");
  EXPECT_EQ(CopyRpcDataSetRowsToLocal(groups, missing, ""), 0);
  EXPECT_TRUE(instance.traced.Logged("\rERROR in CopyRpcDataSetRowsToLocal for tblMissing\r"));
}

}  // namespace
}  // namespace quillorn::data
