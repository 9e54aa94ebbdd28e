#pragma once
// The framework's OS information library. Every field is text, already in its unit:
// memory in MB (2^20 bytes), drive space in GB (2^30 bytes), whole numbers rounded down,
// counters in decimal. Each call returns 0 on success, else a framework error code
// (ErrorCodes.h) whose sentence ErrorMgr gives.
//
// Where the library reads the machine's figures. Every file it reads lies under the process's
// source root (Ordix::OS::SetSourceRoot, oslib/SourceRoot.h; "" = the machine itself), so tests
// can point it at recorded data:
//   root/proc/meminfo, root/proc/self/mountinfo, root/sys/class/net, root/sys/dev/block,
//   root/etc/os-release (else root/usr/lib/os-release), root/etc/hosts.
// Figures that come from system calls (uname, statvfs of a mount point) are taken from the
// running machine; drive space is asked of root + mount point.

#include <string>
#include <vector>

#include "osinfo_export.h"

struct _MEMINFO {
  std::string memoryLoad;  // percent of physical memory in use
  std::string totalMemory;
  std::string freeMemory;
  std::string totalPageFile;
  std::string freePageFile;
  std::string totalVirtualMemory;
  std::string freeVirtualMemory;
};

struct _OSINFO {
  std::string version;
  std::string build;
  std::string domain;
  std::string hostName;
  std::string machine;
  std::string type;
};

struct _NICINFO {
  std::string name;
  std::string transmitBytes;
  std::string transmitPackets;
  std::string transmitErrors;
  std::string receiveBytes;
  std::string receivePackets;
  std::string receiveErrors;
};

struct _DRIVEINFO {
  std::string id;
  std::string totalSpace;
  std::string freeSpace;
};

OSINFO_EXPORT int GetMemInfo(_MEMINFO& info);
OSINFO_EXPORT int GetOSInfo(_OSINFO& info);
OSINFO_EXPORT int GetOSDisplayString(std::string& name);
OSINFO_EXPORT int GetNICInfo(std::vector<_NICINFO>& nics);
OSINFO_EXPORT int GetDriveData(std::vector<_DRIVEINFO>& drives);
