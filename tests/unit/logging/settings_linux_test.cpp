// What the settings reader makes of things that are no settings file, as Linux has them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "Settings.h"
#include "TempDir.h"

namespace {

using namespace Ordix::Settings;
using TestSupport::ScopedEnv;

// Whatever stands where the settings file should be, reading it neither blocks nor grows
// without end: what is not a regular file of a settings file's size gives every default, and
// Problem() says why. A file that is simply not there is no problem.
TEST(Settings, WhatIsNoReadableSettingsFileGivesDefaultsAndSaysWhy) {
  TestSupport::TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  const std::string file = dir.Path() + "/" + kFileName;
  EXPECT_EQ(Problem(), "");
  const auto expectRefused = [&](const char* what, const std::string& why) {
    EXPECT_EQ(GetString("BMC", "Interface", "inband"), "inband") << what;
    EXPECT_NE(Problem().find("the settings file " + file + " cannot be read (" + why),
              std::string::npos)
        << what << ": " << Problem();
  };
  ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);  // no writer: a blocking open would wait forever
  expectRefused("a FIFO", "not a regular file");
  std::filesystem::remove(file);
  std::filesystem::create_symlink("/dev/zero", file);  // would read zeros forever
  expectRefused("a link to /dev/zero", "not a regular file");
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  expectRefused("a directory", "not a regular file");
  std::filesystem::remove(file);
  std::ofstream(file) << "[BMC]\nInterface = lan\n" << std::string(2 << 20, '#') << "\n";
  expectRefused("a 2 MiB file", "larger than 1048576 bytes");
  dir.Write(kFileName, "[BMC]\nInterface = lan\n");
  EXPECT_EQ(GetString("BMC", "Interface", "inband"), "lan");
  EXPECT_EQ(Problem(), "");
}

}  // namespace
