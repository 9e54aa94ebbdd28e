// platformq's command line as a user meets it: output forms, exit statuses and messages.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "ToolRun.h"

namespace IntegrationTest {
namespace {

using Json = nlohmann::ordered_json;

const std::vector<std::string> kInfoChildren{"Version", "Build", "Domain", "HostName",
                                             "Machine", "Type",  "Name"};

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(PlatformqCommandTest, AChildrenQueryShowsTheElementAndItsChildNamesOnly) {
  const ToolResult tree = RunPlatformq({"/Platform/OS/Info/@children"});
  ASSERT_EQ(tree.exitStatus, 0) << tree.err;
  std::vector<std::string> expected{"/Platform/OS/Info"};
  for (const std::string& name : kInfoChildren) expected.push_back("  " + name);
  EXPECT_EQ(Lines(tree.out), expected);

  const ToolResult json = RunPlatformq({"--format", "json", "/Platform/OS/Info/@children"});
  ASSERT_EQ(json.exitStatus, 0) << json.err;
  const Json answer = Json::parse(json.out);
  ASSERT_EQ(answer.size(), 1u) << json.out;
  ASSERT_TRUE(answer.contains("/Platform/OS/Info")) << json.out;
  std::vector<std::string> paths;
  for (const std::string& name : kInfoChildren) paths.push_back("/Platform/OS/Info/" + name);
  EXPECT_EQ(answer["/Platform/OS/Info"]["kind"], 1);
  EXPECT_EQ(answer["/Platform/OS/Info"]["list"].get<std::vector<std::string>>(), paths);
}

TEST(PlatformqCommandTest, AQueryNobodyAnswersExitsOne) {
  const ToolResult foreign = RunPlatformq({"/BIOS/Foo"});
  EXPECT_EQ(foreign.exitStatus, 1);
  EXPECT_NE(foreign.err.find("no module answers \"/BIOS/Foo\""), std::string::npos) << foreign.err;
  EXPECT_EQ(foreign.out, "");

  const ToolResult unknown = RunPlatformq({"/Platform/Nothing"});
  EXPECT_EQ(unknown.exitStatus, 1) << unknown.err;

  // The answered query is still printed next to the unanswered one.
  const ToolResult mixed = RunPlatformq({"/Platform/OS/MemoryInfo/Units", "/BIOS/Foo"});
  EXPECT_EQ(mixed.exitStatus, 1);
  EXPECT_EQ(mixed.out, "/Platform/OS/MemoryInfo/Units = MB\n");
}

TEST(PlatformqCommandTest, UsageErrorsExit64WithAOneLineReason) {
  for (const std::vector<std::string>& args : {std::vector<std::string>{},
                                               {"--no-such-option", "/Platform/OS"},
                                               {"--format", "xml", "/Platform/OS"},
                                               {"--repeat", "0", "/Platform/OS"}}) {
    const ToolResult run = RunPlatformq(args);
    EXPECT_EQ(run.exitStatus, 64) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(Lines(run.err).size(), 1u) << run.err;
    EXPECT_NE(run.err.find("--help"), std::string::npos) << run.err;
  }
}

TEST(PlatformqCommandTest, HelpExitsZeroAndExplainsEveryOption) {
  const ToolResult run = RunPlatformq({"--help"});
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(run.err, "");
  for (const char* text :
       {"--module", "--config-dir", "ORDIX_CONFIG_DIR", "--format", "tree", "json", "--repeat",
        "--interval", "QUERY", "/Platform/OS", "/Platform/OS/Info/@children",
        "/Platform/OS/NetworkInfo/NIC[0]/ReceiveBytes",
        "/Platform/MemoryTopology/Errors/CorErrorCount",
        "/Platform/ProcessorInfo/NumberOfPhysicalProcessor", "/SMBIOS/Type4/@children",
        "/BMC/SEL/RECORD"}) {
    EXPECT_NE(run.out.find(text), std::string::npos) << text;
  }
}

TEST(PlatformqCommandTest, AModuleThatCannotBeUsedExitsTwoAndSaysWhy) {
  const ToolResult missing = RunPlatformq({"--module", "/nonexistent", "/Platform/OS"});
  EXPECT_EQ(missing.exitStatus, 2);
  EXPECT_EQ(missing.out, "");
  EXPECT_NE(missing.err.find("cannot load module /nonexistent"), std::string::npos) << missing.err;

  // A real library, but not a module.
  const ToolResult foreign = RunPlatformq({"--module", XQUERY_LIBRARY_PATH, "/Platform/OS"});
  EXPECT_EQ(foreign.exitStatus, 2);
  EXPECT_NE(foreign.err.find("does not export GetPlatformConfigCreationInfo"), std::string::npos)
      << foreign.err;
}

TEST(PlatformqCommandTest, ModuleGivenExplicitlyIsTheOneUsed) {
  const ToolResult run =
      RunPlatformq({"--module", PLATFORMCONFIG_MODULE_PATH, "/Platform/OS/MemoryInfo/Units"});
  EXPECT_EQ(run.exitStatus, 0) << run.err;
  EXPECT_EQ(run.out, "/Platform/OS/MemoryInfo/Units = MB\n");
}

TEST(PlatformqCommandTest, RepeatedJsonRoundsAreOneObjectPerLine) {
  const ToolResult run = RunPlatformq(
      {"--repeat", "3", "--interval", "10", "--format", "json", "/Platform/OS/MemoryInfo/Units"});
  ASSERT_EQ(run.exitStatus, 0) << run.err;
  const std::vector<std::string> lines = Lines(run.out);
  ASSERT_EQ(lines.size(), 3u) << run.out;
  const Json expected =
      Json::parse(R"({"/Platform/OS/MemoryInfo/Units":{"kind":0,"list":["MB"]}})");
  for (const std::string& line : lines) EXPECT_EQ(Json::parse(line), expected) << line;
}

}  // namespace
}  // namespace IntegrationTest
