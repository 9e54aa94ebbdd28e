#include "smbios_names.h"

#include <array>
#include <cstddef>

namespace Module::BIOSConfig {

namespace {

// A name table for codes first..first+N-1.
template <size_t N>
struct CodeNames {
  unsigned first;
  std::array<const char*, N> names;

  const char* Find(unsigned code) const {
    if (code < first || code - first >= N) return nullptr;
    return names[code - first];
  }
};

template <size_t N>
constexpr CodeNames<N> Names(unsigned first, const char* const (&names)[N]) {
  CodeNames<N> table{first, {}};
  for (size_t i = 0; i < N; ++i) table.names[i] = names[i];
  return table;
}

constexpr const char* kProcessorTypes[] = {"Other",          "Unknown",       "Central Processor",
                                           "Math Processor", "DSP Processor", "Video Processor"};

// Status codes 5 and 6 are reserved.
constexpr const char* kProcessorStatuses[] = {
    "Unknown", "Enabled", "Disabled By User", "Disabled By BIOS", "Idle", nullptr,
    nullptr,   "Other"};

constexpr const char* kArrayLocations[] = {"Other",
                                           "Unknown",
                                           "System Board Or Motherboard",
                                           "ISA Add-on Card",
                                           "EISA Add-on Card",
                                           "PCI Add-on Card",
                                           "MCA Add-on Card",
                                           "PCMCIA Add-on Card",
                                           "Proprietary Add-on Card",
                                           "NuBus"};

// The second block of locations starts at 0xA0.
constexpr const char* kArrayLocationsA0[] = {"PC-98/C20 Add-on Card", "PC-98/C24 Add-on Card",
                                             "PC-98/E Add-on Card", "PC-98/Local Bus Add-on Card",
                                             "CXL Flexbus 1.0"};

constexpr const char* kArrayUses[] = {"Other",        "Unknown",      "System Memory",
                                      "Video Memory", "Flash Memory", "Non-volatile RAM",
                                      "Cache Memory"};

constexpr const char* kErrorCorrections[] = {"Other",          "Unknown",       "None", "Parity",
                                             "Single-bit ECC", "Multi-bit ECC", "CRC"};

constexpr const char* kFormFactors[] = {
    "Other", "Unknown", "SIMM",         "SIP",  "Chip",   "DIP",   "ZIP",     "Proprietary Card",
    "DIMM",  "TSOP",    "Row Of Chips", "RIMM", "SODIMM", "SRIMM", "FB-DIMM", "Die"};

constexpr const char* kMemoryTypes[] = {"Other",
                                        "Unknown",
                                        "DRAM",
                                        "EDRAM",
                                        "VRAM",
                                        "SRAM",
                                        "RAM",
                                        "ROM",
                                        "Flash",
                                        "EEPROM",
                                        "FEPROM",
                                        "EPROM",
                                        "CDRAM",
                                        "3DRAM",
                                        "SDRAM",
                                        "SGRAM",
                                        "RDRAM",
                                        "DDR",
                                        "DDR2",
                                        "DDR2 FB-DIMM",
                                        "Reserved",
                                        "Reserved",
                                        "Reserved",
                                        "DDR3",
                                        "FBD2",
                                        "DDR4",
                                        "LPDDR",
                                        "LPDDR2",
                                        "LPDDR3",
                                        "LPDDR4",
                                        "Logical non-volatile device",
                                        "HBM",
                                        "HBM2",
                                        "DDR5",
                                        "LPDDR5"};

// Bit 0 is reserved; the steps drop the blanks and the parenthesised synonyms of the names.
constexpr const char* kTypeDetailSteps[] = {
    nullptr,        "Other",       "Unknown",    "Fast-paged", "StaticColumn", "Pseudo-static",
    "RAMBus",       "Synchronous", "CMOS",       "EDO",        "WindowDRAM",   "CacheDRAM",
    "Non-Volatile", "Registered",  "Unbuffered", "LRDIMM"};

constexpr auto kProcessorTypeTable = Names(0x01, kProcessorTypes);
constexpr auto kProcessorStatusTable = Names(0x00, kProcessorStatuses);
constexpr auto kArrayLocationTable = Names(0x01, kArrayLocations);
constexpr auto kArrayLocationA0Table = Names(0xA0, kArrayLocationsA0);
constexpr auto kArrayUseTable = Names(0x01, kArrayUses);
constexpr auto kErrorCorrectionTable = Names(0x01, kErrorCorrections);
constexpr auto kFormFactorTable = Names(0x01, kFormFactors);
constexpr auto kMemoryTypeTable = Names(0x01, kMemoryTypes);
constexpr auto kTypeDetailTable = Names(0, kTypeDetailSteps);

}  // namespace

const char* ProcessorTypeName(uint8_t code) {
  return kProcessorTypeTable.Find(code);
}
const char* ProcessorStatusName(uint8_t cpuStatus) {
  return kProcessorStatusTable.Find(cpuStatus);
}

const char* MemoryArrayLocationName(uint8_t code) {
  const char* name = kArrayLocationTable.Find(code);
  return name != nullptr ? name : kArrayLocationA0Table.Find(code);
}
const char* MemoryArrayUseName(uint8_t code) {
  return kArrayUseTable.Find(code);
}
const char* MemoryErrorCorrectionName(uint8_t code) {
  return kErrorCorrectionTable.Find(code);
}

const char* MemoryFormFactorName(uint8_t code) {
  return kFormFactorTable.Find(code);
}
const char* MemoryTypeName(uint8_t code) {
  return kMemoryTypeTable.Find(code);
}
const char* MemoryTypeDetailStep(unsigned bit) {
  return kTypeDetailTable.Find(bit);
}

}  // namespace Module::BIOSConfig
