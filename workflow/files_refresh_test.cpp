#include "workflow/files_refresh.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "data/fetching.h"
#include "data/sql_database.h"
#include "data/tdm.h"
#include "workflow/workflow_fixture_for_test.h"

namespace quillorn::workflow {
namespace {

using testing::FakeSite;
using testing::FilesRow;

TEST(FilesRefresh, EveryWriteShowsWhoeverMadeIt) {
  FakeSite site(platform::HostType::ohaWord);
  site.Announce(FilesRow{.DOC_ID = 1, .FILENAME = "a"});
  data::Tdm& dm = (*site.tdm);
  data::OpenFiles(dm);
  data::Table& files = dm.tblFiles;
  // Another host process on the same cache file.
  data::Database other("other");
  other.FileName = dm.Cache.CacheFileName();
  other.Open();

  FilesRefresh refresh;
  struct Step {
    const char* who;
    std::function<void()> write;
    int rows;
  };
  const std::vector<Step> steps = {
      {"nobody", [] {}, 1},
      {"another process", [&] { other.Execute("insert into FILES (DOC_ID, FILENAME) values (2, 'b')"); }, 2},
      {"nobody again", [] {}, 2},
      {"this process's cache helper", [&] { dm.cacheExecSQL("insert into FILES (DOC_ID, FILENAME) values (3, 'c')"); },
       3},
      {"another process deleting", [&] { other.Execute("delete from FILES where DOC_ID=1"); }, 2},
      {"the table itself, left in edit",
       [&] {
         files.Edit();
         files.FieldByName("DOC_ID").SetValue(Variant(9));
       },
       2},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.who);
    step.write();
    refresh.Refresh(files);
    EXPECT_EQ(files.RecordCount(), step.rows);
    EXPECT_EQ(files.State(), data::DataSetState::Browse);
  }
  EXPECT_EQ((*site.tdm).cacheLookup("select count(*) from FILES where DOC_ID=9").AsInt(), 1) << "the edit was posted";
}

}  // namespace
}  // namespace quillorn::workflow
