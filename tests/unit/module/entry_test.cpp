#include <gtest/gtest.h>

#include "FakeOsRoot.h"
#include "PlatformConfigModule.h"
#include "ResultStatus.h"
#include "sys/DynamicLibrary.h"

namespace {

using Module::PlatformConfig::PlatformConfigModule;

// The module as a host meets it: loaded by path, created through its one C entry.
TEST(ModuleEntry, LoadedByPathCreatesTheSingleton) {
  std::string error;
  Sys::DynamicLibrary library = Sys::DynamicLibrary::Open(MODULE_PATH, error);
  ASSERT_TRUE(library.IsLoaded()) << error;
  auto entry = reinterpret_cast<void* (*)()>(library.Symbol("GetPlatformConfigCreationInfo"));
  ASSERT_NE(entry, nullptr);
  auto factory = reinterpret_cast<PlatformConfigModule* (*)()>(entry());
  PlatformConfigModule* module = factory();
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(factory(), module);
  EXPECT_EQ(PlatformConfigModule::CreateInstance(), module);  // one module in the process

  TestSupport::FakeOsRoot root;
  ResultMap result;
  module->ProcessXQuery("/Platform/OS/Info/Type", result);
  EXPECT_EQ(result.at("/Platform/OS/Info/Type").list, std::vector<std::string>{"Linux"});
  // The unsupported overload's error reaches this side of the boundary as a ResultStatus.
  EXPECT_THROW(module->ProcessXQuery("/Platform/OS", std::string()), ResultStatus);
  delete module;
}

}  // namespace
