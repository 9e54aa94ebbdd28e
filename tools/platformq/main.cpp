// platformq: runs path queries against the platform configuration module and prints the
// answers. See --help for the options and the exit statuses.

#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "ExitStatus.h"
#include "ModuleBinding.h"
#include "ModuleLocation.h"
#include "Options.h"
#include "ResultStatus.h"
#include "Rounds.h"
#include "Settings.h"
#include "StatusReport.h"
#include "sys/Process.h"

namespace {

constexpr const char* kModuleBaseName = "PlatformConfig";
constexpr const char* kConfigDirVariable = "ORDIX_CONFIG_DIR";

std::string ModulePath(const Platformq::Options& options) {
  if (!options.modulePath.empty()) return options.modulePath;
  return Platformq::DefaultModulePath(Sys::ExecutableDirectory(),
                                      Sys::SharedLibraryFileName(kModuleBaseName),
                                      [](const std::string& path) {
                                        std::error_code ignored;
                                        return std::filesystem::is_regular_file(path, ignored);
                                      });
}

int Run(const Platformq::Options& options) {
  // The framework reads the variable when the module first asks for a setting, so it has to
  // be in place before the module is loaded.
  if (!options.configDir.empty() &&
      !Sys::SetEnvironmentVariable(kConfigDirVariable, options.configDir)) {
    throw std::runtime_error(std::string("cannot set ") + kConfigDirVariable);
  }
  // Said at once: every setting would otherwise silently have its default.
  if (const std::string problem = Ordix::Settings::Problem(); !problem.empty()) {
    std::cerr << "platformq: warning: " << problem << '\n';
  }
  Platformq::ModuleBinding module = Platformq::ModuleBinding::Load(ModulePath(options));

  // First step of a query -> the module that answers it, as the framework routes them.
  Platformq::QueryRouter router;
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

  return Platformq::RunRounds(options, router, std::cout, std::cerr, Sys::SleepMilliseconds);
}

}  // namespace

int main(int argc, char** argv) {
  const Platformq::CommandLine commandLine =
      Platformq::ParseCommandLine(argc, argv, std::cout, std::cerr);
  if (!commandLine.options) return commandLine.exitStatus;
  try {
    return Run(*commandLine.options);
  } catch (const ResultStatus& status) {
    Platformq::ReportStatus(status, std::cerr);
  } catch (const std::exception& e) {
    std::cerr << "error: " << e.what() << '\n';
  }
  return Platformq::kExitRaised;
}
