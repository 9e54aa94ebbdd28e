#pragma once
// A "/Platform" answer as the module gives it, trimmed to what the exporter reads.

#include <string>
#include <tuple>
#include <vector>

#include "XNode.h"

namespace Exporter::Fixture {

inline _XNode Leaf(const std::string& value) {
  return {XNODE_VALUE, {value}, {}};
}
inline _XNode Element(std::vector<std::string> children) {
  return {XNODE_ELEMENT, std::move(children), {}};
}

const std::string kProc = "/Platform/ProcessorInfo";
const std::string kMem = "/Platform/MemoryTopology";
const std::string kStatus1 = kProc + "/PhysicalProcessorStatus[1]";

inline std::string SlotPath(size_t n) {
  return kMem + "/MemoryInfo[" + std::to_string(n) + "]";
}

// Package 1 with some states unreported (-1), package 2 failed; slots named DIMM_0, DIMM_1, ...
// with sensors e0, e1, ... of 32768 MB, but "Unknown" for slot 1; slot 0 listed twice (the
// inventory lists a slot again when overlapping arrays write it twice).
inline ResultMap Inventory(size_t slots = 2, const std::string& logicalCount = "4") {
  ResultMap r;
  r[kProc] = Element({kProc + "/NumberOfPhysicalProcessor", kProc + "/NumberOfLogicalProcessor",
                      kStatus1, kProc + "/PhysicalProcessorStatus[2]"});
  r[kProc + "/NumberOfPhysicalProcessor"] = Leaf("2");
  r[kProc + "/NumberOfLogicalProcessor"] = Leaf(logicalCount);
  std::vector<std::string> leaves;
  for (const auto& [leaf, value] :
       std::vector<std::pair<std::string, std::string>>{{"SensorOwnerID", "20"},
                                                        {"SensorNumber", "90"},
                                                        {"ThermalTrip", "1"},
                                                        {"IERR", "0"},
                                                        {"FRB1", "-1"},
                                                        {"FRB2", "-1"},
                                                        {"FRB3", "-1"},
                                                        {"ProcessorThrottled", "0"},
                                                        {"ConfigError", "-1"}}) {
    leaves.push_back(kStatus1 + "/" + leaf);
    r[leaves.back()] = Leaf(value);
  }
  r[kStatus1] = Element(leaves);
  r[kProc + "/PhysicalProcessorStatus[2]"] = Element({"ERROR_GET_PHYSICAL_PROCESSOR_STATUS"});

  std::vector<std::string> listed;
  for (size_t n = 0; n < slots; ++n) {
    const std::string slot = SlotPath(n);
    listed.push_back(slot);
    r[slot] = Element({slot + "/MemorySize"});
    r[slot + "/MemorySize"] = Leaf(n == 1 ? "Unknown" : "32768");
    r[slot + "/MemorySlotName"] = Leaf("DIMM_" + std::to_string(n));
    r[slot + "/MemoryBankName"] = Leaf("NODE 0");
    r[slot + "/SlotSensorNumber"] = Leaf("e" + std::to_string(n));
  }
  if (slots > 0) listed.push_back(SlotPath(0));
  r[kMem + "/MemoryInfo"] = Element(listed);
  r[kMem + "/TotalMemorySize"] = Leaf("32768");
  return r;
}

}  // namespace Exporter::Fixture
