#include "memory/SlotBound.h"

#include <algorithm>
#include <cctype>

namespace Module::PlatformConfig {

bool DeviceCountUsable(long long count, long long listedDevices, long long slotsBefore) {
  return count <= std::max(listedDevices, kUnlistedSlotAllowance) &&
         slotsBefore + count <= kMaxSlots;
}

long long LeadingCount(const char* text) {
  while (std::isspace(static_cast<unsigned char>(*text))) ++text;
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  long long value = 0;
  for (; std::isdigit(static_cast<unsigned char>(*text)); ++text) {
    value = std::min(value * 10 + (*text - '0'), kMaxParsedCount);
  }
  return negative ? -value : value;
}

}  // namespace Module::PlatformConfig
