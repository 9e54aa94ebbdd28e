// "/SMBIOS/Type4[n]": one element per Processor Information structure, in table order.

#include <algorithm>
#include <cctype>
#include <cstring>

#include "smbios_answers.h"
#include "smbios_names.h"
#include "smbios_values.h"

namespace Module::BIOSConfig {

namespace {

constexpr uint8_t kProcessorType = 4;

constexpr size_t kSocketOffset = 0x04;
constexpr size_t kTypeOffset = 0x05;
constexpr size_t kFamilyOffset = 0x06;
constexpr size_t kManufacturerOffset = 0x07;
constexpr size_t kVersionOffset = 0x10;
constexpr size_t kExternalClockOffset = 0x12;
constexpr size_t kMaxSpeedOffset = 0x14;
constexpr size_t kCurrentSpeedOffset = 0x16;
constexpr size_t kStatusOffset = 0x18;
constexpr size_t kSerialNumberOffset = 0x20;
constexpr size_t kPartNumberOffset = 0x22;
constexpr size_t kCoreCountOffset = 0x23;
constexpr size_t kCoreEnabledOffset = 0x24;
constexpr size_t kThreadCountOffset = 0x25;
constexpr size_t kFamily2Offset = 0x28;
constexpr size_t kCoreCount2Offset = 0x2A;
constexpr size_t kCoreEnabled2Offset = 0x2C;
constexpr size_t kThreadCount2Offset = 0x2E;

// Where the layouts of successive versions end: a structure cut inside one lacks all of it.
constexpr std::initializer_list<size_t> kLayoutEnds = {0x1A, 0x20, 0x23, 0x28};

constexpr uint8_t kFamilyInFamily2 = 0xFE;  // the family is in Processor Family 2
constexpr uint8_t kCountInCount2 = 0xFF;    // the count is in its two-byte "Count 2" field
constexpr uint8_t kPopulatedBit = 0x40;
constexpr uint8_t kCpuStatusMask = 0x07;

// Codes whose meaning depends on who made the processor: two makers used 0xBE for different
// families, and SMBIOS 2.0 tables of one maker used 0x30, later assigned to Alpha, for the
// Pentium Pro.
constexpr uint16_t kAmbiguousFamily = 0xBE;
constexpr uint16_t kSmbios20 = 0x0200;
constexpr uint8_t kSmbios20PentiumPro = 0x30;

// Whether text names the maker. Makers spell themselves many ways ("Intel(R) Corporation",
// "GenuineIntel", "intel"): the name anywhere as written, or as a prefix in any case.
bool NamesMaker(const std::string& text, const char* maker) {
  const size_t length = std::strlen(maker);
  const auto sameLetter = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  };
  return text.find(maker) != std::string::npos ||
         (text.size() >= length && std::equal(maker, maker + length, text.begin(), sameLetter));
}

std::string FamilyText(const Structure& s, const EntryPoint& entryPoint) {
  const std::optional<uint8_t> family = Field<uint8_t>(s, kFamilyOffset);
  if (!family) return kUnknown;
  const std::string maker = StringField(s, kManufacturerOffset).value_or("");
  if (entryPoint.Version() == kSmbios20 && *family == kSmbios20PentiumPro &&
      NamesMaker(maker, "Intel")) {
    return "Pentium Pro";
  }
  const std::optional<uint16_t> family2 = Field<uint16_t>(s, kFamily2Offset);
  const uint16_t code = *family == kFamilyInFamily2 && family2 ? *family2 : *family;
  if (code == kAmbiguousFamily) {
    if (NamesMaker(maker, "Intel")) return "Core 2";
    if (NamesMaker(maker, "AMD")) return "K7";
  }
  const char* name = ProcessorFamilyName(code);
  return name != nullptr ? name : "Other";
}

std::string CountText(const Structure& s, size_t offset, size_t offset2) {
  const std::optional<uint8_t> count = Field<uint8_t>(s, offset);
  if (!count) return kUnknown;
  const std::optional<uint16_t> count2 = Field<uint16_t>(s, offset2);
  const uint64_t value = *count == kCountInCount2 && count2 ? *count2 : *count;
  return NonZeroText(value);
}

std::string StatusText(const Structure& s) {
  const std::optional<uint8_t> status = Field<uint8_t>(s, kStatusOffset);
  if (!status) return kUnknown;
  const char* cpu = ProcessorStatusName(*status & kCpuStatusMask);
  return std::string("Populated: ") + ((*status & kPopulatedBit) != 0 ? "Yes" : "No") + ", " +
         (cpu != nullptr ? cpu : kUnknown);
}

std::string SpeedText(const Structure& s, size_t offset) {
  const std::optional<uint16_t> speed = Field<uint16_t>(s, offset);
  return NonZeroText(speed ? std::optional<uint64_t>(*speed) : std::nullopt);
}

void AddProcessor(const Structure& whole, const EntryPoint& ep, const std::string& path,
                  TreeBuilder& tree) {
  const Structure s = WholeGroups(whole, kLayoutEnds);
  tree.Element(kProcessorsPath, path);
  const auto leaf = [&](const char* name, std::string value) {
    tree.Leaf(path, path + "/" + name, std::move(value));
  };
  leaf("SocketDesignation", StringText(s, kSocketOffset));
  leaf("ProcessorType", CodeName(s, kTypeOffset, ProcessorTypeName));
  leaf("ProcessorFamily", FamilyText(s, ep));
  leaf("ProcessorManufacturer", StringText(s, kManufacturerOffset));
  leaf("ProcessorVersion", StringText(s, kVersionOffset));
  leaf("ClockFrequency", SpeedText(s, kExternalClockOffset));
  leaf("MaxSpeed", SpeedText(s, kMaxSpeedOffset));
  leaf("CurrentSpeed", SpeedText(s, kCurrentSpeedOffset));
  leaf("Status", StatusText(s));
  leaf("SerialNumber", StringText(s, kSerialNumberOffset));
  leaf("PartNumber", StringText(s, kPartNumberOffset));
  leaf("CoreCount", CountText(s, kCoreCountOffset, kCoreCount2Offset));
  leaf("CoreEnabled", CountText(s, kCoreEnabledOffset, kCoreEnabled2Offset));
  leaf("ThreadCount", CountText(s, kThreadCountOffset, kThreadCount2Offset));
}

}  // namespace

void AddProcessors(const std::vector<Structure>& structures, const EntryPoint& entryPoint,
                   TreeBuilder& tree) {
  size_t n = 0;
  for (const Structure& s : structures) {
    if (s.type != kProcessorType) continue;
    const std::string path = std::string(kProcessorsPath) + "[" + std::to_string(++n) + "]";
    AddProcessor(s, entryPoint, path, tree);
  }
}

}  // namespace Module::BIOSConfig
