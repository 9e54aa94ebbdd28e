#pragma once
#include <string>

#include "module/common.h"

namespace Module::PlatformConfig {

// The memory component: "/Platform/MemoryTopology" (arrays and slots, DIMM state, error
// counts). Its readers of the SMBIOS tables and the BMC come with those sources; until then
// it builds nothing, so its queries are routed and answered with what the tree holds.
class Memory {
 public:
  Memory() = default;

  // Rebuilds "/Platform/MemoryTopology" and links it under "/Platform".
  void Initialize(NodeTree& tree);
  // Re-reads the state of the slot at slotPath ("/Platform/MemoryTopology/MemoryInfo[2]").
  void GetMemoryState(const std::string& slotPath, NodeTree& tree);
  // Recounts the corrected and uncorrected errors under "/Platform/MemoryTopology/Errors".
  void GetMemoryErrors(NodeTree& tree);
};

}  // namespace Module::PlatformConfig
