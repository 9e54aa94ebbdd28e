#include "Options.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace Platformq {
namespace {

struct Parsed {
  CommandLine commandLine;
  std::string out;
  std::string err;
};

Parsed Parse(std::vector<const char*> args) {
  args.insert(args.begin(), "platformq");
  std::ostringstream out;
  std::ostringstream err;
  CommandLine commandLine = ParseCommandLine(static_cast<int>(args.size()), args.data(), out, err);
  return {std::move(commandLine), out.str(), err.str()};
}

TEST(ParseCommandLineTest, QueriesAloneTakeTheDefaults) {
  const Parsed parsed = Parse({"/Platform/OS", "/Platform/OS/Info/@children"});
  ASSERT_TRUE(parsed.commandLine.options);
  const Options& options = *parsed.commandLine.options;
  EXPECT_EQ(options.queries,
            (std::vector<std::string>{"/Platform/OS", "/Platform/OS/Info/@children"}));
  EXPECT_EQ(options.modulePath, "");
  EXPECT_EQ(options.configDir, "");
  EXPECT_EQ(options.format, OutputFormat::Tree);
  EXPECT_EQ(options.repeat, 1u);
  EXPECT_TRUE(parsed.out.empty());
  EXPECT_TRUE(parsed.err.empty());
}

TEST(ParseCommandLineTest, EveryOptionIsRead) {
  const Parsed parsed =
      Parse({"--module", "/opt/m.so", "--config-dir=/etc/x", "--format", "json", "--repeat", "3",
             "--interval", "250", "/Platform/OS/MemoryInfo/Units", "/BMC/SEL/RECORD"});
  ASSERT_TRUE(parsed.commandLine.options) << parsed.err;
  const Options& options = *parsed.commandLine.options;
  EXPECT_EQ(options.modulePath, "/opt/m.so");
  EXPECT_EQ(options.configDir, "/etc/x");
  EXPECT_EQ(options.format, OutputFormat::Json);
  EXPECT_EQ(options.repeat, 3u);
  EXPECT_EQ(options.intervalMs, 250u);
  EXPECT_EQ(options.queries.size(), 2u);
}

TEST(ParseCommandLineTest, UsageErrorsGiveOneLinePointingAtHelp) {
  const std::vector<std::vector<const char*>> bad{
      {},
      {"--format", "xml", "/Platform/OS"},
      {"--bogus", "/Platform/OS"},
      {"--repeat", "0", "/Platform/OS"},
      {"--repeat", "-2", "/Platform/OS"},
      {"--repeat", "two", "/Platform/OS"},
      {"--interval", "-5", "/Platform/OS"},
      {"/Platform/OS", "--module"},
  };
  for (const auto& args : bad) {
    const Parsed parsed = Parse(args);
    const std::string shown = args.empty() ? "(none)" : args.front();
    EXPECT_FALSE(parsed.commandLine.options) << shown;
    EXPECT_EQ(parsed.commandLine.exitStatus, 64) << shown;
    EXPECT_TRUE(parsed.out.empty()) << shown;
    ASSERT_FALSE(parsed.err.empty()) << shown;
    EXPECT_EQ(parsed.err.find('\n'), parsed.err.size() - 1) << parsed.err;
    EXPECT_EQ(parsed.err.rfind("platformq: ", 0), 0u) << parsed.err;
    EXPECT_NE(parsed.err.find("--help"), std::string::npos) << parsed.err;
  }
}

}  // namespace
}  // namespace Platformq
