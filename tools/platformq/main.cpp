// platformq: runs path queries against the platform configuration module and prints the
// answers. See --help for the options and the exit statuses.

#include <exception>
#include <iostream>
#include <string>

#include "ExitStatus.h"
#include "FrameworkHost.h"
#include "ModuleBinding.h"
#include "Options.h"
#include "ResultStatus.h"
#include "Rounds.h"
#include "StatusReport.h"
#include "sys/Process.h"

namespace {

int Run(const Platformq::Options& options) {
  ModuleHost::UseConfigDir(options.configDir);
  ModuleHost::WarnOfUnreadableSettings("platformq", std::cerr);
  ModuleHost::ModuleBinding module = ModuleHost::ModuleBinding::Load(
      options.modulePath.empty() ? ModuleHost::InstalledModulePath() : options.modulePath);
  ModuleHost::QueryRouter router;
  ModuleHost::AddFrameworkRoutes(router, module);
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
