#include "QueryRoute.h"

#include "Paths.h"

namespace Module::PlatformConfig {

namespace {

enum class Match { Equals, Contains, Lacks, Always };

struct RouteRow {
  Match match;
  const char* pattern;
  Route route;
};

using namespace Paths;

// Tested top to bottom; the first row that matches decides. The live rows come first so a
// query for a live value is never answered from the inventory as last built.
constexpr RouteRow kRoutes[] = {
    {Match::Equals, kDynamicPaths[0], {Refresh::MemoryErrors, kDynamicPaths[0]}},
    {Match::Equals, kDynamicPaths[1], {Refresh::MemoryErrors, kDynamicPaths[0]}},
    {Match::Equals, kDynamicPaths[2], {Refresh::MemoryErrors, kDynamicPaths[0]}},
    {Match::Equals, kDynamicPaths[3], {Refresh::MemoryState, kPlatform}},
    {Match::Contains, kDynamicPaths[4], {Refresh::ProcessorUsage, kPlatform}},
    {Match::Contains, kOSMemory, {Refresh::OSMemory, kOSMemory}},
    {Match::Contains, kOSNetwork, {Refresh::OSNetwork, kOSNetwork}},
    {Match::Contains, kOSDrives, {Refresh::OSDrives, kOSDrives}},
    {Match::Contains, kOSInfo, {Refresh::OSInfo, kOSInfo}},
    {Match::Lacks, kOS, {Refresh::Inventory, kPlatform}},
    {Match::Always, "", {Refresh::OSAll, kOS}},
};

bool Matches(const RouteRow& row, const std::string& path) {
  switch (row.match) {
    case Match::Equals:
      return path == row.pattern;
    case Match::Contains:
      return path.find(row.pattern) != std::string::npos;
    case Match::Lacks:
      return path.find(row.pattern) == std::string::npos;
    case Match::Always:
      return true;
  }
  return false;
}

}  // namespace

Route SelectRoute(const std::string& genericPath) {
  for (const RouteRow& row : kRoutes) {
    if (Matches(row, genericPath)) return row.route;
  }
  return kRoutes[std::size(kRoutes) - 1].route;
}

}  // namespace Module::PlatformConfig
