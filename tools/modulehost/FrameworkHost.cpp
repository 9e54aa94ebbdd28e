#include "FrameworkHost.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "ModuleLocation.h"
#include "Settings.h"
#include "sys/Process.h"

namespace ModuleHost {

namespace {
constexpr const char* kModuleBaseName = "PlatformConfig";
constexpr const char* kConfigDirVariable = "ORDIX_CONFIG_DIR";
}  // namespace

std::string InstalledModulePath() {
  return DefaultModulePath(Sys::ExecutableDirectory(), Sys::SharedLibraryFileName(kModuleBaseName),
                           [](const std::string& path) {
                             std::error_code ignored;
                             return std::filesystem::is_regular_file(path, ignored);
                           });
}

void UseConfigDir(const std::string& dir) {
  if (dir.empty()) return;
  if (!Sys::SetEnvironmentVariable(kConfigDirVariable, dir)) {
    throw std::runtime_error(std::string("cannot set ") + kConfigDirVariable);
  }
}

void WarnOfUnreadableSettings(const char* program, std::ostream& err) {
  if (const std::string problem = Ordix::Settings::Problem(); !problem.empty()) {
    err << program << ": warning: " << problem << '\n';
  }
}

void AddFrameworkRoutes(QueryRouter& router, ModuleBinding& module) {
  router.Add("Platform", [&module](const std::string& query, ResultMap& result) {
    module.Process(query, result);
  });
  for (const char* step : {"SMBIOS", "BIOS"}) {
    router.Add(step, [](const std::string& query, ResultMap& result) {
      Module::BIOSConfig::BIOSConfigModule().ProcessXQuery(query, result);
    });
  }
  router.Add("BMC", [](const std::string& query, ResultMap& result) {
    Module::BMCConfig::BMCConfigModule().Process(query, result);
  });
}

}  // namespace ModuleHost
