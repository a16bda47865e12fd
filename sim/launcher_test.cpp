#include "sim/launcher.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/temp_folder_for_test.h"
#include "hostsim/doc_file.h"
#include "sim/document_view.h"
#include "sim/simulation.h"

namespace quillorn::sim {
namespace {

class LauncherTest : public ::testing::Test {
 protected:
  std::string Cached(const std::string& sql) { return ValueText(sim_.CacheValue(sql)); }
  // The columns of a FILES row, each as a scenario reads it, joined by ";".
  std::string Row(const std::string& columns, const std::string& where) {
    std::string out;
    std::size_t start = 0;
    while (start <= columns.size()) {
      const std::size_t comma = columns.find(',', start);
      const std::string column = columns.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
      out += (out.empty() ? "" : ";") + Cached("select " + column + " from FILES where " + where);
      if (comma == std::string::npos) break;
      start = comma + 1;
    }
    return out;
  }
  std::string CacheFile(const std::string& name) { return sim_.AppDataDir() + "Cache/" + name; }

  foundation::testing::TempFolder folder_;
  Simulation sim_{folder_.Path().string()};
  SimLauncher launcher_{sim_};
};

TEST_F(LauncherTest, AnnouncementWritesTheRowAsAskedAndTheFileWithItsIdentity) {
  sim_.StartServer();
  struct Case {
    Announcement a;
    const char* row;  // READ_ONLY, PRINT, PRINT_CONTROLLED, CHECKED_OUT
    const char* cmsId;
  } cases[] = {
      {{1001, "", 1, false, false, false, false}, "false;false;false;false", "1001"},
      {{1002, "", 2, true, true, true, false}, "true;true;true;false", "1002"},
      {{1005, "", 1, false, false, false, true}, "false;false;false;true", "1005;1"},
  };
  for (Case& c : cases) {
    c.a.FileName = CacheFile("doc" + std::to_string(c.a.DocId) + ".docx");
    const Placement placed = launcher_.Announce(c.a);
    SCOPED_TRACE(c.a.DocId);
    EXPECT_TRUE(placed.RecordsCached);
    EXPECT_FALSE(placed.FromServer);
    const std::string id = std::to_string(c.a.DocId);
    EXPECT_EQ(Row("READ_ONLY,PRINT,PRINT_CONTROLLED,CHECKED_OUT", "DOC_ID=" + id), c.row);
    EXPECT_EQ(Row("INIT,USER_ID,CACHED", "DOC_ID=" + id), "false;" + std::to_string(c.a.UserId) + ";false");
    const auto doc = hostsim::LoadDocumentFile(c.a.FileName, platform::HostType::ohaWord);
    EXPECT_EQ(PropertyValue(*doc, "cmsID").value_or("(none)"), c.cmsId);
    // The record as the desktop program fetched it, dates in the cache's own form.
    EXPECT_EQ(Cached("select count(*) from DOCS where DOC_ID=" + id), "1");
    EXPECT_EQ(Cached("select count(*) from DOC_PERMISSIONS where DOC_ID=" + id + " and USER_ID=" +
                     std::to_string(c.a.UserId)),
              "1");
  }
  EXPECT_EQ(Cached("select VER_DATE from DOCS where DOC_ID=1001"), "45306");  // 2024-01-15
  EXPECT_EQ(Cached("select USER_ID from USERS where LOGIN='JSMITH'"), "1");
  EXPECT_EQ(Cached("select VAL from DOCFIELDS where CODE='Site'"), "Head Office");
  // Announcing a name again replaces its row rather than adding one.
  launcher_.Announce({1001, CacheFile("doc1001.docx"), 2, true, false, false, false});
  EXPECT_EQ(Cached("select count(*) from FILES where DOC_ID=1001"), "1");
  EXPECT_EQ(Cached("select USER_ID from FILES where DOC_ID=1001"), "2");
}

TEST_F(LauncherTest, WithoutAServerOnlyTheRowAndANewFile) {
  const Placement placed = launcher_.Announce({1003, CacheFile("Register.xlsx"), 1, false, false, false, false});
  EXPECT_FALSE(placed.RecordsCached);
  EXPECT_EQ(Cached("select count(*) from DOCS"), "0");
  EXPECT_EQ(Cached("select DOC_ID from FILES"), "1003");
  const auto doc = hostsim::LoadDocumentFile(CacheFile("Register.xlsx"), platform::HostType::ohaExcel);
  EXPECT_EQ(PropertyValue(*doc, "cmsID").value_or("(none)"), "1003");
}

TEST_F(LauncherTest, ACopyOutsideTheCacheHasNoRow) {
  sim_.StartServer();
  const std::string path = sim_.Home() + "/Documents/Slides.pptx";
  const Placement placed = launcher_.PlaceCopy(1004, 2, path, false);
  EXPECT_EQ(placed.CmsId, "1004;2");
  EXPECT_FALSE(placed.RecordsCached);
  EXPECT_EQ(Cached("select count(*) from FILES"), "0");
  EXPECT_EQ(Cached("select count(*) from DOCS"), "0");
  const auto doc = hostsim::LoadDocumentFile(path, platform::HostType::ohaPowerPoint);
  EXPECT_EQ(PropertyValue(*doc, "cmsID").value_or("(none)"), "1004;2");
  EXPECT_EQ(launcher_.PlaceCopy(1004, 0, path, true).CmsId, "1004");
  EXPECT_EQ(Cached("select STATUS from DOCS where DOC_ID=1004"), "P");
}

}  // namespace
}  // namespace quillorn::sim
