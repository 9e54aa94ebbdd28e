#include "answer_tree.h"

#include <utility>
#include <vector>

#include "XTokenizer.h"

namespace Module::BIOSConfig {

namespace {

constexpr char kSeparator = '/';
constexpr const char* kChildrenStep = "@children";

}  // namespace

void TreeBuilder::Element(const std::string& parent, const std::string& path) {
  tree_[path].kind = XNODE_ELEMENT;
  if (!parent.empty()) List(parent, path);
}

void TreeBuilder::Leaf(const std::string& parent, const std::string& path, std::string value) {
  _XNode& node = tree_[path];
  node.kind = XNODE_VALUE;
  node.list = {std::move(value)};
  List(parent, path);
}

void TreeBuilder::List(const std::string& parent, const std::string& path) {
  tree_[parent].list.push_back(path);
}

void CopyAnswer(const ResultMap& tree, const std::string& query, ResultMap& answer) {
  std::vector<std::string> steps = XTokenizer(query, kSeparator).TokenList();
  const bool childrenOnly = !steps.empty() && steps.back() == kChildrenStep;
  if (childrenOnly) steps.pop_back();
  if (steps.empty()) return;
  std::string path;
  for (const std::string& step : steps) path += kSeparator + step;

  const auto found = tree.find(path);
  if (found == tree.end()) return;
  if (childrenOnly) {
    if (found->second.kind == XNODE_ELEMENT) answer[path] = found->second;
    return;
  }
  // Only elements' lists are paths; a leaf's list is its value.
  std::vector<const std::string*> pending{&found->first};
  while (!pending.empty()) {
    const std::string& next = *pending.back();
    pending.pop_back();
    const auto node = tree.find(next);
    if (node == tree.end()) continue;
    answer[next] = node->second;
    if (node->second.kind != XNODE_ELEMENT) continue;
    for (const std::string& child : node->second.list) pending.push_back(&child);
  }
}

}  // namespace Module::BIOSConfig
