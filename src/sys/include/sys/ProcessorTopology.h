#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "oslib/SourceRoot.h"

namespace Sys {

// Why the processor packages could not be told (the module's own codes).
constexpr int kPackagesOk = 0;
constexpr int kPackagesUnsupported = -2;      // the OS offers no topology information
constexpr int kPackagesNoMemory = -3;         // no buffer for the answer
constexpr int kPackagesSizeQueryFailed = -4;  // the size query failed for another reason
constexpr int kPackagesSizeQueryOdd = -5;     // the size query succeeded with no buffer

// One mask per processor package, in the order the OS lists them, bit b = logical processor
// b (as in GetProcessAffinityMask). On Linux from
// <root>/sys/devices/system/cpu/cpu*/topology/physical_package_id (root: SetSourceRoot), in
// ascending package-id order; on Windows from GetLogicalProcessorInformation (processor cores
// stand in for packages before Windows Vista). At most maxMasks masks are returned.
int GetProcessorPackageMasks(std::vector<uint64_t>& masks, size_t maxMasks);

// Points the readers of /sys and /proc at a recorded copy: root holds "sys/..." and "proc/...".
// "" (the default) reads the live system, or the root named by $ORDIX_SYS_ROOT when that is
// set. One root for the process, shared with the framework's OS information readers.
using Ordix::OS::SetSourceRoot;

// Where a live /sys or /proc path is read under the process's source root.
inline std::string SourcePath(const std::string& livePath) {
  return Ordix::OS::SourceRoot() + livePath;
}

}  // namespace Sys
