#include "memory/MemoryImpl.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "BIOSConfigModule.h"
#include "ErrorReport.h"
#include "Format.h"
#include "Paths.h"
#include "memory/DimmState.h"
#include "memory/MemoryErrorCount.h"
#include "memory/SlotBound.h"
#include "memory/SlotSensor.h"
#include "platform/PlatformImpl.h"

namespace Module::PlatformConfig {

namespace {

using namespace Paths;

constexpr const char* kSource = ".\\MemoryImpl";
constexpr const char* kFillFunction = "Module::PlatformConfig::Memory::FillMemoryTopologyMap";
constexpr ErrorSite kNoPlatformSite{kSource, "Module::PlatformConfig::Memory::InitializePlatform",
                                    43};
constexpr ErrorSite kNoArrayCountSite{kSource, kFillFunction, 74};
constexpr ErrorSite kNegativeArrayCountSite{kSource, kFillFunction, 114};
constexpr ErrorSite kNoDeviceCountSite{kSource, kFillFunction, 125};
constexpr ErrorSite kDimmStateSite{kSource, "Module::PlatformConfig::Memory::GetMemoryState", 240};
constexpr ErrorSite kStateBufferSite{kSource, "Module::PlatformConfig::Memory::GetMemoryState",
                                     247};
constexpr ErrorSite kErrorCountSite{kSource, "Module::PlatformConfig::Memory::GetMemoryErrors",
                                    267};

constexpr uint16_t kErrNoMemory = 1006;
constexpr uint16_t kErrNoPlatform = 1029;
constexpr uint16_t kErrDimmState = 1036;
constexpr uint16_t kErrErrorCounts = 1037;
constexpr uint16_t kErrArrayCount = 1038;
constexpr uint16_t kErrDeviceCount = 1039;

constexpr const char* kArrayCountError = "ERROR_GET_MEMORY_ARRAY_NO";
// In the totals when an array claims more slots than the table can account for.
constexpr const char* kDeviceCountError = "ERROR_GET_MEMORY_DEVICE_NO";
constexpr const char* kDimmStateError = "ERROR_GET_MEMORY_DIMM_STATE";
constexpr const char* kErrorCountError = "ERROR_GET_MEMORY_ECC_ERROR_COUNT";

constexpr const char* kMemoryInfo = "/Platform/MemoryTopology/MemoryInfo";
constexpr const char* kErrors = "/Platform/MemoryTopology/Errors";
constexpr const char* kSmbiosArrays = "/SMBIOS/MemoryArray";

// Slots a board has no sensor for; written in upper case, unlike the table's own "ff".
constexpr const char* kNoSensorFiller = "FF";
// The filler never grows the table past the indexes usable slots reach (a board index of up to
// 3 times the device count, plus the device): a corrupt count must not exhaust memory.
constexpr long long kMaxSensorTableSlots = 4 * kMaxSlots;

// Makes sure the table reaches index; the new entries are fillers.
void ExtendSensorTable(std::vector<std::string>& table, long long slots) {
  if (slots > kMaxSensorTableSlots) slots = kMaxSensorTableSlots;
  while (static_cast<long long>(table.size()) < slots) table.emplace_back(kNoSensorFiller);
}

}  // namespace

void Memory::Initialize(NodeTree& tree) {
  InitializePlatform();
  FillMemoryTopologyMap(tree);
}

void Memory::InitializePlatform() {
  platform_ = Platform::PlatformImpl::GetInstance();
  if (platform_ == nullptr) ReportError(kErrNoPlatform, kNoPlatformSite);
}

void Memory::FillMemoryTopologyMap(NodeTree& tree) {
  const std::string arrayCount = GetBIOSValue(kSmbiosArrays, "/TotalNoOfArray", tree);
  if (arrayCount.empty()) {
    AddNode(kPlatform, "/MemoryTopology", kArrayCountError, 1, tree);
    ReportError(kErrArrayCount, kNoArrayCountSite);
    return;
  }
  AddNode(kPlatform, "/MemoryTopology", "", 1, tree);
  AddNode(kMemoryTopology, "/MemoryInfo", "", 1, tree);
  const long long arrays = LeadingCount(arrayCount.c_str());

  const std::string board = platform_ != nullptr ? platform_->GetBoardID() : std::string();
  std::vector<std::string> sensorTable;
  if (platform_ != nullptr) sensorTable = platform_->GetDimmSensorNumbers(board.c_str());
  const long long firstArrayDevices = LeadingCount(
      GetBIOSValue(std::string(kSmbiosArrays) + "[1]", "/NumMemoryDevices", tree).c_str());
  ExtendSensorTable(sensorTable, std::min(arrays, kMaxSlots) * firstArrayDevices);

  // More arrays than a machine could have slots is a corrupt table, not a count to walk.
  if (arrays < 0 || arrays > kMaxSlots) {
    AddNode(kPlatform, "/MemoryTopology", kArrayCountError, 1, tree);
    ReportError(kErrArrayCount, kNegativeArrayCountSite);
    return;
  }

  Totals totals{static_cast<int>(arrays)};
  for (int i = 0; i < static_cast<int>(arrays); ++i) {
    const ArrayFill fill = FillArray(i, sensorTable, tree, totals);
    if (fill == ArrayFill::kFilled) continue;
    if (fill == ArrayFill::kCountBeyondTable) {
      AddNode(kMemoryTopology, "/NumberOfElements", kDeviceCountError, 0, tree);
      AddNode(kMemoryTopology, "/TotalMemorySize", kDeviceCountError, 0, tree);
    }
    ReportError(kErrDeviceCount, kNoDeviceCountSite);
    return;
  }
  const int slotTotal = totals.slots;
  const long long sizeTotal = totals.size;
  AddNode(kMemoryTopology, "/NumberOfElements", DecimalText(slotTotal), 0, tree);
  AddNode(kMemoryTopology, "/TotalMemorySize", DecimalText(sizeTotal), 0, tree);
}

long long Memory::ListedDevices(int arrays) {
  long long listed = 0;
  for (int a = 1; a <= arrays; ++a) {
    BIOSConfig::BIOSConfigModule bios;
    ResultMap children;
    const std::string array = std::string(kSmbiosArrays) + "[" + DecimalText(a) + "]";
    bios.ProcessXQuery(array + "/@children", children);
    for (const std::string& child : children[array].list) {
      if (child.find("/MemoryDevice[") != std::string::npos) ++listed;
    }
  }
  return listed;
}

Memory::ArrayFill Memory::FillArray(int i, std::vector<std::string>& sensorTable, NodeTree& tree,
                                    Totals& totals) {
  const std::string arrayPath = std::string(kSmbiosArrays) + "[" + DecimalText(i + 1) + "]";
  const std::string deviceCount = GetBIOSValue(arrayPath, "/NumMemoryDevices", tree);
  if (deviceCount.empty()) return ArrayFill::kNoCount;
  const long long claimed = LeadingCount(deviceCount.c_str());
  // The devices the table lists are counted only for a count past what any board has.
  if (claimed > kUnlistedSlotAllowance && totals.listedDevices < 0) {
    totals.listedDevices = ListedDevices(totals.arrays);
  }
  if (!DeviceCountUsable(claimed, std::max(totals.listedDevices, 0LL), totals.slots)) {
    return ArrayFill::kCountBeyondTable;
  }
  const int devices = static_cast<int>(claimed);
  totals.slots += devices;
  long long& sizeTotal = totals.size;

  const bool boardsByLocator =
      platform_ != nullptr && platform_->family == Platform::kTeskarPlatform;
  int group = i;
  for (int j = 0; j < devices; ++j) {
    // Slots are numbered by the array's own device count, not by a running total: arrays of
    // different sizes overlap or leave gaps, and each overlapping slot is simply rewritten.
    const int slot = i * devices + j;
    const std::string devicePath = arrayPath + "/MemoryDevice[" + DecimalText(j + 1) + "]";
    FillSlot(slot, arrayPath, devicePath, tree, sizeTotal);

    const std::string slotPath = std::string(kMemoryInfo) + "[" + DecimalText(slot) + "]";
    if (boardsByLocator && j == 0) {
      group = BoardIndexFromLocator(GetBIOSValue(devicePath, "/DeviceLocator", tree));
    }
    const SlotSensorAddress address = AddressSlotSensor(group, devices, j);
    // An index past the filled table (an array larger than the first one) gets the filler
    // too, rather than a read past the table's end.
    ExtendSensorTable(sensorTable, address.tableIndex + 1);
    const std::string sensor = address.tableIndex < static_cast<long long>(sensorTable.size())
                                   ? sensorTable[static_cast<size_t>(address.tableIndex)]
                                   : kNoSensorFiller;
    AddNode(slotPath, "/SlotSensorNumber", sensor, 0, tree);
    AddNode(slotPath, "/SensorNumber", HexText(static_cast<unsigned>(address.sensorNumber)), 0,
            tree);
    AddNode(slotPath, "/SlotSensorOwnerID", HexText(0x22), 0, tree);
    AddNode(slotPath, "/SensorOwnerID", HexText(0x33), 0, tree);
    AddNode(slotPath, "/SensorOwnerLUN", "0", 0, tree);
  }
  return ArrayFill::kFilled;
}

void Memory::FillSlot(int slot, const std::string& arrayPath, const std::string& devicePath,
                      NodeTree& tree, long long& sizeTotal) {
  const std::string slotPath = std::string(kMemoryInfo) + "[" + DecimalText(slot) + "]";
  AddNode(kMemoryInfo, "[" + DecimalText(slot) + "]", "", 1, tree);
  const struct {
    const char* name;
    const std::string& base;
    const char* key;
  } copies[] = {
      {"/MemoryLocation", arrayPath, "/Location"},
      {"/MemoryErrorCorrectionType", arrayPath, "/MemoryErrorCorrection"},
      {"/MemoryArrayHandle", devicePath, "/MemoryArrayHandle"},
      {"/MemoryTotalWidth", devicePath, "/TotalWidth"},
      {"/MemoryDataWidth", devicePath, "/DataWidth"},
      {"/MemorySize", devicePath, "/Size"},
      {"/MemorySlotName", devicePath, "/DeviceLocator"},
      {"/MemoryBankName", devicePath, "/BankLocator"},
      {"/MemoryType", devicePath, "/MemoryType"},
  };
  for (const auto& copy : copies) {
    const std::string value = GetBIOSValue(copy.base, copy.key, tree);
    if (copy.key == std::string("/Size")) {
      const long long size = std::atoll(value.c_str());
      if (size > 0) sizeTotal += size;
    }
    AddNode(slotPath, copy.name, value, 0, tree);
  }
  AddNode(slotPath, "/TypeDetail", "", 1, tree);
  ImportBIOSSubtree(slotPath + "/TypeDetail", devicePath + "/TypeDetail", tree);
  AddNode(slotPath, "/MemorySpeed", GetBIOSValue(devicePath, "/Speed", tree), 0, tree);
}

void Memory::GetMemoryState(const std::string& slotPath, NodeTree& tree) {
  const auto sensor = tree.find(slotPath + "/SlotSensorNumber");
  if (sensor == tree.end() || !sensor->second || sensor->second->list.empty()) return;
  const uint8_t state = ReadSensor(sensor->second->list.front());

  std::string value;
  if (state != 0) {
    try {
      value = HexText(state);
    } catch (const std::bad_alloc&) {
      throw ReportError(kErrNoMemory, kStateBufferSite);
    }
  } else {
    value = kDimmStateError;
    ReportError(kErrDimmState, kDimmStateSite);
  }
  const std::string statePath = slotPath + "/MemoryState";
  auto existing = tree.find(statePath);
  if (existing != tree.end() && existing->second) {
    existing->second->list.assign(1, value);
  } else {
    AddNode(slotPath, "/MemoryState", value, 0, tree);
  }
}

uint8_t Memory::ReadSensor(const std::string& sensorText) {
  const long sensor = std::strtol(sensorText.c_str(), nullptr, 16);
  const std::string query = "/BMC/SENSOR[" + std::to_string(sensor) + "]/VALUE";
  ResultMap answer;
  const std::vector<std::string> reply = GetQuery(query.c_str(), answer);
  if (reply.empty() || reply.front().empty()) return 0;
  return DecodeDimmState(reply.front());
}

void Memory::GetMemoryErrors(NodeTree& tree) {
  int32_t corrected = 0;
  int32_t uncorrected = 0;
  ReadSEL(corrected, uncorrected);
  if (corrected != -1 && uncorrected != -1) {
    AddNode(kErrors, "/CorErrorCount", DecimalText(corrected), 0, tree);
    AddNode(kErrors, "/UnCorErrorCount", DecimalText(uncorrected), 0, tree);
    return;
  }
  AddNode(kErrors, "/CorErrorCount", kErrorCountError, 0, tree);
  AddNode(kErrors, "/UnCorErrorCount", kErrorCountError, 0, tree);
  ReportError(kErrErrorCounts, kErrorCountSite);
}

void Memory::ReadSEL(int32_t& corrected, int32_t& uncorrected) {
  corrected = -1;
  uncorrected = -1;
  ResultMap answer;
  const std::vector<std::string> first = GetQuery("/BMC/SEL/RECORD", answer);
  if (first.empty() || first.front().empty()) return;

  // One record per answer node, in key order (the keys are zero-padded, so this is log order).
  std::vector<std::string> records;
  records.reserve(answer.size());
  for (const auto& [key, node] : answer) {
    records.push_back(node.list.empty() ? std::string() : node.list.front());
  }
  const MemoryErrorCounts counts = CountMemoryErrors(records);
  corrected = counts.corrected;
  uncorrected = counts.uncorrected;
}

}  // namespace Module::PlatformConfig
