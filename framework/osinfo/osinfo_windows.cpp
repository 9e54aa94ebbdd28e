// Windows figures: GlobalMemoryStatusEx, RtlGetVersion with the product type,
// GetComputerNameExA, GetIfTable2, and GetDiskFreeSpaceExA on every fixed drive. The recorded
// source root of the Linux readers has no counterpart here: every figure is live.

// Order matters: winsock2 before windows, and both with ws2ipdef before the IP helper headers.
#include <winsock2.h>
// (kept apart so that include sorting leaves the order alone)
#include <windows.h>
#include <ws2ipdef.h>
// The IP helper headers build on the types above.
#include <iphlpapi.h>
#include <netioapi.h>

#include <optional>
#include <string>
#include <vector>

#include "ErrorCodes.h"
#include "OSInfo.h"
#include "osinfo_decode.h"

namespace {

using namespace Ordix::OSInfo;

constexpr unsigned kMiBShift = 20;

std::string MiBText(DWORDLONG bytes) {
  return std::to_string(bytes >> kMiBShift);
}

std::string Narrow(const wchar_t* wide) {
  if (wide == nullptr || *wide == L'\0') return {};
  const int needed = ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  if (needed <= 1) return {};
  std::string text(static_cast<size_t>(needed), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), needed, nullptr, nullptr);
  text.pop_back();  // the terminating NUL
  return text;
}

// One of the computer's names; "" when it has none of that kind (no domain, say).
std::string ComputerName(COMPUTER_NAME_FORMAT format) {
  DWORD size = 0;
  ::GetComputerNameExA(format, nullptr, &size);
  if (size == 0) return {};
  std::vector<char> buffer(size + 1);
  size = static_cast<DWORD>(buffer.size());
  if (!::GetComputerNameExA(format, buffer.data(), &size)) return {};
  return std::string(buffer.data(), size);
}

// The version as the kernel reports it: GetVersionEx is capped at the version the
// executable's manifest declares, RtlGetVersion is not.
bool KernelVersion(RTL_OSVERSIONINFOEXW& info) {
  using RtlGetVersionFn = LONG(WINAPI*)(RTL_OSVERSIONINFOEXW*);
  HMODULE ntdll = ::GetModuleHandleA("ntdll");
  auto query = ntdll == nullptr ? nullptr
                                : reinterpret_cast<RtlGetVersionFn>(reinterpret_cast<void*>(
                                      ::GetProcAddress(ntdll, "RtlGetVersion")));
  if (query == nullptr) return false;
  info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  return query(&info) == 0;  // STATUS_SUCCESS
}

const char* ProductTypeName(BYTE productType) {
  switch (productType) {
    case VER_NT_WORKSTATION:
      return "Workstation";
    case VER_NT_DOMAIN_CONTROLLER:
      return "Domain Controller";
    case VER_NT_SERVER:
      return "Server";
    default:
      return kUnknown;
  }
}

const char* MachineName() {
  SYSTEM_INFO info{};
  ::GetNativeSystemInfo(&info);
  switch (info.wProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_AMD64:
      return "AMD64";
    case PROCESSOR_ARCHITECTURE_INTEL:
      return "x86";
    case PROCESSOR_ARCHITECTURE_ARM64:
      return "ARM64";
    case PROCESSOR_ARCHITECTURE_ARM:
      return "ARM";
    default:
      return kUnknown;
  }
}

// The release's name from its version, product type and build, as Windows' own "winver"
// would call it.
std::string ReleaseName(const RTL_OSVERSIONINFOEXW& v) {
  const bool workstation = v.wProductType == VER_NT_WORKSTATION;
  const DWORD major = v.dwMajorVersion;
  const DWORD minor = v.dwMinorVersion;
  const DWORD build = v.dwBuildNumber;
  if (major == 10 && minor == 0) {
    if (workstation) return build >= 22000 ? "Windows 11" : "Windows 10";
    if (build >= 26100) return "Windows Server 2025";
    if (build >= 20348) return "Windows Server 2022";
    if (build >= 17763) return "Windows Server 2019";
    return "Windows Server 2016";
  }
  if (major == 6) {
    switch (minor) {
      case 3:
        return workstation ? "Windows 8.1" : "Windows Server 2012 R2";
      case 2:
        return workstation ? "Windows 8" : "Windows Server 2012";
      case 1:
        return workstation ? "Windows 7" : "Windows Server 2008 R2";
      case 0:
        return workstation ? "Windows Vista" : "Windows Server 2008";
      default:
        break;
    }
  }
  if (major == 5) {
    if (minor == 0) return "Windows 2000";
    if (minor == 1) return "Windows XP";
    return workstation ? "Windows XP Professional x64 Edition" : "Windows Server 2003";
  }
  return "Windows " + std::to_string(major) + "." + std::to_string(minor);
}

}  // namespace

int GetMemInfo(_MEMINFO& info) {
  info = {};
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof(status);
  if (!::GlobalMemoryStatusEx(&status)) return ErrorCode::kOSMemoryUnreadable;
  info.memoryLoad = std::to_string(status.dwMemoryLoad);
  info.totalMemory = MiBText(status.ullTotalPhys);
  info.freeMemory = MiBText(status.ullAvailPhys);
  info.totalPageFile = MiBText(status.ullTotalPageFile);
  info.freePageFile = MiBText(status.ullAvailPageFile);
  info.totalVirtualMemory = MiBText(status.ullTotalVirtual);
  info.freeVirtualMemory = MiBText(status.ullAvailVirtual);
  return 0;
}

int GetOSInfo(_OSINFO& info) {
  info = {};
  RTL_OSVERSIONINFOEXW version{};
  if (!KernelVersion(version)) return ErrorCode::kOSIdentityUnreadable;
  info.version =
      std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion);
  info.build = std::to_string(version.dwBuildNumber);
  const std::string servicePack = Narrow(version.szCSDVersion);
  if (!servicePack.empty()) info.build += " " + servicePack;
  info.domain = ComputerName(ComputerNameDnsDomain);
  info.hostName = ComputerName(ComputerNameDnsHostname);
  info.machine = MachineName();
  info.type = ProductTypeName(version.wProductType);
  return 0;
}

int GetOSDisplayString(std::string& name) {
  name.clear();
  RTL_OSVERSIONINFOEXW version{};
  if (!KernelVersion(version)) return ErrorCode::kOSDisplayNameUnreadable;
  name = "Microsoft " + ReleaseName(version);
  const std::string servicePack = Narrow(version.szCSDVersion);
  if (!servicePack.empty()) name += " " + servicePack;
  name += " (build " + std::to_string(version.dwBuildNumber) + ")";
  return 0;
}

// Every interface but loopbacks and the filter drivers Windows stacks onto each adapter (they
// repeat the adapter's own counters), sorted by name as on Linux.
int GetNICInfo(std::vector<_NICINFO>& nics) {
  nics.clear();
  MIB_IF_TABLE2* table = nullptr;
  if (::GetIfTable2(&table) != NO_ERROR || table == nullptr) return ErrorCode::kOSNetworkUnreadable;
  std::vector<InterfaceRecord> records;
  for (ULONG i = 0; i < table->NumEntries; ++i) {
    const MIB_IF_ROW2& row = table->Table[i];
    if (row.Type == IF_TYPE_SOFTWARE_LOOPBACK || row.InterfaceAndOperStatusFlags.FilterInterface) {
      continue;
    }
    InterfaceRecord record;
    record.name = Narrow(row.Alias);
    if (record.name.empty()) record.name = Narrow(row.Description);
    record.counters = {std::to_string(row.OutOctets),
                       std::to_string(row.OutUcastPkts + row.OutNUcastPkts),
                       std::to_string(row.OutErrors),
                       std::to_string(row.InOctets),
                       std::to_string(row.InUcastPkts + row.InNUcastPkts),
                       std::to_string(row.InErrors)};
    records.push_back(std::move(record));
  }
  ::FreeMibTable(table);
  nics = BuildNicList(records);
  return 0;
}

// Fixed drives in letter order; the ID is the drive's root ("C:\"), the free space what this
// user may still use.
int GetDriveData(std::vector<_DRIVEINFO>& drives) {
  drives.clear();
  std::vector<char> buffer(512);
  DWORD n = ::GetLogicalDriveStringsA(static_cast<DWORD>(buffer.size()), buffer.data());
  if (n >= buffer.size()) {
    buffer.resize(n + 1);
    n = ::GetLogicalDriveStringsA(static_cast<DWORD>(buffer.size()), buffer.data());
  }
  if (n == 0 || n >= buffer.size()) return ErrorCode::kOSDrivesUnreadable;
  for (const char* root = buffer.data(); *root != '\0';
       root += std::char_traits<char>::length(root) + 1) {
    if (::GetDriveTypeA(root) != DRIVE_FIXED) continue;
    ULARGE_INTEGER available{};
    ULARGE_INTEGER total{};
    ULARGE_INTEGER free{};
    std::optional<FsSpace> space;
    if (::GetDiskFreeSpaceExA(root, &available, &total, &free)) {
      space = FsSpace{total.QuadPart, available.QuadPart, 1};
    }
    drives.push_back(MakeDriveInfo(root, space));
  }
  return 0;
}
