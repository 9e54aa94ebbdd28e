#include "answer_tree.h"

#include <utility>
#include <vector>

#include "XTokenizer.h"

namespace Module::BIOSConfig {

namespace {

constexpr char kSeparator = '/';
constexpr const char* kChildrenStep = "@children";
constexpr std::string_view kChildrenSuffix = "/@children";

// The node at path and every node below it; only elements' lists are paths (a leaf's list is
// its value).
void CopySubtree(const AnswerTree& tree, std::string_view path, ResultMap& answer) {
  const auto found = tree.Find(path);
  if (found == tree.Nodes().end()) return;
  std::vector<ResultMap::const_iterator> pending{found};
  while (!pending.empty()) {
    const auto node = pending.back();
    pending.pop_back();
    answer.insert_or_assign(node->first, node->second);
    if (node->second.kind != XNODE_ELEMENT) continue;
    for (const std::string& child : node->second.list) {
      const auto next = tree.Find(child);
      if (next != tree.Nodes().end()) pending.push_back(next);
    }
  }
}

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

AnswerTree::AnswerTree(ResultMap nodes) : nodes_(std::move(nodes)) {
  index_.reserve(nodes_.size());
  for (auto it = nodes_.begin(); it != nodes_.end(); ++it) index_.emplace(it->first, it);
}

ResultMap::const_iterator AnswerTree::Find(std::string_view path) const {
  const auto found = index_.find(path);
  return found == index_.end() ? nodes_.end() : found->second;
}

bool IsPlainPath(std::string_view query) {
  if (query.empty() || query.front() != kSeparator || query.back() == kSeparator) return false;
  if (query.size() >= kChildrenSuffix.size() &&
      query.substr(query.size() - kChildrenSuffix.size()) == kChildrenSuffix) {
    return false;
  }
  // As the tokenizer reads it: a separator inside brackets does not split.
  int bracketDepth = 0;
  for (size_t i = 0; i < query.size(); ++i) {
    const char c = query[i];
    if (c == '\'' || c == '"') return false;
    if (c == '[') {
      ++bracketDepth;
    } else if (c == ']' && bracketDepth > 0) {
      --bracketDepth;
    } else if (c == kSeparator && bracketDepth == 0 && query[i + 1] == kSeparator) {
      return false;  // an empty step (the last character is no separator, so i + 1 exists)
    }
  }
  return true;
}

void CopyAnswer(const AnswerTree& tree, const std::string& query, ResultMap& answer) {
  if (IsPlainPath(query)) {
    CopySubtree(tree, query, answer);
    return;
  }
  std::vector<std::string> steps = XTokenizer(query, kSeparator).TokenList();
  const bool childrenOnly = !steps.empty() && steps.back() == kChildrenStep;
  if (childrenOnly) steps.pop_back();
  if (steps.empty()) return;
  std::string path;
  for (const std::string& step : steps) path += kSeparator + step;

  if (!childrenOnly) {
    CopySubtree(tree, path, answer);
    return;
  }
  const auto found = tree.Find(path);
  if (found != tree.Nodes().end() && found->second.kind == XNODE_ELEMENT) {
    answer.insert_or_assign(found->first, found->second);
  }
}

}  // namespace Module::BIOSConfig
