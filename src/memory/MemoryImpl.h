#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "module/common.h"

namespace Platform {
class PlatformImpl;
}

namespace Module::PlatformConfig {

// The memory component: "/Platform/MemoryTopology". The inventory (arrays and slots, each
// slot's sensor) comes from the SMBIOS tables; the DIMM state and the error counts are read
// from the BMC when a query asks for them.
class Memory {
 public:
  Memory() = default;

  // Gets the platform (InitializePlatform), then rebuilds "/Platform/MemoryTopology" under
  // "/Platform" (FillMemoryTopologyMap).
  void Initialize(NodeTree& tree);
  void InitializePlatform();
  void FillMemoryTopologyMap(NodeTree& tree);

  // Re-reads the state of the slot at slotPath ("/Platform/MemoryTopology/MemoryInfo[2]") into
  // slotPath + "/MemoryState". A path that names no inventoried slot is left alone.
  void GetMemoryState(const std::string& slotPath, NodeTree& tree);
  // The slot state from the sensor numbered sensorText (hexadecimal); 0 when none.
  static uint8_t ReadSensor(const std::string& sensorText);

  // Recounts the corrected and uncorrected errors under "/Platform/MemoryTopology/Errors".
  void GetMemoryErrors(NodeTree& tree);
  // Both counts -1 when the event log cannot be read.
  static void ReadSEL(int32_t& corrected, int32_t& uncorrected);

 private:
  struct Totals {
    int arrays = 0;
    int slots = 0;
    long long size = 0;
    long long listedDevices = -1;  // counted when first needed
  };
  enum class ArrayFill { kFilled, kNoCount, kCountBeyondTable };

  // Writes the slots of array arrayIndex (0-based), unless its device count is missing or
  // more than the table accounts for.
  ArrayFill FillArray(int arrayIndex, std::vector<std::string>& sensorTable, NodeTree& tree,
                      Totals& totals);
  // The memory devices the table lists under its first `arrays` arrays.
  static long long ListedDevices(int arrays);
  void FillSlot(int slot, const std::string& arrayPath, const std::string& devicePath,
                NodeTree& tree, long long& sizeTotal);

  Platform::PlatformImpl* platform_ = nullptr;
};

}  // namespace Module::PlatformConfig
