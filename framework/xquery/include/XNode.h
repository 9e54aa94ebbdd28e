#pragma once
// The framework's node record and the caller's answer map. The layout is fixed: nodes cross
// the boundary between the framework and its modules by value.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

enum : uint32_t {
  XNODE_VALUE = 0,    // a leaf: list holds its value
  XNODE_ELEMENT = 1,  // an element: list holds the full paths of its children
};

struct _XNode {
  uint32_t kind = XNODE_VALUE;
  std::vector<std::string> list;
  std::map<std::string, std::string> attributes;
};

using ResultMap = std::map<std::string, _XNode>;
