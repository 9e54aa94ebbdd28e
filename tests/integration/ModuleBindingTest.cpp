// The tool's binding of the module, in process: entry points reached by name, ownership of the
// module's instance, and errors raised by the module caught on this side.

#include "ModuleBinding.h"

#include <gtest/gtest.h>

#include "ResultStatus.h"

namespace Platformq {
namespace {

constexpr uint16_t kUnsupportedForm = 1047;
constexpr const char* kUnitsQuery = "/Platform/OS/MemoryInfo/Units";

void ExpectUnitsAnswer(ModuleBinding& module) {
  ResultMap result{{"/kept", {XNODE_VALUE, {"1"}, {}}}};
  module.Process(kUnitsQuery, result);
  ASSERT_EQ(result.count(kUnitsQuery), 1u);
  EXPECT_EQ(result[kUnitsQuery].kind, XNODE_VALUE);
  EXPECT_EQ(result[kUnitsQuery].list, std::vector<std::string>{"MB"});
  EXPECT_EQ(result.count("/kept"), 1u) << "the answer is added to what the map held";
}

TEST(ModuleBindingTest, AnswersIntoTheCallersMap) {
  ModuleBinding module = ModuleBinding::Load(PLATFORMCONFIG_MODULE_PATH);
  ExpectUnitsAnswer(module);
  ExpectUnitsAnswer(module);
}

TEST(ModuleBindingTest, AStatusRaisedByTheModuleIsCaughtHere) {
  ModuleBinding module = ModuleBinding::Load(PLATFORMCONFIG_MODULE_PATH);
  try {
    module.ProcessIntoText(kUnitsQuery, std::string());
    FAIL() << "the text form is not supported by the module";
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), kUnsupportedForm);
    EXPECT_EQ(status.GetCommand(), XCOMMAND_PROCESS_XQUERY);
    EXPECT_FALSE(status.GetMessage().empty());
  }
  ExpectUnitsAnswer(module);
}

TEST(ModuleBindingTest, TheInstanceIsReleasedWithTheBindingAndCanBeMadeAgain) {
  for (int round = 0; round < 3; ++round) {
    ModuleBinding module = ModuleBinding::Load(PLATFORMCONFIG_MODULE_PATH);
    ExpectUnitsAnswer(module);
  }
}

TEST(ModuleBindingTest, OneBindingAtATimeOwnsTheModulesInstance) {
  ModuleBinding first = ModuleBinding::Load(PLATFORMCONFIG_MODULE_PATH);
  EXPECT_THROW(ModuleBinding::Load(PLATFORMCONFIG_MODULE_PATH), BindingError);
  ExpectUnitsAnswer(first);

  ModuleBinding moved = std::move(first);
  ExpectUnitsAnswer(moved);
  ResultMap result;
  EXPECT_THROW(first.Process(kUnitsQuery, result), BindingError);  // NOLINT: moved from on purpose
}

TEST(ModuleBindingTest, ALibraryThatCannotServeAsTheModuleIsRefusedByName) {
  try {
    ModuleBinding::Load(XQUERY_LIBRARY_PATH);
    FAIL() << "a library without the entry point was accepted";
  } catch (const BindingError& e) {
    EXPECT_NE(std::string(e.what()).find("does not export GetPlatformConfigCreationInfo"),
              std::string::npos)
        << e.what();
  }
  try {
    ModuleBinding::Load("/nonexistent/libPlatformConfig.so");
    FAIL() << "a missing file was accepted";
  } catch (const BindingError& e) {
    EXPECT_NE(std::string(e.what()).find("/nonexistent/libPlatformConfig.so"), std::string::npos)
        << e.what();
  }
}

}  // namespace
}  // namespace Platformq
