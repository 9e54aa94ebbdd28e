#include <gtest/gtest.h>

#include "QueryRoute.h"
#include "common.h"

namespace {

using namespace Module::PlatformConfig;

struct RouteCase {
  const char* query;
  Refresh refresh;
  const char* resetKey;
};

// Queries as a caller writes them; the route is chosen on their generic form.
const RouteCase kCases[] = {
    {"/Platform/MemoryTopology/Errors", Refresh::MemoryErrors, "/Platform/MemoryTopology/Errors"},
    {"/Platform/MemoryTopology/Errors/CorErrorCount", Refresh::MemoryErrors,
     "/Platform/MemoryTopology/Errors"},
    {"/Platform/MemoryTopology/Errors/UnCorErrorCount", Refresh::MemoryErrors,
     "/Platform/MemoryTopology/Errors"},
    // Equality, not containment: anything else under Errors is an inventory query.
    {"/Platform/MemoryTopology/Errors/Other", Refresh::Inventory, "/Platform"},
    {"/Platform/MemoryTopology/MemoryInfo[2]/MemoryState", Refresh::MemoryState, "/Platform"},
    {"/Platform/MemoryTopology/MemoryInfo[2]/Size", Refresh::Inventory, "/Platform"},
    {"/Platform/MemoryTopology/MemoryInfo[2]", Refresh::Inventory, "/Platform"},
    {"/Platform/ProcessorInfo/LogicalProcessor[1]/LogicalProcessorUsage", Refresh::ProcessorUsage,
     "/Platform"},
    {"/Platform/ProcessorInfo/LogicalProcessor[1]", Refresh::ProcessorUsage, "/Platform"},
    {"/Platform/ProcessorInfo/LogicalProcessor", Refresh::Inventory, "/Platform"},
    {"/Platform/ProcessorInfo/NumberOfPhysicalProcessor", Refresh::Inventory, "/Platform"},
    {"/Platform/OS/MemoryInfo/TotalMemory", Refresh::OSMemory, "/Platform/OS/MemoryInfo"},
    {"/Platform/OS/NetworkInfo/NIC[0]/Name", Refresh::OSNetwork, "/Platform/OS/NetworkInfo"},
    {"/Platform/OS/DriveInfo/HardDisk/Drive[1]/ID", Refresh::OSDrives, "/Platform/OS/DriveInfo"},
    {"/Platform/OS/Info/HostName", Refresh::OSInfo, "/Platform/OS/Info"},
    {"/Platform/OS/Info", Refresh::OSInfo, "/Platform/OS/Info"},
    {"/Platform/OS", Refresh::OSAll, "/Platform/OS"},
    {"/Platform/OS/Other", Refresh::OSAll, "/Platform/OS"},
    {"/Platform", Refresh::Inventory, "/Platform"},
    {"/Platform/Nothing", Refresh::Inventory, "/Platform"},
};

TEST(SelectRoute, EveryRowOfTheRoutingTable) {
  for (const RouteCase& c : kCases) {
    const Route route = SelectRoute(ToGenericPath(c.query));
    EXPECT_EQ(route.refresh, c.refresh) << c.query;
    EXPECT_STREQ(route.resetKey, c.resetKey) << c.query;
  }
}

TEST(SelectRoute, LiveRowsWinOverTheBranchTheyLieIn) {
  // Usage lies under ProcessorInfo and DIMM state under MemoryTopology; both must be re-read.
  EXPECT_EQ(SelectRoute("/Platform/ProcessorInfo/LogicalProcessor[]/X").refresh,
            Refresh::ProcessorUsage);
  EXPECT_EQ(SelectRoute("/Platform/MemoryTopology/MemoryInfo[]/MemoryState").refresh,
            Refresh::MemoryState);
}

}  // namespace
