#pragma once
// Which part of the inventory a query refreshes before it is answered.

#include <string>

#include "platformconfig_export.h"

namespace Module::PlatformConfig {

enum class Refresh {
  MemoryErrors,    // recount the memory errors from the event log
  MemoryState,     // rebuild the inventory, then re-read one DIMM's state
  ProcessorUsage,  // rebuild the inventory, then sample processor usage
  OSMemory,
  OSNetwork,
  OSDrives,
  OSInfo,
  Inventory,  // the processor and memory subtrees
  OSAll,      // all four OS subtrees
};

struct Route {
  Refresh refresh;
  const char* resetKey;  // the tree key that gets a fresh, empty element before the refresh
};

// The generic paths whose answers are always read live, in the order the routing tests them.
inline constexpr const char* kDynamicPaths[] = {
    "/Platform/MemoryTopology/Errors",
    "/Platform/MemoryTopology/Errors/CorErrorCount",
    "/Platform/MemoryTopology/Errors/UnCorErrorCount",
    "/Platform/MemoryTopology/MemoryInfo[]/MemoryState",
    "/Platform/ProcessorInfo/LogicalProcessor[]",
};

// The route of a query, decided on its generic form (ToGenericPath); the first matching row
// of the routing table wins.
PLATFORMCONFIG_EXPORT Route SelectRoute(const std::string& genericPath);

}  // namespace Module::PlatformConfig
