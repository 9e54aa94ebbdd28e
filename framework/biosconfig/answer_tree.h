#pragma once
// The decoded tables as a full answer tree (every path this library answers, with its node)
// and the answering of a query from it.

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "XNode.h"

namespace Module::BIOSConfig {

// Builds a tree whose elements list their children in the order they were added.
class TreeBuilder {
 public:
  // Adds the element at path, listed as a child of parent unless parent is "".
  void Element(const std::string& parent, const std::string& path);
  void Leaf(const std::string& parent, const std::string& path, std::string value);

  ResultMap Take() { return std::move(tree_); }

 private:
  void List(const std::string& parent, const std::string& path);

  ResultMap tree_;
};

// A finished tree, indexed by path: a lookup costs one hash of the path, however large the
// table. Neither copied nor moved, as the index points into the nodes.
class AnswerTree {
 public:
  explicit AnswerTree(ResultMap nodes);
  AnswerTree(const AnswerTree&) = delete;
  AnswerTree& operator=(const AnswerTree&) = delete;

  const ResultMap& Nodes() const { return nodes_; }
  // The entry at path, or nodes_.end().
  ResultMap::const_iterator Find(std::string_view path) const;

 private:
  ResultMap nodes_;
  std::unordered_map<std::string_view, ResultMap::const_iterator> index_;
};

// Adds to answer the node at the query's path and every node below it; with "@children" as
// the last step, the element alone. Steps are split as the framework splits them, so empty
// steps ("/SMBIOS//Type4/") are dropped. A path the tree does not hold adds nothing.
void CopyAnswer(const AnswerTree& tree, const std::string& query, ResultMap& answer);

// Whether the query is written exactly as the path it names: a leading "/", no empty step, no
// quotes, and not the "@children" form. Such a query needs no splitting into steps.
bool IsPlainPath(std::string_view query);

}  // namespace Module::BIOSConfig
