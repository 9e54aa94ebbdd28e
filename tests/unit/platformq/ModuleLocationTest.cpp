#include "ModuleLocation.h"

#include <gtest/gtest.h>

#include <set>

namespace Platformq {
namespace {

constexpr const char* kFile = "libPlatformConfig.so";

auto Present(std::set<std::string> files) {
  return [files = std::move(files)](const std::string& path) { return files.count(path) != 0; };
}

TEST(DefaultModulePathTest, PrefersTheModuleBesideTheExecutable) {
  EXPECT_EQ(DefaultModulePath("/opt/pc/bin", kFile,
                              Present({"/opt/pc/bin/libPlatformConfig.so",
                                       "/opt/pc/bin/../lib/libPlatformConfig.so"})),
            "/opt/pc/bin/libPlatformConfig.so");
}

TEST(DefaultModulePathTest, FallsBackToTheInstalledLibDirectory) {
  EXPECT_EQ(
      DefaultModulePath("/opt/pc/bin", kFile, Present({"/opt/pc/bin/../lib/libPlatformConfig.so"})),
      "/opt/pc/bin/../lib/libPlatformConfig.so");
}

TEST(DefaultModulePathTest, LeavesTheSearchToTheLoaderWhenNoCandidateExists) {
  EXPECT_EQ(DefaultModulePath("/opt/pc/bin", kFile, Present({"/elsewhere/libPlatformConfig.so"})),
            kFile);
  bool asked = false;
  const auto record = [&asked](const std::string&) { return asked = true; };
  EXPECT_EQ(DefaultModulePath("", kFile, record), kFile);
  EXPECT_FALSE(asked) << "with no executable directory there is nothing to look beside";
}

}  // namespace
}  // namespace Platformq
