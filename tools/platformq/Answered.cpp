#include "Answered.h"

namespace Platformq {

namespace {
constexpr const char kChildrenSuffix[] = "/@children";
constexpr std::string::size_type kChildrenSuffixLength = sizeof(kChildrenSuffix) - 1;
}  // namespace

std::string BasePath(const std::string& query) {
  if (query.size() >= kChildrenSuffixLength &&
      query.compare(query.size() - kChildrenSuffixLength, kChildrenSuffixLength, kChildrenSuffix) ==
          0) {
    return query.substr(0, query.size() - kChildrenSuffixLength);
  }
  return query;
}

bool IsAnswered(const std::string& query, const ResultMap& result) {
  const std::string base = BasePath(query);
  const auto entry = result.find(base);
  if (entry != result.end()) {
    return entry->second.kind == XNODE_ELEMENT || !entry->second.list.empty();
  }
  // A repeated leaf with no element of its own ("/BMC/SEL/RECORD" answers
  // "/BMC/SEL/RECORD[00001]", ...) is answered by its indexed entries.
  const auto indexed = result.lower_bound(base + "[");
  return indexed != result.end() && indexed->first.compare(0, base.size() + 1, base + "[") == 0;
}

}  // namespace Platformq
