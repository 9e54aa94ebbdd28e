// "/SMBIOS/MemoryArray": the Physical Memory Arrays that hold system memory, each with the
// Memory Devices that name it as their array, both in table order.

#include <map>
#include <set>

#include "smbios_answers.h"
#include "smbios_error.h"
#include "smbios_names.h"
#include "smbios_values.h"

namespace Module::BIOSConfig {

namespace {

constexpr uint8_t kArrayType = 16;
constexpr size_t kLocationOffset = 0x04;
constexpr size_t kUseOffset = 0x05;
constexpr size_t kErrorCorrectionOffset = 0x06;
constexpr size_t kMaximumCapacityOffset = 0x07;
constexpr size_t kNumberOfDevicesOffset = 0x0D;
constexpr size_t kExtendedCapacityOffset = 0x0F;
constexpr uint8_t kSystemMemoryUse = 3;
constexpr uint32_t kCapacityInExtended = 0x80000000;
// Where the layouts of successive versions end: a structure cut inside one lacks all of it.
constexpr std::initializer_list<size_t> kArrayLayoutEnds = {0x0F, 0x17};

constexpr uint8_t kDeviceType = 17;
constexpr size_t kArrayHandleOffset = 0x04;
constexpr size_t kTotalWidthOffset = 0x08;
constexpr size_t kDataWidthOffset = 0x0A;
constexpr size_t kSizeOffset = 0x0C;
constexpr size_t kFormFactorOffset = 0x0E;
constexpr size_t kDeviceLocatorOffset = 0x10;
constexpr size_t kBankLocatorOffset = 0x11;
constexpr size_t kMemoryTypeOffset = 0x12;
constexpr size_t kTypeDetailOffset = 0x13;
constexpr size_t kSpeedOffset = 0x15;
constexpr size_t kManufacturerOffset = 0x17;
constexpr size_t kSerialNumberOffset = 0x18;
constexpr size_t kPartNumberOffset = 0x1A;
constexpr size_t kExtendedSizeOffset = 0x1C;
constexpr size_t kConfiguredSpeedOffset = 0x20;
constexpr size_t kExtendedSpeedOffset = 0x54;
constexpr size_t kExtendedConfiguredSpeedOffset = 0x58;
// The two extended speeds came in together; a structure that stops between them has neither.
constexpr size_t kExtendedSpeedsEnd = 0x5C;
constexpr std::initializer_list<size_t> kDeviceLayoutEnds = {0x15, 0x17, 0x1B};

constexpr uint16_t kWidthUnknown = 0xFFFF;
constexpr uint16_t kSizeUnknown = 0xFFFF;
constexpr uint16_t kSizeInExtended = 0x7FFF;
constexpr uint16_t kSizeInKiB = 0x8000;
constexpr uint16_t kSizeValueMask = 0x7FFF;
constexpr uint32_t kExtendedSizeMask = 0x7FFFFFFF;
constexpr uint16_t kSpeedInExtended = 0xFFFF;
constexpr unsigned kTypeDetailBits = 16;
constexpr unsigned kKiBPerMiB = 1024;
constexpr unsigned kBytesPerMiBShift = 20;

std::string CapacityText(const Structure& s) {
  const std::optional<uint32_t> kib = Field<uint32_t>(s, kMaximumCapacityOffset);
  if (!kib) return kUnknown;
  if (*kib != kCapacityInExtended) return Decimal(*kib / kKiBPerMiB);
  const std::optional<uint64_t> bytes = Field<uint64_t>(s, kExtendedCapacityOffset);
  return bytes ? Decimal(*bytes >> kBytesPerMiBShift) : kUnknown;
}

// Firmware leaves a width it does not know at 0 as often as at 0xFFFF; neither is a width.
std::string WidthText(const Structure& s, size_t offset) {
  const std::optional<uint16_t> width = Field<uint16_t>(s, offset);
  if (!width || *width == kWidthUnknown) return kUnknown;
  return NonZeroText(*width);
}

// MiB; "0" means no module is installed. 0x7FFF defers to the extended size, except in a
// structure that predates it, where it is the plain 32767 MiB.
std::string SizeText(const Structure& s) {
  const std::optional<uint16_t> size = Field<uint16_t>(s, kSizeOffset);
  if (!size || *size == kSizeUnknown) return kUnknown;
  if (*size == kSizeInExtended) {
    const std::optional<uint32_t> extended = Field<uint32_t>(s, kExtendedSizeOffset);
    if (extended) return Decimal(*extended & kExtendedSizeMask);
  }
  if ((*size & kSizeInKiB) != 0) return Decimal((*size & kSizeValueMask) / kKiBPerMiB);
  return Decimal(*size);
}

std::string SpeedText(const Structure& s, size_t offset, size_t extendedOffset) {
  const std::optional<uint16_t> speed = Field<uint16_t>(s, offset);
  if (!speed) return kUnknown;
  if (*speed != kSpeedInExtended) return NonZeroText(*speed);
  if (s.formatted.size() < kExtendedSpeedsEnd) return kUnknown;
  return NonZeroText(Field<uint32_t>(s, extendedOffset));
}

void AddTypeDetail(const Structure& s, const std::string& device, TreeBuilder& tree) {
  const std::optional<uint16_t> detail = Field<uint16_t>(s, kTypeDetailOffset);
  if (!detail) return;
  const std::string path = device + "/TypeDetail";
  tree.Element(device, path);
  for (unsigned bit = 0; bit < kTypeDetailBits; ++bit) {
    const char* step = MemoryTypeDetailStep(bit);
    if (step != nullptr && (*detail >> bit & 1U) != 0) tree.Leaf(path, path + "/" + step, "Yes");
  }
}

void AddDevice(const Structure& s, const std::string& array, const std::string& path,
               TreeBuilder& tree) {
  tree.Element(array, path);
  const auto leaf = [&](const char* name, std::string value) {
    tree.Leaf(path, path + "/" + name, std::move(value));
  };
  leaf("MemoryArrayHandle", HandleText(*Field<uint16_t>(s, kArrayHandleOffset)));
  leaf("Handle", HandleText(s.handle));
  leaf("TotalWidth", WidthText(s, kTotalWidthOffset));
  leaf("DataWidth", WidthText(s, kDataWidthOffset));
  leaf("Size", SizeText(s));
  leaf("FormFactor", CodeName(s, kFormFactorOffset, MemoryFormFactorName));
  leaf("DeviceLocator", StringText(s, kDeviceLocatorOffset));
  leaf("BankLocator", StringText(s, kBankLocatorOffset));
  leaf("MemoryType", CodeName(s, kMemoryTypeOffset, MemoryTypeName));
  AddTypeDetail(s, path, tree);
  leaf("Speed", SpeedText(s, kSpeedOffset, kExtendedSpeedOffset));
  leaf("ConfiguredSpeed", SpeedText(s, kConfiguredSpeedOffset, kExtendedConfiguredSpeedOffset));
  leaf("Manufacturer", StringText(s, kManufacturerOffset));
  leaf("SerialNumber", StringText(s, kSerialNumberOffset));
  leaf("PartNumber", StringText(s, kPartNumberOffset));
}

using DeviceList = std::vector<const Structure*>;

void AddArray(const Structure& array, const DeviceList& devices, const std::string& path,
              TreeBuilder& tree) {
  tree.Element(kMemoryArraysPath, path);
  const auto leaf = [&](const char* name, std::string value) {
    tree.Leaf(path, path + "/" + name, std::move(value));
  };
  leaf("Location", CodeName(array, kLocationOffset, MemoryArrayLocationName));
  leaf("Use", CodeName(array, kUseOffset, MemoryArrayUseName));
  leaf("MemoryErrorCorrection", CodeName(array, kErrorCorrectionOffset, MemoryErrorCorrectionName));
  leaf("MaximumCapacity", CapacityText(array));
  const std::optional<uint16_t> count = Field<uint16_t>(array, kNumberOfDevicesOffset);
  leaf("NumMemoryDevices", count ? Decimal(*count) : kUnknown);
  for (size_t d = 0; d < devices.size(); ++d) {
    AddDevice(*devices[d], path, path + "/MemoryDevice[" + std::to_string(d + 1) + "]", tree);
  }
}

// The structures of type, each cut to the whole groups of fields it holds.
std::vector<Structure> OfType(const std::vector<Structure>& structures, uint8_t type,
                              std::initializer_list<size_t> layoutEnds) {
  std::vector<Structure> found;
  for (const Structure& s : structures) {
    if (s.type == type) found.push_back(WholeGroups(s, layoutEnds));
  }
  return found;
}

// The Memory Devices by the handle of the array they name, in table order.
std::map<uint16_t, DeviceList> DevicesByArray(const std::vector<Structure>& devices) {
  std::map<uint16_t, DeviceList> byArray;
  for (const Structure& s : devices) {
    const std::optional<uint16_t> array = Field<uint16_t>(s, kArrayHandleOffset);
    if (array) byArray[*array].push_back(&s);
  }
  return byArray;
}

}  // namespace

// A handle names one structure. In a damaged table that gives several arrays the same handle,
// the devices naming it are listed under the first of them only: under every one, a table of
// a few kilobytes would make millions of nodes.
void AddMemoryArrays(const std::vector<Structure>& structures, TreeBuilder& tree) {
  const std::vector<Structure> devices = OfType(structures, kDeviceType, kDeviceLayoutEnds);
  const std::map<uint16_t, DeviceList> byArray = DevicesByArray(devices);
  const DeviceList none;
  std::set<uint16_t> listed;
  size_t a = 0;
  for (const Structure& s : OfType(structures, kArrayType, kArrayLayoutEnds)) {
    if (Field<uint8_t>(s, kUseOffset) != kSystemMemoryUse) continue;
    const std::string path = std::string(kMemoryArraysPath) + "[" + std::to_string(++a) + "]";
    const auto found = byArray.find(s.handle);
    const bool first = listed.insert(s.handle).second;
    AddArray(s, first && found != byArray.end() ? found->second : none, path, tree);
  }
  tree.Leaf(kMemoryArraysPath, std::string(kMemoryArraysPath) + "/TotalNoOfArray", Decimal(a));
}

}  // namespace Module::BIOSConfig
