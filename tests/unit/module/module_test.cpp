#include <gtest/gtest.h>

#include "ErrorMgr.h"
#include "FakeOsRoot.h"
#include "LogCapture.h"
#include "PlatformConfigModule.h"
#include "ResultStatus.h"

namespace {

using namespace Module::PlatformConfig;
using TestSupport::FakeOsRoot;
using TestSupport::LogCapture;
using Strings = std::vector<std::string>;

_XNode Leaf(const std::string& value) {
  _XNode n;
  n.list = {value};
  return n;
}

class ModuleTest : public ::testing::Test {
 protected:
  FakeOsRoot root_;
  PlatformConfigModule module_{""};
};

TEST_F(ModuleTest, ChildrenFormAnswersTheElementAlone) {
  // Entries left under the children's paths by an earlier answer must go too.
  ResultMap result{{"/Platform/OS/Info/Version", Leaf("old")}, {"/Unrelated", Leaf("kept")}};
  module_.ProcessXQuery("/Platform/OS/Info/@children", result);

  ASSERT_EQ(result.size(), 2u);
  const _XNode& info = result.at("/Platform/OS/Info");
  EXPECT_EQ(info.kind, XNODE_ELEMENT);
  EXPECT_EQ(info.list, (Strings{"/Platform/OS/Info/Version", "/Platform/OS/Info/Build",
                                "/Platform/OS/Info/Domain", "/Platform/OS/Info/HostName",
                                "/Platform/OS/Info/Machine", "/Platform/OS/Info/Type",
                                "/Platform/OS/Info/Name"}));
  EXPECT_EQ(result.at("/Unrelated").list, Strings{"kept"});
}

TEST_F(ModuleTest, ForeignFirstStepsAnswerNothing) {
  ResultMap result;
  module_.ProcessXQuery("/BIOS/Foo", result);
  module_.ProcessXQuery("Platformx/OS", result);
  module_.ProcessXQuery("", result);
  module_.ProcessXQuery("/", result);
  EXPECT_TRUE(result.empty());
  EXPECT_FALSE(module_.IsOSEnabled());

  // The children form of an unanswered base leaves an empty node under it.
  module_.ProcessXQuery("/@children", result);
  module_.ProcessXQuery("/BIOS/Foo/@children", result);
  EXPECT_EQ(result.size(), 2u);
  EXPECT_EQ(result.at("").kind, XNODE_VALUE);
  EXPECT_TRUE(result.at("").list.empty());
  EXPECT_TRUE(result.at("/BIOS/Foo").list.empty());
}

TEST_F(ModuleTest, WholeBranchAndSingleLeaf) {
  ResultMap result;
  module_.ProcessXQuery("/Platform/OS/MemoryInfo/Units", result);
  EXPECT_EQ(result.size(), 1u);
  EXPECT_EQ(result.at("/Platform/OS/MemoryInfo/Units").list, Strings{"MB"});

  ResultMap branch;
  module_.ProcessXQuery("/Platform/OS/MemoryInfo", branch);
  EXPECT_EQ(branch.size(), 8u);  // the element and its seven leaves
}

TEST_F(ModuleTest, UnsupportedOverloadThrows1047) {
  LogCapture log;
  try {
    module_.ProcessXQuery("/Platform/OS", std::string("out"));
    FAIL() << "no ResultStatus thrown";
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), 1047);
    EXPECT_EQ(status.GetDetail(), "/Platform/OS");
    EXPECT_EQ(status.GetCommand(), XCOMMAND_PROCESS_XQUERY);
    EXPECT_EQ(status.GetMessage(), ErrorMgr::GetInstance()->Get(1047));
  }
  ASSERT_EQ(log.Records().size(), 1u);
  const LogRecord& r = log.Records()[0];
  EXPECT_EQ(r.source, ".\\PlatformConfigModule");
  EXPECT_EQ(r.function, "Module::PlatformConfig::PlatformConfigModule::ProcessXQuery");
  EXPECT_EQ(r.line, 78);
  EXPECT_EQ(r.text, "1047: " + ErrorMgr::GetInstance()->Get(1047));
}

TEST_F(ModuleTest, OutOfBandAndByValueFormsChangeNothing) {
  LogCapture log;
  ResultMap result{{"/Kept", Leaf("v")}};
  const ResultMap before = result;
  SDK::OOBConnect bmc{"127.0.0.1", 623, "admin", "secret"};
  module_.ProcessXQuery("/Platform/OS", std::string(), bmc);
  module_.ProcessXQuery("/Platform/OS", result, bmc);
  module_.ProcessXQuery("/Platform/OS", std::map<std::string, std::string>{});
  module_.ProcessXQuery("/Platform/OS", std::map<std::string, std::string>{}, bmc);
  EXPECT_EQ(result.size(), before.size());
  EXPECT_FALSE(module_.IsOSEnabled());
  EXPECT_TRUE(log.Records().empty());
}

TEST_F(ModuleTest, PruneRemovesTheSubtreeAndValuesThatNameKeys) {
  _XNode a;
  a.kind = XNODE_ELEMENT;
  a.list = {"/A/B", "/A/C"};
  ResultMap result{{"/A", a},
                   {"/A/B", Leaf("/Elsewhere")},  // a value that names a key goes too
                   {"/A/C", Leaf("x")},
                   {"/Elsewhere", Leaf("y")},
                   {"/Z", Leaf("z")}};
  module_.PruneResultMap("/A", result);
  EXPECT_EQ(result.size(), 1u);
  EXPECT_EQ(result.count("/Z"), 1u);

  // Lists that lead back to where they started end once everything on the way is gone.
  _XNode loop;
  loop.kind = XNODE_ELEMENT;
  loop.list = {"/L2"};
  _XNode back;
  back.kind = XNODE_ELEMENT;
  back.list = {"/L1"};
  ResultMap cyclic{{"/L1", loop}, {"/L2", back}};
  module_.PruneResultMap("/L1", cyclic);
  EXPECT_TRUE(cyclic.empty());

  ResultMap untouched{{"/Z", Leaf("z")}};
  module_.PruneResultMap("/Absent", untouched);
  EXPECT_EQ(untouched.size(), 1u);
}

TEST(ModuleLifecycle, DestructionFreesAndTheNextInstanceIsNew) {
  FakeOsRoot root;
  PlatformConfigModule* first = PlatformConfigModule::CreateInstance();
  EXPECT_EQ(PlatformConfigModule::CreateInstance(), first);
  ResultMap result;
  first->ProcessXQuery("/Platform/OS/Info", result);
  delete first;  // the framework's right; the last answer's subtree is freed with it

  PlatformConfigModule* second = PlatformConfigModule::CreateInstance();
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(second->Tree().empty());
  delete second;
}

}  // namespace
