#include "common.h"

#include <cstdint>
#include <utility>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "ErrorReport.h"
#include "XEngine.h"

namespace Module::PlatformConfig {

void AddNode(std::string parentPath, std::string name, std::string value, int asElement,
             NodeTree& tree) {
  std::string full = parentPath + name;
  if (asElement != 0) {
    auto element = std::make_unique<_XNode>();
    element->kind = XNODE_ELEMENT;
    if (!value.empty()) element->list.push_back(std::move(value));
    tree[full] = std::move(element);
  } else {
    AddLeaf(std::move(value), full, tree);
  }
  // Builders create their subtree root before its children, so the parent is normally there;
  // a missing parent must not be conjured up as an empty entry.
  auto parent = tree.find(parentPath);
  if (parent != tree.end() && parent->second) parent->second->list.push_back(std::move(full));
}

void AddLeaf(std::string value, std::string path, NodeTree& tree) {
  auto leaf = std::make_unique<_XNode>();
  leaf->kind = XNODE_VALUE;
  leaf->list.push_back(std::move(value));
  tree[std::move(path)] = std::move(leaf);
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

constexpr uint16_t kSiblingQueryFailed = 1034;
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
    ReportError(kSiblingQueryFailed, kGetQuerySite);
    return {""};
  }
  // The smallest key answers, whether or not it is the query's own path; callers pass a map
  // that is empty or whose smallest key is the one they want.
  return answer.empty() ? std::vector<std::string>() : answer.begin()->second.list;
}

std::string GetBIOSValue(std::string pathHead, std::string pathTail, NodeTree& /*tree*/) {
  const std::string path = pathHead + pathTail;
  ResultMap local;
  BIOSConfig::BIOSConfigModule().ProcessXQuery(path, local);
  auto it = local.find(path);
  return it == local.end() || it->second.list.empty() ? std::string() : it->second.list.front();
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
