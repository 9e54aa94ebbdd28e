#pragma once
// The decoded tables as a full answer tree (every path this library answers, with its node)
// and the answering of a query from it.

#include <string>
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

// Adds to answer the node at the query's path and every node below it; with "@children" as
// the last step, the element alone. Steps are split as the framework splits them, so empty
// steps ("/SMBIOS//Type4/") are dropped. A path the tree does not hold adds nothing.
void CopyAnswer(const ResultMap& tree, const std::string& query, ResultMap& answer);

}  // namespace Module::BIOSConfig
