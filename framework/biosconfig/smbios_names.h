#pragma once
// The names the SMBIOS reference gives the enumerated fields this module reports. A code the
// reference does not define gives nullptr, so the caller chooses what stands in for it.

#include <cstdint>

namespace Module::BIOSConfig {

// Processor Information.
const char* ProcessorFamilyName(uint16_t code);
const char* ProcessorTypeName(uint8_t code);
const char* ProcessorStatusName(uint8_t cpuStatus);  // status bits 0-2

// Physical Memory Array.
const char* MemoryArrayLocationName(uint8_t code);
const char* MemoryArrayUseName(uint8_t code);
const char* MemoryErrorCorrectionName(uint8_t code);

// Memory Device.
const char* MemoryFormFactorName(uint8_t code);
const char* MemoryTypeName(uint8_t code);

// The Type Detail bit's name as a path step (no blanks; "Registered" for "Registered
// (Buffered)"), or nullptr for a reserved bit.
const char* MemoryTypeDetailStep(unsigned bit);

}  // namespace Module::BIOSConfig
