// The query path functions on arbitrary text: splitting a query into steps, its generic form,
// rebasing an imported key, and pruning a result map the host hands in.
//
// Input: lines. The first is the query (and the path pruned); the second the key rebased
// under the first; every line is also an entry of the result map, "KEY<TAB>CHILD<TAB>...".

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "PlatformConfigModule.h"
#include "XTokenizer.h"
#include "common.h"

namespace {

using namespace Module::PlatformConfig;

constexpr size_t kMaxLines = 512;
constexpr char kFieldSeparator = '\t';
constexpr char kSeparators[] = {'/', '.', '\t'};

void SplitQuery(const std::string& query) {
  for (const char separator : kSeparators) {
    for (const std::string& step : XTokenizer(query, separator).TokenList()) {
      Fuzz::Require(!step.empty(), "no step is empty");
    }
  }
}

void Generic(const std::string& query) {
  const std::string generic = ToGenericPath(query);
  Fuzz::Require(generic.size() <= query.size(), "the generic form only drops index text");
  Fuzz::Require(ToGenericPath(generic) == generic, "the generic form of a generic path is itself");
}

ResultMap MapOf(const std::vector<std::string>& lines) {
  ResultMap map;
  for (const std::string& line : lines) {
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t tab = line.find(kFieldSeparator); tab != std::string::npos;
         tab = line.find(kFieldSeparator, start)) {
      fields.push_back(line.substr(start, tab - start));
      start = tab + 1;
    }
    fields.push_back(line.substr(start));
    _XNode& node = map[fields.front()];
    node.kind = fields.size() > 1 ? XNODE_ELEMENT : XNODE_VALUE;
    node.list.assign(fields.begin() + 1, fields.end());
  }
  return map;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static PlatformConfigModule module{std::string()};
  const std::vector<std::string> lines =
      Fuzz::Lines({reinterpret_cast<const char*>(data), size}, kMaxLines);
  const std::string query = lines.empty() ? std::string() : lines[0];
  const std::string key = lines.size() > 1 ? lines[1] : query;

  SplitQuery(query);
  Generic(query);
  const std::string rebased = RebaseKey(query, key);
  Fuzz::Require(rebased.compare(0, query.size(), query) == 0,
                "a rebased key starts with its prefix");

  ResultMap map = MapOf(lines);
  module.PruneResultMap(query, map);
  Fuzz::Require(map.count(query) == 0, "a pruned path is gone");
  return 0;
}
