#include <gtest/gtest.h>

#include "common.h"

namespace {

using namespace Module::PlatformConfig;
using Strings = std::vector<std::string>;

NodeTree TreeWithRoot(const std::string& root) {
  NodeTree tree;
  AddNode("", root, "", 1, tree);
  return tree;
}

TEST(AddNode, LeafIsStoredAndLinkedToItsParent) {
  NodeTree tree = TreeWithRoot("/Platform/OS/Info");
  AddNode("/Platform/OS/Info", "/Version", "6.0", 0, tree);

  const _XNode& leaf = *tree.at("/Platform/OS/Info/Version");
  EXPECT_EQ(leaf.kind, XNODE_VALUE);
  EXPECT_EQ(leaf.list, Strings{"6.0"});
  EXPECT_TRUE(leaf.attributes.empty());
  EXPECT_EQ(tree.at("/Platform/OS/Info")->list, Strings{"/Platform/OS/Info/Version"});
}

TEST(AddNode, ElementsStartEmptyUnlessGivenAFirstChild) {
  NodeTree tree = TreeWithRoot("/P");
  AddNode("/P", "/E", "", 1, tree);
  AddNode("/P", "/F", "/P/F/first", 1, tree);
  EXPECT_EQ(tree.at("/P/E")->kind, XNODE_ELEMENT);
  EXPECT_TRUE(tree.at("/P/E")->list.empty());
  EXPECT_EQ(tree.at("/P/F")->list, Strings{"/P/F/first"});
  EXPECT_EQ(tree.at("/P")->list, (Strings{"/P/E", "/P/F"}));
}

TEST(AddNode, ChildrenKeepDocumentOrderAndRepeats) {
  NodeTree tree = TreeWithRoot("/P");
  AddNode("/P", "/Z", "1", 0, tree);
  AddNode("/P", "/A", "2", 0, tree);
  AddNode("/P", "/Z", "3", 0, tree);
  EXPECT_EQ(tree.at("/P")->list, (Strings{"/P/Z", "/P/A", "/P/Z"}));
  EXPECT_EQ(tree.at("/P/Z")->list, Strings{"3"});  // the later node replaced the first
}

TEST(AddNode, MissingParentIsNotInvented) {
  NodeTree tree;
  AddNode("/Absent", "/Leaf", "v", 0, tree);
  EXPECT_EQ(tree.count("/Absent/Leaf"), 1u);
  EXPECT_EQ(tree.count("/Absent"), 0u);
}

TEST(AddLeaf, ReplacesWithoutLinking) {
  NodeTree tree = TreeWithRoot("/P");
  AddNode("/P", "/E", "", 1, tree);
  AddLeaf("v", "/P/E", tree);
  EXPECT_EQ(tree.at("/P/E")->kind, XNODE_VALUE);
  EXPECT_EQ(tree.at("/P/E")->list, Strings{"v"});
  EXPECT_EQ(tree.at("/P")->list, Strings{"/P/E"});
}

TEST(ToGenericPath, EmptiesIndexesAndKeepsPredicates) {
  EXPECT_EQ(ToGenericPath("/Platform/ProcessorInfo/LogicalProcessor[12]/LogicalProcessorUsage"),
            "/Platform/ProcessorInfo/LogicalProcessor[]/LogicalProcessorUsage");
  EXPECT_EQ(ToGenericPath("/A[@x='1']/B[7]"), "/A[@x='1']/B[]");
  EXPECT_EQ(ToGenericPath("/A[1]/B[22]/C[333]"), "/A[]/B[]/C[]");
  EXPECT_EQ(ToGenericPath("/A[]/B"), "/A[]/B");
  EXPECT_EQ(ToGenericPath("/Platform/OS"), "/Platform/OS");
  EXPECT_EQ(ToGenericPath(""), "");
}

TEST(ToGenericPath, UnclosedBracketStopsAtTheEnd) {
  EXPECT_EQ(ToGenericPath("/A[12"), "/A[");
  EXPECT_EQ(ToGenericPath("/A["), "/A[");
  EXPECT_EQ(ToGenericPath("["), "[");
  EXPECT_EQ(ToGenericPath("/A[1]/B[@"), "/A[]/B[@");
}

}  // namespace
