// The exported module with no driver on the library path must find the real driver beside
// itself. The settings name a missing in-band device, so the real driver fails at once without
// touching any controller, while the scripted double would answer from the script they name.
#include <gtest/gtest.h>

#include "BMCConfigModule.h"
#include "Raised.h"
#include "Settings.h"
#include "TempDir.h"

TEST(BmcDriver, TheRealDriverBesideTheModuleIsLoadedAndItsFailureReported) {
  TestSupport::TempDir dir;
  TestSupport::ScopedEnv configDir("ORDIX_CONFIG_DIR", dir.Path());
  dir.Write(Ordix::Settings::kFileName,
            "[BMC]\nInterface=inband\nDevice=" + dir.Path() +
                "/no-such-device\nSimScript=" + dir.Write("bmc.script", "reading 5 01\n") + "\n");
  ResultMap answer;
  const auto status = BmcTest::Raised(
      [&] { Module::BMCConfig::BMCConfigModule().Process("/BMC/SENSOR[5]/VALUE", answer); });
  ASSERT_TRUE(status && answer.empty());
  EXPECT_EQ(status->GetCode(), 2040);
  // The driver's own reason follows: which step failed and what to set.
  EXPECT_EQ(status->GetDetail(),
            "driver status 3 (no session) request 20 04 00 2d 05: in-band device " + dir.Path() +
                "/no-such-device does not work: [BMC] Device, or "
                "[BMC] Interface = lan/lanplus with Host (FreeIPMI: device not "
                "found)");
}
