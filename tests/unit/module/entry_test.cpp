#include <gtest/gtest.h>

#include "FakeOsRoot.h"
#include "PlatformConfigModule.h"
#include "ResultStatus.h"
#include "sys/DynamicLibrary.h"

namespace {

using Module::PlatformConfig::PlatformConfigModule;
using TestSupport::FakeOsRoot;

// The module as a host meets it: loaded by path, created through its one C entry.
TEST(ModuleEntry, LoadedByPathCreatesTheSingleton) {
  std::string error;
  Sys::DynamicLibrary library = Sys::DynamicLibrary::Open(MODULE_PATH, error);
  ASSERT_TRUE(library.IsLoaded()) << error;

  using EntryFn = void* (*)();
  using FactoryFn = PlatformConfigModule* (*)();
  auto entry = reinterpret_cast<EntryFn>(library.Symbol("GetPlatformConfigCreationInfo"));
  ASSERT_NE(entry, nullptr);
  auto factory = reinterpret_cast<FactoryFn>(entry());
  ASSERT_NE(factory, nullptr);

  PlatformConfigModule* module = factory();
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(factory(), module);
  EXPECT_EQ(PlatformConfigModule::CreateInstance(), module);  // one module in the process

  FakeOsRoot root;
  module->Initialize("");
  ResultMap result;
  module->ProcessXQuery("/Platform/OS/Info/Type", result);
  ASSERT_EQ(result.count("/Platform/OS/Info/Type"), 1u);
  EXPECT_EQ(result.at("/Platform/OS/Info/Type").list, std::vector<std::string>{"Linux"});

  // The unsupported overload's error reaches this side of the boundary as a ResultStatus.
  EXPECT_THROW(module->ProcessXQuery("/Platform/OS", std::string()), ResultStatus);
  delete module;
}

TEST(ModuleEntry, OnlyTheInterfaceIsExported) {
  std::string error;
  Sys::DynamicLibrary library = Sys::DynamicLibrary::Open(MODULE_PATH, error);
  ASSERT_TRUE(library.IsLoaded()) << error;
  EXPECT_NE(library.Symbol("GetPlatformConfigCreationInfo"), nullptr);
  // Internal helpers stay hidden (here: the error reporter every site goes through).
  EXPECT_EQ(library.Symbol("_ZN6Module14PlatformConfig11ReportErrorEtRKNS0_9ErrorSiteENSt7__"
                           "cxx1112basic_stringIcSt11char_traitsIcESaIcEEE9_XCOMMAND"),
            nullptr);
  EXPECT_NE(library.Symbol("_ZN6Module14PlatformConfig20PlatformConfigModule14CreateInstanceEv"),
            nullptr);
}

}  // namespace
