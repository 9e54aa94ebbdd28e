#pragma once
// Counting memory errors in the BMC's event log since the last boot it records.

#include <cstdint>
#include <string>
#include <vector>

namespace Module::PlatformConfig {

struct MemoryErrorCounts {
  int32_t corrected = 0;
  int32_t uncorrected = 0;
};

// Counts over records in the order given. Each record is a Get SEL Entry reply as text (next
// record ID, then the 16-byte record, bytes "%x" joined by blanks): memory (sensor type "c")
// with event data 1 "40" is corrected, "41" uncorrected; a system boot event (sensor type "12",
// event data 1 "1") starts both counts again. Tokens are compared as text, exactly; a record
// too short to hold event data 1 matches nothing.
MemoryErrorCounts CountMemoryErrors(const std::vector<std::string>& records);

}  // namespace Module::PlatformConfig
