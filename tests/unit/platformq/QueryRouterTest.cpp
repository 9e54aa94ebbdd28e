#include "QueryRouter.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace Platformq {
namespace {

// A router whose handlers record which module got which query and answer with a marker leaf.
class QueryRouterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* step : {"Platform", "SMBIOS", "BMC"}) {
      router_.Add(step, [this, step](const std::string& query, ResultMap& result) {
        calls_.push_back(std::string(step) + " <- " + query);
        result[query] = {XNODE_VALUE, {step}, {}};
      });
    }
  }

  QueryRouter router_;
  std::vector<std::string> calls_;
};

TEST_F(QueryRouterTest, SendsEachQueryToTheHandlerOfItsFirstStep) {
  ResultMap result;
  EXPECT_TRUE(router_.Route("/Platform/OS/Info", result));
  EXPECT_TRUE(router_.Route("/SMBIOS/Type4/@children", result));
  EXPECT_TRUE(router_.Route("/BMC/SEL/RECORD", result));
  EXPECT_TRUE(router_.Route("/Platform", result));
  EXPECT_EQ(calls_, (std::vector<std::string>{"Platform <- /Platform/OS/Info",
                                              "SMBIOS <- /SMBIOS/Type4/@children",
                                              "BMC <- /BMC/SEL/RECORD", "Platform <- /Platform"}));
  EXPECT_EQ(result.size(), 4u) << "every handler adds to the one map";
}

TEST_F(QueryRouterTest, AQueryNoHandlerTakesLeavesTheMapAlone) {
  ResultMap result{{"/kept", {XNODE_VALUE, {"1"}, {}}}};
  for (const char* query : {"/BIOS/Foo", "/PlatformX/OS", "/platform/OS", "/Platfor", "", "/",
                            "Platform[0]/OS", "/OS/Platform"}) {
    EXPECT_FALSE(router_.Route(query, result)) << query;
  }
  EXPECT_TRUE(calls_.empty());
  EXPECT_EQ(result.size(), 1u);
}

TEST_F(QueryRouterTest, FirstStepIgnoresEmptyStepsAndSeparatorsInPredicates) {
  EXPECT_EQ(FirstStep("//Platform//OS/"), "Platform");
  EXPECT_EQ(FirstStep("Platform/OS"), "Platform");
  EXPECT_EQ(FirstStep("/A[@x='1/2']/B"), "A[@x='1/2']");
  EXPECT_EQ(FirstStep("///"), "");
  ResultMap result;
  EXPECT_TRUE(router_.Route("//Platform//OS", result));
}

TEST_F(QueryRouterTest, ALaterHandlerForTheSameStepReplacesTheEarlierOne) {
  int replaced = 0;
  router_.Add("Platform", [&replaced](const std::string&, ResultMap&) { ++replaced; });
  ResultMap result;
  EXPECT_TRUE(router_.Route("/Platform/OS", result));
  EXPECT_EQ(replaced, 1);
  EXPECT_TRUE(calls_.empty());
}

TEST_F(QueryRouterTest, WhatAHandlerThrowsReachesTheCaller) {
  router_.Add("BMC", [](const std::string&, ResultMap&) { throw std::runtime_error("dead BMC"); });
  ResultMap result;
  EXPECT_THROW(router_.Route("/BMC/SEL/RECORD", result), std::runtime_error);
}

}  // namespace
}  // namespace Platformq
