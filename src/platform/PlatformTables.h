#pragma once
// The fixed data of platform identification: which family each board belongs to, how the
// controller's product ID names a family, and each family's sensor numbers.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Platform::Tables {

constexpr size_t kBoardRows = 53;
constexpr size_t kProductRows = 10;
constexpr size_t kDimmSlots = 32;
constexpr size_t kSensorGroupSize = 4;

// Board identifier as the firmware reports it, exactly (case and trailing "_" matter).
struct BoardRow {
  const char* boardId;
  const char* family;
};

// Product ID as text: the low byte's "%x" followed by the high byte's.
struct ProductRow {
  const char* productId;
  const char* family;
};

extern const std::array<BoardRow, kBoardRows> kBoardTable;
// Compared in order; the first match wins.
extern const std::array<ProductRow, kProductRows> kProductTable;

// The DIMM slot sensors of a family; every slot 0xFF (no sensor) for a family without any.
const std::array<uint8_t, kDimmSlots>& DimmSensors(const std::string& family);

// The two four-sensor groups of a family, 0xFF where it has none.
const std::array<uint8_t, kSensorGroupSize>& SensorGroupA(const std::string& family);
const std::array<uint8_t, kSensorGroupSize>& SensorGroupB(const std::string& family);

}  // namespace Platform::Tables
