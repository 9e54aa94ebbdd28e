// The data manager's builders of "/Platform/OS": each asks the OS information library once
// and writes its subtree. A reading that fails is published as an error key in place of the
// values it would have given, and logged; the other subtrees are unaffected.

#include <string>
#include <vector>

#include "ErrorReport.h"
#include "OSInfo.h"
#include "Paths.h"
#include "PlatformConfigMgr.h"

namespace Module::PlatformConfig {

namespace {

using namespace Paths;

constexpr const char* kSource = ".\\OSBuilders";
constexpr ErrorSite kMemorySite{
    kSource, "Module::PlatformConfig::PlatformConfigMgr::InitializeOSMemoryData", 40};
constexpr ErrorSite kInfoSite{
    kSource, "Module::PlatformConfig::PlatformConfigMgr::InitializeOSInfoData", 60};
constexpr ErrorSite kDisplayNameSite{
    kSource, "Module::PlatformConfig::PlatformConfigMgr::InitializeOSInfoData", 70};
constexpr ErrorSite kNetworkSite{
    kSource, "Module::PlatformConfig::PlatformConfigMgr::InitializeOSNetworkData", 90};
constexpr ErrorSite kDriveSite{
    kSource, "Module::PlatformConfig::PlatformConfigMgr::InitializeOSDriveData", 110};

constexpr const char* kMemoryError = "ERROR_GET_OS_MEMORY_INFO";
constexpr const char* kInfoError = "ERROR_GET_OS_INFO";
constexpr const char* kDisplayNameError = "ERROR_GET_OS_DISPLAY_NAME";
constexpr const char* kNetworkError = "ERROR_GET_OS_NETWORK_INFO";
constexpr const char* kDriveError = "ERROR_GET_OS_DRIVE_INFO";

struct Leaf {
  const char* name;
  std::string value;
};

// Writes the leaves under parent in order; when the reading failed, every value is the
// error key instead.
void AddLeaves(const std::string& parent, const std::vector<Leaf>& leaves, bool failed,
               const char* errorKey, NodeTree& tree) {
  for (const Leaf& leaf : leaves)
    AddNode(parent, leaf.name, failed ? errorKey : leaf.value, kLeaf, tree);
}

bool Failed(int code, const ErrorSite& site) {
  if (code == 0) return false;
  ReportError(static_cast<uint16_t>(code), site);
  return true;
}

}  // namespace

void PlatformConfigMgr::InitializeOSData() {
  const struct {
    const char* name;
    void (PlatformConfigMgr::*fill)();
  } subtrees[] = {
      {"/MemoryInfo", &PlatformConfigMgr::InitializeOSMemoryData},
      {"/Info", &PlatformConfigMgr::InitializeOSInfoData},
      {"/NetworkInfo", &PlatformConfigMgr::InitializeOSNetworkData},
      {"/DriveInfo", &PlatformConfigMgr::InitializeOSDriveData},
  };
  for (const auto& subtree : subtrees) {
    AddNode(kOS, subtree.name, "", kElement, nodeTree_);
    (this->*subtree.fill)();
  }
}

void PlatformConfigMgr::InitializeOSMemoryData() {
  _MEMINFO info;
  const bool failed = Failed(GetMemInfo(info), kMemorySite);
  AddLeaves(kOSMemory,
            {{"/TotalMemory", info.totalMemory},
             {"/FreeMemory", info.freeMemory},
             {"/TotalPageFile", info.totalPageFile},
             {"/FreePageFile", info.freePageFile},
             {"/TotalVirtualMemory", info.totalVirtualMemory},
             {"/FreeVirtualMemory", info.freeVirtualMemory}},
            failed, kMemoryError, nodeTree_);
  AddNode(kOSMemory, "/Units", "MB", kLeaf, nodeTree_);
}

void PlatformConfigMgr::InitializeOSInfoData() {
  _OSINFO info;
  const bool failed = Failed(GetOSInfo(info), kInfoSite);
  AddLeaves(kOSInfo,
            {{"/Version", info.version},
             {"/Build", info.build},
             {"/Domain", info.domain},
             {"/HostName", info.hostName},
             {"/Machine", info.machine},
             {"/Type", info.type}},
            failed, kInfoError, nodeTree_);

  std::string name;
  const bool nameFailed = Failed(GetOSDisplayString(name), kDisplayNameSite);
  AddNode(kOSInfo, "/Name", nameFailed ? kDisplayNameError : name, kLeaf, nodeTree_);
}

void PlatformConfigMgr::InitializeOSNetworkData() {
  std::vector<_NICINFO> nics;
  if (Failed(GetNICInfo(nics), kNetworkSite)) {
    AddNode(kOSNetwork, "/NumNICs", kNetworkError, kLeaf, nodeTree_);
    return;
  }
  AddNode(kOSNetwork, "/NumNICs", std::to_string(nics.size()), kLeaf, nodeTree_);
  for (size_t k = 0; k < nics.size(); ++k) {
    const std::string nic = "/NIC[" + std::to_string(k) + "]";
    AddNode(kOSNetwork, nic, "", kElement, nodeTree_);
    const _NICINFO& n = nics[k];
    AddLeaves(std::string(kOSNetwork) + nic,
              {{"/Name", n.name},
               {"/TransmitBytes", n.transmitBytes},
               {"/TransmitPackets", n.transmitPackets},
               {"/TransmitErrors", n.transmitErrors},
               {"/ReceiveBytes", n.receiveBytes},
               {"/ReceivePackets", n.receivePackets},
               {"/ReceiveErrors", n.receiveErrors}},
              false, "", nodeTree_);
  }
}

void PlatformConfigMgr::InitializeOSDriveData() {
  AddNode(kOSDrives, "/HardDisk", "", kElement, nodeTree_);
  std::vector<_DRIVEINFO> drives;
  const bool failed = Failed(GetDriveData(drives), kDriveSite);
  AddNode(kOSHardDisk, "/NumDrives", failed ? kDriveError : std::to_string(drives.size()), kLeaf,
          nodeTree_);
  AddNode(kOSHardDisk, "/Units", "GB", kLeaf, nodeTree_);
  if (failed) return;
  for (size_t k = 0; k < drives.size(); ++k) {
    const std::string drive = "/Drive[" + std::to_string(k) + "]";
    AddNode(kOSHardDisk, drive, "", kElement, nodeTree_);
    const _DRIVEINFO& d = drives[k];
    AddLeaves(std::string(kOSHardDisk) + drive,
              {{"/ID", d.id}, {"/TotalSpace", d.totalSpace}, {"/FreeSpace", d.freeSpace}}, false,
              "", nodeTree_);
  }
}

}  // namespace Module::PlatformConfig
