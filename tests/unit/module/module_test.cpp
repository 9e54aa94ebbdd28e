#include <gtest/gtest.h>

#include "ErrorMgr.h"
#include "FakeOsRoot.h"
#include "LogCapture.h"
#include "PlatformConfigModule.h"
#include "ResultStatus.h"
#include "sys/DynamicLibrary.h"

namespace {

using namespace Module::PlatformConfig;
using Strings = std::vector<std::string>;

_XNode Node(uint32_t kind, Strings list) {
  return _XNode{kind, std::move(list), {}};
}

class ModuleTest : public ::testing::Test {
 protected:
  TestSupport::FakeOsRoot root_;
  PlatformConfigModule module_{""};
};

TEST_F(ModuleTest, ChildrenFormAnswersTheElementAlone) {
  // Entries left under the children's paths by an earlier answer go too.
  ResultMap result{{"/Platform/OS/Info/Version", Node(0, {"old"})}, {"/Other", Node(0, {"v"})}};
  module_.ProcessXQuery("/Platform/OS/Info/@children", result);
  ASSERT_EQ(result.size(), 2u);
  EXPECT_EQ(result.at("/Platform/OS/Info").kind, XNODE_ELEMENT);
  EXPECT_EQ(result.at("/Platform/OS/Info").list.size(), 7u);
  EXPECT_EQ(result.at("/Platform/OS/Info").list.front(), "/Platform/OS/Info/Version");
  EXPECT_EQ(result.count("/Other"), 1u);
  EXPECT_EQ(module_.LastQueryBase(), "/Platform/OS/Info");
}

TEST_F(ModuleTest, ForeignFirstStepsAnswerNothing) {
  ResultMap result;
  for (const char* q : {"/BIOS/Foo", "Platformx/OS", "", "/"}) module_.ProcessXQuery(q, result);
  EXPECT_TRUE(result.empty());
  EXPECT_FALSE(module_.IsOSEnabled());
  // The children form of an unanswered base leaves an empty node under the base.
  module_.ProcessXQuery("/@children", result);
  module_.ProcessXQuery("/BIOS/Foo/@children", result);
  ASSERT_EQ(result.size(), 2u);
  EXPECT_TRUE(result.at("").list.empty() && result.at("/BIOS/Foo").list.empty());
  EXPECT_EQ(module_.LastQueryBase(), "");
}

TEST_F(ModuleTest, OutOfBandAndByValueFormsLeaveEverythingAlone) {
  TestSupport::LogCapture log;
  ResultMap result;
  const std::map<std::string, std::string> values;
  const SDK::OOBConnect connection{"bmc.example", 623, "admin", "secret"};
  module_.ProcessXQuery("/Platform/OS/Info", result, connection);
  module_.ProcessXQuery("/Platform/OS/Info", std::string("out"), connection);
  module_.ProcessXQuery("/Platform/OS/Info", values);
  module_.ProcessXQuery("/Platform/OS/Info", values, connection);
  EXPECT_TRUE(result.empty());
  EXPECT_TRUE(module_.Tree().empty());
  EXPECT_EQ(module_.LastQueryBase(), "");
  EXPECT_TRUE(log.Records().empty());
}

TEST_F(ModuleTest, UnsupportedOverloadThrowsAndLogs1047) {
  TestSupport::LogCapture log;
  const std::string sentence = ErrorMgr::GetInstance()->Get(1047);
  try {
    module_.ProcessXQuery("/Platform/OS", std::string("out"));
    FAIL() << "no ResultStatus thrown";
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), 1047);
    EXPECT_EQ(status.GetMessage(), sentence);
    EXPECT_EQ(status.GetDetail(), "/Platform/OS");
    EXPECT_EQ(status.GetCommand(), XCOMMAND_PROCESS_XQUERY);
  }
  ASSERT_EQ(log.Records().size(), 1u);
  const LogRecord& r = log.Records()[0];
  EXPECT_EQ(r.source, ".\\PlatformConfigModule");
  EXPECT_EQ(r.function, "Module::PlatformConfig::PlatformConfigModule::ProcessXQuery");
  EXPECT_EQ(r.line, 78);
  EXPECT_EQ(r.text, "1047: " + sentence);
}

TEST_F(ModuleTest, PruneRemovesSubtreesAndValuesThatNameKeys) {
  ResultMap result{{"/A", Node(1, {"/A/B", "/A/C"})},
                   {"/A/B", Node(0, {"/Elsewhere"})},  // a value naming a key goes too
                   {"/A/C", Node(0, {"x"})},
                   {"/Elsewhere", Node(0, {"y"})},
                   {"/Z", Node(0, {"z"})}};
  module_.PruneResultMap("/A", result);
  EXPECT_EQ(result.size(), 1u);
  EXPECT_EQ(result.count("/Z"), 1u);

  ResultMap cyclic{{"/L1", Node(1, {"/L2"})}, {"/L2", Node(1, {"/L1"})}};
  module_.PruneResultMap("/L1", cyclic);
  EXPECT_TRUE(cyclic.empty());
}

// The module as a host meets it: loaded by path and created through its one C entry. Deleting
// it is the host's right, and the next creation starts afresh.
TEST(ModuleLifecycle, TheEntryGivesTheSingletonUntilTheHostDeletesIt) {
  std::string error;
  Sys::DynamicLibrary library = Sys::DynamicLibrary::Open(MODULE_PATH, error);
  ASSERT_TRUE(library.IsLoaded()) << error;
  auto entry = reinterpret_cast<void* (*)()>(library.Symbol("GetPlatformConfigCreationInfo"));
  ASSERT_NE(entry, nullptr);
  auto factory = reinterpret_cast<PlatformConfigModule* (*)()>(entry());
  PlatformConfigModule* first = factory();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(factory(), first);
  EXPECT_EQ(PlatformConfigModule::CreateInstance(), first);  // one module in the process

  TestSupport::FakeOsRoot root;
  ResultMap result;
  first->ProcessXQuery("/Platform/OS/Info", result);
  EXPECT_EQ(result.at("/Platform/OS/Info/Type").list, Strings{"Linux"});
  EXPECT_THROW(first->ProcessXQuery("/Platform/OS", std::string()), ResultStatus);
  delete first;  // the last answer's subtree goes with it

  PlatformConfigModule* second = PlatformConfigModule::CreateInstance();
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(second->Tree().empty());
  delete second;
}

}  // namespace
