#pragma once
// The content of an efivarfs file: 4 attribute bytes (little-endian), then the data.
// Bytes in, fields out; nothing here touches a file.

#include <cstdint>
#include <optional>
#include <vector>

namespace Ordix::SMI {

inline constexpr size_t kAttributeBytes = 4;

struct DecodedVariable {
  uint32_t attributes = 0;
  std::vector<uint8_t> data;
};

// nullopt when the bytes are too few to hold the attributes.
std::optional<DecodedVariable> DecodeEfivarFile(const std::vector<uint8_t>& bytes);

}  // namespace Ordix::SMI
