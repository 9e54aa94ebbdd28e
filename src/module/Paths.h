#pragma once
// The subtrees of the module's inventory, as the builders write them and the routing names them.

namespace Module::PlatformConfig::Paths {

inline constexpr const char* kPlatform = "/Platform";
inline constexpr const char* kProcessorInfo = "/Platform/ProcessorInfo";
inline constexpr const char* kMemoryTopology = "/Platform/MemoryTopology";
inline constexpr const char* kOS = "/Platform/OS";
inline constexpr const char* kOSMemory = "/Platform/OS/MemoryInfo";
inline constexpr const char* kOSInfo = "/Platform/OS/Info";
inline constexpr const char* kOSNetwork = "/Platform/OS/NetworkInfo";
inline constexpr const char* kOSDrives = "/Platform/OS/DriveInfo";
inline constexpr const char* kOSHardDisk = "/Platform/OS/DriveInfo/HardDisk";

}  // namespace Module::PlatformConfig::Paths
