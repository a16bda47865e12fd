#include "platform/faulty_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "platform/system_services.h"

namespace quillorn::platform {
namespace {

using foundation::testing::ReadAll;
using foundation::testing::TempFolder;
using Kind = FileFault::Kind;

// The faulty services are what the data tests trust to show that no work is
// lost: everything they do not fault must reach the services they wrap.
TEST(FaultyFiles, PassesEverythingOnAndFailsOnlyWhereAndAsOftenAsAsked) {
  TempFolder folder;
  FakeSystemServices fake;
  fake.environment = {{"QuillornTrace", "1"}};
  FaultyFiles files(fake);
  files.Add({.kind = Kind::WriteRefused, .nameContains = "DOCS"});
  files.Add({.kind = Kind::DiskFull, .nameContains = "CODES"});
  files.Add({.kind = Kind::Vanished, .nameContains = "FORMS"});
  files.Add({.kind = Kind::DeleteRefused, .nameContains = "FORMS", .times = -1});

  EXPECT_EQ(files.GetEnvironmentVariable("QUILLORNTRACE"), "1");  // names without regard to case, as Windows
  EXPECT_EQ(files.GetEnvironmentVariable("Other"), "");
  EXPECT_EQ(files.UserName() + files.ExecutableName() + files.ModulePath() + files.LocalAppDataFolder() +
                files.DocumentsFolder() + files.TempFolder(),
            fake.user_name + fake.executable_name + fake.module_path + fake.local_app_data + fake.documents +
                fake.temp);
  EXPECT_EQ(files.ProcessId() + files.TickCount(), fake.process_id + fake.tick_count);
  EXPECT_TRUE(files.ShellOpen("a.pdf"));
  EXPECT_EQ(fake.shell_opened, std::vector<std::string>{"a.pdf"});

  const std::string docs = folder.Dir() + "DOCS.000", codes = folder.Dir() + "CODES.000",
                    forms = folder.Dir() + "FORMS.000";
  EXPECT_FALSE(files.WriteFile(docs, "12345678"));
  EXPECT_FALSE(files.FileExists(docs));
  EXPECT_TRUE(files.WriteFile(docs, "12345678"));  // a fault of one time is spent
  EXPECT_FALSE(files.WriteFile(codes, "12345678"));
  EXPECT_EQ(ReadAll(codes), "1234");
  EXPECT_TRUE(files.WriteFile(forms, "x"));
  EXPECT_TRUE(files.CopyFile(forms, folder.Dir() + "FORMS.001", true));
  std::string content = "stale";
  EXPECT_FALSE(files.ReadFile(forms, content));
  EXPECT_EQ(content, "");
  EXPECT_FALSE(files.DeleteFile(folder.Dir() + "FORMS.001"));
  EXPECT_FALSE(files.DeleteFile(folder.Dir() + "FORMS.001"));  // -1: every time
  EXPECT_TRUE(files.DeleteFile(codes));
  std::vector<std::string> names = files.ListFiles(folder.Dir());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"DOCS.000", "FORMS.001"}));
  EXPECT_EQ(files.Taken(), (std::vector<std::string>{"WriteRefused DOCS.000", "DiskFull CODES.000",
                                                     "Vanished FORMS.000", "DeleteRefused FORMS.001",
                                                     "DeleteRefused FORMS.001"}));
}

// What the services answer when the file system says no; the client goes on
// from each of these, so none may throw.
TEST(StandardLibraryFiles, RefusalsAnswerFalseOrNothing) {
  TempFolder folder;
  FakeSystemServices files;
  const std::string file = folder.Dir() + "a.txt";
  ASSERT_TRUE(files.WriteFile(file, "a"));
  std::string content = "stale";
  EXPECT_FALSE(files.ReadFile(folder.Dir() + "missing.txt", content));
  EXPECT_EQ(content, "");
  EXPECT_FALSE(files.WriteFile(folder.Dir() + "missing/b.txt", "b"));
  EXPECT_FALSE(files.CopyFile(file, file, true));
  EXPECT_TRUE(files.CopyFile(file, file, false));  // onto itself: nothing to do
  EXPECT_FALSE(files.DeleteFile(folder.Dir()));
  EXPECT_FALSE(files.CreateFolders(file + "/sub"));
  EXPECT_TRUE(files.CreateFolders(folder.Dir() + "x/y"));
  EXPECT_TRUE(files.ListFiles(folder.Dir() + "missing").empty());
  EXPECT_EQ(files.ListFiles(folder.Dir()), std::vector<std::string>{"a.txt"});
}

}  // namespace
}  // namespace quillorn::platform
