#pragma once
// A simulated server for the platform tests: settings naming one of the generated firmware
// variable sets, and a script for the scripted controller the module loads as its driver.
// The driver state and the platform instance live as long as the process, so these tests are
// meant to run one case per process, as CTest runs them.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "ResultStatus.h"
#include "TempDir.h"

namespace PlatformTest {

class SimulatedServer {
 public:
  explicit SimulatedServer(const std::string& efiCase, const std::string& script = "") {
    dir_.Write("OrdixServMgmtSettings.ini",
               "[SMI]\nVariablesDir=" + std::string(SIM_EFI_ROOT) + "/" + efiCase + "\n");
    dir_.Write("bmc.script", script);
  }

 private:
  TestSupport::TempDir dir_;
  TestSupport::ScopedEnv config_{"ORDIX_CONFIG_DIR", dir_.Path()};
  TestSupport::ScopedEnv script_{"QUARNAPI_SIM_SCRIPT", dir_.Path() + "/bmc.script"};
};

// The status body threw, or none (a failure is recorded) when it returned.
template <typename Body>
std::optional<ResultStatus> Thrown(Body&& body) {
  try {
    std::forward<Body>(body)();
  } catch (const ResultStatus& status) {
    return status;
  }
  ADD_FAILURE() << "no ResultStatus thrown";
  return std::nullopt;
}

}  // namespace PlatformTest
