#include "addin/tdm_record_source.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/fetching.h"
#include "data/tdm.h"
#include "workflow/workflow_fixture_for_test.h"

namespace quillorn::addin {
namespace {

using workflow::testing::CachedDoc;
using workflow::testing::FakeSite;

TEST(TdmRecordSource, ReadsTheRowTblDocStandsOnAndMovesOnlyToADocThatIsThere) {
  FakeSite site(platform::HostType::ohaWord);
  site.CacheDocument(CachedDoc{.DOC_ID = 5, .DOC_NO = 50, .DOC_NAME = "Five"}, 3);
  site.CacheDocument(CachedDoc{.DOC_ID = 6, .DOC_NO = 60, .DOC_NAME = "Six"}, 3);
  ASSERT_TRUE(data::OpenDoc(*site.tdm, 6, data::Fetch::IfNeeded, data::Wait::No));
  TdmRecordSource& source = *site.records;

  EXPECT_EQ(source.DocValue("doc_name").AsString(), "Six");
  EXPECT_TRUE(source.DocValue("NOTES").IsNull()) << "a null column is Null, not empty text";
  EXPECT_THROW(source.DocValue("NO_SUCH_COLUMN"), data::DataSetError);

  struct Case {
    std::int64_t locate;
    bool found;
    const char* nameAfter;
  };
  const std::vector<Case> cases = {{5, true, "Five"}, {7, false, "Five"}, {6, true, "Six"}, {0, false, "Six"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.locate);
    EXPECT_EQ(source.LocateDoc(c.locate), c.found);
    EXPECT_EQ(source.DocValue("DOC_NAME").AsString(), c.nameAfter);
  }
}

TEST(TdmRecordSource, ClosedDocTableRaisesInsteadOfAnsweringNull) {
  FakeSite site(platform::HostType::ohaWord);
  EXPECT_THROW(site.records->DocValue("DOC_ID"), data::DataSetError);
}

TEST(TdmRecordSource, FieldsInTableOrderCodesFromTheCacheAndTemplateState) {
  FakeSite site(platform::HostType::ohaWord);
  site.Exec("insert into DOCFIELDS (CODE, VAL) values ('Owner', 'Q&A')");
  site.Exec("insert into DOCFIELDS (CODE, VAL) values ('Empty', null)");
  site.Exec("insert into CODES (D_TYPE, CODE, VAL) values ('SETTINGS', 'DATE_FORMAT', 'dd/mm/yyyy')");
  site.Exec("insert into CODES (D_TYPE, CODE, VAL) values ('SETTINGS', 'NULLED', null)");
  site.Fetcher().OpenCodes(data::Fetch::CacheIsCurrent);
  data::OpenDocFields(*site.tdm, data::Fetch::IfNeeded);
  TdmRecordSource& source = *site.records;

  const auto fields = source.DocFields();
  ASSERT_EQ(fields.size(), 2u);
  EXPECT_EQ(fields[0].CODE, "Owner");
  EXPECT_EQ(fields[0].VAL.AsString(), "Q&A");
  EXPECT_EQ(fields[1].CODE, "Empty");
  EXPECT_TRUE(fields[1].VAL.IsNull());

  EXPECT_EQ(source.CodeLookup("SETTINGS", "DATE_FORMAT").AsString(), "dd/mm/yyyy");
  EXPECT_TRUE(source.CodeLookup("SETTINGS", "MISSING").IsEmptyOrNull());
  EXPECT_TRUE(source.CodeLookup("SETTINGS", "NULLED").IsEmptyOrNull());
  EXPECT_EQ(source.CodeVal("SETTINGS", "DATE_FORMAT"), "dd/mm/yyyy");
  EXPECT_EQ(source.CodeVal("settings", "DATE_FORMAT"), "") << "code types are matched as stored";

  EXPECT_FALSE(source.IsServerReachable());
  EXPECT_EQ(source.CacheLookup("select VAL from CODES where CODE='DATE_FORMAT'").AsString(), "dd/mm/yyyy");
}

TEST(TdmRecordSource, TemplateIdGoesIntoTheOpenRowUnposted) {
  FakeSite site(platform::HostType::ohaWord);
  site.CacheDocument(CachedDoc{.DOC_ID = 5, .DOC_NO = 50}, 3);
  ASSERT_TRUE(data::OpenDoc(*site.tdm, 5, data::Fetch::IfNeeded, data::Wait::No));
  site.records->SetDocTemplateID(77);
  EXPECT_EQ((*site.tdm).tblDoc.State(), data::DataSetState::Edit);
  EXPECT_EQ(site.records->DocValue("TEMPLATE_ID").AsInt(), 77);
}

}  // namespace
}  // namespace quillorn::addin
