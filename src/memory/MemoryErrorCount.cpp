#include "memory/MemoryErrorCount.h"

#include "platform/PlatformImpl.h"

namespace Module::PlatformConfig {

namespace {

constexpr size_t kSensorTypeToken = 12;
constexpr size_t kEventData1Token = 15;

}  // namespace

MemoryErrorCounts CountMemoryErrors(const std::vector<std::string>& records) {
  MemoryErrorCounts counts;
  std::vector<std::string> tokens;
  for (const std::string& record : records) {
    tokens.clear();
    Platform::PlatformImpl::SplitTokens(tokens, record, " ");
    if (tokens.size() <= kEventData1Token) continue;
    const std::string& sensorType = tokens[kSensorTypeToken];
    const std::string& eventData1 = tokens[kEventData1Token];
    if (sensorType == "c" && eventData1 == "40") {
      ++counts.corrected;
    } else if (sensorType == "c" && eventData1 == "41") {
      ++counts.uncorrected;
    } else if (sensorType == "12" && eventData1 == "1") {
      counts = MemoryErrorCounts{};
    }
  }
  return counts;
}

}  // namespace Module::PlatformConfig
