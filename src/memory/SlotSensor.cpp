#include "memory/SlotSensor.h"

namespace Module::PlatformConfig {

namespace {

constexpr const char* kBoardNames[] = {"Board A", "Board B", "Board C", "Board D"};
constexpr int kLastBoard = 3;
constexpr int kGroups = 4;
constexpr int kDevicesPerGroup = 64;

}  // namespace

int BoardIndexFromLocator(const std::string& locator) {
  for (int b = 0; b <= kLastBoard; ++b) {
    if (locator.find(kBoardNames[b]) != std::string::npos) return b;
  }
  return kLastBoard;
}

SlotSensorAddress AddressSlotSensor(int group, int devices, int device) {
  SlotSensorAddress address;
  address.tableIndex = static_cast<long long>(group) * devices + device;
  address.sensorNumber = (group % kGroups) * kDevicesPerGroup + (device % kDevicesPerGroup);
  return address;
}

}  // namespace Module::PlatformConfig
