#pragma once
#include <string>

#include "XNode.h"

namespace Platformq {

// Renders result as an indented tree, one line per node:
//  - every entry that no other entry lists as a child is a root, printed under its full path;
//  - the children of an element follow it, two spaces deeper per level, under their last step;
//  - a leaf reads "name = value", several values joined by "; ";
//  - a listed child that the map does not hold (an "@children" answer) prints its name alone.
// A node is written in full once: met again (through a cycle, or listed twice) it prints its
// name alone, so a cyclic map still ends. Entries reachable only through a cycle that no root leads
// into are printed as roots of their own.
std::string FormatTree(const ResultMap& result);

}  // namespace Platformq
