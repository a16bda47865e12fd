#include "data/settings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;
using foundation::testing::WriteAll;

struct Folders {
  TempFolder app;
  TempFolder data;
  TdmSettings Settings() const { return TdmSettings(app.Dir(), data.Dir()); }
};

TEST(Settings, ConnectionKeysWithTheirDefaultsAndFallbacks) {
  struct Case {
    const char* name;
    std::string section;  // body of [Connection Settings]; empty: no file at all
    std::string port, local, remote;
    bool multi;
    int localTimeout, remoteTimeout, retryTimeout;
    bool proxy;
  };
  const std::vector<Case> cases = {
      {"no file", "", "80", "localhost", "", false, 2, 5, 5, false},
      {"empty port and address", "Port=\r\nLocal_Address=\r\n", "80", "localhost", "", false, 2, 5, 5, false},
      {"all given", "Port=8080\r\nLocal_Address=dms1\r\nRemote_Address=dms.example.org\r\nLocal_Timeout=3\r\n"
                    "Remote_Timeout=9\r\nRetry_Timeout=7\r\nUse_Proxy=TRUE\r\n",
       "8080", "dms1", "dms.example.org", true, 3, 9, 7, true},
      {"bad timeouts", "Local_Timeout=two\r\nRemote_Timeout=\r\nRetry_Timeout=5s\r\n", "80", "localhost", "", false,
       2, 5, 5, false},
      {"proxy only for true", "Use_Proxy=yes\r\n", "80", "localhost", "", false, 2, 5, 5, false},
      {"hex and signed timeouts", "Local_Timeout=$A\r\nRemote_Timeout=-1\r\n", "80", "localhost", "", false, 10, -1,
       5, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Folders folders;
    if (!c.section.empty()) {
      WriteAll(folders.app.Path() / kAddInIniName, "[Connection Settings]\r\n" + c.section);
    }
    TdmSettings s = folders.Settings();
    s.InitConnectionSettings();
    EXPECT_EQ(s.ServerPort, c.port);
    EXPECT_EQ(s.mLocalServerAddress, c.local);
    EXPECT_EQ(s.mRemoteServerAddress, c.remote);
    EXPECT_EQ(s.mMultiServerConfig, c.multi);
    EXPECT_EQ(s.mLocalServerTimeOut, c.localTimeout);
    EXPECT_EQ(s.mRemoteServerTimeOut, c.remoteTimeout);
    EXPECT_EQ(s.RetryTimeOut, c.retryTimeout);
    EXPECT_EQ(s.UseProxy, c.proxy);
  }
}

TEST(Settings, PerUserFileWinsAndAChangedFileIsPickedUpAgain) {
  Folders folders;
  WriteAll(folders.app.Path() / kAddInIniName, "[Connection Settings]\r\nLocal_Address=beside-module\r\n");
  TdmSettings s = folders.Settings();
  s.InitConnectionSettings();
  EXPECT_EQ(s.mLocalServerAddress, "beside-module");

  WriteAll(folders.data.Path() / kAddInIniName, "[Connection Settings]\r\nLocal_Address=per-user\r\n");
  s.InitConnectionSettings();
  EXPECT_EQ(s.mLocalServerAddress, "per-user");
  EXPECT_EQ(s.AddInIniFileName(), folders.data.Dir() + kAddInIniName);

  // user.ini has no fallback beside the module.
  WriteAll(folders.app.Path() / kUserIniName, "[Cloud]\r\nImportFolder=X:\\\r\n");
  std::string value = "untouched";
  EXPECT_TRUE(s.loadUserSetting("Cloud", "ImportFolder", value, "dflt"));
  EXPECT_EQ(value, "dflt");
}

TEST(Settings, CurrentServerFollowsTheFlagAndFallsBackToLocal) {
  Folders folders;
  TdmSettings s = folders.Settings();
  s.mLocalServerAddress = "local";
  s.mLocalServerTimeOut = 2;
  s.mRemoteServerTimeOut = 5;
  s.mUseLocalServer = false;
  // One server only: the address stays local, only the timeout changes.
  EXPECT_EQ(s.CurrentServerAddress(), "local");
  EXPECT_EQ(s.CurrentServerTimeout(), 5);
  s.mRemoteServerAddress = "remote";
  EXPECT_EQ(s.CurrentServerAddress(), "remote");
  s.mUseLocalServer = true;
  EXPECT_EQ(s.CurrentServerAddress(), "local");
  EXPECT_EQ(s.CurrentServerTimeout(), 2);
}

TEST(Settings, PortRangeParsing) {
  struct Case {
    const char* text;
    TPortRange expected;
  };
  const std::vector<Case> good = {
      {"49201-49220", {49201, 49220}},
      {"49220-49201", {49201, 49220}},
      {" 49201 - 49220 ", {49201, 49220}},
      {"4 9 2 0 1-49220", {49201, 49220}},
      {"5000-5000", {5000, 5000}},
      {"100-200-300", {100, 200}},
  };
  for (const Case& c : good) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(ParsePortRange(c.text), c.expected);
  }
  for (const char* bad : {"", "49201", "49201-", "-49220", "abc-49220", "49201-4922O", "49201:49220"}) {
    SCOPED_TRACE(bad);
    EXPECT_THROW(ParsePortRange(bad), std::invalid_argument);
  }
}

TEST(Settings, QuillornIniRangeAndCloudFolders) {
  Folders folders;
  TdmSettings s = folders.Settings();
  s.ReadQuillornIni(false);
  EXPECT_EQ(s.PortRange, (TPortRange{49201, 49220}));
  EXPECT_EQ(s.CloudExportFolder, "");

  s.ReadQuillornIni(true);
  EXPECT_EQ(s.CloudExportFolder, "\\\\TSCLIENT\\G\\Download\\");
  EXPECT_EQ(s.CloudImportFolder, "");

  WriteAll(folders.data.Path() / kQuillornIniName,
           "[CONNECTION SETTINGS]\r\nPortRange=50010 - 50001\r\n[RDP SERVER]\r\nExportFolder=E:\\out\\\r\n");
  WriteAll(folders.data.Path() / kUserIniName, "[Cloud]\r\nImportFolder=F:\\in\\\r\n");
  s.ReadQuillornIni(true);
  EXPECT_EQ(s.PortRange, (TPortRange{50001, 50010}));
  EXPECT_EQ(s.CloudExportFolder, "E:\\out\\");
  EXPECT_EQ(s.CloudImportFolder, "F:\\in\\");
  s.ReadQuillornIni(false);
  EXPECT_EQ(s.CloudExportFolder, "");
  EXPECT_EQ(s.CloudImportFolder, "");

  WriteAll(folders.data.Path() / kQuillornIniName, "[CONNECTION SETTINGS]\r\nPortRange=49201\r\n");
  EXPECT_THROW(s.ReadQuillornIni(false), std::invalid_argument);
}

TEST(Settings, WholeNumbers) {
  struct Case {
    const char* text;
    int expected;
  };
  const std::vector<Case> cases = {{"12", 12},         {"  12", 12},       {"-3", -3},      {"+4", 4},
                                   {"$1F", 31},        {"0x10", 16},       {"", -99},       {"12 ", -99},
                                   {"1.5", -99},       {"2147483647", 2147483647},          {"2147483648", -99},
                                   {"-2147483648", -2147483647 - 1},       {"x", -99}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(StrToIntDef(c.text, -99), c.expected);
  }
}

}  // namespace
}  // namespace quillorn::data
