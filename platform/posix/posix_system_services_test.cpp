#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "foundation/temp_folder_for_test.h"
#include "platform/system_services.h"

namespace quillorn::platform {
namespace {

using foundation::testing::ReadAll;
using foundation::testing::TempFolder;
using foundation::testing::WriteAll;

// Sets (or unsets, with nullopt) a variable for one scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, std::optional<std::string> value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    if (value)
      setenv(name, value->c_str(), 1);
    else
      unsetenv(name);
  }
  ~ScopedEnv() {
    if (old_)
      setenv(name_, old_->c_str(), 1);
    else
      unsetenv(name_);
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(PosixSystemServices, FoldersFollowTheEnvironment) {
  TempFolder temp;
  const std::string dir = temp.Path().string();
  struct Case {
    const char* name;
    std::optional<std::string> xdg_data, home, tmpdir;
    std::string app_data, temp_folder;
  };
  const Case cases[] = {
      {"xdg with slash", "/data/x/", "/home/ann", dir + "/", "/data/x", dir + "/"},
      {"relative xdg ignored", "rel/x", "/home/ann/", std::nullopt, "/home/ann/.local/share", "/tmp/"},
      {"no xdg", std::nullopt, "/home/bob", "/no/such/folder", "/home/bob/.local/share", "/tmp/"},
  };
  const auto services = CreateSystemServices();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedEnv xdg("XDG_DATA_HOME", c.xdg_data), home("HOME", c.home), tmp("TMPDIR", c.tmpdir);
    EXPECT_EQ(services->LocalAppDataFolder(), c.app_data);
    EXPECT_EQ(services->TempFolder(), c.temp_folder);
  }
  ScopedEnv docs("XDG_DOCUMENTS_DIR", std::nullopt), home("HOME", dir);
  EXPECT_EQ(services->DocumentsFolder(), dir);
  std::filesystem::create_directory(temp.Path() / "Documents");
  EXPECT_EQ(services->DocumentsFolder(), dir + "/Documents");
}

TEST(PosixSystemServices, CopyDeleteAndExistsKeepTheSystemsRules) {
  TempFolder temp;
  const auto services = CreateSystemServices();
  const std::string a = (temp.Path() / "a.docx").string();
  const std::string b = (temp.Path() / "b.docx").string();
  const std::string folder = temp.Path().string();
  WriteAll(a, "alpha");

  const auto content = [&](const std::string& path) {
    return std::filesystem::exists(path) ? std::optional<std::string>(ReadAll(path)) : std::nullopt;
  };
  const auto check = [&](const char* name, bool result, bool expected, const char* b_content) {
    SCOPED_TRACE(name);
    EXPECT_EQ(result, expected);
    if (b_content)
      EXPECT_EQ(content(b), std::optional<std::string>(b_content));
    else
      EXPECT_FALSE(content(b).has_value());
  };
  check("missing source", services->CopyFile(a + ".none", b, false), false, nullptr);
  check("new target", services->CopyFile(a, b, true), true, "alpha");
  WriteAll(a, "beta");
  check("existing target kept", services->CopyFile(a, b, true), false, "alpha");
  check("existing target replaced", services->CopyFile(a, b, false), true, "beta");
  check("onto itself", services->CopyFile(b, b, false), true, "beta");
  check("onto a folder", services->CopyFile(a, folder, false), false, "beta");
  EXPECT_TRUE(services->FileExists(b));
  EXPECT_FALSE(services->FileExists(folder));
  check("delete", services->DeleteFile(b), true, nullptr);
  check("delete again", services->DeleteFile(b), false, nullptr);
  EXPECT_FALSE(services->DeleteFile(folder));
  EXPECT_TRUE(std::filesystem::is_directory(folder));
  EXPECT_FALSE(services->FileExists(b));
}

TEST(PosixSystemServices, EnvironmentIsReadRegardlessOfTheNamesCase) {
  const auto services = CreateSystemServices();
  ScopedEnv set("QUILLORN_TEST_CLIENTNAME", "QuillMist");
  ScopedEnv exact("quillorn_test_exact", "lower");
  EXPECT_EQ(services->GetEnvironmentVariable("QUILLORN_TEST_CLIENTNAME"), "QuillMist");
  EXPECT_EQ(services->GetEnvironmentVariable("quillorn_test_clientname"), "QuillMist");
  EXPECT_EQ(services->GetEnvironmentVariable("quillorn_test_exact"), "lower");
  EXPECT_EQ(services->GetEnvironmentVariable("QUILLORN_TEST_CLIENTNAM"), "");
  EXPECT_EQ(services->GetEnvironmentVariable(""), "");
}

TEST(PosixSystemServices, ProcessUserAndTicks) {
  const auto services = CreateSystemServices();
  EXPECT_EQ(services->ExecutableName(), "platform_tests");
  EXPECT_EQ(std::filesystem::path(services->ModulePath()).filename(), "platform_tests");
  EXPECT_TRUE(std::filesystem::path(services->ModulePath()).is_absolute());
  EXPECT_EQ(services->ProcessId(), static_cast<std::uint32_t>(getpid()));
  EXPECT_FALSE(services->UserName().empty());
  const std::uint32_t first = services->TickCount();
  const std::uint32_t second = services->TickCount();
  EXPECT_LT(static_cast<std::uint32_t>(second - first), 10000u);  // wraps like the Windows count
}

TEST(PosixSystemServices, ShellOpenRunsTheOpenerFromThePathOrReportsNone) {
  TempFolder temp;
  const auto services = CreateSystemServices();
  const auto out = temp.Path() / "opened.txt";
  const auto script = temp.Path() / "xdg-open";
  WriteAll(script, "#!/bin/sh\nprintf '%s' \"$1\" > '" + out.string() + ".part' && mv '" + out.string() + ".part' '" +
                       out.string() + "'\n");
  chmod(script.c_str(), 0755);
  {
    ScopedEnv path("PATH", temp.Path().string() + ":/usr/bin:/bin");
    ASSERT_TRUE(services->ShellOpen("/some where/report.pdf"));
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!std::filesystem::exists(out) && std::chrono::steady_clock::now() < give_up)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_EQ(ReadAll(out), "/some where/report.pdf");
  }
  ScopedEnv no_opener("PATH", (temp.Path() / "empty").string());
  EXPECT_FALSE(services->ShellOpen("/x.pdf"));
}

}  // namespace
}  // namespace quillorn::platform
