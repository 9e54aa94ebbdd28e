#pragma once
#include <cstdint>
#include <string>

#include "module/common.h"
#include "processor/CPUInternalFunc.h"

namespace Platform {
class PlatformImpl;
}

namespace Module::PlatformConfig {

// The processor component: "/Platform/ProcessorInfo". Sockets come from the SMBIOS tables,
// logical processors and their packages from the OS, identification from workers pinned to
// each logical processor, sensor status from the BMC; usage is sampled when a query asks.
class Processor {
 public:
  Processor() = default;

  // Gets the platform, rebuilds "/Platform/ProcessorInfo" under "/Platform" and stops the
  // workers the build started.
  void Initialize(NodeTree& tree);
  void InitializePlatform();
  void FillProcessorInfoMap(NodeTree& tree);

  // Answers a query under "/Platform/ProcessorInfo/LogicalProcessor[n]" with the usage of
  // counter instance n: the tree then holds that one node.
  void ProcessUsageQuery(const std::string& query, NodeTree& tree);
  // Writes the usage of logical processor index as "LogicalProcessor[index+1]".
  void GetUsage(uint32_t index, NodeTree& tree);

  uint32_t GetNumberOfPhysicalProcessors(uint32_t* count) const;
  uint32_t GetPhysicalProcessorInfo(uint32_t package, PhysicalProcessorIdentity* out) const;
  uint32_t GetPhysicalProcessorStatus(uint32_t package, PhysicalProcessorStatus* out) const;

 private:
  // Adds the populated SMBIOS sockets; returns how many there are.
  uint32_t AddSockets(NodeTree& tree);
  void AddIdentity(uint32_t package, NodeTree& tree);
  void AddStatus(uint32_t package, NodeTree& tree);
  std::string Family() const;

  Platform::PlatformImpl* platform_ = nullptr;
  uint32_t physicalCount_ = 0;
};

}  // namespace Module::PlatformConfig
