#include "Answered.h"

#include <gtest/gtest.h>

namespace Platformq {
namespace {

_XNode Leaf(std::vector<std::string> values) {
  return {XNODE_VALUE, std::move(values), {}};
}
_XNode Element(std::vector<std::string> children) {
  return {XNODE_ELEMENT, std::move(children), {}};
}

TEST(BasePathTest, StripsOnlyATrailingChildrenStep) {
  EXPECT_EQ(BasePath("/Platform/OS/Info/@children"), "/Platform/OS/Info");
  EXPECT_EQ(BasePath("/Platform/OS/Info"), "/Platform/OS/Info");
  EXPECT_EQ(BasePath("/Platform/@childrenX"), "/Platform/@childrenX");
  EXPECT_EQ(BasePath("/Platform/@children/OS"), "/Platform/@children/OS");
  EXPECT_EQ(BasePath("/Platform/X@children"), "/Platform/X@children");
  EXPECT_EQ(BasePath("/@children"), "");
  EXPECT_EQ(BasePath(""), "");
}

TEST(IsAnsweredTest, AnElementOrALeafWithAValueAtTheBasePathIsAnAnswer) {
  const ResultMap result{{"/Platform/OS/Info", Element({"/Platform/OS/Info/Version"})},
                         {"/Platform/OS/MemoryInfo/Units", Leaf({"MB"})},
                         {"/Platform/OS/DriveInfo", Element({})}};
  EXPECT_TRUE(IsAnswered("/Platform/OS/Info", result));
  EXPECT_TRUE(IsAnswered("/Platform/OS/Info/@children", result));
  EXPECT_TRUE(IsAnswered("/Platform/OS/MemoryInfo/Units", result));
  // An element with no children is still an answer: the node exists.
  EXPECT_TRUE(IsAnswered("/Platform/OS/DriveInfo", result));
}

TEST(IsAnsweredTest, AnEmptyLeafOrNothingAtTheBasePathIsNoAnswer) {
  const ResultMap result{{"/Platform/Nothing", Leaf({})},
                         {"/Platform/OS/Info/Version", Leaf({"6.1.0"})}};
  EXPECT_FALSE(IsAnswered("/Platform/Nothing/@children", result));
  EXPECT_FALSE(IsAnswered("/Platform/Nothing", result));
  // Entries below the base path do not answer for it.
  EXPECT_FALSE(IsAnswered("/Platform/OS/Info", result));
  EXPECT_FALSE(IsAnswered("/Platform/OS", result));
  EXPECT_FALSE(IsAnswered("/Platform/OS/Info/Version/@children/x", result));
}

TEST(IsAnsweredTest, ALeafWhoseOnlyValueIsEmptyTextIsAnAnswer) {
  // A machine without a domain answers Domain with "", which is a value.
  const ResultMap result{{"/Platform/OS/Info/Domain", Leaf({""})}};
  EXPECT_TRUE(IsAnswered("/Platform/OS/Info/Domain", result));
}

}  // namespace
}  // namespace Platformq
