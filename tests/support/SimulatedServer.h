#pragma once
// A simulated server: settings naming one of the generated firmware variable sets, and a
// script for the scripted controller the module loads as its driver. The driver state and the
// platform instance live as long as the process, so these tests run one case per process.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "ResultStatus.h"
#include "TempDir.h"

namespace PlatformTest {

struct SimulatedServer {
  explicit SimulatedServer(const std::string& efiCase, const std::string& text = "") {
    dir.Write("OrdixServMgmtSettings.ini",
              "[SMI]\nVariablesDir=" SIM_EFI_ROOT "/" + efiCase + "\n");
    dir.Write("bmc.script", text);
  }
  TestSupport::TempDir dir;
  TestSupport::ScopedEnv config{"ORDIX_CONFIG_DIR", dir.Path()};
  TestSupport::ScopedEnv script{"QUARNAPI_SIM_SCRIPT", dir.Path() + "/bmc.script"};
};

// The status body threw; none, and a recorded failure, when it returned.
template <typename Body>
std::optional<ResultStatus> Thrown(Body&& body) {
  try {
    body();
  } catch (const ResultStatus& status) {
    return status;
  }
  ADD_FAILURE() << "no ResultStatus thrown";
  return std::nullopt;
}

}  // namespace PlatformTest
