#include "bmc_query.h"

#include <vector>

#include "ErrorCodes.h"
#include "XTokenizer.h"
#include "bmc_error.h"

namespace Module::BMCConfig {

namespace {

constexpr char kSeparator = '/';
constexpr const char* kRootStep = "BMC";
constexpr const char* kSelStep = "SEL";
constexpr const char* kRecordStep = "RECORD";
constexpr const char* kValueStep = "VALUE";
constexpr const char* kEventStatusStep = "PROCEVENT";
constexpr const char kSensorPrefix[] = "SENSOR[";
constexpr size_t kSensorPrefixLength = sizeof(kSensorPrefix) - 1;
constexpr char kIndexClose = ']';
constexpr size_t kQuerySteps = 3;
constexpr unsigned kMaxSensorNumber = 255;
constexpr unsigned kDecimalBase = 10;

// The number inside "SENSOR[...]", or nothing when the step is not a sensor step at all.
std::optional<std::string> SensorIndex(const std::string& step) {
  if (step.size() <= kSensorPrefixLength ||
      step.compare(0, kSensorPrefixLength, kSensorPrefix) != 0 || step.back() != kIndexClose) {
    return std::nullopt;
  }
  return step.substr(kSensorPrefixLength, step.size() - kSensorPrefixLength - 1);
}

uint8_t SensorNumber(const std::string& index, const std::string& query) {
  bool valid = !index.empty();
  unsigned value = 0;
  // Leading zeros are still decimal; the bound is checked per digit, so no length overflows.
  for (size_t i = 0; valid && i < index.size(); ++i) {
    const char c = index[i];
    valid = c >= '0' && c <= '9';
    value = value * kDecimalBase + static_cast<unsigned>(c - '0');
    valid = valid && value <= kMaxSensorNumber;
  }
  if (!valid) {
    ThrowBmc(ErrorCode::kBmcQueryMalformed, "sensor number \"" + index + "\" in " + query);
  }
  return static_cast<uint8_t>(value);
}

}  // namespace

std::optional<BmcQuery> ParseBmcQuery(const std::string& query) {
  const std::vector<std::string> steps = XTokenizer(query, kSeparator).TokenList();
  if (steps.size() != kQuerySteps || steps[0] != kRootStep) return std::nullopt;
  BmcQuery parsed;
  for (const std::string& step : steps) parsed.path += kSeparator + step;

  if (steps[1] == kSelStep && steps[2] == kRecordStep) {
    parsed.kind = BmcQueryKind::kSelRecords;
    return parsed;
  }
  if (steps[2] == kValueStep) {
    parsed.kind = BmcQueryKind::kSensorValue;
  } else if (steps[2] == kEventStatusStep) {
    parsed.kind = BmcQueryKind::kSensorEventStatus;
  } else {
    return std::nullopt;
  }
  const std::optional<std::string> index = SensorIndex(steps[1]);
  if (!index) return std::nullopt;
  parsed.sensor = SensorNumber(*index, query);
  return parsed;
}

}  // namespace Module::BMCConfig
