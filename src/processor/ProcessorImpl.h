#pragma once
#include <string>

#include "module/common.h"

namespace Module::PlatformConfig {

// The processor component: "/Platform/ProcessorInfo" (sockets, logical processors,
// identification, sensor status, usage). Its readers of the SMBIOS tables, the BMC and the
// pinned workers come with those sources; until then it builds nothing.
class Processor {
 public:
  Processor() = default;

  // Rebuilds "/Platform/ProcessorInfo" and links it under "/Platform".
  void Initialize(NodeTree& tree);
  // Samples processor usage for a query under "/Platform/ProcessorInfo/LogicalProcessor[n]".
  void ProcessUsageQuery(const std::string& query, NodeTree& tree);
};

}  // namespace Module::PlatformConfig
