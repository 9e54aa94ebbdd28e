#pragma once
// The one way this library reports a missing, unreadable or corrupt table: a ResultStatus
// carrying the framework's sentence for the code and a detail that says what is wrong where.

#include <cstddef>
#include <cstdint>
#include <string>

namespace Module::BIOSConfig {

[[noreturn]] void ThrowSmbios(uint16_t code, const std::string& detail);

// An offset or size in details: "0x1a4".
std::string HexOffset(uint64_t offset);

// A structure handle as reports show it: "0x0011".
std::string HandleText(uint16_t handle);

}  // namespace Module::BIOSConfig
