#pragma once
// Decoding of a DIMM sensor's reading into the slot state the memory topology publishes.

#include <cstdint>
#include <string>

namespace Module::PlatformConfig {

// Slot state bits, as the reading's bytes give them.
constexpr uint8_t kDimmStateByte2Bit2 = 0x01;  // reading byte 2, bit 0x04
constexpr uint8_t kDimmStateByte3Bit1 = 0x02;  // reading byte 3, bit 0x02
constexpr uint8_t kDimmStateByte3Bit0 = 0x04;  // reading byte 3, bit 0x01
constexpr uint8_t kDimmStateByte2Bit0 = 0x08;  // reading byte 2, bit 0x01

// The state of a slot from the sensor's reply text ("0 c0 45 3": reading, flags, states):
// 0 when the reply is empty or its flag byte says the reading is to be ignored (bit 0).
// Only the first four bytes count; bytes the reply lacks read as 0.
uint8_t DecodeDimmState(const std::string& reply);

}  // namespace Module::PlatformConfig
