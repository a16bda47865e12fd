#include "data/doc_readers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/data_test_support.h"
#include "data/login.h"

namespace quillorn::data {
namespace {

// An offline instance whose cache knows three users and three documents.
struct CachedDocs {
  CachedDocs() {
    dm.LoadFromCache(dm.tblUsers);
    instance.Cache("insert into USERS (USER_ID, LOGIN) values (5, 'ANNA'), (7, 'BEN'), (9, '')");
    instance.Cache("insert into DOCS (DOC_ID, CREATED_BY, STATUS_BY, FRAMEWORK, WEB_FORM) values "
                   "(1, 5, 7, -2, 'Y'), (2, null, 0, 3, 'y'), (3, 9, 42, null, null)");
    dm.tblUsers.Refresh();
    dm.LoadFromCache(dm.tblDoc);
  }
  std::string Field(const char* name) { return dm.tblDoc.FieldByName(name).AsString(); }

  testing::Instance instance{testing::DeadPort()};
  Tdm& dm = *instance.dm;
};

TEST(DocReaders, ReadTheCurrentRowAndAnswerFalseOnAClosedTable) {
  CachedDocs docs;
  Tdm& dm = docs.dm;
  struct Case {
    int doc;
    bool global, webForm;
    const char *statusBy, *createdBy;  // createdBy null: raises
  };
  for (const Case& c : {Case{1, true, true, "BEN", "ANNA"},
                        // Nobody and user 0 are both the system's own actions.
                        Case{2, false, false, kSystemLoginName, kSystemLoginName},
                        // An unknown user reads the login of the row the users table stood on; an
                        // empty login asks for a column the cache does not have.
                        Case{3, false, false, "ANNA", nullptr}}) {
    SCOPED_TRACE(c.doc);
    ASSERT_TRUE(dm.tblDoc.Locate("DOC_ID", std::int32_t{c.doc}));
    EXPECT_EQ(IsGlobalTemplate(dm), c.global);
    EXPECT_EQ(IsWebForm(dm), c.webForm);
    EXPECT_EQ(docs.Field("status_by_str"), c.statusBy);
    if (c.createdBy == nullptr) {
      EXPECT_THROW(docs.Field("CREATED_BY_STR"), DataSetError);
    } else {
      EXPECT_EQ(docs.Field("CREATED_BY_STR"), c.createdBy);
    }
  }
  // The logins follow the ids as they are edited, and are never written.
  ASSERT_TRUE(dm.tblDoc.Locate("DOC_ID", std::int32_t{1}));
  dm.tblDoc.Edit();
  dm.tblDoc.FieldByName("STATUS_BY").Clear();
  EXPECT_EQ(docs.Field("STATUS_BY_STR"), kSystemLoginName);
  EXPECT_THROW(dm.tblDoc.FieldByName("CREATED_BY_STR").SetValue("BEN"), DataSetError);
  SetDocTemplateID(dm, 77);
  EXPECT_EQ(docs.Field("TEMPLATE_ID"), "77");
  // Keywords are parted by blanks only.
  tblDocKEYWORDSSetText(dm.tblDoc, "iso 9001, audit;;plan/v1.2\\x");
  EXPECT_EQ(docs.Field("KEYWORDS"), "iso 9001  audit  plan v1 2 x");
  dm.tblDoc.Cancel();
  EXPECT_EQ(docs.Field("STATUS_BY_STR"), "BEN");
  dm.tblDoc.Close();
  EXPECT_FALSE(IsGlobalTemplate(dm) || IsWebForm(dm));
  SetDocTemplateID(dm, 5);  // closed: nothing to set, nothing raised
}

}  // namespace
}  // namespace quillorn::data
