#include <gtest/gtest.h>

#include "QueryRoute.h"
#include "common.h"

namespace {

using namespace Module::PlatformConfig;

TEST(SelectRoute, EveryRowOfTheRoutingTable) {
  constexpr const char* kErrors = "/Platform/MemoryTopology/Errors";
  const struct {
    const char* query;
    Refresh refresh;
    const char* resetKey;
  } cases[] = {
      {"/Platform/MemoryTopology/Errors", Refresh::MemoryErrors, kErrors},
      {"/Platform/MemoryTopology/Errors/CorErrorCount", Refresh::MemoryErrors, kErrors},
      {"/Platform/MemoryTopology/Errors/UnCorErrorCount", Refresh::MemoryErrors, kErrors},
      // Equality, not containment: anything else under Errors is an inventory query.
      {"/Platform/MemoryTopology/Errors/Other", Refresh::Inventory, "/Platform"},
      {"/Platform/MemoryTopology/MemoryInfo[2]/MemoryState", Refresh::MemoryState, "/Platform"},
      {"/Platform/MemoryTopology/MemoryInfo[2]/Size", Refresh::Inventory, "/Platform"},
      {"/Platform/MemoryTopology/MemoryInfo[2]/MemoryState/X", Refresh::Inventory, "/Platform"},
      {"/Platform/ProcessorInfo/LogicalProcessor[1]/LogicalProcessorUsage", Refresh::ProcessorUsage,
       "/Platform"},
      {"/Platform/ProcessorInfo/LogicalProcessor[1]", Refresh::ProcessorUsage, "/Platform"},
      {"/Platform/ProcessorInfo/LogicalProcessor", Refresh::Inventory, "/Platform"},
      {"/Platform/OS/MemoryInfo/TotalMemory", Refresh::OSMemory, "/Platform/OS/MemoryInfo"},
      {"/Platform/OS/NetworkInfo/NIC[0]/Name", Refresh::OSNetwork, "/Platform/OS/NetworkInfo"},
      {"/Platform/OS/DriveInfo/HardDisk/Drive[1]/ID", Refresh::OSDrives, "/Platform/OS/DriveInfo"},
      {"/Platform/OS/Info/HostName", Refresh::OSInfo, "/Platform/OS/Info"},
      {"/Platform/OS", Refresh::OSAll, "/Platform/OS"},
      {"/Platform/OS/Other", Refresh::OSAll, "/Platform/OS"},
      {"/Platform", Refresh::Inventory, "/Platform"},
      {"/Platform/Nothing", Refresh::Inventory, "/Platform"},
  };
  for (const auto& c : cases) {
    const Route route = SelectRoute(ToGenericPath(c.query));
    EXPECT_EQ(route.refresh, c.refresh) << c.query;
    EXPECT_STREQ(route.resetKey, c.resetKey) << c.query;
  }
}

}  // namespace
