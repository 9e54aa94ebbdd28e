#include "sys/ProcessorTopology.h"

#include <dirent.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>

#include "SmallFile.h"

namespace Sys {

namespace {

// N of a directory named "cpuN" (not cpufreq, cpuidle, ...); false otherwise.
bool CpuNumber(const std::string& name, unsigned long& cpu) {
  if (name.size() < 4 || name.size() > 9 || name.compare(0, 3, "cpu") != 0) return false;
  if (name.find_first_not_of("0123456789", 3) != std::string::npos) return false;
  cpu = std::strtoul(name.c_str() + 3, nullptr, 10);
  return true;
}

// The whole number a sysfs file holds (one line); false when missing or not a number.
bool ReadNumber(const std::string& path, long& value) {
  std::string text;
  if (!Posix::ReadSmallFile(path, text)) return false;
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  value = std::strtol(begin, &end, 10);
  if (end == begin || errno != 0) return false;
  const char* const stop = begin + text.size();
  while (end < stop && (*end == '\n' || *end == ' ' || *end == '\t' || *end == '\r')) ++end;
  return end == stop;
}

struct DirCloser {
  void operator()(DIR* dir) const { ::closedir(dir); }
};

}  // namespace

int GetProcessorPackageMasks(std::vector<uint64_t>& masks, size_t maxMasks) {
  masks.clear();
  // Package id -> its processors, so the masks come in ascending package-id order. A CPU
  // that is offline has no topology directory and counts in no package; CPUs 64 and above
  // cannot be represented and are left out (a package made only of them is not listed).
  std::map<long, uint64_t> packages;
  bool anyRead = false;
  const std::string cpus = SourcePath("/sys/devices/system/cpu");
  const std::unique_ptr<DIR, DirCloser> dir(::opendir(cpus.c_str()));
  for (const dirent* entry = dir ? ::readdir(dir.get()) : nullptr; entry != nullptr;
       entry = ::readdir(dir.get())) {
    unsigned long cpu = 0;
    long package = 0;
    if (!CpuNumber(entry->d_name, cpu)) continue;
    if (!ReadNumber(cpus + "/" + entry->d_name + "/topology/physical_package_id", package)) {
      continue;
    }
    anyRead = true;
    if (cpu < 64) packages[package] |= uint64_t{1} << cpu;
  }
  if (!anyRead) return kPackagesUnsupported;
  for (const auto& [package, mask] : packages) {
    if (masks.size() >= maxMasks) break;
    masks.push_back(mask);
  }
  return kPackagesOk;
}

}  // namespace Sys
