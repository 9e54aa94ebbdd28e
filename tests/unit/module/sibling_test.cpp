#include <gtest/gtest.h>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "LogCapture.h"
#include "ResultStatus.h"
#include "SmbiosBuilder.h"
#include "TempDir.h"
#include "common.h"

namespace {

using namespace Module::PlatformConfig;
using Module::BMCConfig::BMCConfigModule;
using Strings = std::vector<std::string>;

std::string BiosImage() {
  using namespace SmbiosTest;
  const Bytes bios = Record(0, 0, 0x12, {{4, 1}, {5, 2}, {8, 3}}, {"Acme", "V1.2", "01/02/2026"});
  return Text(Image(EntryPoint3(0x100), Join({bios, kEndOfTable})));
}

// Points the BIOS module at an image (or a missing file) and a scripted BMC source.
class SiblingTest : public ::testing::Test {
 protected:
  void UseImage(const std::string& bytes) {
    dir_.Write("OrdixServMgmtSettings.ini", "[SMBIOS]\nImage=" + dir_.Path() + "/dmi.bin\n");
    if (!bytes.empty()) dir_.Write("dmi.bin", bytes);
  }
  void SetUp() override {
    previous_ = BMCConfigModule::InstallAnswerSource([](const std::string& q, ResultMap& a) {
      if (q == "/BMC/Fail") throw ResultStatus(2040, "down", q, XCOMMAND_NONE);
      a[q] = _XNode{XNODE_VALUE, {"0 c0 82 0", "c0 82 0"}, {}};
    });
  }
  void TearDown() override { BMCConfigModule::InstallAnswerSource(previous_); }
  TestSupport::TempDir dir_;
  TestSupport::ScopedEnv env_{"ORDIX_CONFIG_DIR", dir_.Path()};
  BMCConfigModule::AnswerSource previous_;
  NodeTree tree_;
};

TEST_F(SiblingTest, GetQueryRoutesByFirstStepAndReadsTheFirstEntry) {
  UseImage(BiosImage());
  ResultMap answer;
  EXPECT_EQ(GetQuery("/BMC/SENSOR[5]/VALUE", answer), (Strings{"0 c0 82 0", "c0 82 0"}));
  ResultMap bios;
  EXPECT_EQ(GetQuery("/BIOS/Vendor", bios), Strings{"Acme"});
  // The smallest key answers: here an entry the caller left in the map.
  ResultMap earlier{{"/A", _XNode{XNODE_VALUE, {"first"}, {}}}};
  EXPECT_EQ(GetQuery("/BIOS/Version", earlier), Strings{"first"});
  for (const char* nobody : {"/Platform/OS", "/Other/X", "", "/"}) {
    ResultMap empty;
    EXPECT_TRUE(GetQuery(nobody, empty).empty()) << nobody;
  }
  ResultMap none;
  EXPECT_TRUE(GetQuery(nullptr, none).empty());
}

TEST_F(SiblingTest, GetQueryTurnsASiblingFailureIntoOneEmptyValue) {
  UseImage("");  // the configured image does not exist
  TestSupport::LogCapture log;
  for (const char* failing : {"/BMC/Fail", "/SMBIOS/Type4/@children"}) {
    ResultMap answer;
    EXPECT_EQ(GetQuery(failing, answer), Strings{""}) << failing;
  }
  const TestSupport::LoggedError failed{".\\common", "Module::PlatformConfig::GetQuery", 155, 1034};
  EXPECT_EQ(log.Errors(), (std::vector<TestSupport::LoggedError>{failed, failed}));
  // The other helpers let the failure through.
  EXPECT_THROW(GetBIOSValue("/BIOS", "/Vendor", tree_), ResultStatus);
  EXPECT_THROW(ImportBIOSSubtree("/P", "/BIOS", tree_), ResultStatus);
}

TEST_F(SiblingTest, BiosValuesAndImportedSubtrees) {
  UseImage(BiosImage());
  EXPECT_EQ(GetBIOSValue("/BIOS", "/ReleaseDate", tree_), "01/02/2026");
  EXPECT_EQ(GetBIOSValue("/SMBIOS/MemoryArray", "/Nothing", tree_), "");

  ImportBIOSSubtree("/Platform/X", "/BIOS", tree_);
  ASSERT_EQ(tree_.count("/Platform/X"), 1u);
  EXPECT_EQ(tree_.at("/Platform/X")->kind, XNODE_ELEMENT);
  EXPECT_EQ(tree_.at("/Platform/X")->list,
            (Strings{"/Platform/X/Vendor", "/Platform/X/Version", "/Platform/X/ReleaseDate"}));
  EXPECT_EQ(tree_.at("/Platform/X/Version")->list, Strings{"V1.2"});
}

TEST_F(SiblingTest, ImportedLeavesKeepTheirFirstValueOnly) {
  const auto previous = Module::BIOSConfig::BIOSConfigModule::InstallAnswerSource(
      [](const std::string& q, ResultMap& a) {
        a[q] = _XNode{XNODE_ELEMENT, {q + "/Registered"}, {}};
        a[q + "/Registered"] = _XNode{XNODE_VALUE, {"Yes", "and more"}, {}};
      });
  ImportBIOSSubtree("/P/TypeDetail", "/SMBIOS/MemoryArray[1]/MemoryDevice[1]/TypeDetail", tree_);
  Module::BIOSConfig::BIOSConfigModule::InstallAnswerSource(previous);
  EXPECT_EQ(tree_.at("/P/TypeDetail")->list, Strings{"/P/TypeDetail/Registered"});
  EXPECT_EQ(tree_.at("/P/TypeDetail/Registered")->list, Strings{"Yes"});
}

TEST(RebaseKey, KeepsTheLastStepAfterTheLastIndex) {
  const std::pair<const char*, const char*> rebased[] = {
      {"/A/B[3]/C/D", "/P/D"},     {"/A/B[3]/C", "/P"}, {"/A/B[1]", "/P"}, {"/A/B[1]/", "/P"},
      {"/A/B/C", "/P/C"},          {"", "/P"},          {"]", "/P"},       {"/A[1]/B[2]/C", "/P"},
      {"/A[1]/B/C[2]/D/E", "/P/E"}};
  for (const auto& [key, expected] : rebased) EXPECT_EQ(RebaseKey("/P", key), expected) << key;
}

}  // namespace
