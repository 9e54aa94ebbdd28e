#include <gtest/gtest.h>

#include "XEngine.h"
#include "XTokenizer.h"

namespace {

using Steps = std::vector<std::string>;

// Empty steps are dropped; separators inside predicates and quotes do not split; unbalanced
// input never loses text, an unclosed bracket or quote keeping the rest of the query in its step.
TEST(XTokenizer, SplitsStepsOutsidePredicatesAndQuotes) {
  const std::pair<const char*, Steps> cases[] = {
      {"/Platform/OS/Info", {"Platform", "OS", "Info"}},
      {"//A///B/", {"A", "B"}},
      {"", {}},
      {"/", {}},
      {"Platform", {"Platform"}},
      {"/A[@x='1/2']/B", {"A[@x='1/2']", "B"}},
      {"/A[@x=\"a]/b\"]/B", {"A[@x=\"a]/b\"]", "B"}},
      {"/A[x[1/2]/3]/B", {"A[x[1/2]/3]", "B"}},
      {"/NIC[0]/Name", {"NIC[0]", "Name"}},
      {"/A[1/B", {"A[1/B"}},
      {"/A'x/B", {"A'x/B"}},
      {"/A]/B", {"A]", "B"}},  // a stray closing bracket is ordinary text
  };
  for (const auto& [query, steps] : cases) {
    EXPECT_EQ(XTokenizer(query, '/').TokenList(), steps) << query;
  }
  EXPECT_EQ(XTokenizer("a,b", ',').TokenList(), (Steps{"a", "b"}));
  EXPECT_EQ(XEngine().ParseXQuery("/SMBIOS/MemoryArray[1]/Size").TokenList(),
            (Steps{"SMBIOS", "MemoryArray[1]", "Size"}));
}

}  // namespace
