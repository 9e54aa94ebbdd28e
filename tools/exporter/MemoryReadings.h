#pragma once
// Memory metrics from the module's "/Platform/MemoryTopology" answers.

#include <string>
#include <vector>

#include "Metrics.h"
#include "XNode.h"

namespace Exporter {

// A slot as the inventory names it.
struct Slot {
  std::string path;    // "/Platform/MemoryTopology/MemoryInfo[3]"
  std::string index;   // "3"
  std::string name;    // its locator, "CPU1_DIMM_B2"
  std::string bank;    // "NODE 0"
  std::string sensor;  // the slot's sensor number as the module names it, "e3"
};

// The slots of a "/Platform" (or "/Platform/MemoryTopology") answer, in inventory order.
std::vector<Slot> SlotsOf(const ResultMap& inventory);

// Each slot's module size and the total installed, in bytes; a size that is not a number
// ("Unknown") gives no sample.
Samples MemorySizeSamples(const ResultMap& inventory, const std::vector<Slot>& slots);

// The query that reads a slot's state now.
std::string DimmStateQuery(const Slot& slot);

// Whether the state of slot could be read from answer (the module's answer to its state query,
// or nothing when it was not asked), and the state bits when it could.
Samples DimmStateSamples(const Slot& slot, const ResultMap& answer);

// The query that counts the memory errors in the event log now.
extern const char* const kMemoryErrorsQuery;

// The corrected and uncorrected error counts of an answer to kMemoryErrorsQuery; none when the
// log could not be read.
Samples MemoryErrorSamples(const ResultMap& answer);

}  // namespace Exporter
