#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "Settings.h"
#include "TempDir.h"

namespace {

using namespace Ordix::Settings;
using TestSupport::ScopedEnv;
using namespace std::chrono_literals;

TEST(Settings, ReadsTheConfiguredFileAndFallsBackPerKey) {
  TestSupport::TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  EXPECT_EQ(FilePath(), dir.Path() + "/OrdixServMgmtSettings.ini");
  dir.Write(kFileName, "[MSRObjectTimeouts]\nPollInterval = 25\nPollAttempts = many\n");
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollInterval", 10), 25);
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollAttempts", 50), 50);  // not a number
  EXPECT_EQ(GetString("Logging", "File", "stderr"), "stderr");

  dir.Write(kFileName, "[MSRObjectTimeouts]\nPollInterval=30\n");  // seen at the next reading
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollInterval", 10), 30);
  // A file written long ago is parsed once and then only looked at, until it changes.
  std::filesystem::last_write_time(dir.Path() + "/" + kFileName,
                                   std::filesystem::file_time_type::clock::now() - 1h);
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollInterval", 10), 30);
  dir.Write(kFileName, "[MSRObjectTimeouts]\nPollInterval=2\n");
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollInterval", 10), 2);
}

// Integers are decimal on every OS, as the Windows profile API reads them.
TEST(Settings, IntegersAreDecimalAndAnythingElseFallsBack) {
  TestSupport::TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  dir.Write(kFileName,
            "[S]\nOctal = 010\nThirty = 030\nHex = 0x10\nNegative = -3\nUnit = 25 ms\n"
            "Word = ten\nHuge = 99999999999999999999\nEmpty =\n");
  const std::pair<const char*, long> cases[] = {{"Octal", 10},    {"Thirty", 30}, {"Hex", 0},
                                                {"Negative", -3}, {"Unit", 25},   {"Word", 7},
                                                {"Huge", 7},      {"Empty", 7},   {"Absent", 7}};
  for (const auto& [key, value] : cases) EXPECT_EQ(GetInt("S", key, 7), value) << key;
}

TEST(Settings, DefaultsWithoutFileOrDirectory) {
  {
    ScopedEnv env("ORDIX_CONFIG_DIR", "");
    EXPECT_EQ(Directory(), "/etc/ordix");
  }
  ScopedEnv env("ORDIX_CONFIG_DIR", "/nonexistent/dir");
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollInterval", 10), 10);
  EXPECT_EQ(GetString("BMC", "Interface", "inband"), "inband");
}

}  // namespace
