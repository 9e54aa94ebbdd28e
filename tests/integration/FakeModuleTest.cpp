// platformq against a stand-in module: the settings directory reaches the module, and errors
// the module raises give exit status 2 without stopping the other queries.

#include <gtest/gtest.h>

#include "ToolRun.h"

namespace IntegrationTest {
namespace {

ToolResult RunWithFake(std::vector<std::string> args) {
  args.insert(args.begin(), {"--module", FAKE_MODULE_PATH});
  return RunPlatformq(args);
}

TEST(FakeModuleTest, TheSettingsDirectoryIsInPlaceBeforeTheModuleLoads) {
  const ToolResult run =
      RunWithFake({"--config-dir", "/srv/ordix settings", "/Platform/ConfigDirAtLoad"});
  EXPECT_EQ(run.exitStatus, 0) << run.err;
  EXPECT_EQ(run.out, "/Platform/ConfigDirAtLoad = /srv/ordix settings\n");
}

TEST(FakeModuleTest, ARaisedStatusExitsTwoWithCodeMessageAndDetail) {
  const ToolResult run =
      RunWithFake({"/Platform/Raise", "/Platform/ConfigDirAtLoad", "/Platform/Throw"});
  EXPECT_EQ(run.exitStatus, 2);
  EXPECT_NE(run.err.find("error 2014: The network interfaces could not be listed. (opendir "
                         "failed)\n"),
            std::string::npos)
      << run.err;
  EXPECT_NE(run.err.find("error: fake failure\n"), std::string::npos) << run.err;
  EXPECT_NE(run.out.find("/Platform/ConfigDirAtLoad = "), std::string::npos)
      << "the query between the two failures is still answered and printed";
}

}  // namespace
}  // namespace IntegrationTest
