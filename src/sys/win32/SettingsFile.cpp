#include "sys/SettingsFile.h"

#include <windows.h>

#include <cstdlib>

namespace Sys {

namespace {
constexpr const char* kSettingsFile = "OrdixServMgmtSettings.ini";
// Names another directory for the file, as on Linux (tests, platformq --config-dir); the
// framework's settings reader follows the same variable. Normally unset.
constexpr const char* kDirEnvironmentVariable = "ORDIX_CONFIG_DIR";
}  // namespace

uint32_t GetSettingsInt(const std::string& section, const std::string& key, uint32_t fallback) {
  // Named without a directory, the profile API looks in the Windows directory.
  const char* dir = std::getenv(kDirEnvironmentVariable);
  const std::string file = dir != nullptr && *dir != '\0' ? std::string(dir) + "\\" + kSettingsFile
                                                          : std::string(kSettingsFile);
  return ::GetPrivateProfileIntA(section.c_str(), key.c_str(), static_cast<INT>(fallback),
                                 file.c_str());
}

}  // namespace Sys
