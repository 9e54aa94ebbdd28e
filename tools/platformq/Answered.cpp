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
  const auto entry = result.find(BasePath(query));
  if (entry == result.end()) return false;
  return entry->second.kind == XNODE_ELEMENT || !entry->second.list.empty();
}

}  // namespace Platformq
