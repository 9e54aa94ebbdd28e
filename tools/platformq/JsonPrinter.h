#pragma once
#include <string>

#include "XNode.h"

namespace Platformq {

enum class JsonLayout { Pretty, Compact };

// Renders result as one JSON object keyed by path, in the map's order, each value
// {"kind": 0|1, "list": [...]}. Compact output is a single line. Bytes that are not valid
// UTF-8 (a host or interface name can hold any bytes) become U+FFFD rather than an error.
std::string FormatJson(const ResultMap& result, JsonLayout layout);

}  // namespace Platformq
