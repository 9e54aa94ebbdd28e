#pragma once
// The text parsers of the Linux implementation, kept free of I/O so they can be tested on
// recorded text. Internal to src/sys/posix (and its tests).
#include <cstdint>
#include <string>

namespace Sys::Posix {

// A kernel CPU list ("0-3,8,10-11\n", as in /sys/devices/system/cpu/online) as a mask; CPUs
// above 63 are left out. False for an empty or malformed list.
bool ParseCpuList(const std::string& text, uint64_t& mask);

// N of "\Processor(N)\% Processor Time" (exactly this form, N decimal); false otherwise.
bool ParseProcessorCounterPath(const std::string& path, unsigned& cpu);

// The times of one processor from /proc/stat, in clock ticks.
struct CpuTimes {
  uint64_t total = 0;  // user nice system idle iowait irq softirq steal
  uint64_t idle = 0;   // idle + iowait
};

// The "cpuN" line of /proc/stat text. It needs at least the four fields every kernel writes
// (user nice system idle); the later ones count when present. guest and guest_nice are already
// inside user and nice, so they are not added.
bool ParseProcStatCpu(const std::string& statText, unsigned cpu, CpuTimes& times);

// 100 * busy / total over two readings, clamped to [0, 100]; false when total did not grow.
bool BusyPercent(const CpuTimes& first, const CpuTimes& second, double& percent);

}  // namespace Sys::Posix
