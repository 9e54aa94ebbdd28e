#pragma once
// Where each memory slot's sensor is found: its index in the board's DIMM sensor table and the
// sensor number the slot publishes.

#include <string>

namespace Module::PlatformConfig {

// Boards of the four-board family name their slots "Board A ..." to "Board D ...": the first
// of these found in the locator gives 0 to 3; a locator naming none counts as the last board.
int BoardIndexFromLocator(const std::string& locator);

struct SlotSensorAddress {
  long long tableIndex;  // index into the DIMM sensor table
  int sensorNumber;      // (group mod 4) * 64 + (device mod 64)
};

// group is the board index on the four-board family and the array index on every other;
// devices is the array's device count and device the 0-based index in the array.
SlotSensorAddress AddressSlotSensor(int group, int devices, int device);

}  // namespace Module::PlatformConfig
