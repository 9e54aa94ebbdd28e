#include "platform/PlatformTables.h"

#include <initializer_list>

#include "platform/PlatformImpl.h"

namespace Platform::Tables {

namespace {

constexpr uint8_t kNoSensor = 0xFF;

using DimmList = std::array<uint8_t, kDimmSlots>;
using GroupList = std::array<uint8_t, kSensorGroupSize>;

// The listed sensors first, every remaining slot without one.
template <size_t N>
constexpr std::array<uint8_t, N> Padded(std::initializer_list<uint8_t> head) {
  std::array<uint8_t, N> list{};
  size_t i = 0;
  for (const uint8_t sensor : head) list[i++] = sensor;
  for (; i < N; ++i) list[i] = kNoSensor;
  return list;
}

template <size_t N>
constexpr std::array<uint8_t, N> Consecutive(uint8_t first) {
  std::array<uint8_t, N> list{};
  for (size_t i = 0; i < N; ++i) list[i] = static_cast<uint8_t>(first + i);
  return list;
}

struct DimmRow {
  const char* family;
  DimmList sensors;
};

const DimmRow kDimmRows[] = {
    {kKarvoPlatform, Padded<kDimmSlots>({0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7})},
    {kKarvoPlatform2, Padded<kDimmSlots>({0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5})},
    {kKarvoPlatform3, Padded<kDimmSlots>({0xE0, 0xE1, 0xF7, 0xF8, 0xE2, 0xE3, 0xF9, 0xFA, 0xE4,
                                          0xE5, 0xFB, 0xFC, 0xE6, 0xE7, 0xFD, 0xFE})},
    {kTeskarPlatform, Consecutive<kDimmSlots>(0xC0)},
    {kPirlowPlatform, Padded<kDimmSlots>({0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xF7,
                                          0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE})},
};
constexpr DimmList kNoDimmSensors = Padded<kDimmSlots>({});

struct GroupRow {
  const char* family;
  GroupList a;
  GroupList b;
};

const GroupRow kGroupRows[] = {
    {kKarvoPlatform, {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
    {kKarvoPlatform2, {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
    {kKarvoPlatform3, {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
    {kPirlowPlatform, {0x90, 0x91, 0xFF, 0xFF}, {0xC0, 0xC1, 0xFF, 0xFF}},
    {kRophinPlatform, {0x0F, 0xFF, 0xFF, 0xFF}, {0x10, 0xFF, 0xFF, 0xFF}},
    {kDuvanePlatform, {0x10, 0xFF, 0xFF, 0xFF}, {0x11, 0xFF, 0xFF, 0xFF}},
    {kZorvelPlatform, {0x60, 0x61, 0xFF, 0xFF}, {0x62, 0x63, 0xFF, 0xFF}},
};
const GroupRow kNoGroups = {"", Padded<kSensorGroupSize>({}), Padded<kSensorGroupSize>({})};

const GroupRow& Groups(const std::string& family) {
  for (const GroupRow& row : kGroupRows) {
    if (family == row.family) return row;
  }
  return kNoGroups;
}

}  // namespace

const std::array<BoardRow, kBoardRows> kBoardTable = {{
    {"R7100QEN", kKarvoPlatform},       {"R7100QTN", kKarvoPlatform},
    {"R7100QTN VOKIM", kKarvoPlatform}, {"R7100WEN", kKarvoPlatform},
    {"R7100WTN", kKarvoPlatform},       {"R7100WMK", kKarvoPlatform},
    {"R7100JDN", kKarvoPlatform2},      {"R7300QB", kKarvoPlatform3},
    {"R7100JTE", kKarvoPlatform},       {"R7300LG", kPirlowPlatform},
    {"Tormida", kKarvoPlatform},        {"TGD6WB", kTeskarPlatform},
    {"Blank FRU", kTeskarPlatform},     {"R2100NYD", kRophinPlatform},
    {"R2300NYD", kRophinPlatform},      {"R2300NYZ", kRophinPlatform},
    {"K61QE", kDuvanePlatform},         {"K61QEVR", kDuvanePlatform},
    {"R7500LG_", kPirlowPlatform},      {"R7620MJ", kZorvelPlatform},
    {"R7620MJ_", kZorvelPlatform},      {"R7600DT", kZorvelPlatform},
    {"R7600DT_", kZorvelPlatform},      {"R7620KW", kZorvelPlatform},
    {"R7620KW_", kZorvelPlatform},      {"Felmoor", kZorvelPlatform},
    {"MarrowGlen", kZorvelPlatform},    {"CinderGlen", kZorvelPlatform},
    {"R7600MJB", kZorvelPlatform},      {"R7620PV", kZorvelPlatform},
    {"FELMOOR_", kZorvelPlatform},      {"KIVESH", kKarvoPlatform},
    {"TORMIDA", kKarvoPlatform},        {"QUENFORD", kKarvoPlatform},
    {"BRISTANE", kKarvoPlatform2},      {"FELMOOR", kZorvelPlatform},
    {"MARROWGLEN", kZorvelPlatform},    {"CINDERGLEN", kZorvelPlatform},
    {"PIRLOW", kPirlowPlatform},        {"TESKAR", kTeskarPlatform},
    {"DUVANE", kDuvanePlatform},        {"ROPHIN", kRophinPlatform},
    {"ASHENTHORPE", kZorvelPlatform},   {"R7600HX", kZorvelPlatform},
    {"VALDERTON", kZorvelPlatform},     {"HALVERMOOR", kZorvelPlatform},
    {"DESKOVA", kZorvelPlatform},       {"R2540YFZ", kZorvelPlatform},
    {"R2540YFD", kZorvelPlatform},      {"R2540YFK", kZorvelPlatform},
    {"Copper Vale", kZorvelPlatform},   {"R2540YFT", kZorvelPlatform},
    {"R2540YFM", kZorvelPlatform},
}};

const std::array<ProductRow, kProductRows> kProductTable = {{
    {"3e0", kZorvelPlatform},
    {"400", kZorvelPlatform},
    {"280", kKarvoPlatform},
    {"290", kKarvoPlatform},
    {"2c0", kKarvoPlatform},
    {"2b0", kKarvoPlatform},
    {"3b0", kKarvoPlatform},
    {"71", kTeskarPlatform},
    {"3d0", kDuvanePlatform},
    {"3a0", kRophinPlatform},
}};

const DimmList& DimmSensors(const std::string& family) {
  for (const DimmRow& row : kDimmRows) {
    if (family == row.family) return row.sensors;
  }
  return kNoDimmSensors;
}

const GroupList& SensorGroupA(const std::string& family) {
  return Groups(family).a;
}

const GroupList& SensorGroupB(const std::string& family) {
  return Groups(family).b;
}

}  // namespace Platform::Tables
