#include <gtest/gtest.h>

#include "common.h"

namespace {

using namespace Module::PlatformConfig;
using Strings = std::vector<std::string>;

TEST(AddNode, StoresLinksInDocumentOrderAndReplaces) {
  NodeTree tree;
  AddNode("", "/P", "", 1, tree);
  AddNode("/P", "/Version", "6.0", 0, tree);
  AddNode("/P", "/E", "", 1, tree);
  AddNode("/P", "/F", "/P/F/first", 1, tree);
  AddNode("/P", "/Version", "6.1", 0, tree);  // listed twice, the later node replaces

  EXPECT_EQ(tree.at("/P")->list, (Strings{"/P/Version", "/P/E", "/P/F", "/P/Version"}));
  EXPECT_EQ(tree.at("/P/Version")->kind, XNODE_VALUE);
  EXPECT_EQ(tree.at("/P/Version")->list, Strings{"6.1"});
  EXPECT_EQ(tree.at("/P/E")->kind, XNODE_ELEMENT);
  EXPECT_TRUE(tree.at("/P/E")->list.empty());
  EXPECT_EQ(tree.at("/P/F")->list, Strings{"/P/F/first"});

  AddLeaf("v", "/P/E", tree);  // replaces without linking again
  EXPECT_EQ(tree.at("/P/E")->list, Strings{"v"});
  EXPECT_EQ(tree.at("/P")->list.size(), 4u);

  AddNode("/Absent", "/Leaf", "v", 0, tree);  // a missing parent is not invented
  EXPECT_EQ(tree.count("/Absent"), 0u);
}

TEST(ToGenericPath, EmptiesIndexesKeepsPredicatesAndStopsAtTheEnd) {
  const std::pair<const char*, const char*> cases[] = {
      {"/Platform/ProcessorInfo/LogicalProcessor[12]/LogicalProcessorUsage",
       "/Platform/ProcessorInfo/LogicalProcessor[]/LogicalProcessorUsage"},
      {"/A[@x='1']/B[7]", "/A[@x='1']/B[]"},
      {"/A[1]/B[22]/C[333]", "/A[]/B[]/C[]"},
      {"/Platform/OS", "/Platform/OS"},
      {"", ""},
      {"/A[12", "/A["},  // an index never closed ends the path
      {"[", "["},
      {"/A[1]/B[@", "/A[]/B[@"},
  };
  for (const auto& [path, generic] : cases) EXPECT_EQ(ToGenericPath(path), generic) << path;
}

TEST(LastIndex, IsPlainDecimalDigitsWithin32BitsInTheLastBrackets) {
  const std::pair<const char*, std::optional<uint32_t>> cases[] = {
      {"/P/LogicalProcessor[1]", 1u},
      {"/P/LogicalProcessor[1]/Usage[12]/X", 12u},
      {"/P/L[007]", 7u},
      {"/P/L[4294967295]", 4294967295u},
      {"/P/L[4294967296]", std::nullopt},  // would be 0 cut to 32 bits
      {"/P/L[4294967297]", std::nullopt},
      {"/P/L[99999999999999999999]", std::nullopt},
      {"/P/L[+1]", std::nullopt},
      {"/P/L[ 1]", std::nullopt},
      {"/P/L[-1]", std::nullopt},
      {"/P/L[1x]", std::nullopt},
      {"/P/L[]", std::nullopt},
      {"/P/L[1", std::nullopt},
      {"/P/L[1]/X[@a='2']", std::nullopt},
      {"/P/L", 0u}};
  for (const auto& [path, index] : cases) EXPECT_EQ(LastIndex(path), index) << path;
}

}  // namespace
