#include "data/tdm_document_data.h"

#include <gtest/gtest.h>

#include <string>

#include "data/data_test_support.h"
#include "data/records.h"
#include "platform/scripted_prompts.h"

namespace quillorn::data {
namespace {

// The document routines' two views over one instance: each call reaches the data module's own.
TEST(TdmDocumentData, TheViewsReadAndWriteTheModulesTablesAsTypedRecords) {
  testing::Instance instance(testing::DeadPort());
  Tdm& dm = *instance.dm;
  TdmDocumentData data(dm, instance.files);
  DocumentRecords& records = data;
  DataFetcher& fetcher = data;
  EXPECT_EQ(records.Files().DOC_ID, 0);  // closed: the empty record
  records.SaveDocument();
  EXPECT_TRUE(instance.traced.Logged("tblFiles not Open!"));
  fetcher.OpenFiles();
  fetcher.OpenPublishedDocs();
  AppendFiles(records.tblFiles(), {.FILENAME = "a.docx", .DOC_ID = 7, .SESSION_ID = 3, .INIT = true});
  UpdateFiles(records.tblFiles(), {.IGNORE = true, .READ_ONLY = true, .CHECKED_OUT = false, .CACHED = true});
  const FilesRecord file = records.Files();
  EXPECT_EQ(file.FILENAME + std::to_string(file.DOC_ID) + std::to_string(*file.SESSION_ID), "a.docx73");
  EXPECT_TRUE(file.INIT && file.IGNORE && file.READ_ONLY && file.CACHED && !file.CHECKED_OUT && !file.PRINT);
  records.SetUserID(5);
  EXPECT_EQ(records.UserID(), dm.UserID);
  EXPECT_TRUE(records.cacheExecSQL("insert into DOCS (DOC_ID, DOC_NO, STATUS, IS_LATEST) values (7, 70, 'A', 'Y')"));
  EXPECT_TRUE(fetcher.OpenDoc(7, Fetch::IfNeeded, Wait::No));
  ASSERT_TRUE(LocateDocId(records.tblDoc(), 7));
  UpdateDoc(records.tblDoc(), {.STATUS = "E", .FILE_EXT = ".docx"});
  const DocRecord doc = records.Doc();
  EXPECT_EQ(std::to_string(doc.DOC_NO) + doc.STATUS + doc.FILE_EXT, "70E.docx");
  EXPECT_TRUE(doc.IsLatestOrCurrent());
  records.SaveDocData();  // offline: the change waits as a delta
  Table& published = records.tblPublishedDocs();
  published.Append();
  published.FieldByName("DOC_NO").SetValue(std::int32_t{70});
  published.FieldByName("SOURCE_TYPE").SetValue("PDF");
  published.Post();
  records.SavePublishedDocs();
  records.SaveWebFormData();  // no form open: nothing to save
  EXPECT_EQ(instance.Deltas(), (std::vector<std::string>{"DOCS.000", "PUBLISHED_DOCS.000"}));
  records.SaveDocument();  // the current file counts as saved in the cache
  EXPECT_EQ(instance.CacheCount("select count(*) from FILES where DOC_ID=7 and LAST_SAVED is not null"), 1);
  // Nobody answers: the login dialog's cancel leaves nobody logged in.
  platform::ScriptedPrompts prompts;
  prompts.AnswerDialog({"TdlgLogin", {}, "Cancel"});
  EXPECT_EQ(records.PromptUserForLogin(prompts, 2016), 0);
  EXPECT_EQ(dm.UserID, 0);
  fetcher.ConnectToServer(Wait::ForAnswer);
  EXPECT_FALSE(fetcher.mIsServerReachable());
  EXPECT_TRUE(fetcher.WaitForCompletion());  // nothing outstanding
  // Offline, the shared sets come from the cache; a statement for the server fails to the caller.
  for (auto open : {&DataFetcher::OpenDocFields, &DataFetcher::OpenLogo, &DataFetcher::OpenUsers, &DataFetcher::OpenGroups,
                    &DataFetcher::OpenUserGroupLinks, &DataFetcher::OpenCodes, &DataFetcher::OpenTemplates}) {
    (fetcher.*open)(Fetch::IfNeeded);
  }
  EXPECT_TRUE(dm.tblDocFields.Active() && dm.tblUsers.Active() && dm.tblGroups.Active() &&
              dm.tblUserGroupLinks.Active() && dm.tblCodes.Active() && dm.tblTemplates.Active());
  EXPECT_FALSE(fetcher.OpenDocPermissions(7, 5, Fetch::IfNeeded, Wait::No) || fetcher.DocPermissionsIsCached(7, 5) ||
               fetcher.OpenWebForm(70, Fetch::IfNeeded, Wait::No) || fetcher.mIsServerReachable());
  EXPECT_EQ(fetcher.GetLogoFile(), "");
  EXPECT_ANY_THROW(fetcher.ExecSQL("delete from T"));
  EXPECT_EQ(&records.Context(), &instance.traced.context);
  EXPECT_EQ(&records.tblPublishedDocs(), &dm.tblPublishedDocs);
}

}  // namespace
}  // namespace quillorn::data
