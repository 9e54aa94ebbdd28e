#pragma once
// How far the memory inventory trusts an array's device count. The count is a field of the
// firmware's table like any other, and a corrupt one (65,535 devices, none listed) must not
// make the inventory invent millions of slots.

#include <cstdint>

namespace Module::PlatformConfig {

// Slots an array may claim beyond the devices the whole table lists: firmware that lists only
// its fitted modules still counts its empty slots, and boards have at most a few dozen.
inline constexpr long long kUnlistedSlotAllowance = 64;
// No machine comes near this many slots (32 sockets of 24 slots make 768).
inline constexpr long long kMaxSlots = 4096;

// Whether an array that claims count devices may have its slots written, when the table lists
// listedDevices memory devices under all its arrays and slotsBefore slots are counted already.
bool DeviceCountUsable(long long count, long long listedDevices, long long slotsBefore);

// The number at the start of text as the C library reads it (blanks, a sign, digits: "12abc"
// gives 12, "" and "x" give 0), held within [-kMaxParsedCount, kMaxParsedCount] instead of
// overflowing.
inline constexpr long long kMaxParsedCount = 1LL << 40;
long long LeadingCount(const char* text);

}  // namespace Module::PlatformConfig
