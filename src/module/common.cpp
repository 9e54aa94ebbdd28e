#include "common.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "ErrorReport.h"
#include "ModuleErrors.h"
#include "XEngine.h"

namespace Module::PlatformConfig {

namespace {

// The node under path made afresh: a node already there (rebuilds put every node back under
// its key) is cleared and used again, so a rebuild allocates no node and keeps the capacity of
// its list; nothing outside the tree refers to a node, so none can tell.
_XNode& FreshNode(std::unique_ptr<_XNode>& slot, uint32_t kind) {
  if (!slot) {
    slot = std::make_unique<_XNode>();
  } else {
    slot->list.clear();
    slot->attributes.clear();
  }
  slot->kind = kind;
  return *slot;
}

}  // namespace

void AddNode(std::string parentPath, std::string name, std::string value, int asElement,
             NodeTree& tree) {
  std::string full = std::move(parentPath);
  const size_t parentLength = full.size();
  full += name;
  if (asElement != 0) {
    _XNode& element = FreshNode(tree[full], XNODE_ELEMENT);
    if (!value.empty()) element.list.push_back(std::move(value));
  } else {
    FreshNode(tree[full], XNODE_VALUE).list.push_back(std::move(value));
  }
  // Builders create their subtree root before its children, so the parent is normally there;
  // a missing parent must not be conjured up as an empty entry.
  auto parent = tree.find(std::string_view(full).substr(0, parentLength));
  if (parent != tree.end() && parent->second) parent->second->list.push_back(std::move(full));
}

void AddLeaf(std::string value, std::string path, NodeTree& tree) {
  FreshNode(tree[std::move(path)], XNODE_VALUE).list.push_back(std::move(value));
}

std::string ToGenericPath(std::string path) {
  std::string generic;
  generic.reserve(path.size());
  for (size_t i = 0; i < path.size(); ++i) {
    generic.push_back(path[i]);
    if (path[i] != '[' || i + 1 >= path.size() || path[i + 1] == '@') continue;
    // Drop the index up to its "]"; an index that is never closed ends the path.
    const size_t close = path.find(']', i + 1);
    if (close == std::string::npos) break;
    generic.push_back(']');
    i = close;
  }
  return generic;
}

std::optional<uint32_t> LastIndex(const std::string& path) {
  const size_t open = path.rfind('[');
  if (open == std::string::npos) return 0;
  const size_t close = path.find(']', open);
  if (close == std::string::npos || close == open + 1) return std::nullopt;
  uint64_t index = 0;
  for (size_t i = open + 1; i < close; ++i) {
    if (path[i] < '0' || path[i] > '9') return std::nullopt;
    index = index * 10 + static_cast<uint64_t>(path[i] - '0');
    if (index > UINT32_MAX) return std::nullopt;
  }
  return static_cast<uint32_t>(index);
}

// The module's queries to its sibling modules: each call makes a fresh sibling object and
// drops it afterwards, so nothing of a sibling is kept between queries.
namespace {

constexpr ErrorSite kGetQuerySite{".\\common", "Module::PlatformConfig::GetQuery", 155};

}  // namespace

std::vector<std::string> GetQuery(const char* query, ResultMap& answer) {
  const std::string text = query != nullptr ? query : "";
  try {
    const std::vector<std::string> steps = XEngine().ParseXQuery(text).TokenList();
    if (!steps.empty()) {
      if (steps.front() == "BMC") {
        BMCConfig::BMCConfigModule().Process(text, answer);
      } else if (steps.front() == "BIOS" || steps.front() == "SMBIOS") {
        BIOSConfig::BIOSConfigModule().ProcessXQuery(text, answer);
      }
    }
  } catch (const ResultStatus&) {
    ReportError(ModuleError::kSiblingQueryFailed, kGetQuerySite);
    return {""};
  }
  // The smallest key answers, whether or not it is the query's own path; callers pass a map
  // that is empty or whose smallest key is the one they want.
  return answer.empty() ? std::vector<std::string>() : answer.begin()->second.list;
}

std::string GetBIOSValue(std::string pathHead, std::string pathTail, NodeTree& /*tree*/) {
  std::string path = std::move(pathHead);
  path += pathTail;
  return BIOSConfig::BIOSConfigModule().FirstValue(path);
}

void ImportBIOSSubtree(std::string prefix, std::string query, NodeTree& tree) {
  ResultMap local;
  BIOSConfig::BIOSConfigModule().ProcessXQuery(std::move(query), local);
  for (const auto& [key, node] : local) {
    auto copy = std::make_unique<_XNode>();
    copy->kind = node.kind;
    if (node.kind != XNODE_VALUE) {
      for (const std::string& child : node.list) copy->list.push_back(RebaseKey(prefix, child));
    } else if (!node.list.empty()) {
      copy->list.push_back(node.list.front());
    }
    tree[RebaseKey(prefix, key)] = std::move(copy);
  }
}

std::string RebaseKey(std::string prefix, std::string key) {
  // A key without "]" keeps all but its first character, as the 32-bit position arithmetic
  // of "not found" + 2 gives; a key ending in "]" has nothing after it.
  const size_t bracket = key.rfind(']');
  const size_t tailStart = bracket == std::string::npos ? 1 : bracket + 2;
  const std::string tail = tailStart < key.size() ? key.substr(tailStart) : std::string();
  const size_t slash = tail.rfind('/');
  return slash == std::string::npos ? prefix : prefix + "/" + tail.substr(slash + 1);
}

}  // namespace Module::PlatformConfig
