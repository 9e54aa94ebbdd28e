#pragma once
// The machine's own figures, read the way an administrator would, without the module's code.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace IntegrationTest {

// /proc/meminfo: field name -> kB.
std::map<std::string, uint64_t> ReadMeminfo();

// PRETTY_NAME of /etc/os-release (else /usr/lib/os-release), without its quotes.
std::string OSPrettyName();

// The names under /sys/class/net whose interface is not a loopback one, sorted.
std::vector<std::string> NonLoopbackInterfaces();

// /sys/class/net/NAME/statistics/COUNTER, e.g. ("eth0", "rx_bytes").
uint64_t InterfaceCounter(const std::string& name, const std::string& counter);

struct DfEntry {
  std::string source;  // the device or file system name
  uint64_t sizeBytes = 0;
  uint64_t availableBytes = 0;
};

// What `df -B1 --output=source,target,size,avail` lists: mount point -> figures.
std::map<std::string, DfEntry> DfListing();

}  // namespace IntegrationTest
