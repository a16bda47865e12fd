#include "data/cache_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "data/catalogue_test_support.h"
#include "data/doc_readers.h"
#include "data/preview_form.h"

namespace quillorn::data {
namespace {

using foundation::testing::ReadAll;
using foundation::testing::TempFolder;
using foundation::testing::WriteAll;
using testing::CatalogueServer;
using testing::DmInstance;

// A system whose tick count moves on by one at every reading.
class SteppingTicks final : public platform::SystemServices {
 public:
  explicit SteppingTicks(std::uint32_t start) : next_(start) {}
  std::string ModulePath() const override { return fake_.ModulePath(); }
  std::string LocalAppDataFolder() const override { return fake_.LocalAppDataFolder(); }
  std::string DocumentsFolder() const override { return fake_.DocumentsFolder(); }
  std::string TempFolder() const override { return fake_.TempFolder(); }
  std::uint32_t TickCount() const override { return next_++; }
  std::string GetEnvironmentVariable(std::string_view name) const override {
    return fake_.GetEnvironmentVariable(name);
  }
  std::string UserName() const override { return fake_.UserName(); }
  std::string ExecutableName() const override { return fake_.ExecutableName(); }
  std::uint32_t ProcessId() const override { return fake_.ProcessId(); }
  bool CopyFile(std::string_view from, std::string_view to, bool fail) override {
    return fake_.CopyFile(from, to, fail);
  }
  bool DeleteFile(std::string_view path) override { return fake_.DeleteFile(path); }
  bool FileExists(std::string_view path) const override { return fake_.FileExists(path); }
  bool ShellOpen(std::string_view path) override { return fake_.ShellOpen(path); }

 private:
  platform::FakeSystemServices fake_;
  mutable std::uint32_t next_;
};

TEST(NewCacheFileName, TickCountInTwelveHexDigitsUntilTheNameIsFree) {
  TempFolder folder;
  const std::string dir = folder.Dir();
  struct Case {
    std::uint32_t tick;
    const char* prefix;
    std::vector<const char*> taken;
    const char* expected;
  };
  const std::vector<Case> cases = {
      {0xDEADBEEF, "cms", {}, "cms0000DEADBEEF"},
      {0, "logo", {}, "logo000000000000"},
      {0x10, "cms", {"cms000000000010", "cms000000000011"}, "cms000000000012"},
      {0xFFFFFFFF, "logo", {}, "logo0000FFFFFFFF"},
  };
  for (const Case& c : cases) {
    for (const char* name : c.taken) WriteAll(folder.Path() / name, "in use");
    SteppingTicks system(c.tick);
    EXPECT_EQ(NewCacheFileName(dir, c.prefix, system), dir + c.expected);
  }
}

// The server's approved current revision 3 of template 12.
void FillServerDocs(CatalogueServer& server) {
  server.Exec("CREATE TABLE DOCS (DOC_NO INTEGER, SOURCE BLOB, STATUS_DATE DOUBLE, SEQ INTEGER, FRAMEWORK INTEGER, "
              "FILE_TYPE INTEGER, IS_CURRENT CHAR(1), STATUS CHAR(1))");
  server.Exec("INSERT INTO DOCS VALUES (12, CAST('revision 2' AS BLOB), 43000, 2, -2, 1, 'N', 'A')");
  server.Exec("INSERT INTO DOCS VALUES (12, CAST('revision 3' AS BLOB), 44000, 3, -2, 1, 'Y', 'A')");
}

TEST(GetTemplateFile, FetchesOnlyWhatTheCacheLacksOrHoldsInAnOlderRevision) {
  CatalogueServer server;
  FillServerDocs(server);
  const std::string sourceSql =
      "select doc_no, source, status_date, seq, framework, file_type from docs where is_current='Y' and "
      "status='A' and doc_no=12";
  struct Case {
    const char* name;
    bool online;
    const char* cached;  // the TEMPLATES row, nullptr for none
    int docNo;
    const char* content; // of the file; nullptr for no file
    bool fetched;
  };
  const std::vector<Case> cases = {
      {"not cached", true, nullptr, 12, "revision 3", true},
      {"cached current", true, "(12, 3, 'cached 3')", 12, "cached 3", false},
      {"cached older", true, "(12, 2, 'cached 2')", 12, "revision 3", true},
      {"cached without source", true, "(12, 3, NULL)", 12, "revision 3", true},
      {"server has no such template", true, "(13, 1, 'cached 13')", 13, "cached 13", false},
      {"offline, cached older", false, "(12, 2, 'cached 2')", 12, "cached 2", false},
      {"offline, not cached", false, nullptr, 12, nullptr, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    DmInstance instance(c.online ? server.Port() : testing::DeadPort());
    Tdm& dm = *instance.dm;
    dm.LoadFromCache(dm.tblTemplates);
    if (c.cached) {
      ASSERT_TRUE(dm.cacheExecSQL(std::string("insert into TEMPLATES (DOC_NO, SEQ, SOURCE) values ") + c.cached));
      dm.tblTemplates.Refresh();
    }
    if (c.online) instance.GoOnline();
    instance.system.tick_count = 0x1234;
    const std::size_t before = server.Statements().size();
    const std::string file = GetTemplateFile(dm, instance.system, c.docNo);
    const auto all = server.Statements();
    const std::vector<std::string> seen(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
    EXPECT_EQ(std::find(seen.begin(), seen.end(), sourceSql) != seen.end(), c.fetched);
    if (c.content == nullptr) {
      EXPECT_EQ(file, "");
      continue;
    }
    EXPECT_EQ(file, instance.cache + "cms000000001234");
    EXPECT_EQ(ReadAll(file), c.content);
    if (c.fetched) {
      ASSERT_TRUE(dm.tblTemplates.Locate("DOC_NO", Variant(12)));
      EXPECT_EQ(dm.tblTemplates.FieldByName("SEQ").AsInteger(), 3);
      EXPECT_FALSE(dm.tblTemplates.FieldByName("OLD").AsBoolean());
    }
    // Not the module's to delete: the caller keeps or removes the copy.
    EXPECT_TRUE(dm.TempFiles.empty());
  }
}

TEST(GetLogoFile, WritesTheStoredLogoToAFileTheModuleDeletes) {
  struct Case {
    const char* row;  // the logo row, nullptr for none
    const char* content;
  };
  for (const Case& c : std::vector<Case>{{"(CAST('PNG bytes' AS BLOB))", "PNG bytes"}, {"(NULL)", nullptr},
                                         {nullptr, nullptr}}) {
    SCOPED_TRACE(c.row ? c.row : "no row");
    std::string file;
    {
      DmInstance instance(testing::DeadPort());
      Tdm& dm = *instance.dm;
      dm.LoadFromCache(dm.tblLogo);
      if (c.row) {
        ASSERT_TRUE(dm.cacheExecSQL(std::string("insert into LOGO (LOGO) values ") + c.row));
      }
      dm.tblLogo.Refresh();
      instance.system.tick_count = 0xBEEF;
      file = GetLogoFile(dm, instance.system);
      if (c.content == nullptr) {
        EXPECT_EQ(file, "");
        EXPECT_TRUE(dm.TempFiles.empty());
        continue;
      }
      EXPECT_EQ(file, instance.cache + "logo00000000BEEF");
      EXPECT_EQ(ReadAll(file), c.content);
      EXPECT_EQ(dm.TempFiles, std::vector<std::string>{file});
    }
    EXPECT_FALSE(std::filesystem::exists(file));
  }
}

TEST(FastFileCopy, ReplacesTheDestination) {
  TempFolder folder;
  platform::FakeSystemServices system;
  const std::string from = (folder.Path() / "a.docx").string();
  const std::string to = (folder.Path() / "b.docx").string();
  WriteAll(from, "new");
  WriteAll(to, "old and longer");
  FastFileCopy(system, from, to);
  EXPECT_EQ(ReadAll(to), "new");
  EXPECT_EQ(ReadAll(from), "new");
}

TEST(PreviewServerHost, CutsThePlainSchemeAndThePort) {
  struct Case {
    const char* url;
    const char* host;
  };
  for (const Case& c : std::vector<Case>{{"http://web1:8080/portal", "web1"},
                                         {"http://web1", "web1"},
                                         {"http://web1/portal", "web1/portal"},
                                         {"https://web1:443", "/web1"},
                                         {"http://", ""},
                                         {"", ""}}) {
    EXPECT_EQ(PreviewServerHost(c.url), c.host) << c.url;
  }
}

TEST(DoesPreviewFormExist, AsksTheInformationServiceAtTheWebServersHost) {
  server::ServerOptions options;
  options.ModulePath = "/SvrInfo";
  options.Endpoint.Encryption = false;
  server::FunctionTable functions;
  functions.Register("FormPreviewAvailable", [](const transport::TRpcRecord& params) {
    const int docNo = params.GetInteger("doc_no");
    if (docNo == 6) return transport::IntegerValue(1);
    return transport::BooleanValue(docNo == 5);
  });
  server::RpcServer info(options, std::move(functions));
  const std::string port = std::to_string(info.Start());
  const std::string dead = std::to_string(testing::DeadPort());
  struct Case {
    const char* name;
    std::string url;
    std::string infoPort;
    int docNo;
    bool expected;
  };
  const std::vector<Case> cases = {
      {"available", "http://127.0.0.1:8080/portal", port, 5, true},
      {"not available", "http://127.0.0.1", port, 7, false},
      {"not a Boolean", "http://127.0.0.1", port, 6, false},
      {"no URL", "", port, 5, false},
      {"longer scheme", "https://127.0.0.1", port, 5, false},
      {"nobody listening", "http://127.0.0.1", dead, 5, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    DmInstance instance(testing::DeadPort());
    Tdm& dm = *instance.dm;
    dm.LoadFromCache(dm.tblCodes);
    if (!c.url.empty()) {
      ASSERT_TRUE(dm.cacheExecSQL("insert into CODES values ('WEB_SERVER', 'URL', '" + c.url + "')"));
    }
    ASSERT_TRUE(dm.cacheExecSQL("insert into CODES values ('WEB_SERVER', 'INFO_PORT', '" + c.infoPort + "')"));
    EXPECT_EQ(DoesPreviewFormExist(dm, c.docNo), c.expected);
  }
}

TEST(DocReaders, AnswerFalseOnAClosedTableAndReadTheCurrentRow) {
  DmInstance instance(testing::DeadPort());
  Tdm& dm = *instance.dm;
  EXPECT_FALSE(IsGlobalTemplate(dm));
  EXPECT_FALSE(IsWebForm(dm));
  SetDocTemplateID(dm, 5);  // closed: nothing to set, nothing raised
  dm.LoadFromCache(dm.tblDoc);
  struct Case {
    const char* values;  // DOC_ID, FRAMEWORK, WEB_FORM
    bool global;
    bool webForm;
  };
  const std::vector<Case> cases = {
      {"1, -2, 'Y'", true, true},
      {"2, 3, 'N'", false, false},
      {"3, NULL, NULL", false, false},
      {"4, -1, 'y'", false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.values);
    ASSERT_TRUE(dm.cacheExecSQL(std::string("insert into DOCS (DOC_ID, FRAMEWORK, WEB_FORM) values (") + c.values +
                                ")"));
    dm.tblDoc.Refresh();
    dm.tblDoc.Last();
    EXPECT_EQ(IsGlobalTemplate(dm), c.global);
    EXPECT_EQ(IsWebForm(dm), c.webForm);
  }
  SetDocTemplateID(dm, 77);
  EXPECT_EQ(dm.tblDoc.State(), DataSetState::Edit);
  EXPECT_EQ(dm.tblDoc.FieldByName("TEMPLATE_ID").AsInteger(), 77);
  dm.tblDoc.Post();
  dm.tblDoc.Append();
  SetDocTemplateID(dm, 78);
  EXPECT_EQ(dm.tblDoc.State(), DataSetState::Insert);
  EXPECT_EQ(dm.tblDoc.FieldByName("TEMPLATE_ID").AsInteger(), 78);
  dm.tblDoc.Cancel();
}

TEST(DocReaders, KeywordsArePartedByBlanksOnly) {
  DmInstance instance(testing::DeadPort());
  Tdm& dm = *instance.dm;
  dm.LoadFromCache(dm.tblDoc);
  ASSERT_TRUE(dm.cacheExecSQL("insert into DOCS (DOC_ID) values (1)"));
  dm.tblDoc.Refresh();
  dm.tblDoc.Edit();
  struct Case {
    const char* text;
    const char* stored;
  };
  for (const Case& c : std::vector<Case>{{"a,b;c/d\\e.f", "a b c d e f"},
                                         {"iso 9001, audit;;plan", "iso 9001  audit  plan"},
                                         {"v1.2/rev", "v1 2 rev"},
                                         {"plain words", "plain words"},
                                         {",;/\\.", "     "}}) {
    tblDocKEYWORDSSetText(dm.tblDoc, c.text);
    EXPECT_EQ(dm.tblDoc.FieldByName("KEYWORDS").AsString(), c.stored) << c.text;
  }
}

}  // namespace
}  // namespace quillorn::data
