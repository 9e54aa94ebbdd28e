#include "common.h"

#include <utility>

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

}  // namespace Module::PlatformConfig
