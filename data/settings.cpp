#include "data/settings.h"

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <utility>

#include "foundation/ini_file.h"
#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::data {

namespace {


}  // namespace

TPortRange ParsePortRange(std::string_view Text) {
  std::string compact;
  for (char c : Text) {
    if (c != ' ') compact += c;
  }
  const size_t hyphen = compact.find('-');
  if (hyphen == std::string::npos) {
    throw std::invalid_argument("PortRange \"" + std::string(Text) + "\" has no second port");
  }
  const std::string_view rest = std::string_view(compact).substr(hyphen + 1);
  TPortRange range;
  range.Low = StrToInt(std::string_view(compact).substr(0, hyphen));
  range.High = StrToInt(rest.substr(0, rest.find('-')));
  if (range.Low > range.High) std::swap(range.Low, range.High);
  return range;
}

TdmSettings::TdmSettings(std::string AppDir, std::string AppDataDir)
    : appDir_(std::move(AppDir)), appDataDir_(std::move(AppDataDir)) {}

std::string TdmSettings::AddInIniFileName() const {
  const std::string perUser = appDataDir_ + kAddInIniName;
  if (foundation::FileExists(perUser)) return perUser;
  return appDir_ + kAddInIniName;
}

bool TdmSettings::loadSetting(std::string_view Section, std::string_view Key, std::string& Value,
                              std::string_view Default) const {
  try {
    const foundation::TIniFile ini(AddInIniFileName());
    Value = ini.ReadString(Section, Key, Default);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool TdmSettings::loadUserSetting(std::string_view Section, std::string_view Key, std::string& Value,
                                  std::string_view Default) const {
  try {
    const foundation::TIniFile ini(appDataDir_ + kUserIniName);
    Value = ini.ReadString(Section, Key, Default);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void TdmSettings::InitConnectionSettings() {
  constexpr std::string_view kSection = "Connection Settings";
  std::string value;

  value = kDefaultServerPort;
  loadSetting(kSection, "Port", value, kDefaultServerPort);
  ServerPort = value.empty() ? kDefaultServerPort : value;

  value = kDefaultLocalAddress;
  loadSetting(kSection, "Local_Address", value, kDefaultLocalAddress);
  mLocalServerAddress = value.empty() ? kDefaultLocalAddress : value;

  value.clear();
  loadSetting(kSection, "Remote_Address", value, "");
  mRemoteServerAddress = value;
  mMultiServerConfig = !mRemoteServerAddress.empty();

  value = "2";
  loadSetting(kSection, "Local_Timeout", value, "2");
  mLocalServerTimeOut = StrToIntDef(value, kDefaultLocalTimeout);

  value = "5";
  loadSetting(kSection, "Remote_Timeout", value, "5");
  mRemoteServerTimeOut = StrToIntDef(value, kDefaultRemoteTimeout);

  value = "5";
  loadSetting(kSection, "Retry_Timeout", value, "5");
  RetryTimeOut = StrToIntDef(value, kDefaultRetryTimeout);

  value = "false";
  loadSetting(kSection, "Use_Proxy", value, "false");
  UseProxy = foundation::LowerCase(value) == "true";
}

void TdmSettings::ReadQuillornIni(bool IsCloudPlatform) {
  const foundation::TIniFile ini(appDataDir_ + kQuillornIniName);
  if (IsCloudPlatform) {
    CloudExportFolder = ini.ReadString("RDP SERVER", "ExportFolder", kDefaultCloudExportFolder);
    std::string importFolder;
    loadUserSetting("Cloud", "ImportFolder", importFolder, "");
    CloudImportFolder = importFolder;
  } else {
    CloudExportFolder.clear();
    CloudImportFolder.clear();
  }
  foundation::LogTrace("CloudExportFolder:", CloudExportFolder);
  foundation::LogTrace("CloudImportFolder (root only):", CloudImportFolder);

  PortRange = ParsePortRange(ini.ReadString("CONNECTION SETTINGS", "PortRange", kDefaultPortRange));
}

std::string TdmSettings::CurrentServerAddress() const {
  if (mUseLocalServer || mRemoteServerAddress.empty()) return mLocalServerAddress;
  return mRemoteServerAddress;
}

int TdmSettings::CurrentServerTimeout() const {
  return mUseLocalServer ? mLocalServerTimeOut : mRemoteServerTimeOut;
}

}  // namespace quillorn::data
