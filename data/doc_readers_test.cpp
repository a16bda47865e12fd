#include "data/doc_readers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "data/catalogue_test_support.h"
#include "data/change_capture.h"
#include "data/login.h"
#include "platform/real_files_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::ReadAll;
using testing::DmInstance;

// An offline instance whose cache knows three users and three documents.
struct CachedDocs {
  CachedDocs() {
    dm.LoadFromCache(dm.tblUsers);
    for (const char* sql : {"insert into USERS (USER_ID, LOGIN) values (5, 'ANNA')",
                            "insert into USERS (USER_ID, LOGIN) values (7, 'BEN')",
                            "insert into USERS (USER_ID, LOGIN) values (9, '')",
                            "insert into DOCS (DOC_ID, DOC_NAME, CREATED_BY, STATUS_BY) values (1, 'Manual', 5, 7)",
                            "insert into DOCS (DOC_ID, DOC_NAME, CREATED_BY, STATUS_BY) values (2, 'Plan', null, 0)",
                            "insert into DOCS (DOC_ID, DOC_NAME, CREATED_BY, STATUS_BY) values (3, 'Form', 9, 42)"}) {
      EXPECT_TRUE(dm.cacheExecSQL(sql)) << sql;
    }
    dm.tblUsers.Refresh();
    dm.LoadFromCache(dm.tblDoc);
  }
  std::string Login(const char* field) { return dm.tblDoc.FieldByName(field).AsString(); }
  void Edit(int id) {
    ASSERT_TRUE(dm.tblDoc.Locate("DOC_ID", std::int32_t{id}));
    dm.tblDoc.Edit();
  }

  DmInstance instance{testing::DeadPort()};
  Tdm& dm = *instance.dm;
};

TEST(DocCalcFields, TheDocumentsUsersByTheirLogins) {
  CachedDocs docs;
  struct Case {
    int doc;
    const char* createdBy;
    const char* statusBy;
  };
  for (const Case& c : std::vector<Case>{
           {1, "ANNA", "BEN"},
           // Nobody and user 0 are both the system's own actions.
           {2, kSystemLoginName, kSystemLoginName},
       }) {
    ASSERT_TRUE(docs.dm.tblDoc.Locate("DOC_ID", std::int32_t{c.doc}));
    EXPECT_EQ(docs.Login("CREATED_BY_STR"), c.createdBy) << c.doc;
    EXPECT_EQ(docs.Login("status_by_str"), c.statusBy) << c.doc;
  }
  // An unknown user reads the login of the row the users table stood on; an
  // empty login asks for a column the cache does not have.
  ASSERT_TRUE(docs.dm.tblDoc.Locate("DOC_ID", std::int32_t{1}));
  EXPECT_EQ(docs.Login("STATUS_BY_STR"), "BEN");
  ASSERT_TRUE(docs.dm.tblDoc.Locate("DOC_ID", std::int32_t{3}));
  EXPECT_EQ(docs.Login("STATUS_BY_STR"), "BEN");
  EXPECT_THROW(docs.Login("CREATED_BY_STR"), DataSetError);
}

TEST(DocCalcFields, FollowTheUserIdsAsTheyAreEdited) {
  CachedDocs docs;
  docs.Edit(1);
  docs.dm.tblDoc.FieldByName("CREATED_BY").SetValue(std::int32_t{7});
  docs.dm.tblDoc.FieldByName("STATUS_BY").Clear();
  EXPECT_EQ(docs.Login("CREATED_BY_STR"), "BEN");
  EXPECT_EQ(docs.Login("STATUS_BY_STR"), kSystemLoginName);
  EXPECT_THROW(docs.dm.tblDoc.FieldByName("CREATED_BY_STR").SetValue("ANNA"), DataSetError);
  docs.dm.tblDoc.Cancel();
  EXPECT_EQ(docs.Login("CREATED_BY_STR"), "ANNA");
  docs.Edit(1);
  docs.dm.tblDoc.FieldByName("STATUS_BY").SetValue(std::int32_t{5});
  docs.dm.tblDoc.Post();
  EXPECT_EQ(docs.Login("STATUS_BY_STR"), "ANNA");
}

TEST(DocCalcFields, OnlyEditsOfRowsAreRecordedAndNeverTheLogins) {
  CachedDocs docs;
  Tdm& dm = docs.dm;
  // A row added for tracking: nothing for the server.
  dm.tblDoc.Append();
  dm.tblDoc.FieldByName("DOC_ID").SetValue(std::int32_t{4});
  dm.tblDoc.FieldByName("CREATED_BY").SetValue(std::int32_t{5});
  dm.tblDoc.Post();
  EXPECT_TRUE(dm.monDoc.Active());
  EXPECT_FALSE(dm.monDoc.Changed());
  dm.SaveDocData();
  EXPECT_TRUE(CacheFilesOf(platform::testing::RealFiles(), docs.instance.cache, "DOCS").empty());

  // The row just added, then another, edited: two updates.
  docs.Edit(4);
  dm.tblDoc.FieldByName("DOC_NAME").SetValue("Tracked");
  dm.tblDoc.Post();
  docs.Edit(1);
  dm.tblDoc.FieldByName("STATUS_BY").SetValue(std::int32_t{5});
  ASSERT_EQ(docs.Login("STATUS_BY_STR"), "ANNA");
  dm.tblDoc.Post();
  EXPECT_TRUE(dm.monDoc.Changed());
  dm.SaveDocData();
  ASSERT_EQ(CacheFilesOf(platform::testing::RealFiles(), docs.instance.cache, "DOCS"), std::vector<std::string>{"DOCS.000"});
  const std::string delta = ReadAll(std::filesystem::path(docs.instance.cache) / "DOCS.000");
  const transport::TRpcValue record = transport::TRpcValue::FromCode(delta);
  EXPECT_EQ(record.AsArray()[0].toCode(), "AR=2;I=2;I=2;");
  EXPECT_NE(delta.find("STATUS_BY"), std::string::npos);
  EXPECT_EQ(delta.find("_STR"), std::string::npos);

  // An insert while an edit waits unsaved: the monitor starts afresh.
  docs.Edit(2);
  dm.tblDoc.FieldByName("DOC_NAME").SetValue("Plan, renamed");
  dm.tblDoc.Post();
  dm.tblDoc.Append();
  dm.tblDoc.FieldByName("DOC_ID").SetValue(std::int32_t{5});
  dm.tblDoc.Post();
  EXPECT_FALSE(dm.monDoc.Changed());
}

}  // namespace
}  // namespace quillorn::data
