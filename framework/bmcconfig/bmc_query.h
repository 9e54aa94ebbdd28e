#pragma once
// Which of this library's paths a query names. Pure: text in, request parameters out.

#include <cstdint>
#include <optional>
#include <string>

namespace Module::BMCConfig {

enum class BmcQueryKind { kSensorValue, kSensorEventStatus, kSelRecords };

struct BmcQuery {
  BmcQueryKind kind = BmcQueryKind::kSelRecords;
  uint8_t sensor = 0;  // for the sensor kinds
  std::string path;    // the query's steps joined again: the key its leaf is answered under
};

// Steps are split as the framework splits them, so "/BMC//SENSOR[5]/VALUE/" names the same
// leaf as "/BMC/SENSOR[5]/VALUE". A path this library does not answer gives nothing. A sensor
// path whose number is not decimal or above 255 throws ResultStatus (2045): it is a mistake in
// the query, and answering nothing would hide it.
std::optional<BmcQuery> ParseBmcQuery(const std::string& query);

}  // namespace Module::BMCConfig
