#include "data/cache_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "data/data_test_support.h"

namespace quillorn::data {
namespace {

using foundation::testing::ReadAll;
using foundation::testing::WriteAll;
using testing::Instance;
using testing::RefServer;

// A system whose tick count moves on by one at every reading; files are the real ones.
class SteppingTicks final : public platform::SystemServices {
 public:
  explicit SteppingTicks(std::uint32_t start) : next_(start) {}
  std::uint32_t TickCount() const override { return next_++; }
  bool FileExists(std::string_view path) const override { return real_.FileExists(path); }
  bool DeleteFile(std::string_view path) override { return real_.DeleteFile(path); }
  std::string ModulePath() const override { return {}; }
  std::string LocalAppDataFolder() const override { return {}; }
  std::string DocumentsFolder() const override { return {}; }
  std::string TempFolder() const override { return {}; }
  std::string GetEnvironmentVariable(std::string_view) const override { return {}; }
  std::string UserName() const override { return {}; }
  std::string ExecutableName() const override { return {}; }
  std::uint32_t ProcessId() const override { return 0; }
  bool CopyFile(std::string_view, std::string_view, bool) override { return false; }
  bool ShellOpen(std::string_view) override { return false; }

 private:
  platform::FakeSystemServices real_;
  mutable std::uint32_t next_;
};

TEST(GetTemplateFile, FetchesOnlyWhatTheCacheLacksOrHoldsInAnOlderRevision) {
  RefServer server;
  // The server's approved current revision 3 of template 12.
  server.Exec("INSERT INTO DOCS (DOC_ID, DOC_NO, SOURCE, SEQ, FRAMEWORK, FILE_TYPE, IS_CURRENT, STATUS) VALUES "
              "(1, 12, CAST('revision 2' AS BLOB), 2, -2, 1, 'N', 'A'), (2, 12, CAST('revision 3' AS BLOB), 3, -2, 1, "
              "'Y', 'A')");
  struct Case {
    const char* name;
    bool online = true;
    const char* cached = nullptr;  // the TEMPLATES row
    int docNo = 12;
    const char* content = "revision 3";  // of the file; null for no file
    bool fetched = true;
  };
  const std::vector<Case> cases = {
      {.name = "not cached"},
      {.name = "cached current", .cached = "(12, 3, 'cached 3')", .content = "cached 3", .fetched = false},
      {.name = "cached older", .cached = "(12, 2, 'cached 2')"},
      {.name = "cached without source", .cached = "(12, 3, NULL)"},
      {.name = "unknown to the server", .cached = "(13, 1, 'cached 13')", .docNo = 13, .content = "cached 13",
       .fetched = false},
      {.name = "offline, cached older", .online = false, .cached = "(12, 2, 'cached 2')", .content = "cached 2",
       .fetched = false},
      {.name = "offline, not cached", .online = false, .content = nullptr, .fetched = false},
  };
  const auto fetches = [&server] {
    const auto seen = server.Statements();
    return std::count(seen.begin(), seen.end(), TemplateSourceSql(12));
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Instance instance(c.online ? server.Port() : testing::DeadPort());
    Tdm& dm = *instance.dm;
    dm.LoadFromCache(dm.tblTemplates);
    if (c.cached) instance.Cache(std::string("insert into TEMPLATES (DOC_NO, SEQ, SOURCE) values ") + c.cached);
    if (c.online) instance.GoOnline();
    // The first name the clock gives is taken: the next one is used.
    WriteAll(instance.cache + "cms000000001234", "taken");
    SteppingTicks ticks(0x1234);
    const auto before = fetches();
    const std::string file = GetTemplateFile(dm, ticks, c.docNo);
    EXPECT_EQ(fetches() - before, c.fetched ? 1 : 0);
    EXPECT_EQ(file, c.content ? instance.cache + "cms000000001235" : "");
    EXPECT_EQ(ReadAll(file), c.content ? c.content : "");
    EXPECT_TRUE(!c.fetched || instance.CacheCount("select SEQ from TEMPLATES where DOC_NO=12") == 3);
    // Not the module's to delete: the caller keeps or removes the copy.
    EXPECT_TRUE(dm.TempFiles.empty());
  }
}

TEST(GetLogoFile, WritesTheStoredLogoToAFileTheModuleDeletes) {
  std::string file;
  {
    Instance instance(testing::DeadPort());
    Tdm& dm = *instance.dm;
    dm.LoadFromCache(dm.tblLogo);
    EXPECT_EQ(GetLogoFile(dm, instance.files), "");  // no logo
    instance.Cache("insert into LOGO (LOGO) values (CAST('PNG bytes' AS BLOB))");
    dm.tblLogo.Refresh();
    instance.system.tick_count = 0xBEEF;
    file = GetLogoFile(dm, instance.files);
    EXPECT_EQ(file, instance.cache + "logo00000000BEEF");
    EXPECT_EQ(ReadAll(file), "PNG bytes");
    EXPECT_EQ(dm.TempFiles, std::vector<std::string>{file});
    // A copy over another file replaces it.
    WriteAll(instance.cache + "copy", "old and longer");
    FastFileCopy(instance.files, file, instance.cache + "copy");
    EXPECT_EQ(ReadAll(instance.cache + "copy"), "PNG bytes");
    instance.dm.reset();  // the module goes, and the file with it
    EXPECT_FALSE(std::filesystem::exists(file));
  }
}

}  // namespace
}  // namespace quillorn::data
