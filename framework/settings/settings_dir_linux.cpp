#include <cstdlib>

#include "Settings.h"

namespace Ordix::Settings {

namespace {
constexpr const char* kDirEnvironmentVariable = "ORDIX_CONFIG_DIR";
constexpr const char* kDefaultDir = "/etc/ordix";
}  // namespace

std::string Directory() {
  const char* dir = std::getenv(kDirEnvironmentVariable);
  return (dir != nullptr && *dir != '\0') ? std::string(dir) : std::string(kDefaultDir);
}

}  // namespace Ordix::Settings
