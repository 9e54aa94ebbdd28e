#include <unistd.h>

#include <fstream>

#include "ResidentMemory.h"

uint64_t ResidentBytes() {
  // statm: size resident shared ... in pages.
  std::ifstream statm("/proc/self/statm");
  uint64_t size = 0, resident = 0;
  if (!(statm >> size >> resident)) return 0;
  return resident * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
}
