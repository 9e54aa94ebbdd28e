#include "TreePrinter.h"

#include <gtest/gtest.h>

namespace Platformq {
namespace {

_XNode Leaf(std::vector<std::string> values) {
  return {XNODE_VALUE, std::move(values), {}};
}
_XNode Element(std::vector<std::string> children) {
  return {XNODE_ELEMENT, std::move(children), {}};
}

TEST(FormatTreeTest, NestsElementsUnderTheirRootByLastStep) {
  const ResultMap result{
      {"/Platform/OS", Element({"/Platform/OS/Info", "/Platform/OS/MemoryInfo"})},
      {"/Platform/OS/Info", Element({"/Platform/OS/Info/Version", "/Platform/OS/Info/Type"})},
      {"/Platform/OS/Info/Type", Leaf({"Linux"})},
      {"/Platform/OS/Info/Version", Leaf({"6.1.0-18-amd64"})},
      {"/Platform/OS/MemoryInfo", Element({"/Platform/OS/MemoryInfo/Units"})},
      {"/Platform/OS/MemoryInfo/Units", Leaf({"MB"})}};
  // Children follow the element's list order, not the map's.
  EXPECT_EQ(FormatTree(result),
            "/Platform/OS\n"
            "  Info\n"
            "    Version = 6.1.0-18-amd64\n"
            "    Type = Linux\n"
            "  MemoryInfo\n"
            "    Units = MB\n");
}

TEST(FormatTreeTest, AChildrenAnswerPrintsTheAbsentChildrenByName) {
  const ResultMap result{
      {"/Platform/OS/NetworkInfo",
       Element({"/Platform/OS/NetworkInfo/NumNICs", "/Platform/OS/NetworkInfo/NIC[0]",
                "/Platform/OS/NetworkInfo/NIC[@name='a/b']"})}};
  EXPECT_EQ(FormatTree(result),
            "/Platform/OS/NetworkInfo\n"
            "  NumNICs\n"
            "  NIC[0]\n"
            "  NIC[@name='a/b']\n");
}

TEST(FormatTreeTest, LeavesShowEveryValueAndRootsTheirFullPath) {
  const ResultMap result{{"/BMC/SENSOR[3]/VALUE", Leaf({"0 c0 82 0", "c0 82 0", "82 0", "0"})},
                         {"/Platform/Nothing", Leaf({})},
                         {"/Platform/OS/MemoryInfo/Units", Leaf({"MB"})}};
  // Unrelated answers are separate roots, in map order.
  EXPECT_EQ(FormatTree(result),
            "/BMC/SENSOR[3]/VALUE = 0 c0 82 0; c0 82 0; 82 0; 0\n"
            "/Platform/Nothing =\n"
            "/Platform/OS/MemoryInfo/Units = MB\n");
}

TEST(FormatTreeTest, AnEmptyMapPrintsNothing) {
  EXPECT_EQ(FormatTree({}), "");
}

TEST(FormatTreeTest, ALeafValueThatNamesAKeyIsPrintedAsAValue) {
  const ResultMap result{{"/A", Element({"/A/Link"})}, {"/A/Link", Leaf({"/A"})}};
  EXPECT_EQ(FormatTree(result), "/A\n  Link = /A\n");
}

TEST(FormatTreeTest, CyclesEndAndEveryEntryIsPrinted) {
  // An element listing itself is still a root.
  EXPECT_EQ(FormatTree({{"/A", Element({"/A", "/A/B"})}, {"/A/B", Leaf({"1"})}}),
            "/A\n  A\n  B = 1\n");
  // A child leading back to its ancestor stops there.
  EXPECT_EQ(FormatTree({{"/R", Element({"/R/A"})},
                        {"/R/A", Element({"/R/A/B"})},
                        {"/R/A/B", Element({"/R/A"})}}),
            "/R\n  A\n    B\n      A\n");
  // A cycle that no root leads into is still printed, from its first key.
  EXPECT_EQ(
      FormatTree({{"/X", Element({"/Y"})}, {"/Y", Element({"/X", "/Y/V"})}, {"/Y/V", Leaf({"1"})}}),
      "/X\n  Y\n    X\n    V = 1\n");
}

TEST(FormatTreeTest, AChildListedTwiceIsExpandedOnce) {
  const ResultMap result{
      {"/P", Element({"/P/C", "/P/C"})}, {"/P/C", Element({"/P/C/L"})}, {"/P/C/L", Leaf({"v"})}};
  EXPECT_EQ(FormatTree(result), "/P\n  C\n    L = v\n  C\n");
}

}  // namespace
}  // namespace Platformq
