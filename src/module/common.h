#pragma once
// The inventory tree and the helpers every builder adds nodes with.

#include <map>
#include <memory>
#include <string>

#include "XNode.h"
#include "platformconfig_export.h"

namespace Module::PlatformConfig {

// The data manager's inventory: full path -> node. The tree owns its nodes; a node replaced
// under its key is released at once (nothing else refers to it).
using NodeTree = std::map<std::string, std::unique_ptr<_XNode>>;

// Adds parentPath + name (name carries its own leading "/") and appends that path to the
// parent's child list. An element gets value as its first child path when value is not
// empty; a leaf holds value. A parent that does not exist gets nothing appended.
PLATFORMCONFIG_EXPORT void AddNode(std::string parentPath, std::string name, std::string value,
                                   int asElement, NodeTree& tree);

// Stores a new leaf holding value under path, replacing what stood there; links nothing.
PLATFORMCONFIG_EXPORT void AddLeaf(std::string value, std::string path, NodeTree& tree);

// Empties every index ("Name[3]" -> "Name[]"); predicates ("[@...]") are kept as they are.
PLATFORMCONFIG_EXPORT std::string ToGenericPath(std::string path);

}  // namespace Module::PlatformConfig
