#include "data/settings.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::WriteAll;

struct Folders {
  foundation::testing::TempFolder app, data;
  TdmSettings settings{app.Dir(), data.Dir()};
};

TEST(Settings, AnEmptyOrBadValueFallsBackToItsDefault) {
  Folders folders;
  // "$A" is hexadecimal, as the ini files have always allowed.
  WriteAll(folders.app.Path() / kAddInIniName,
           "[Connection Settings]\r\nPort=\r\nLocal_Address=\r\nLocal_Timeout=two\r\nRemote_Timeout=$A\r\n"
           "Retry_Timeout=2147483648\r\nUse_Proxy=yes\r\n");
  TdmSettings& s = folders.settings;
  s.InitConnectionSettings();
  EXPECT_EQ(s.ServerPort + " " + s.mLocalServerAddress + " " + std::to_string(s.mLocalServerTimeOut) + " " +
                std::to_string(s.mRemoteServerTimeOut) + " " + std::to_string(s.RetryTimeOut) + " " +
                std::to_string(s.UseProxy),
            "80 localhost 2 10 5 0");
}

TEST(Settings, PortRangeAndCloudFoldersOfQuillornIni) {
  EXPECT_EQ(ParsePortRange(" 4 9220 - 49201 "), (TPortRange{49201, 49220}));
  EXPECT_EQ(ParsePortRange("100-200-300"), (TPortRange{100, 200}));
  for (const char* bad : {"49201", "-49220", "abc-49220"}) {
    EXPECT_THROW(ParsePortRange(bad), std::invalid_argument) << bad;
  }
  Folders folders;
  TdmSettings& s = folders.settings;
  // user.ini is per user only: one beside the module is never read.
  WriteAll(folders.app.Path() / kUserIniName, "[Cloud]\r\nImportFolder=X:\\\r\n");
  s.ReadQuillornIni(true);
  EXPECT_EQ(s.PortRange, (TPortRange{49201, 49220}));
  EXPECT_EQ(s.CloudExportFolder + s.CloudImportFolder, "\\\\TSCLIENT\\G\\Download\\");
  WriteAll(folders.data.Path() / kQuillornIniName,
           "[CONNECTION SETTINGS]\r\nPortRange=50010 - 50001\r\n[RDP SERVER]\r\nExportFolder=E:\\out\\\r\n");
  WriteAll(folders.data.Path() / kUserIniName, "[Cloud]\r\nImportFolder=F:\\in\\\r\n");
  s.ReadQuillornIni(true);
  EXPECT_EQ(s.PortRange, (TPortRange{50001, 50010}));
  EXPECT_EQ(s.CloudExportFolder + s.CloudImportFolder, "E:\\out\\F:\\in\\");
  // Not on the hosted platform: no cloud folders at all.
  s.ReadQuillornIni(false);
  EXPECT_EQ(s.CloudExportFolder + s.CloudImportFolder, "");
}

}  // namespace
}  // namespace quillorn::data
