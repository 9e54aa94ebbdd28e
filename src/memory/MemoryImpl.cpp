#include "memory/MemoryImpl.h"

namespace Module::PlatformConfig {

// The memory inventory needs the SMBIOS and BMC sources, which this build does not read yet.
void Memory::Initialize(NodeTree& /*tree*/) {}

void Memory::GetMemoryState(const std::string& /*slotPath*/, NodeTree& /*tree*/) {}

void Memory::GetMemoryErrors(NodeTree& /*tree*/) {}

}  // namespace Module::PlatformConfig
