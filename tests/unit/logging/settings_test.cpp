#include <gtest/gtest.h>

#include "Settings.h"
#include "TempDir.h"

namespace {

using namespace Ordix::Settings;
using TestSupport::ScopedEnv;
using TestSupport::TempDir;

TEST(Settings, FileLivesInTheConfiguredDirectory) {
  TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  EXPECT_EQ(Directory(), dir.Path());
  EXPECT_EQ(FilePath(), dir.Path() + "/OrdixServMgmtSettings.ini");
}

TEST(Settings, DefaultDirectoryWhenUnsetOrEmpty) {
  ScopedEnv env("ORDIX_CONFIG_DIR", "");
  EXPECT_EQ(Directory(), "/etc/ordix");
}

TEST(Settings, ReadsValuesAndFallsBackPerKey) {
  TempDir dir;
  dir.Write(kFileName,
            "[MSRObjectTimeouts]\nPollInterval = 25\nPollAttempts = many\n"
            "[Logging]\nFile=/tmp/x.log\n");
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollInterval", 10), 25);
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollAttempts", 50), 50);  // not a number
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "Missing", 7), 7);
  EXPECT_EQ(GetString("Logging", "File", ""), "/tmp/x.log");
  EXPECT_EQ(GetString("Logging", "Level", "2"), "2");
  EXPECT_EQ(GetString("NoSuchSection", "File", "fallback"), "fallback");
}

TEST(Settings, MissingFileGivesDefaults) {
  TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path() + "/absent");
  EXPECT_EQ(GetInt("MSRObjectTimeouts", "PollInterval", 10), 10);
  EXPECT_EQ(GetString("BMC", "Interface", "inband"), "inband");
}

TEST(Settings, ChangesAreSeenAtTheNextReading) {
  TempDir dir;
  ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  dir.Write(kFileName, "[A]\nk=1\n");
  EXPECT_EQ(GetInt("A", "k", 0), 1);
  dir.Write(kFileName, "[A]\nk=2\n");
  EXPECT_EQ(GetInt("A", "k", 0), 2);
}

}  // namespace
