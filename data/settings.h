// The data module's settings: QuillornAddIn.ini (per user, else beside the
// module), user.ini and quillorn.ini, read with every default and fallback the
// connection relies on, and the choice between the local and the remote server.
// Only ever reads these files; nothing here writes or creates one.
#pragma once

#include <string>
#include <string_view>

#include "foundation/paths.h"

namespace quillorn::data {

inline constexpr char kAddInIniName[] = "QuillornAddIn.ini";
inline constexpr char kUserIniName[] = "user.ini";
inline constexpr char kQuillornIniName[] = "quillorn.ini";

inline constexpr char kDefaultServerPort[] = "80";
inline constexpr char kDefaultLocalAddress[] = "localhost";
inline constexpr int kDefaultLocalTimeout = 2;
inline constexpr int kDefaultRemoteTimeout = 5;
inline constexpr int kDefaultRetryTimeout = 5;
inline constexpr char kDefaultPortRange[] = "49201-49220";
inline constexpr char kDefaultCloudExportFolder[] = "\\\\TSCLIENT\\G\\Download\\";

using foundation::StrToInt;
using foundation::StrToIntDef;

// The UDP ports the tether client may bind, lowest first.
struct TPortRange {
  int Low = 49201;
  int High = 49220;
  bool operator==(const TPortRange&) const = default;
};
// Every blank removed, split at "-", the first two pieces as numbers, swapped
// when the higher comes first. A bad value raises std::invalid_argument.
TPortRange ParsePortRange(std::string_view Text);

class TdmSettings {
 public:
  // Both folders end in a path delimiter.
  TdmSettings(std::string AppDir, std::string AppDataDir);

  const std::string& AppDir() const { return appDir_; }
  const std::string& AppDataDir() const { return appDataDir_; }

  // The QuillornAddIn.ini in use: the per-user one if it exists, else the
  // one beside the module.
  std::string AddInIniFileName() const;

  // One string of QuillornAddIn.ini. False when the read failed, and then
  // Value is left as it was.
  bool loadSetting(std::string_view Section, std::string_view Key, std::string& Value,
                   std::string_view Default) const;
  // The same for user.ini, which only exists per user.
  bool loadUserSetting(std::string_view Section, std::string_view Key, std::string& Value,
                       std::string_view Default) const;

  // Reads "Connection Settings" into the members below; may run again to pick up
  // a changed file.
  void InitConnectionSettings();
  // Reads quillorn.ini: the tether ports (raising on a bad range) and, on the
  // hosted platform only, the two cloud folders; elsewhere they stay empty.
  void ReadQuillornIni(bool IsCloudPlatform);

  // The first attempt after start always goes to the local address with its
  // short timeout; a site with one server never names a remote one.
  std::string CurrentServerAddress() const;
  int CurrentServerTimeout() const;  // seconds

  bool mUseLocalServer = true;
  int mLocalServerTimeOut = kDefaultLocalTimeout;
  int mRemoteServerTimeOut = kDefaultRemoteTimeout;
  std::string mLocalServerAddress = kDefaultLocalAddress;
  std::string mRemoteServerAddress;
  bool mMultiServerConfig = false;
  std::string ServerPort = kDefaultServerPort;
  int RetryTimeOut = kDefaultRetryTimeout;
  bool UseProxy = false;
  TPortRange PortRange;
  std::string CloudExportFolder;
  std::string CloudImportFolder;

 private:
  std::string appDir_;
  std::string appDataDir_;
};

}  // namespace quillorn::data
