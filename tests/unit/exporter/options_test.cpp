#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "Options.h"

namespace Exporter {
namespace {

using std::chrono::milliseconds;

CommandLine Parse(std::vector<const char*> args, std::string* errText = nullptr) {
  args.insert(args.begin(), "platform_exporter");
  std::ostringstream out, err;
  CommandLine line = ParseCommandLine(static_cast<int>(args.size()), args.data(), out, err);
  if (errText != nullptr) *errText = err.str();
  return line;
}

TEST(ListenAddressTest, OnlyDottedIPv4AddressesWithAPortUpTo65535) {
  // The HTTP server binds every interface when it cannot read the host, so anything but an
  // address it reads exactly is refused here.
  const auto good = ParseListenAddress("10.1.2.3:65535");
  ASSERT_TRUE(good);
  EXPECT_EQ(good->host, "10.1.2.3");
  EXPECT_EQ(good->port, 65535);
  EXPECT_EQ(ServerAddress(*ParseListenAddress("0.0.0.0:0")), "0.0.0.0:0");
  for (const char* bad : {"999.1.1.1:80", "1.2.3:80", "1.2.3.4.5:80", "1..2.3:80", "localhost:9739",
                          "[::1]:9739", "127.0.0.1:65536", "127.0.0.1:", ":80", "127.0.0.1",
                          "127.0.0.1:9x", "127.0.0.1:-1", "127.0.0.1:99999999999999"}) {
    EXPECT_FALSE(ParseListenAddress(bad)) << bad;
  }
}

TEST(DurationTest, ANumberWithAUnit) {
  EXPECT_EQ(ParseDuration("500ms"), milliseconds(500));
  EXPECT_EQ(ParseDuration("15s"), milliseconds(15000));
  EXPECT_EQ(ParseDuration("2m"), milliseconds(120000));
  EXPECT_EQ(ParseDuration("1h"), milliseconds(3600000));
  for (const char* bad : {"15", "s", "1.5s", "15sec", "-1s", "15 s", "", "9999999999s"}) {
    EXPECT_FALSE(ParseDuration(bad)) << bad;
  }
}

TEST(CommandLineTest, DefaultsOptionsAndUsageErrors) {
  const CommandLine defaults = Parse({});
  ASSERT_TRUE(defaults.options);
  EXPECT_EQ(ServerAddress(defaults.options->listen), "127.0.0.1:9739");
  EXPECT_EQ(defaults.options->interval, milliseconds(15000));
  EXPECT_TRUE(defaults.options->modulePath.empty() && defaults.options->configDir.empty());

  const CommandLine given = Parse({"--module", "/m.so", "--config-dir", "/etc/x", "--listen",
                                   "0.0.0.0:9100", "--interval", "100ms"});
  ASSERT_TRUE(given.options);
  EXPECT_EQ(given.options->modulePath, "/m.so");
  EXPECT_EQ(given.options->configDir, "/etc/x");
  EXPECT_EQ(given.options->listen.port, 9100);
  EXPECT_EQ(given.options->interval, milliseconds(100));

  EXPECT_EQ(Parse({"--help"}).exitStatus, kExitStopped);
  for (const std::vector<const char*>& bad :
       std::vector<std::vector<const char*>>{{"--listen", "localhost:1"},
                                             {"--interval", "99ms"},
                                             {"--interval", "25h"},
                                             {"--interval", "15"},
                                             {"--frobnicate"},
                                             {"extra"}}) {
    std::string err;
    const CommandLine line = Parse(bad, &err);
    EXPECT_FALSE(line.options) << bad[0];
    EXPECT_EQ(line.exitStatus, kExitUsage) << bad[0];
    EXPECT_EQ(err.find('\n'), err.size() - 1) << "one line: " << err;
    EXPECT_NE(err.find("--help"), std::string::npos) << err;
  }
}

}  // namespace
}  // namespace Exporter
