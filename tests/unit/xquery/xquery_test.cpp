#include <gtest/gtest.h>

#include "XEngine.h"
#include "XTokenizer.h"

namespace {

using Steps = std::vector<std::string>;

TEST(XTokenizer, SplitsAtSeparatorAndDropsEmptySteps) {
  EXPECT_EQ(XTokenizer("/Platform/OS/Info", '/').TokenList(), (Steps{"Platform", "OS", "Info"}));
  EXPECT_EQ(XTokenizer("//A///B/", '/').TokenList(), (Steps{"A", "B"}));
  EXPECT_EQ(XTokenizer("", '/').TokenList(), Steps{});
  EXPECT_EQ(XTokenizer("/", '/').TokenList(), Steps{});
  EXPECT_EQ(XTokenizer("Platform", '/').TokenList(), Steps{"Platform"});
  EXPECT_EQ(XTokenizer("a,b", ',').TokenList(), (Steps{"a", "b"}));
}

TEST(XTokenizer, KeepsSeparatorsInsidePredicatesAndQuotes) {
  EXPECT_EQ(XTokenizer("/A[@x='1/2']/B", '/').TokenList(), (Steps{"A[@x='1/2']", "B"}));
  EXPECT_EQ(XTokenizer("/A[@x=\"a]/b\"]/B", '/').TokenList(), (Steps{"A[@x=\"a]/b\"]", "B"}));
  EXPECT_EQ(XTokenizer("/A[x[1/2]/3]/B", '/').TokenList(), (Steps{"A[x[1/2]/3]", "B"}));
  EXPECT_EQ(XTokenizer("/NIC[0]/Name", '/').TokenList(), (Steps{"NIC[0]", "Name"}));
}

TEST(XTokenizer, UnbalancedInputNeverLosesText) {
  // An unclosed bracket or quote keeps the rest of the query in its step.
  EXPECT_EQ(XTokenizer("/A[1/B", '/').TokenList(), Steps{"A[1/B"});
  EXPECT_EQ(XTokenizer("/A'x/B", '/').TokenList(), Steps{"A'x/B"});
  // A stray closing bracket is ordinary text.
  EXPECT_EQ(XTokenizer("/A]/B", '/').TokenList(), (Steps{"A]", "B"}));
}

TEST(XEngine, ParsesQueriesAtSlashes) {
  EXPECT_EQ(XEngine().ParseXQuery("/SMBIOS/MemoryArray[1]/NumMemoryDevices").TokenList(),
            (Steps{"SMBIOS", "MemoryArray[1]", "NumMemoryDevices"}));
}

}  // namespace
